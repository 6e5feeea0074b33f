// Media-service calls with a fresh token each.
#include "stream/media_calls.h"

namespace vantel {

int MediaService::get_profiles(_trt__GetProfilesResponse& answer) {
  if (address_ == nullptr) return SOAP_ERR;
  _trt__GetProfiles request;
  session_.add_token(context_);
  return soap_call___trt__GetProfiles(context_, address_, nullptr, &request, answer);
}

int MediaService::get_profile(const std::string& token, _trt__GetProfileResponse& answer) {
  if (address_ == nullptr) return SOAP_ERR;
  _trt__GetProfile request;
  request.ProfileToken = token;
  session_.add_token(context_);
  return soap_call___trt__GetProfile(context_, address_, nullptr, &request, answer);
}

int MediaService::get_encoder(const std::string& configuration_token,
                              _trt__GetVideoEncoderConfigurationResponse& answer) {
  if (address_ == nullptr) return SOAP_ERR;
  _trt__GetVideoEncoderConfiguration request;
  request.ConfigurationToken = configuration_token;
  session_.add_token(context_);
  return soap_call___trt__GetVideoEncoderConfiguration(context_, address_, nullptr, &request, answer);
}

int MediaService::set_encoder(tt__VideoEncoderConfiguration* configuration) {
  if (address_ == nullptr) return SOAP_ERR;
  _trt__SetVideoEncoderConfiguration request;
  _trt__SetVideoEncoderConfigurationResponse answer;
  request.Configuration = configuration;
  request.ForcePersistence = true;
  session_.add_token(context_);
  return soap_call___trt__SetVideoEncoderConfiguration(context_, address_, nullptr, &request, answer);
}

int MediaService::get_stream_uri(const std::string& profile_token, _trt__GetStreamUriResponse& answer) {
  if (address_ == nullptr) return SOAP_ERR;
  tt__Transport transport;
  transport.Protocol = tt__TransportProtocol__UDP;
  tt__StreamSetup setup;
  setup.Stream = tt__StreamType__RTP_Unicast;
  setup.Transport = &transport;
  _trt__GetStreamUri request;
  request.StreamSetup = &setup;
  request.ProfileToken = profile_token;
  session_.add_token(context_);
  return soap_call___trt__GetStreamUri(context_, address_, nullptr, &request, answer);
}

int get_device_information(OnvifSession& session, _tds__GetDeviceInformationResponse& answer) {
  _tds__GetDeviceInformation request;
  session.add_token();
  return soap_call___tds__GetDeviceInformation(session.soap(), session.device_address(), nullptr,
                                               &request, answer);
}

const tt__Profile* answered_profile(const _trt__GetProfileResponse& answer) { return answer.Profile; }

tt__VideoEncoderConfiguration* profile_encoder(const _trt__GetProfileResponse& answer) {
  return answer.Profile ? answer.Profile->VideoEncoderConfiguration : nullptr;
}

const std::string* answered_uri(const _trt__GetStreamUriResponse& answer) {
  return answer.MediaUri ? &answer.MediaUri->Uri : nullptr;
}

}  // namespace vantel
