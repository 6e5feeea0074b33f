// Registration's, reboot's and user mode's own camera calls.
#include "setup/setup_calls.h"

namespace vantel {

int get_encoder_configurations(OnvifSession& session, const char* media_address,
                               _trt__GetVideoEncoderConfigurationsResponse& answer) {
  if (media_address == nullptr) return SOAP_ERR;
  _trt__GetVideoEncoderConfigurations request;
  session.add_token();
  return soap_call___trt__GetVideoEncoderConfigurations(session.soap(), media_address, nullptr, &request,
                                                        answer);
}

const std::string* first_configuration_token(const _trt__GetVideoEncoderConfigurationsResponse& answer) {
  if (answer.Configurations.empty() || answer.Configurations.front() == nullptr) return nullptr;
  return &answer.Configurations.front()->token;
}

namespace {

int get_options(OnvifSession& session, const char* media_address,
                _trt__GetVideoEncoderConfigurationOptions& request,
                _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  if (media_address == nullptr) return SOAP_ERR;
  session.add_token();
  return soap_call___trt__GetVideoEncoderConfigurationOptions(session.soap(), media_address, nullptr,
                                                              &request, answer);
}

}  // namespace

int get_options_for_configuration(OnvifSession& session, const char* media_address,
                                  const std::string* configuration_token,
                                  _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  std::string token = configuration_token ? *configuration_token : std::string();
  _trt__GetVideoEncoderConfigurationOptions request;
  if (configuration_token != nullptr) request.ConfigurationToken = &token;
  return get_options(session, media_address, request, answer);
}

int get_options_for_profile(OnvifSession& session, const char* media_address,
                            const std::string& profile_token,
                            _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  std::string token = profile_token;
  _trt__GetVideoEncoderConfigurationOptions request;
  request.ProfileToken = &token;
  return get_options(session, media_address, request, answer);
}

int push_encoder(MediaService& media, tt__VideoEncoderConfiguration* configuration) {
  if (configuration == nullptr) return SOAP_ERR;
  return media.set_encoder(configuration);
}

int get_ptz_nodes(OnvifSession& session) {
  _tptz__GetNodes request;
  _tptz__GetNodesResponse answer;
  session.add_token();
  return soap_call___tptz__GetNodes(session.soap(), session.device_address(), nullptr, &request, answer);
}

int get_ptz_node(OnvifSession& session, const char* ptz_address, const std::string* node_token) {
  if (ptz_address == nullptr || *ptz_address == '\0' || node_token == nullptr) return SOAP_ERR;
  _tptz__GetNode request;
  _tptz__GetNodeResponse answer;
  request.NodeToken = *node_token;
  session.add_token();
  return soap_call___tptz__GetNode(session.soap(), ptz_address, nullptr, &request, answer);
}

int system_reboot(OnvifSession& session) {
  _tds__SystemReboot request;
  _tds__SystemRebootResponse answer;
  // The device service as the camera itself names it; the address we formed
  // from the command stands in when the answer names none.
  const tt__Capabilities* capabilities = session.capabilities();
  const char* address = session.device_address();
  if (capabilities && capabilities->Device && !capabilities->Device->XAddr.empty()) {
    address = capabilities->Device->XAddr.c_str();
  }
  session.add_token();
  return soap_call___tds__SystemReboot(session.soap(), address, nullptr, &request, answer);
}

}  // namespace vantel
