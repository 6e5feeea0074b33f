// The block's conversions of camera encoder values, and what a configuration
// or profile list with missing parts turns into.
#include "commands/common/encoder_config.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "commands/common/profile_tokens.h"

namespace vantel {
namespace {

TEST(EncoderFields, KeepTheLowBitsAndTruncateQualityTowardZero) {
  EXPECT_EQ(25, fps_field(25));
  EXPECT_EQ(44, fps_field(300));
  EXPECT_EQ(255, fps_field(-1));
  EXPECT_EQ(4464, low16_field(70000));
  EXPECT_EQ(-1, low16_field(65535));
  EXPECT_EQ(4, quality_field(4.9f));
  EXPECT_EQ(-2, quality_field(-2.5f));
  EXPECT_EQ(0, quality_field(std::nanf("")));
  EXPECT_EQ(-1, quality_field(1e12f));  // saturates at 0x7fffffff first
  EXPECT_EQ(0, quality_field(-1e12f));  // 0x80000000
  EXPECT_EQ(-1, quality_field(std::numeric_limits<float>::infinity()));
}

TEST(EncoderFields, MissingResolutionAndRateControlReadAsZero) {
  uint8_t bytes[kResultBlockSize];
  std::fill(std::begin(bytes), std::end(bytes), 0xEE);
  ResultBlockView block(bytes);
  tt__VideoEncoderConfiguration configuration;
  configuration.Quality = 7.5f;
  fill_stream_settings(block, kSecondStream, configuration);
  EXPECT_EQ(0, block.s16(block::kSecondWidth));
  EXPECT_EQ(0, block.s16(block::kSecondHeight));
  EXPECT_EQ(0, block.u8(block::kSecondFps));
  EXPECT_EQ(0, block.s16(block::kSecondBitrate));
  EXPECT_EQ(7, block.s16(block::kSecondQuality));
  EXPECT_EQ(0xEE, block.u8(block::kSecondCodec));  // each command writes its own codec
  EXPECT_EQ(0xEE, block.u8(block::kFirstFps));
}

TEST(ProfileTokens, ShortOrHoledListsLeaveTheStreamWithoutAToken) {
  _trt__GetProfilesResponse profiles;
  EXPECT_FALSE(recorder_profile_tokens(profiles).first);
  tt__Profile main;
  main.token = "Profile1";
  profiles.Profiles = {&main};
  EXPECT_EQ("Profile2", recorder_profile_tokens(profiles).second);
  EXPECT_FALSE(first_two_profile_tokens(profiles).second);
  profiles.Profiles = {&main, nullptr};
  EXPECT_FALSE(first_two_profile_tokens(profiles).second);
  profiles.Profiles = {nullptr, &main};
  EXPECT_FALSE(recorder_profile_tokens(profiles).first);
  EXPECT_EQ("Profile1", recorder_profile_tokens(profiles).second);
}

}  // namespace
}  // namespace vantel
