#include "server/header_records.h"

#include <cstring>
#include <new>

namespace vantel {

void* HeaderRecords::keep(const void* record, size_t size) {
  if (size > kRecordSize) return nullptr;
  unsigned char* place = nullptr;
  if (!released_.empty()) {
    place = static_cast<unsigned char*>(released_.back());
    released_.pop_back();
  } else {
    if (used_in_last_ == kRecordsPerBlock) {
      // Not value-initialised: a block's pages are touched as records fill it.
      unsigned char* block = new (std::nothrow) unsigned char[kRecordsPerBlock * kRecordSize];
      if (block == nullptr) return nullptr;
      blocks_.emplace_back(block);
      used_in_last_ = 0;
    }
    place = blocks_.back().get() + used_in_last_++ * kRecordSize;
  }
  std::memcpy(place, record, size);
  return place;
}

void HeaderRecords::release(void* place) { released_.push_back(place); }

}  // namespace vantel
