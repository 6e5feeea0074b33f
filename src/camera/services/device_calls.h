// The device-service calls besides GetCapabilities (which the session makes
// itself): device information and reboot, each with a fresh UsernameToken,
// on the session's own context. Command server thread only.
#pragma once

#include "camera/services/onvif_session.h"

namespace vantel {

class DeviceService {
 public:
  explicit DeviceService(OnvifSession& session) : session_(session) {}

  // GetDeviceInformation at the device address the session formed.
  int get_information(_tds__GetDeviceInformationResponse& answer);
  // SystemReboot at the device service address named by the capabilities.
  int reboot();

 private:
  OnvifSession& session_;
};

}  // namespace vantel
