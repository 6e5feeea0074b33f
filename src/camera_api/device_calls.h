// The device-service calls besides GetCapabilities (which the session makes
// itself): device information and reboot, each with a fresh UsernameToken.
// Command server thread only.
#pragma once

#include "camera_api/onvif_session.h"

namespace vantel {

// GetDeviceInformation at the device address the session formed.
int get_device_information(OnvifSession& session, _tds__GetDeviceInformationResponse& answer);

// SystemReboot at the device service address named by the capabilities.
int system_reboot(OnvifSession& session);

}  // namespace vantel
