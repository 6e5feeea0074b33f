#include "camera_api/ptz_calls.h"

namespace vantel {

int get_ptz_nodes(OnvifSession& session) {
  _tptz__GetNodes request;
  _tptz__GetNodesResponse answer;
  return session.call(session.soap(), soap_call___tptz__GetNodes, session.device_address(), request,
                      answer);
}

int get_ptz_node(OnvifSession& session, struct soap* context, const char* address,
                 const std::string* node_token, _tptz__GetNodeResponse& answer) {
  if (address == nullptr || *address == '\0' || node_token == nullptr) return SOAP_ERR;
  _tptz__GetNode request;
  request.NodeToken = *node_token;
  return session.call(context, soap_call___tptz__GetNode, address, request, answer);
}

int continuous_move(OnvifSession& session, struct soap* context, const char* address,
                    _tptz__ContinuousMove& request) {
  _tptz__ContinuousMoveResponse answer;
  return session.call(context, soap_call___tptz__ContinuousMove, address, request, answer);
}

int stop_motion(OnvifSession& session, const char* address, const std::string& profile_token) {
  bool both = true;
  _tptz__Stop request;
  request.ProfileToken = profile_token;
  request.PanTilt = &both;
  request.Zoom = &both;
  _tptz__StopResponse answer;
  return session.call(session.soap(), soap_call___tptz__Stop, address, request, answer);
}

int stop_motion_v10_as_is(OnvifSession& session, const char* address, const std::string& profile_token) {
  bool both = true;
  tptz1__StopRequest request;
  request.ProfileToken = profile_token;
  request.PanTilt = &both;
  request.Zoom = &both;
  tptz1__StopResponse answer;
  return session.call_as_is(session.soap(), soap_call___tptz1__Stop, address, request, answer);
}

int get_presets_as_is(OnvifSession& session, const char* address, const std::string& profile_token,
                      _tptz__GetPresetsResponse& answer) {
  _tptz__GetPresets request;
  request.ProfileToken = profile_token;
  return session.call_as_is(session.soap(), soap_call___tptz__GetPresets, address, request, answer);
}

int set_preset(OnvifSession& session, struct soap* context, const char* address,
               const std::string& profile_token, const std::string& preset_token) {
  std::string name_text = preset_token;
  std::string token_text = preset_token;
  _tptz__SetPreset request;
  request.ProfileToken = profile_token;
  request.PresetName = &name_text;
  request.PresetToken = &token_text;
  _tptz__SetPresetResponse answer;
  return session.call(context, soap_call___tptz__SetPreset, address, request, answer);
}

int goto_preset(OnvifSession& session, struct soap* context, const char* address,
                const std::string& profile_token, const std::string& preset_token) {
  _tptz__GotoPreset request;
  request.ProfileToken = profile_token;
  request.PresetToken = preset_token;
  _tptz__GotoPresetResponse answer;
  return session.call(context, soap_call___tptz__GotoPreset, address, request, answer);
}

int remove_preset(OnvifSession& session, struct soap* context, const char* address,
                  const std::string& profile_token, const std::string& preset_token) {
  tptz1__RemovePreset request;
  request.ProfileToken = profile_token;
  request.PresetToken = preset_token;
  tptz1__RemovePresetResponse answer;
  return session.call(context, soap_call___tptz1__RemovePreset, address, request, answer);
}

}  // namespace vantel
