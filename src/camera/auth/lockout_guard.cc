#include "camera/auth/lockout_guard.h"

#include <ctime>

namespace vantel {

void LockoutGuard::refused(int result, int64_t now) {
  last_refusal_ = result;
  // A hold that ran out gives the credentials one more try: a refusal then
  // starts the next hold at once.
  if (refusals_ >= kRefusalsInRow && now >= hold_until_) refusals_ = kRefusalsInRow - 1;
  if (++refusals_ >= kRefusalsInRow) hold_until_ = now + kHoldS;
}

int64_t monotonic_seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec);
}

}  // namespace vantel
