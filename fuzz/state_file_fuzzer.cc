// The camera book's state file as the daemon reads it at start-up: any
// bytes (a torn write, a full flash, another program's file) must be
// refused whole or read whole, and a file read whole must write back to the
// same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "camera/book/state_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<vantel::RememberedCamera> cameras;
  std::string why;
  const char* text = reinterpret_cast<const char*>(data);
  if (!vantel::read_state(text, size, cameras, why)) {
    if (!cameras.empty() || why.empty()) std::abort();
    return 0;
  }
  if (vantel::write_state(cameras) != std::string(text, size)) std::abort();
  return 0;
}
