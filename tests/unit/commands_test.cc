// The pure logic under the commands: the block's conversions of encoder
// values, profile tokens, resolution tables, the zoom ramp and the
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

TEST(ResolutionTable, ClassesAndRecordableSizes) {
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
}

struct Sizes {
  explicit Sizes(const std::vector<std::pair<int, int>>& pairs) {
    for (auto [w, h] : pairs) {
      storage.push_back(tt__VideoResolution());
      storage.back().Width = w;
      storage.back().Height = h;
    }
    for (tt__VideoResolution& r : storage) list.push_back(&r);
  }
  std::vector<tt__VideoResolution> storage;
  std::vector<tt__VideoResolution*> list;
};

TEST(ResolutionTable, TablesHoldTwentyEntriesAndNothingBeyond) {
  uint8_t bytes[kPayloadSize];
  std::memset(bytes, 0x77, sizeof bytes);
  ResultBlockView block(bytes);
  block.clear(block::kFirstOptions, 2 * block::kOptionTableSize);

  // 30 recordable sizes with a stranger and a missing entry among them.
  std::vector<std::pair<int, int>> pairs;
  for (int i = 0; i < 30; ++i) pairs.push_back(i % 2 ? std::make_pair(704, 576) : std::make_pair(352, 240));
  pairs.insert(pairs.begin() + 1, {800, 600});
  Sizes sizes(pairs);
  sizes.list.insert(sizes.list.begin(), nullptr);

  EXPECT_EQ(20u, fill_first_options(block, sizes.list, sizes.list.size()));
  EXPECT_EQ(352, block.option_width(block::kFirstOptions, 0));
  EXPECT_EQ(704, block.option_width(block::kFirstOptions, 1));
  EXPECT_EQ(576, block.option_height(block::kFirstOptions, 19));
  EXPECT_EQ(0, block.option_width(block::kSecondOptions, 0));

  // A count beyond the list stops at the list; a short count stops earlier.
  block.clear(block::kFirstOptions, block::kOptionTableSize);
  Sizes two({{1920, 1080}, {1280, 720}});
  EXPECT_EQ(2u, fill_first_options(block, two.list, 9));
  EXPECT_EQ(1u, fill_first_options(block, two.list, 1));

  // The unfiltered table: pair k from entry k, a missing entry leaves its pair.
  EXPECT_EQ(20u, fill_second_options(block, sizes.list));
  EXPECT_EQ(0, block.option_width(block::kSecondOptions, 0));
  EXPECT_EQ(352, block.option_width(block::kSecondOptions, 1));
  EXPECT_EQ(800, block.option_width(block::kSecondOptions, 2));
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize]);
  EXPECT_EQ(0x77, bytes[block::kSecondOptions + block::kOptionTableSize + 1]);
}

std::vector<float> walk(ZoomRamp& ramp, int32_t code, int times) {
  std::vector<float> sent;
  for (int i = 0; i < times; ++i) sent.push_back(step_zoom_ramp(ramp, code));
  return sent;
}

TEST(ZoomRamp, RepeatedCodesClimbOrDescendAndStopAtTheEnds) {
  ZoomRamp in;
  EXPECT_EQ(std::vector<float>({0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 1.0f, 1.0f}), walk(in, kZoomInCode, 7));
  EXPECT_EQ(10, in.index);

  // Out after in restarts at -0.2 and skips -0.4.
  EXPECT_EQ(std::vector<float>({-0.2f, -0.5f, -0.6f, -0.8f, -1.0f, -1.0f}), walk(in, 3, 6));
  EXPECT_EQ(0, in.index);
  EXPECT_EQ(3, in.last_code);

  // Code 0 from the initial state equals the initial last code: it walks
  // down from the middle of the table instead of restarting.
  ZoomRamp pan_only;
  EXPECT_EQ(std::vector<float>({0.2f, 0.0f, -0.2f, -0.5f}), walk(pan_only, 0, 4));

  // Any other code than the last restarts, zoom-in included.
  EXPECT_EQ(0.2f, step_zoom_ramp(pan_only, kZoomInCode));
  EXPECT_EQ(-0.2f, step_zoom_ramp(pan_only, -7));
  EXPECT_EQ(-0.2f, step_zoom_ramp(pan_only, 0));
}

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
  for (int i = 0; i < 60; ++i) {
    counter = watchdog_count(counter, 0x0b060008);
    counter = watchdog_count(counter, -1);
  }
  EXPECT_EQ(60, counter);
  EXPECT_FALSE(watchdog_must_restart(counter));
  counter = watchdog_count(counter, 0x0b060001);
  EXPECT_TRUE(watchdog_must_restart(counter));  // the 61st busy poll
  counter = watchdog_count(counter, -1);
  EXPECT_TRUE(watchdog_must_restart(counter));  // and at every later poll
}

}  // namespace
}  // namespace vantel
