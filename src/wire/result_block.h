// The 480-byte result block that the stream query, codec change and
// registration commands receive and send back: named, compile-time checked
// offsets and typed big-endian accessors. Used by the handlers, the server
// and vantelctl; a view never owns its bytes and has one user thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "wire/layout.h"
#include "wire/rifa.h"

namespace vantel {

// StreamCodec: one byte.
enum StreamCodec : uint8_t {
  kCodecUnknown = 0,
  kCodecJpeg = 1,
  kCodecH264 = 2,
  kCodecMpeg4 = 3,
};

namespace block {
constexpr size_t kManufacturer = 4;  // 40 bytes
constexpr size_t kModel = 44;        // 40 bytes
constexpr size_t kNameFieldSize = 40;
constexpr size_t kCameraIp = 84;
constexpr size_t kCameraPort = 88;
constexpr size_t kStatus = 92;
constexpr size_t kUserName = 96;     // 32 bytes
constexpr size_t kPassword = 128;    // 32 bytes
constexpr size_t kFirstUri = 160;    // 50 bytes
constexpr size_t kSecondUri = 210;   // 50 bytes
constexpr size_t kUriFieldSize = 50;
constexpr size_t kFirstFlag = 260;
constexpr size_t kSecondFlag = 261;
constexpr size_t kFirstWidth = 262;
constexpr size_t kFirstHeight = 264;
constexpr size_t kSecondWidth = 266;
constexpr size_t kSecondHeight = 268;
constexpr size_t kSetupState = 270;
constexpr size_t kFirstCodec = 271;
constexpr size_t kSecondCodec = 272;
constexpr size_t kPtzPresent = 274;
constexpr size_t kReserved275 = 275;
constexpr size_t kFirstFps = 276;
constexpr size_t kSecondFps = 277;
constexpr size_t kFirstQuality = 278;
constexpr size_t kSecondQuality = 280;
constexpr size_t kFirstBitrate = 282;
constexpr size_t kSecondBitrate = 284;
// Registration group: four signed 16-bit values at 286, 288, 290, 292.
constexpr size_t kRegZero = 286;
constexpr size_t kRegOne = 288;
constexpr size_t kRegJpegCapable = 290;
constexpr size_t kRegH264Capable = 292;
// Ranges: first stream lower, upper, then second stream lower, upper.
constexpr size_t kFpsRange = 294;
constexpr size_t kQualityRange = 302;
constexpr size_t kBitrateRange = 310;
// Resolution tables: 20 pairs of signed 16-bit width, height.
constexpr size_t kFirstOptions = 318;
constexpr size_t kSecondOptions = 398;
constexpr size_t kOptionEntries = 20;
constexpr size_t kOptionTableSize = kOptionEntries * 4;
constexpr size_t kCredentialSize = 32;
constexpr size_t kRangePairSize = 8;  // first lower, upper, second lower, upper

// Every field with its width: inside the block and never overlapping.
// Bytes 0..3, 273, 478 and 479 carry nothing.
constexpr WireField kFields[] = {
    {kManufacturer, kNameFieldSize}, {kModel, kNameFieldSize},   {kCameraIp, 4},
    {kCameraPort, 4},                {kStatus, 4},               {kUserName, kCredentialSize},
    {kPassword, kCredentialSize},    {kFirstUri, kUriFieldSize}, {kSecondUri, kUriFieldSize},
    {kFirstFlag, 1},                 {kSecondFlag, 1},           {kFirstWidth, 2},
    {kFirstHeight, 2},               {kSecondWidth, 2},          {kSecondHeight, 2},
    {kSetupState, 1},                {kFirstCodec, 1},           {kSecondCodec, 1},
    {kPtzPresent, 1},                {kReserved275, 1},          {kFirstFps, 1},
    {kSecondFps, 1},                 {kFirstQuality, 2},         {kSecondQuality, 2},
    {kFirstBitrate, 2},              {kSecondBitrate, 2},        {kRegZero, 2},
    {kRegOne, 2},                    {kRegJpegCapable, 2},       {kRegH264Capable, 2},
    {kFpsRange, kRangePairSize},     {kQualityRange, kRangePairSize},
    {kBitrateRange, kRangePairSize}, {kFirstOptions, kOptionTableSize},
    {kSecondOptions, kOptionTableSize},
};
static_assert(fields_fit(kFields, kResultBlockSize), "every field lies inside the 480-byte block");
static_assert(fields_disjoint(kFields), "no two fields of the block overlap");
}  // namespace block

// The offsets of one stream's fields; kFirstStream and kSecondStream name the
// two streams so that code filling "a stream" is written once.
struct StreamLayout {
  size_t uri, flag, width, height, codec, fps, quality, bitrate, options;
  size_t fps_range, quality_range, bitrate_range;  // lower bound; upper at +2
};
extern const StreamLayout kFirstStream;
extern const StreamLayout kSecondStream;

class ResultBlockView {
 public:
  explicit ResultBlockView(uint8_t* bytes) : bytes_(bytes) {}

  uint8_t u8(size_t offset) const { return bytes_[offset]; }
  void set_u8(size_t offset, uint8_t value) { bytes_[offset] = value; }
  int16_t s16(size_t offset) const;
  void set_s16(size_t offset, int16_t value);
  int32_t s32(size_t offset) const;
  void set_s32(size_t offset, int32_t value);

  // A range pair: lower at `offset`, upper at `offset + 2`.
  void set_range(size_t offset, int16_t lower, int16_t upper);

  // Resolution table entry `index` (0..19) of the table at `table`.
  int16_t option_width(size_t table, size_t index) const;
  int16_t option_height(size_t table, size_t index) const;
  void set_option(size_t table, size_t index, int16_t width, int16_t height);

  void clear(size_t offset, size_t length);

  // Camera text copied into a fixed field: at most `field_size - 1`
  // characters and a NUL; nothing past the field is touched.
  void set_text(size_t offset, size_t field_size, const std::string& text);
  // Fixed text read back: up to the first NUL or `field_size` bytes.
  std::string text(size_t offset, size_t field_size) const;

  // A stream URI: the first 50 bytes of the camera's text. A shorter URI
  // brings its NUL and leaves the rest of the field as it was; a longer one
  // is cut without a terminator.
  void set_uri(size_t offset, const std::string& uri);

 private:
  uint8_t* bytes_;
};

// Index of the entry whose width is nearest to 1280: the search starts from
// a distance of 1920 and only a strictly smaller one replaces the best, so
// the earliest of equals wins and an all-zero table yields entry 0.
size_t nearest_to_1280(const ResultBlockView& block, size_t table);

// The codec byte for a camera's encoding name ("JPEG", "H264", "MPEG4");
// any other name (H265, a maker's own) is kCodecUnknown.
StreamCodec codec_from_encoding(const std::string& encoding);
// The encoding name of a codec byte; "" for kCodecUnknown.
const char* encoding_of_codec(StreamCodec codec);

}  // namespace vantel
