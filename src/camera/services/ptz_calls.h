// The PTZ-service calls (ver20 "tptz" and the two ver10 "tptz1" ones) of one
// camera. All but the two named "as_is" put a fresh UsernameToken first.
// Command server thread only.
#pragma once

#include <string>

#include "camera/services/camera_service.h"

namespace vantel {

// One camera's PTZ service at `address`, reached over `context`.
class PtzService : public CameraService {
 public:
  PtzService(OnvifSession& session, struct soap* context, const char* address)
      : CameraService(session, context, address) {}

  // GetNodes.
  int get_nodes();
  // GetNode; without a node token or with an empty address there is
  // nothing to ask: SOAP_ERR, no call.
  int get_node(const std::string* node_token, _tptz__GetNodeResponse& answer);
  int continuous_move(_tptz__ContinuousMove& request);
  // Stop of pan, tilt and zoom (ver20).
  int stop(const std::string& profile_token);
  // Stop (ver10) with the security header of the call before it.
  int stop_v10_as_is(const std::string& profile_token);
  // GetPresets with the security header of the call before it.
  int get_presets_as_is(const std::string& profile_token, _tptz__GetPresetsResponse& answer);
  // SetPreset under `preset_token`, named by the same text.
  int set_preset(const std::string& profile_token, const std::string& preset_token);
  // GotoPreset without a speed: the camera's own.
  int goto_preset(const std::string& profile_token, const std::string& preset_token);
  // RemovePreset (ver10).
  int remove_preset(const std::string& profile_token, const std::string& preset_token);
};

}  // namespace vantel
