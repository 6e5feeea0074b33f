#include "commands/common/encoder_push.h"

#include <thread>

#include "log/log.h"

namespace vantel {

void pause_for(std::chrono::milliseconds pause) { std::this_thread::sleep_for(pause); }

PushResult push_with_retry(MediaService& media, tt__VideoEncoderConfiguration* configuration,
                           std::chrono::milliseconds pause, bool first_counts, const char* refused_line) {
  if (media.push_encoder(configuration) == SOAP_OK && first_counts) return PushResult::kFirstTry;
  if (refused_line != nullptr) log_puts(refused_line);
  pause_for(pause);
  return media.push_encoder(configuration) == SOAP_OK ? PushResult::kRetried : PushResult::kRefused;
}

}  // namespace vantel
