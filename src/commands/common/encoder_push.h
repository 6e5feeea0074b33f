// An encoder set with its one retry: the commands' single way to push a
// video encoder configuration that a camera may refuse at first, and the
// single pause they wait on a camera with. Command server thread only.
#pragma once

#include <chrono>

#include "camera/services/media_calls.h"

namespace vantel {

// The one sleep of the command handlers.
void pause_for(std::chrono::milliseconds pause);

enum class PushResult {
  kFirstTry,  // the first set went through (and counted)
  kRetried,   // the first did not; the second went through
  kRefused,   // neither went through
};

// SetVideoEncoderConfiguration of `configuration` (never read from the
// camera: counts as refused, nothing is sent). When the first set fails, or
// goes through but `first_counts` is false, `refused_line` (if any) is
// printed, and after `pause` the set is sent once more.
PushResult push_with_retry(MediaService& media, tt__VideoEncoderConfiguration* configuration,
                           std::chrono::milliseconds pause, bool first_counts = true,
                           const char* refused_line = nullptr);

}  // namespace vantel
