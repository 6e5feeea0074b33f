// How a step of a command went with the camera: it may go on, or the
// command is over with the result its handler returns to the server (which
// alone turns results into replies). Pure value; command server thread.
#pragma once

#include <cstdint>

namespace vantel {

class Status {
 public:
  static Status Ok() { return Status(false, 0); }
  // The command ends here and its handler returns `result`.
  static Status Ended(int32_t result) { return Status(true, result); }

  bool ok() const { return !ended_; }
  int32_t result() const { return result_; }

 private:
  Status(bool ended, int32_t result) : ended_(ended), result_(result) {}
  bool ended_;
  int32_t result_;
};

}  // namespace vantel
