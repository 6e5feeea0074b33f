// The zoom ramp: table values to the bit, the walk of repeated codes, its
// two ends, and the restart on a change of code.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "commands/ptz/zoom_ramp.h"

namespace vantel {
namespace {

uint32_t bits(float value) {
  uint32_t b;
  std::memcpy(&b, &value, sizeof b);
  return b;
}

std::vector<float> walk(ZoomRamp& ramp, int32_t code, int times) {
  std::vector<float> sent;
  for (int i = 0; i < times; ++i) sent.push_back(step_zoom_ramp(ramp, code));
  return sent;
}

TEST(ZoomRamp, TableHoldsTheNearestSinglePrecisionValues) {
  const uint32_t expected[kZoomSteps] = {0xBF800000, 0xBF4CCCCD, 0xBF19999A, 0xBF000000,
                                         0xBE4CCCCD, 0x00000000, 0x3E4CCCCD, 0x3ECCCCCD,
                                         0x3F19999A, 0x3F4CCCCD, 0x3F800000};
  for (int i = 0; i < kZoomSteps; ++i) EXPECT_EQ(expected[i], bits(kZoomStepTable[i])) << "index " << i;
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

}  // namespace
}  // namespace vantel
