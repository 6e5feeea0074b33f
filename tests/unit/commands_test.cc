// The pure logic under the commands: the block's conversions of encoder
// values, profile tokens, resolution tables, the zoom ramp's ends and the
// watchdog's count.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "commands/common/encoder_config.h"
#include "commands/common/profile_tokens.h"
#include "commands/ptz/zoom_ramp.h"
#include "commands/setup/resolution_table.h"
#include "supervision/watchdog.h"

namespace vantel {
namespace {

TEST(EncoderFields, KeepTheLowBitsTruncateQualityAndReadMissingAsZero) {
  EXPECT_EQ((std::vector<int>{25, 44, 255, 4464, -1}),
            (std::vector<int>{fps_field(25), fps_field(300), fps_field(-1), low16_field(70000), low16_field(65535)}));
  // Toward zero; NaN is 0; beyond int32 it saturates to 0x7fffffff or 0x80000000 first.
  const float inf = std::numeric_limits<float>::infinity();
  EXPECT_EQ((std::vector<int>{4, -2, 0, -1, 0, -1}),
            (std::vector<int>{quality_field(4.9f), quality_field(-2.5f), quality_field(std::nanf("")),
                              quality_field(1e12f), quality_field(-1e12f), quality_field(inf)}));

  uint8_t bytes[kResultBlockSize];
  std::fill(std::begin(bytes), std::end(bytes), 0xEE);
  ResultBlockView block(bytes);
  tt__VideoEncoderConfiguration configuration;  // no resolution, no rate control
  configuration.Quality = 7.5f;
  fill_stream_settings(block, kSecondStream, configuration);
  EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 7}),
            (std::vector<int>{block.s16(block::kSecondWidth), block.s16(block::kSecondHeight),
                              block.u8(block::kSecondFps), block.s16(block::kSecondBitrate),
                              block.s16(block::kSecondQuality)}));
  EXPECT_EQ(0xEE, block.u8(block::kSecondCodec));  // each command writes its own codec
  EXPECT_EQ(0xEE, block.u8(block::kFirstFps));
}

// The stream query's pair goes by the first profile's token; a short or
// holed list leaves a stream without a token.
TEST(ProfileTokens, PairsByTheFirstTokenAndNeverReadPastTheList) {
  tt__ListedProfile first, second, third;
  second.token = "other";
  third.token = "third";
  _trt__GetProfilesResponse profiles;
  profiles.Profiles = {&first, &second, &third};
  for (const auto& [token, pair] : std::vector<std::pair<std::string, std::string>>{
           {"0", "0 1"}, {"Profile1", "Profile1 Profile2"}, {"h264", "h264 jpeg"}, {"Main", "Main other"}}) {
    first.token = token;
    const ProfileTokens tokens = recorder_profile_tokens(profiles);
    EXPECT_EQ(pair, tokens.first.value_or("-") + " " + tokens.second.value_or("-"));
  }
  EXPECT_EQ("Main other", *first_two_profile_tokens(profiles).first + " " + *first_two_profile_tokens(profiles).second);
  profiles.Profiles = {};
  EXPECT_FALSE(recorder_profile_tokens(profiles).first);
  first.token = "Profile1";
  profiles.Profiles = {&first};
  EXPECT_EQ("Profile2", recorder_profile_tokens(profiles).second);
  EXPECT_FALSE(first_two_profile_tokens(profiles).second);
  profiles.Profiles = {&first, nullptr};
  EXPECT_FALSE(first_two_profile_tokens(profiles).second);
  profiles.Profiles = {nullptr, &first};
  EXPECT_FALSE(recorder_profile_tokens(profiles).first);
  EXPECT_EQ("Profile1", recorder_profile_tokens(profiles).second);
}

