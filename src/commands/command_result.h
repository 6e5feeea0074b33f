// What a command handler hands back to the command server: how the reply is
// formed, the value it is formed from, and the line, if any, that the
// server prints once the connection is closed (the recorder reads it
// there). Built and read on the command thread.
#pragma once

#include <cstdint>

namespace vantel {

// How the reply's minor follows from the value, and whether the result
// block goes with it.
enum class ReplyKind {
  kEchoMajor,        // PTZ, reboot, user mode: the major repeated, no block
  kSettingOkFail,    // RIFA_RPL_SETTING_OK / RIFA_RPL_SETTING_FAIL, with the block
  kResultCodecFail,  // RIFA_RPL_RESULT / RIFA_RPL_CODEC_FAIL, with the block
  kAlwaysResult,     // RIFA_RPL_RESULT whatever happened, with the block
};

struct CommandResult {
  ReplyKind reply;
  int32_t value;
  // Printed before the reply is sent: "Send data : major(...)..." with the
  // reply's header.
  bool log_reply;
  // Printed with a line end after the close; empty: nothing.
  char after_close[64];
};

// A result with no line after the close.
CommandResult result_of(ReplyKind reply, int32_t value, bool log_reply = false);
// A result whose line after the close is `format` as printf formats it.
CommandResult result_with_line(ReplyKind reply, int32_t value, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace vantel
