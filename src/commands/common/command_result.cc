#include "commands/command_result.h"

#include <cstdarg>
#include <cstdio>

namespace vantel {

CommandResult result_of(ReplyKind reply, int32_t value, bool log_reply) {
  CommandResult result{reply, value, log_reply, ""};
  return result;
}

CommandResult result_with_line(ReplyKind reply, int32_t value, const char* format, ...) {
  CommandResult result = result_of(reply, value);
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(result.after_close, sizeof result.after_close, format, arguments);
  va_end(arguments);
  return result;
}

}  // namespace vantel
