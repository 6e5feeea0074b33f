// Typed access to the result block.
#include "wire/result_block.h"

#include <cstdlib>
#include <cstring>

#include "wire/byte_order.h"

namespace vantel {

const StreamLayout kFirstStream = {
    block::kFirstUri,     block::kFirstFlag,    block::kFirstWidth,   block::kFirstHeight,
    block::kFirstCodec,   block::kFirstFps,     block::kFirstQuality, block::kFirstBitrate,
    block::kFirstOptions, block::kFpsRange,     block::kQualityRange, block::kBitrateRange,
};
const StreamLayout kSecondStream = {
    block::kSecondUri,     block::kSecondFlag,        block::kSecondWidth,
    block::kSecondHeight,  block::kSecondCodec,       block::kSecondFps,
    block::kSecondQuality, block::kSecondBitrate,     block::kSecondOptions,
    block::kFpsRange + 4,  block::kQualityRange + 4,  block::kBitrateRange + 4,
};

int16_t ResultBlockView::s16(size_t offset) const { return get_be16s(bytes_ + offset); }
void ResultBlockView::set_s16(size_t offset, int16_t value) { put_be16s(bytes_ + offset, value); }
int32_t ResultBlockView::s32(size_t offset) const { return get_be32s(bytes_ + offset); }
void ResultBlockView::set_s32(size_t offset, int32_t value) { put_be32s(bytes_ + offset, value); }

void ResultBlockView::set_range(size_t offset, int16_t lower, int16_t upper) {
  set_s16(offset, lower);
  set_s16(offset + 2, upper);
}

int16_t ResultBlockView::option_width(size_t table, size_t index) const {
  return s16(table + index * 4);
}
int16_t ResultBlockView::option_height(size_t table, size_t index) const {
  return s16(table + index * 4 + 2);
}
void ResultBlockView::set_option(size_t table, size_t index, int16_t width, int16_t height) {
  set_s16(table + index * 4, width);
  set_s16(table + index * 4 + 2, height);
}

void ResultBlockView::clear(size_t offset, size_t length) { std::memset(bytes_ + offset, 0, length); }

void ResultBlockView::set_text(size_t offset, size_t field_size, const std::string& text) {
  const size_t length = text.size() < field_size - 1 ? text.size() : field_size - 1;
  std::memcpy(bytes_ + offset, text.data(), length);
  bytes_[offset + length] = 0;
}

std::string ResultBlockView::text(size_t offset, size_t field_size) const {
  const uint8_t* start = bytes_ + offset;
  const void* nul = std::memchr(start, 0, field_size);
  const size_t length = nul ? static_cast<size_t>(static_cast<const uint8_t*>(nul) - start) : field_size;
  return std::string(reinterpret_cast<const char*>(start), length);
}

void ResultBlockView::set_uri(size_t offset, const std::string& uri) {
  // c_str() guarantees the NUL after the text, so size() + 1 bytes exist.
  const size_t available = uri.size() + 1;
  const size_t length = available < block::kUriFieldSize ? available : block::kUriFieldSize;
  std::memcpy(bytes_ + offset, uri.c_str(), length);
}

size_t nearest_to_1280(const ResultBlockView& block, size_t table) {
  int best_distance = 1920;
  size_t best = 0;
  for (size_t i = 0; i < block::kOptionEntries; ++i) {
    const int distance = std::abs(block.option_width(table, i) - 1280);
    if (distance < best_distance) {
      best_distance = distance;
      best = i;
    }
  }
  return best;
}

StreamCodec codec_from_encoding(const std::string& encoding) {
  // XML whitespace around the name is not part of it.
  const size_t first = encoding.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return kCodecUnknown;
  const size_t length = encoding.find_last_not_of(" \t\r\n") + 1 - first;
  for (StreamCodec codec : {kCodecJpeg, kCodecH264, kCodecMpeg4}) {
    if (encoding.compare(first, length, encoding_of_codec(codec)) == 0) return codec;
  }
  return kCodecUnknown;
}

const char* encoding_of_codec(StreamCodec codec) {
  switch (codec) {
    case kCodecJpeg: return "JPEG";
    case kCodecH264: return "H264";
    case kCodecMpeg4: return "MPEG4";
    default: return "";
  }
}

}  // namespace vantel
