// The camera calls that only registration, reboot and user mode make:
// encoder option look-ups, PTZ node discovery and the device reboot. Each
// puts a fresh UsernameToken on the session's context first. Command server
// thread only.
#pragma once

#include <string>

#include "camera/onvif_session.h"
#include "stream/media_calls.h"

namespace vantel {

// GetVideoEncoderConfigurations, empty request, at the media service.
// Without a media address nothing is sent and the result is SOAP_ERR, like
// the calls of MediaService.
int get_encoder_configurations(OnvifSession& session, const char* media_address,
                               _trt__GetVideoEncoderConfigurationsResponse& answer);

// The token of the first configuration of such an answer, nullptr when the
// camera listed none.
const std::string* first_configuration_token(const _trt__GetVideoEncoderConfigurationsResponse& answer);

// GetVideoEncoderConfigurationOptions for one configuration (nullptr: no
// token, the camera's choice), or for one profile.
int get_options_for_configuration(OnvifSession& session, const char* media_address,
                                  const std::string* configuration_token,
                                  _trt__GetVideoEncoderConfigurationOptionsResponse& answer);
int get_options_for_profile(OnvifSession& session, const char* media_address,
                            const std::string& profile_token,
                            _trt__GetVideoEncoderConfigurationOptionsResponse& answer);

// SetVideoEncoderConfiguration of a configuration read from the camera. A
// configuration the camera never gave (its read failed) is not sent: the
// push counts as refused.
int push_encoder(MediaService& media, tt__VideoEncoderConfiguration* configuration);

// PTZ ver20 GetNodes, sent to the device service address.
int get_ptz_nodes(OnvifSession& session);
// PTZ ver20 GetNode at `ptz_address`. Without an address or a node token
// there is nothing to ask: SOAP_ERR, no call.
int get_ptz_node(OnvifSession& session, const char* ptz_address, const std::string* node_token);

// SystemReboot at the device service address named by the capabilities.
int system_reboot(OnvifSession& session);

}  // namespace vantel
