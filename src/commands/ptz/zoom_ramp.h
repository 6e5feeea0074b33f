// The zoom velocity ramp of the move command: repeated zoom commands with
// the same code walk an eleven-step table, a new code restarts the ramp.
// Pure function over a state the caller keeps; the move handler keeps the
// process's one state on the command server's thread.
#pragma once

#include <cstdint>

namespace vantel {

// Zoom velocities by step index. The gap at index 3 (-0.5 rather than -0.4)
// is how the recorder's zoom-out has always felt; keep it.
constexpr int32_t kZoomSteps = 11;
constexpr float kZoomStepTable[kZoomSteps] = {-1.0f, -0.8f, -0.6f, -0.5f, -0.2f, 0.0f,
                                              0.2f,  0.4f,  0.6f,  0.8f,  1.0f};

// The recorder's code for "zoom in"; every other code, 0 included, zooms out.
constexpr int32_t kZoomInCode = 9;

struct ZoomRamp {
  int32_t index = 6;      // next step of a repeated code
  int32_t last_code = 0;  // zoom code of the previous stepped move
};

// The zoom velocity for a move with `zoom_code`; advances `ramp`.
float step_zoom_ramp(ZoomRamp& ramp, int32_t zoom_code);

}  // namespace vantel
