// The media-service calls (profiles, encoder configurations and options,
// stream addresses), each through the session with a fresh UsernameToken.
// Used by the stream and setup commands on the command server's thread.
#pragma once

#include <string>

#include "camera/services/camera_service.h"

namespace vantel {

// One camera's media service at `address`, reached over `context`.
class MediaService : public CameraService {
 public:
  MediaService(OnvifSession& session, struct soap* context, const char* address)
      : CameraService(session, context, address) {}
  // The session's own context at the media address its capabilities named.
  explicit MediaService(OnvifSession& session)
      : MediaService(session, session.soap(), session.media_address()) {}

  int get_profiles(_trt__GetProfilesResponse& answer);
  int get_profile(const std::string& token, _trt__GetProfileResponse& answer);
  int get_encoder(const std::string& configuration_token,
                  _trt__GetVideoEncoderConfigurationResponse& answer);
  // Always with ForcePersistence true: the camera keeps the change over a
  // restart.
  int set_encoder(tt__VideoEncoderConfiguration* configuration);
  // SetVideoEncoderConfiguration of a configuration read from the camera. A
  // configuration the camera never gave (its read failed) is not sent: the
  // push counts as refused.
  int push_encoder(tt__VideoEncoderConfiguration* configuration);
  // Stream type "RTP-Unicast", transport "UDP", no tunnel.
  int get_stream_uri(const std::string& profile_token, _trt__GetStreamUriResponse& answer);
  // GetVideoEncoderConfigurations, empty request.
  int get_encoder_configurations(_trt__GetVideoEncoderConfigurationsResponse& answer);
  // GetVideoEncoderConfigurationOptions for one configuration (nullptr: no
  // token, the camera's choice), or for one profile.
  int get_options_for_configuration(const std::string* configuration_token,
                                    _trt__GetVideoEncoderConfigurationOptionsResponse& answer);
  int get_options_for_profile(const std::string& profile_token,
                              _trt__GetVideoEncoderConfigurationOptionsResponse& answer);
};

// The pieces of an answer the commands use; nullptr when the camera left
// them out (or the call failed).
const tt__Profile* answered_profile(const _trt__GetProfileResponse& answer);
tt__VideoEncoderConfiguration* profile_encoder(const _trt__GetProfileResponse& answer);
const std::string* answered_uri(const _trt__GetStreamUriResponse& answer);
// The token of the first configuration listed, nullptr when there is none.
const std::string* first_configuration_token(const _trt__GetVideoEncoderConfigurationsResponse& answer);

}  // namespace vantel
