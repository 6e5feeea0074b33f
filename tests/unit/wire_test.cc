// The wire format: byte order, the header, the recorder's offsets, and the
// result block's accessors and fixed-field copies. (Which reply each command
// gets is the system tests' business, command by command.)
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/result_block.h"
#include "wire/rifa.h"

namespace vantel {
namespace {

bool bytes_are(const uint8_t* at, const char* want, size_t n) { return std::memcmp(at, want, n) == 0; }

TEST(Wire, IntegersAndHeadersAreBigEndianWhateverTheHost) {
  uint8_t b[10];
  put_be32(b, 0x0b060004);
  put_be32s(b + 4, -2);
  put_be16s(b + 8, -1280);
  EXPECT_TRUE(bytes_are(b, "\x0b\x06\x00\x04\xff\xff\xff\xfe\xfb\x00", 10));
  EXPECT_EQ((std::vector<int64_t>{0x0b060004, -2, -1280, 0xfb00}),
            (std::vector<int64_t>{get_be32(b), get_be32s(b + 4), get_be16s(b + 8), get_be16(b + 8)}));

  uint8_t wire[kRifaHeaderSize];
  encode_header(make_header(480, RIFA_CMD_CAMERA_SETTING, RIFA_RPL_SETTING_FAIL), wire);
  EXPECT_TRUE(bytes_are(wire, "RIFA\x00\x00\x01\xe0\x0b\x06\x00\x01\x0b\x06\x10\x03", 16));
  const RifaHeader back = decode_header(wire);
  EXPECT_TRUE(has_rifa_magic(back));
  EXPECT_EQ((std::vector<uint32_t>{480, RIFA_CMD_CAMERA_SETTING, RIFA_RPL_SETTING_FAIL}),
            (std::vector<uint32_t>{uint32_t(back.size), back.major, back.minor}));
  const uint8_t odd_bytes[16] = {'r', 'i', 'f', 'a', 0xff, 0xff, 0xff, 0xff, 0x80, 0, 0, 1, 0, 0, 0, 0};
  const RifaHeader odd = decode_header(odd_bytes);
  EXPECT_FALSE(has_rifa_magic(odd));  // the magic is case-sensitive
  EXPECT_EQ(-1, odd.size);
  EXPECT_EQ(0x80000001u, odd.major);
}

// The recorder reads the header, requests and block at these byte offsets;
// the names must never drift from them (vantelctl and the tests use the
// names too, so nothing else would notice two of them swapped).
TEST(Wire, NamedOffsetsAreTheRecordersOwn) {
  using namespace block;
  const size_t pinned[][2] = {
      {kRifaMagicOffset, 0},  {kRifaSizeOffset, 4},    {kRifaMajorOffset, 8},      {kRifaMinorOffset, 12},
      {kManufacturer, 4},     {kModel, 44},            {block::kCameraIp, 84},     {block::kCameraPort, 88},
      {kStatus, 92},          {block::kUserName, 96},  {block::kPassword, 128},    {kFirstUri, 160},
      {kSecondUri, 210},      {kFirstFlag, 260},       {kSecondFlag, 261},         {kFirstWidth, 262},
      {kFirstHeight, 264},    {kSecondWidth, 266},     {kSecondHeight, 268},       {kSetupState, 270},
      {kFirstCodec, 271},     {kSecondCodec, 272},     {kPtzPresent, 274},         {kReserved275, 275},
      {kFirstFps, 276},       {kSecondFps, 277},       {kFirstQuality, 278},       {kSecondQuality, 280},
      {kFirstBitrate, 282},   {kSecondBitrate, 284},   {kRegZero, 286},            {kRegOne, 288},
      {kRegJpegCapable, 290}, {kRegH264Capable, 292},  {kFpsRange, 294},           {kQualityRange, 302},
      {kBitrateRange, 310},   {kFirstOptions, 318},    {kSecondOptions, 398},      {kOptionTableSize, 80},
      {req::kCameraIp, 0},    {req::kCameraPort, 4},   {req::kUserName, 8},        {req::kPassword, 40},
      {req::move::kDirection, 72}, {req::move::kZoom, 80}, {req::preset::kNumber, 72}, {req::user_mode::kMode, 72}};
  for (const auto& [name, offset] : pinned) EXPECT_EQ(offset, name);
}

TEST(Wire, BlockFieldsLandBigEndianAtTheirOffsets) {
  uint8_t bytes[kPayloadSize] = {};
  ResultBlockView b(bytes);
  b.set_s32(block::kStatus, 3);
  b.set_s16(kSecondStream.width, 640);
  b.set_u8(kSecondStream.fps, 15);
  b.set_range(kSecondStream.bitrate_range, 2048, 6000);
  b.set_option(block::kFirstOptions, 19, 1920, 1080);
  EXPECT_TRUE(bytes_are(bytes + 92, "\0\0\0\3", 4));
  EXPECT_TRUE(bytes_are(bytes + 266, "\x02\x80", 2));
  EXPECT_EQ(15, bytes[277]);
  EXPECT_TRUE(bytes_are(bytes + 314, "\x08\x00\x17\x70", 4));
  EXPECT_TRUE(bytes_are(bytes + 318 + 76, "\x07\x80\x04\x38", 4));
  EXPECT_EQ(1920, b.option_width(block::kFirstOptions, 19));
  EXPECT_EQ(1080, b.option_height(block::kFirstOptions, 19));
  EXPECT_EQ(0, bytes[398]);  // the last first-stream entry ends before the second table

  // Names: at most 39 characters and a NUL, nothing past the field.
  b.set_text(block::kModel, block::kNameFieldSize, std::string(100, 'M'));
  EXPECT_EQ(std::string(39, 'M'), b.text(block::kModel, 40));
  EXPECT_EQ(0, bytes[84]);
  b.set_text(block::kManufacturer, block::kNameFieldSize, "Maker");
  EXPECT_EQ("Maker", b.text(block::kManufacturer, 40));

  // URIs: 50 bytes, a NUL only when there is room, the rest of the field left.
  std::memset(bytes + 160, 0xAA, 100);
  b.set_uri(block::kFirstUri, std::string(49, 'a'));
  EXPECT_EQ(std::string(49, 'a') + '\0' + '\xAA', std::string(bytes + 160, bytes + 211));
  b.set_uri(block::kSecondUri, "rtsp://10.0.0.1/live");
  EXPECT_EQ(std::string("rtsp://10.0.0.1/live") + '\0' + '\xAA', std::string(bytes + 210, bytes + 232));
  b.set_uri(block::kFirstUri, std::string(80, 'z'));
  EXPECT_EQ(std::string(50, 'z') + 'r', std::string(bytes + 160, bytes + 211));  // cut, nothing spilled over

  EXPECT_EQ((std::vector<int>{kCodecJpeg, kCodecH264, kCodecMpeg4, kCodecUnknown, kCodecUnknown}),
            (std::vector<int>{codec_from_encoding("JPEG"), codec_from_encoding("H264"),
                              codec_from_encoding("MPEG4"), codec_from_encoding("H265"),
                              codec_from_encoding("h264")}));
}

TEST(Wire, NearestTo1280PrefersTheFirstOfEquals) {
  uint8_t bytes[kPayloadSize] = {};
  ResultBlockView b(bytes);
  b.set_option(block::kSecondOptions, 0, 1280, 720);  // beyond the first table's twenty entries
  EXPECT_EQ(0u, nearest_to_1280(b, block::kFirstOptions));  // all zero: entry 0
  b.set_option(block::kFirstOptions, 0, 704, 480);
  b.set_option(block::kFirstOptions, 1, 1920, 1080);
  b.set_option(block::kFirstOptions, 2, 1280, 720);
  b.set_option(block::kFirstOptions, 3, 1280, 960);
  EXPECT_EQ(2u, nearest_to_1280(b, block::kFirstOptions));
  b.set_option(block::kSecondOptions, 0, 1024, 768);   // 256 below
  b.set_option(block::kSecondOptions, 1, 1536, 864);   // 256 above: not strictly nearer
  b.set_option(block::kSecondOptions, 2, 3264, 1836);  // 1984 away: beyond the start bound
  EXPECT_EQ(0u, nearest_to_1280(b, block::kSecondOptions));
}

}  // namespace
}  // namespace vantel
