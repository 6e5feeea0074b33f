// PTZ move and stop. A move is one short nudge: it starts a continuous
// movement on a working copy of the context and stops it again within the
// same command; the stop command only stops.
#include <unistd.h>

#include <cmath>
#include <optional>

#include "camera/services/ptz_calls.h"
#include "camera/services/ptz_session.h"
#include "commands/common/camera_access.h"
#include "commands/handlers.h"
#include "commands/ptz/zoom_ramp.h"
#include "log/log.h"
#include "wire/byte_order.h"
#include "wire/request.h"

namespace vantel {
namespace {

// One ramp for the whole process, shared by every camera and never reset.
ZoomRamp g_zoom_ramp;

// Between the end of ContinuousMove and the Stop request.
constexpr useconds_t kMoveToStopPauseUs = 80;

// Skipped move: the helper had nothing to base a ContinuousMove on.
constexpr int kMoveNotSent = -1;

struct VelocityLimits {
  float x_min, x_max, y_min, y_max;
};

// A limit cut toward zero to a whole number: the generic -1..1 space stays
// -1..1, a narrower one gives no pan/tilt at all.
float whole(float limit) {
  // NaN, infinities and values beyond 32 bits have no whole number to cut to.
  if (!(std::fabs(limit) < 2147483648.0f)) return 0.0f;
  return static_cast<float>(static_cast<int32_t>(limit));
}

// The first continuous pan/tilt velocity space of GetNode's answer; empty
// when the node, its spaces, such a space or one of its ranges is missing.
std::optional<VelocityLimits> velocity_limits(const _tptz__GetNodeResponse& answer) {
  const tt__PTZNode* node = answer.PTZNode;
  if (node == nullptr || node->SupportedPTZSpaces == nullptr) return std::nullopt;
  const std::vector<tt__Space2DDescription*>& spaces = node->SupportedPTZSpaces->ContinuousPanTiltVelocitySpace;
  if (spaces.empty() || spaces.front() == nullptr) return std::nullopt;
  const tt__Space2DDescription& space = *spaces.front();
  if (space.XRange == nullptr || space.YRange == nullptr) return std::nullopt;
  return VelocityLimits{whole(space.XRange->Min), whole(space.XRange->Max), whole(space.YRange->Min),
                        whole(space.YRange->Max)};
}

// Direction codes of the recorder's PTZ keypad; x pans right, y tilts up.
void set_pan_tilt(int32_t direction, const VelocityLimits& v, tt__Vector2D& pan_tilt) {
  float x = 0.0f, y = 0.0f;
  switch (direction) {
    case 1: y = v.y_max; break;                  // up
    case 2: x = v.x_max; break;                  // right
    case 3: y = v.y_min; break;                  // down
    case 4: x = v.x_min; break;                  // left
    case 5: x = v.x_max; y = v.y_max; break;     // up and right
    case 6: x = v.x_max; y = v.y_min; break;     // down and right
    case 7: x = v.x_min; y = v.y_min; break;     // down and left
    case 8: x = v.x_min; y = v.y_max; break;     // up and left
    default: break;                              // 0 and unknown codes: none
  }
  pan_tilt.x = x;
  pan_tilt.y = y;
}

// GetNode for the velocity limits, then ContinuousMove, both on `copy`.
// Returns ContinuousMove's result, or kMoveNotSent when the camera gave
// nothing to build it from. The zoom ramp steps either way: it follows the
// recorder's commands, not the camera's answers.
int move(struct soap* copy, PtzSession& ptz, int32_t direction, int32_t zoom_code) {
  tt__Vector2D pan_tilt;
  pan_tilt.x = 0.0f;
  pan_tilt.y = 0.0f;
  tt__Vector1D zoom;
  zoom.x = 0.0f;
  tt__PTZSpeed velocity;
  velocity.PanTilt = &pan_tilt;
  velocity.Zoom = &zoom;
  _tptz__ContinuousMove request;
  request.ProfileToken = ptz.profile_token();
  request.Velocity = &velocity;

  std::optional<VelocityLimits> limits;
  const tt__PTZConfiguration* configuration = ptz.profiles().front()->PTZConfiguration;
  if (configuration != nullptr) {
    _tptz__GetNodeResponse node;
    if (ptz.service(copy).get_node(&configuration->NodeToken, node) == SOAP_OK) {
      limits = velocity_limits(node);
    }
  }

  zoom.x = step_zoom_ramp(g_zoom_ramp, zoom_code);
  if (!limits) return kMoveNotSent;
  set_pan_tilt(direction, *limits, pan_tilt);

  return ptz.service(copy).continuous_move(request);
}

// A head left moving is the one failure the recorder cannot see, so a Stop
// the camera refused, for whatever reason, gets one more: ver20, which
// every PTZ camera serves, with a fresh token.
int stop_again(PtzSession& ptz, int refused) {
  log_printf("[ipcam] Stop refused (%d): ver20 Stop sent again with a fresh token \n", refused);
  return ptz.service().stop(ptz.profile_token());
}

int32_t move_then_stop(uint8_t* payload, int32_t direction, int32_t zoom_code) {
  PtzSession ptz(camera_from_request(payload));
  const Status opened = ptz.open();
  if (!opened.ok()) return opened.result();

  // Both codes 0: the recorder only wants the head to stand still.
  if (direction != 0 || zoom_code != 0) {
    // The move's result is not the command's: the Stop's is.
    ptz.session().on_working_copy([&](struct soap* copy) { return move(copy, ptz, direction, zoom_code); });
    usleep(kMoveToStopPauseUs);
  }

  int result = ptz.service().stop(ptz.profile_token());
  if (result != SOAP_OK) result = stop_again(ptz, result);
  ptz.session().end();
  return result;
}

int32_t stop(uint8_t* payload) {
  PtzSession ptz(camera_from_request(payload));
  const Status opened = ptz.open();
  if (!opened.ok()) return opened.result();

  // No fresh token: the Stop follows GetProfiles directly and goes with
  // whatever security header the context still holds from it. The cameras
  // the recorder ships with leave Stop open; one that checks every request
  // gets it again with a fresh token.
  int result = ptz.service().stop_v10_as_is(ptz.profile_token());
  if (result != SOAP_OK) result = stop_again(ptz, result);
  ptz.session().end();
  return result;
}

}  // namespace

CommandResult handle_ptz_move(uint8_t* payload) {
  log_puts("[vantel ptz] ");
  const int32_t direction = get_be32s(payload + req::move::kDirection);
  const int32_t zoom_code = get_be32s(payload + req::move::kZoom);
  const int32_t result = move_then_stop(payload, direction, zoom_code);
  return result_with_line(ReplyKind::kEchoMajor, result, "[vantel ptz] ptz move (%d) (%d) ", direction, zoom_code);
}

CommandResult handle_ptz_stop(uint8_t* payload) {
  return result_with_line(ReplyKind::kEchoMajor, stop(payload), "[vantel ptz] ptz stop ");
}

}  // namespace vantel