TEST(ResolutionTable, ClassesRecordableSizesAndTwentyEntries) {
  const struct { int w, h, size_class; bool recordable; } cases[] = {
      {1920, 1080, 5, true}, {1280, 720, 4, true}, {720, 480, 3, false}, {720, 576, 3, false},
      {640, 480, 2, false},  {640, 576, 2, false}, {1080, 1920, 0, false}, {704, 576, 0, true},
      {704, 480, 0, true},   {704, 240, 0, true},  {704, 288, 0, true},    {352, 240, 0, true},
      {352, 288, 0, true},   {640, 360, 0, false}, {0, 0, 0, false},       {720, 720, 0, false},
      {352, 576, 0, false},  {1920, 1088, 0, false}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.size_class, resolution_class(c.w, c.h)) << c.w << "x" << c.h;
    EXPECT_EQ(c.recordable, recordable_resolution(c.w, c.h)) << c.w << "x" << c.h;
  }
  EXPECT_EQ(0, resolution_class(nullptr));

  uint8_t bytes[kPayloadSize];
  std::memset(bytes, 0x77, sizeof bytes);
  ResultBlockView block(bytes);
  block.clear(block::kFirstOptions, 2 * block::kOptionTableSize);
  // A missing entry, then 31 sizes of which one (800x600) is not recordable.
  std::vector<tt__VideoResolution> storage(31);
  std::vector<tt__VideoResolution*> list = {nullptr};
  for (size_t i = 0; i < storage.size(); ++i) {
    const bool odd = (i > 1 ? i - 1 : i) % 2;
    storage[i].Width = i == 1 ? 800 : odd ? 704 : 352;
    storage[i].Height = i == 1 ? 600 : odd ? 576 : 240;
    list.push_back(&storage[i]);
  }
  EXPECT_EQ(20u, fill_first_options(block, list, list.size()));
  EXPECT_EQ((std::vector<int>{352, 704, 576, 0}),
            (std::vector<int>{block.option_width(block::kFirstOptions, 0), block.option_width(block::kFirstOptions, 1),
                              block.option_height(block::kFirstOptions, 19), block.option_width(block::kSecondOptions, 0)}));
  // A count beyond the list stops at the list; a short count stops earlier.
  EXPECT_EQ(2u, fill_first_options(block, {list.begin(), list.begin() + 4}, 9));
  EXPECT_EQ(1u, fill_first_options(block, list, 2));
  // The unfiltered table: pair k from entry k, a missing entry leaves its pair.
  EXPECT_EQ(20u, fill_second_options(block, list));
  EXPECT_EQ((std::vector<int>{0, 352, 800}),
            (std::vector<int>{block.option_width(block::kSecondOptions, 0), block.option_width(block::kSecondOptions, 1),
                              block.option_width(block::kSecondOptions, 2)}));
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize]);
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize + 1]);
}

// The ramp's walk is the PTZ system test's; here the state a fresh table
// position cannot reach.
TEST(ZoomRamp, StateOutsideTheTableIsReadAtItsEnds) {
  ZoomRamp high{1000, kZoomInCode};
  EXPECT_EQ(1.0f, step_zoom_ramp(high, kZoomInCode));
  EXPECT_EQ(10, high.index);
  ZoomRamp low{-5, 4};
  EXPECT_EQ(-1.0f, step_zoom_ramp(low, 4));
  EXPECT_EQ(0, low.index);
}

TEST(Watchdog, CountsOnlyBusyPollsAndNeverResets) {
  int32_t counter = 0;
  for (int i = 0; i < 1000; ++i) counter = watchdog_count(counter, -1);  // idle
  counter = watchdog_count(counter, 0);  // before the first command
  counter = watchdog_count(counter, static_cast<int32_t>(0x80000001u));  // negative when signed
  EXPECT_EQ(0, counter);
  // Sixty busy polls spread over many short commands, idle in between.
  for (int i = 0; i < 60; ++i) counter = watchdog_count(watchdog_count(counter, 0x0b060008), -1);
  EXPECT_EQ(60, counter);
  EXPECT_FALSE(watchdog_must_restart(counter));
  counter = watchdog_count(counter, 0x0b060001);
  EXPECT_TRUE(watchdog_must_restart(counter));  // the 61st busy poll
  EXPECT_TRUE(watchdog_must_restart(watchdog_count(counter, -1)));  // and at every later poll
}

}  // namespace
}  // namespace vantel
