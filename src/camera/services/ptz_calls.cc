#include "camera/services/ptz_calls.h"

namespace vantel {
namespace {

// Both Stop versions stop everything that moves.
template <typename Request>
void stop_everything(Request& request, const std::string& profile_token, bool& both) {
  both = true;
  request.ProfileToken = profile_token;
  request.PanTilt = &both;
  request.Zoom = &both;
}

}  // namespace

int PtzService::get_nodes() {
  _tptz__GetNodes request;
  _tptz__GetNodesResponse answer;
  return call(soap_call___tptz__GetNodes, request, answer);
}

int PtzService::get_node(const std::string* node_token, _tptz__GetNodeResponse& answer) {
  if (address_ == nullptr || *address_ == '\0' || node_token == nullptr) return SOAP_ERR;
  _tptz__GetNode request;
  request.NodeToken = *node_token;
  return call(soap_call___tptz__GetNode, request, answer);
}

int PtzService::continuous_move(_tptz__ContinuousMove& request) {
  _tptz__ContinuousMoveResponse answer;
  return call(soap_call___tptz__ContinuousMove, request, answer);
}

int PtzService::stop(const std::string& profile_token) {
  bool both;
  _tptz__Stop request;
  stop_everything(request, profile_token, both);
  _tptz__StopResponse answer;
  return call(soap_call___tptz__Stop, request, answer);
}

int PtzService::stop_v10_as_is(const std::string& profile_token) {
  bool both;
  tptz1__StopRequest request;
  stop_everything(request, profile_token, both);
  tptz1__StopResponse answer;
  return call_as_is(soap_call___tptz1__Stop, request, answer);
}

int PtzService::get_presets_as_is(const std::string& profile_token, _tptz__GetPresetsResponse& answer) {
  _tptz__GetPresets request;
  request.ProfileToken = profile_token;
  return call_as_is(soap_call___tptz__GetPresets, request, answer);
}

int PtzService::set_preset(const std::string& profile_token, const std::string& preset_token) {
  std::string name_text = preset_token;
  std::string token_text = preset_token;
  _tptz__SetPreset request;
  request.ProfileToken = profile_token;
  request.PresetName = &name_text;
  request.PresetToken = &token_text;
  _tptz__SetPresetResponse answer;
  return call(soap_call___tptz__SetPreset, request, answer);
}

int PtzService::goto_preset(const std::string& profile_token, const std::string& preset_token) {
  _tptz__GotoPreset request;
  request.ProfileToken = profile_token;
  request.PresetToken = preset_token;
  _tptz__GotoPresetResponse answer;
  return call(soap_call___tptz__GotoPreset, request, answer);
}

int PtzService::remove_preset(const std::string& profile_token, const std::string& preset_token) {
  tptz1__RemovePreset request;
  request.ProfileToken = profile_token;
  request.PresetToken = preset_token;
  tptz1__RemovePresetResponse answer;
  return call(soap_call___tptz1__RemovePreset, request, answer);
}

}  // namespace vantel
