// The PTZ-service calls (ver20 "tptz" and the two ver10 "tptz1" ones), each
// on the context it is given: the session's own or a working copy. All but
// the two named "as_is" put a fresh UsernameToken first. Command server
// thread only.
#pragma once

#include <string>

#include "camera_api/onvif_session.h"

namespace vantel {

// GetNodes, sent to the device service address: cameras answer it there
// too, and the recorder has always asked it there.
int get_ptz_nodes(OnvifSession& session);
// GetNode at `address`. Without an address or a node token there is
// nothing to ask: SOAP_ERR, no call.
int get_ptz_node(OnvifSession& session, struct soap* context, const char* address,
                 const std::string* node_token, _tptz__GetNodeResponse& answer);

int continuous_move(OnvifSession& session, struct soap* context, const char* address,
                    _tptz__ContinuousMove& request);
// Stop of pan, tilt and zoom (ver20), on the session's context.
int stop_motion(OnvifSession& session, const char* address, const std::string& profile_token);
// Stop (ver10) with the security header of the call before it.
int stop_motion_v10_as_is(OnvifSession& session, const char* address, const std::string& profile_token);

// GetPresets with the security header of the call before it.
int get_presets_as_is(OnvifSession& session, const char* address, const std::string& profile_token,
                      _tptz__GetPresetsResponse& answer);
// SetPreset under `preset_token`, named by the same text.
int set_preset(OnvifSession& session, struct soap* context, const char* address,
               const std::string& profile_token, const std::string& preset_token);
// GotoPreset without a speed: the camera's own.
int goto_preset(OnvifSession& session, struct soap* context, const char* address,
                const std::string& profile_token, const std::string& preset_token);
// RemovePreset (ver10).
int remove_preset(OnvifSession& session, struct soap* context, const char* address,
                  const std::string& profile_token, const std::string& preset_token);

}  // namespace vantel
