#include "commands/ptz/zoom_ramp.h"

namespace vantel {
namespace {

constexpr int32_t kTopStep = kZoomSteps - 1;
constexpr int32_t kFirstZoomIn = 6;    // 0.2
constexpr int32_t kFirstZoomOut = 4;   // -0.2

}  // namespace

float step_zoom_ramp(ZoomRamp& ramp, int32_t zoom_code) {
  float velocity;
  if (zoom_code == ramp.last_code) {
    // The index never leaves 0..10, but a state a caller made up must not
    // read outside the table either.
    const int32_t at = ramp.index < 0 ? 0 : ramp.index > kTopStep ? kTopStep : ramp.index;
    velocity = kZoomStepTable[at];
    if (zoom_code == kZoomInCode) {
      ramp.index = at + 1 > kTopStep ? kTopStep : at + 1;
    } else {
      ramp.index = at - 1 < 1 ? 0 : at - 1;
    }
  } else if (zoom_code == kZoomInCode) {
    velocity = kZoomStepTable[kFirstZoomIn];
    ramp.index = kFirstZoomIn + 1;
  } else {
    velocity = kZoomStepTable[kFirstZoomOut];
    ramp.index = kFirstZoomOut - 1;
  }
  ramp.last_code = zoom_code;
  return velocity;
}

}  // namespace vantel
