// Where the server keeps the copy of every command's header that it makes
// and nothing reads: 20 bytes a command, held for the daemon's life. Kept
// packed in blocks of their own, because each one left alone in the heap
// pins the memory a command used around it: mixed with TLS commands the
// daemon then grew by some 280 bytes a command instead of 20. Command
// server thread only.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace vantel {

class HeaderRecords {
 public:
  static constexpr size_t kRecordsPerBlock = 3276;  // 64 KB blocks, filled as they are used

  // A place for one record of `size` bytes (at most the record size), or
  // nullptr when memory has run out.
  void* keep(const void* record, size_t size);
  // Gives a place back (the one path that releases a record).
  void release(void* place);

 private:
  static constexpr size_t kRecordSize = 20;
  std::vector<std::unique_ptr<unsigned char[]>> blocks_;
  size_t used_in_last_ = kRecordsPerBlock;
  std::vector<void*> released_;
};

}  // namespace vantel
