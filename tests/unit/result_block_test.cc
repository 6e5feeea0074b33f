// The result block accessors and the fixed-field copies.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "wire/rifa.h"
#include "wire/result_block.h"

namespace vantel {
namespace {

TEST(ResultBlock, FieldsLandBigEndianAtTheirOffsets) {
  uint8_t bytes[kPayloadSize] = {};
  ResultBlockView b(bytes);
  b.set_s32(block::kStatus, 3);
  b.set_s16(kSecondStream.width, 640);
  b.set_u8(kSecondStream.fps, 15);
  b.set_range(kSecondStream.bitrate_range, 2048, 6000);
  b.set_option(block::kFirstOptions, 19, 1920, 1080);
  EXPECT_EQ(0, std::memcmp(bytes + 92, "\0\0\0\3", 4));
  EXPECT_EQ(0, std::memcmp(bytes + 266, "\x02\x80", 2));
  EXPECT_EQ(15, bytes[277]);
  EXPECT_EQ(0, std::memcmp(bytes + 314, "\x08\x00\x17\x70", 4));
  EXPECT_EQ(0, std::memcmp(bytes + 318 + 76, "\x07\x80\x04\x38", 4));
  EXPECT_EQ(1920, b.option_width(block::kFirstOptions, 19));
  EXPECT_EQ(1080, b.option_height(block::kFirstOptions, 19));
  EXPECT_EQ(0, bytes[398]);  // the last first-stream entry ends before the second table
}

TEST(ResultBlock, UriCopyIsFiftyBytesAndReadsOnlyWhatExists) {
  uint8_t bytes[kPayloadSize];
  std::memset(bytes, 0xAA, sizeof bytes);
  ResultBlockView b(bytes);

  const std::string u49(49, 'a');
  b.set_uri(block::kFirstUri, u49);
  EXPECT_EQ(0, std::memcmp(bytes + 160, u49.data(), 49));
  EXPECT_EQ(0, bytes[209]);  // its NUL is the 50th byte

  const std::string u20 = "rtsp://10.0.0.1/live";
  b.set_uri(block::kSecondUri, u20);
  EXPECT_EQ(0, bytes[210 + 20]);
  EXPECT_EQ(0xAA, bytes[210 + 21]);  // the rest of the field is left as it was

  const std::string u80(80, 'z');
  b.set_uri(block::kFirstUri, u80);
  EXPECT_EQ(std::string(50, 'z'), b.text(block::kFirstUri, 50));  // cut, no terminator
  EXPECT_EQ('r', bytes[210]);                                     // nothing spilled over
}

TEST(ResultBlock, NameFieldsAreBoundedToTheirWidth) {
  uint8_t bytes[kPayloadSize] = {};
  ResultBlockView b(bytes);
  b.set_text(block::kModel, block::kNameFieldSize, std::string(100, 'M'));
  EXPECT_EQ(std::string(39, 'M'), b.text(block::kModel, 40));
  EXPECT_EQ(0, bytes[84]);  // camera_ip untouched
  b.set_text(block::kManufacturer, block::kNameFieldSize, "Maker");
  EXPECT_EQ("Maker", b.text(block::kManufacturer, 40));
}

TEST(ResultBlock, NearestTo1280PrefersTheFirstOfEquals) {
  uint8_t bytes[kPayloadSize] = {};
  ResultBlockView b(bytes);
  EXPECT_EQ(0u, nearest_to_1280(b, block::kFirstOptions));  // all zero: entry 0

  b.set_option(block::kFirstOptions, 0, 704, 480);
  b.set_option(block::kFirstOptions, 1, 1920, 1080);
  b.set_option(block::kFirstOptions, 2, 1280, 720);
  b.set_option(block::kFirstOptions, 3, 1280, 960);
  EXPECT_EQ(2u, nearest_to_1280(b, block::kFirstOptions));

  b.clear(block::kSecondOptions, block::kOptionTableSize);
  b.set_option(block::kSecondOptions, 0, 1024, 768);  // 256 below
  b.set_option(block::kSecondOptions, 1, 1536, 864);  // 256 above: not strictly nearer
  EXPECT_EQ(0u, nearest_to_1280(b, block::kSecondOptions));
  b.set_option(block::kSecondOptions, 2, 3264, 1836);  // 1984 away: beyond the start bound
  EXPECT_EQ(0u, nearest_to_1280(b, block::kSecondOptions));
}

TEST(ResultBlock, EncodingNamesMapToCodecs) {
  EXPECT_EQ(kCodecJpeg, codec_from_encoding("JPEG"));
  EXPECT_EQ(kCodecH264, codec_from_encoding("H264"));
  EXPECT_EQ(kCodecMpeg4, codec_from_encoding("MPEG4"));
  EXPECT_EQ(kCodecUnknown, codec_from_encoding("H265"));
  EXPECT_EQ(kCodecUnknown, codec_from_encoding("h264"));
}

}  // namespace
}  // namespace vantel
