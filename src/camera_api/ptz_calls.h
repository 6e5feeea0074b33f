// The PTZ-service calls (ver20 "tptz" and the two ver10 "tptz1" ones) of one
// camera. All but the two named "as_is" put a fresh UsernameToken first.
// Command server thread only.
#pragma once

#include <string>

#include "camera_api/onvif_session.h"

namespace vantel {

// One camera's PTZ service at `address`, reached over `context`: the
// session's own context or a working copy of it (the session supplies the
// credentials). Without an address there is nothing to call: SOAP_ERR.
// Cheap to make: one per context and address.
class PtzService {
 public:
  PtzService(OnvifSession& session, struct soap* context, const char* address)
      : session_(session), context_(context), address_(address) {}

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

 private:
  template <typename Request, typename Answer>
  int call(SoapCall<Request, Answer> operation, Request& request, Answer& answer) {
    if (address_ == nullptr) return SOAP_ERR;
    return session_.call(context_, operation, address_, request, answer);
  }
  template <typename Request, typename Answer>
  int call_as_is(SoapCall<Request, Answer> operation, Request& request, Answer& answer) {
    if (address_ == nullptr) return SOAP_ERR;
    return session_.call_as_is(context_, operation, address_, request, answer);
  }

  OnvifSession& session_;
  struct soap* context_;
  const char* address_;
};

}  // namespace vantel
