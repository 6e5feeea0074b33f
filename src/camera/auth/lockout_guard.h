// Keeps a wrong password from locking the recorder out of a camera. Cameras
// shut a client out for up to half an hour after a handful of refused
// logins; after two refusals in a row of the same credentials the daemon
// stops offering them to that camera for ten minutes, so a wrong password
// costs two refused logins however many commands follow. One per camera
// entry; command server thread only.
#pragma once

#include <cstdint>

namespace vantel {

class LockoutGuard {
 public:
  static constexpr int kRefusalsInRow = 2;
  static constexpr int64_t kHoldS = 600;

  // True while the credentials are held back; `now` is a monotonic clock
  // in seconds.
  bool holding(int64_t now) const { return refusals_ >= kRefusalsInRow && now < hold_until_; }
  int64_t seconds_left(int64_t now) const { return hold_until_ - now; }
  // What the last refusal returned: a held-back call fails as it did.
  int last_refusal() const { return last_refusal_; }

  void refused(int result, int64_t now);
  void accepted() { refusals_ = 0; }

 private:
  int refusals_ = 0;
  int64_t hold_until_ = 0;
  int last_refusal_ = 0;
};

// CLOCK_MONOTONIC in whole seconds.
int64_t monotonic_seconds();

}  // namespace vantel
