// PTZ move and stop. A move is one short nudge: it starts a continuous
// movement on a working copy of the context and stops it again within the
// same command; the stop command only stops.
#include <unistd.h>

#include <cmath>
#include <optional>

#include "camera/ptz_session.h"
#include "camera/working_copy.h"
#include "camera/zoom_ramp.h"
#include "command/byte_order.h"
#include "command/handlers.h"
#include "command/rifa.h"

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
    _tptz__GetNode node_request;
    node_request.NodeToken = configuration->NodeToken;
    _tptz__GetNodeResponse node;
    ptz.session().add_token(copy);
    if (soap_call___tptz__GetNode(copy, ptz.ptz_address(), nullptr, &node_request, node) == SOAP_OK) {
      limits = velocity_limits(node);
    }
  }

  zoom.x = step_zoom_ramp(g_zoom_ramp, zoom_code);
  if (!limits) return kMoveNotSent;
  set_pan_tilt(direction, *limits, pan_tilt);

  _tptz__ContinuousMoveResponse answer;
  ptz.session().add_token(copy);
  return soap_call___tptz__ContinuousMove(copy, ptz.ptz_address(), nullptr, &request, answer);
}

}  // namespace

int32_t handle_ptz_move(uint8_t* payload) {
  const int32_t direction = get_be32s(payload + kReqPtzDirection);
  const int32_t zoom_code = get_be32s(payload + kReqPtzZoom);

  PtzSession ptz(payload);
  if (const std::optional<int32_t> failed = ptz.open()) return *failed;

  // Both codes 0: the recorder only wants the head to stand still.
  if (direction != 0 || zoom_code != 0) {
    {
      struct soap copy(*ptz.soap());
      move(&copy, ptz, direction, zoom_code);  // its result is not the command's
      end_working_copy(&copy);
    }
    usleep(kMoveToStopPauseUs);
  }

  bool both = true;
  _tptz__Stop stop;
  stop.ProfileToken = ptz.profile_token();
  stop.PanTilt = &both;
  stop.Zoom = &both;
  _tptz__StopResponse stopped;
  ptz.session().add_token();
  const int result = soap_call___tptz__Stop(ptz.soap(), ptz.ptz_address(), nullptr, &stop, stopped);
  ptz.session().end();
  return result;
}

int32_t handle_ptz_stop(uint8_t* payload) {
  PtzSession ptz(payload);
  if (const std::optional<int32_t> failed = ptz.open()) return *failed;

  bool both = true;
  tptz1__StopRequest stop;
  stop.ProfileToken = ptz.profile_token();
  stop.PanTilt = &both;
  stop.Zoom = &both;
  tptz1__StopResponse stopped;
  // No fresh token: the Stop follows GetProfiles directly and goes with
  // whatever security header the context still holds from it.
  const int result = soap_call___tptz1__Stop(ptz.soap(), ptz.ptz_address(), nullptr, &stop, stopped);
  ptz.session().end();
  return result;
}

}  // namespace vantel
