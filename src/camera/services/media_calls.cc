#include "camera/services/media_calls.h"

namespace vantel {

int MediaService::get_profiles(_trt__GetProfilesResponse& answer) {
  _trt__GetProfiles request;
  return call(soap_call___trt__GetProfiles, request, answer);
}

int MediaService::get_profile(const std::string& token, _trt__GetProfileResponse& answer) {
  _trt__GetProfile request;
  request.ProfileToken = token;
  return call(soap_call___trt__GetProfile, request, answer);
}

int MediaService::get_encoder(const std::string& configuration_token,
                              _trt__GetVideoEncoderConfigurationResponse& answer) {
  _trt__GetVideoEncoderConfiguration request;
  request.ConfigurationToken = configuration_token;
  return call(soap_call___trt__GetVideoEncoderConfiguration, request, answer);
}

int MediaService::set_encoder(tt__VideoEncoderConfiguration* configuration) {
  _trt__SetVideoEncoderConfiguration request;
  _trt__SetVideoEncoderConfigurationResponse answer;
  request.Configuration = configuration;
  request.ForcePersistence = true;
  return call(soap_call___trt__SetVideoEncoderConfiguration, request, answer);
}

int MediaService::push_encoder(tt__VideoEncoderConfiguration* configuration) {
  if (configuration == nullptr) return SOAP_ERR;
  return set_encoder(configuration);
}

int MediaService::get_stream_uri(const std::string& profile_token, _trt__GetStreamUriResponse& answer) {
  tt__Transport transport;
  transport.Protocol = "UDP";
  tt__StreamSetup setup;
  setup.Stream = "RTP-Unicast";
  setup.Transport = &transport;
  _trt__GetStreamUri request;
  request.StreamSetup = &setup;
  request.ProfileToken = profile_token;
  return call(soap_call___trt__GetStreamUri, request, answer);
}

int MediaService::get_encoder_configurations(_trt__GetVideoEncoderConfigurationsResponse& answer) {
  _trt__GetVideoEncoderConfigurations request;
  return call(soap_call___trt__GetVideoEncoderConfigurations, request, answer);
}

int MediaService::get_options_for_configuration(const std::string* configuration_token,
                                                _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  std::string token = configuration_token ? *configuration_token : std::string();
  _trt__GetVideoEncoderConfigurationOptions request;
  if (configuration_token != nullptr) request.ConfigurationToken = &token;
  return call(soap_call___trt__GetVideoEncoderConfigurationOptions, request, answer);
}

int MediaService::get_options_for_profile(const std::string& profile_token,
                                          _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  std::string token = profile_token;
  _trt__GetVideoEncoderConfigurationOptions request;
  request.ProfileToken = &token;
  return call(soap_call___trt__GetVideoEncoderConfigurationOptions, request, answer);
}

const tt__Profile* answered_profile(const _trt__GetProfileResponse& answer) { return answer.Profile; }

tt__VideoEncoderConfiguration* profile_encoder(const _trt__GetProfileResponse& answer) {
  return answer.Profile ? answer.Profile->VideoEncoderConfiguration : nullptr;
}

const std::string* answered_uri(const _trt__GetStreamUriResponse& answer) {
  return answer.MediaUri ? &answer.MediaUri->Uri : nullptr;
}

const std::string* first_configuration_token(const _trt__GetVideoEncoderConfigurationsResponse& answer) {
  if (answer.Configurations.empty() || answer.Configurations.front() == nullptr) return nullptr;
  return &answer.Configurations.front()->token;
}

}  // namespace vantel
