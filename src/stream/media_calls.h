// The media-service calls of the stream commands (query, codec change,
// registration): each adds a fresh UsernameToken to its context before the
// call, so no request goes out with a used nonce. Command server thread only.
#pragma once

#include <string>

#include "camera/onvif_session.h"

namespace vantel {

// One camera's media service, reached over `context`: the session's own
// context or a working copy of it (the session supplies the credentials).
// A camera whose capabilities named no media service gets no call at all:
// every operation then fails with SOAP_ERR.
class MediaService {
 public:
  MediaService(OnvifSession& session, struct soap* context, const char* address)
      : session_(session), context_(context), address_(address) {}

  struct soap* context() const { return context_; }

  int get_profiles(_trt__GetProfilesResponse& answer);
  int get_profile(const std::string& token, _trt__GetProfileResponse& answer);
  int get_encoder(const std::string& configuration_token,
                  _trt__GetVideoEncoderConfigurationResponse& answer);
  // Always with ForcePersistence true: the camera keeps the change over a
  // restart.
  int set_encoder(tt__VideoEncoderConfiguration* configuration);
  // Stream type "RTP-Unicast", transport "UDP", no tunnel.
  int get_stream_uri(const std::string& profile_token, _trt__GetStreamUriResponse& answer);

 private:
  OnvifSession& session_;
  struct soap* context_;
  const char* address_;
};

// The device information of the camera (token first), at the device address.
int get_device_information(OnvifSession& session, _tds__GetDeviceInformationResponse& answer);

// The pieces of an answer the stream commands use; nullptr when the camera
// left them out (or the call failed).
const tt__Profile* answered_profile(const _trt__GetProfileResponse& answer);
tt__VideoEncoderConfiguration* profile_encoder(const _trt__GetProfileResponse& answer);
const std::string* answered_uri(const _trt__GetStreamUriResponse& answer);

}  // namespace vantel
