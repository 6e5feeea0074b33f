#include "camera_api/device_calls.h"

namespace vantel {

int get_device_information(OnvifSession& session, _tds__GetDeviceInformationResponse& answer) {
  _tds__GetDeviceInformation request;
  return session.call(session.soap(), soap_call___tds__GetDeviceInformation, session.device_address(),
                      request, answer);
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
  return session.call(session.soap(), soap_call___tds__SystemReboot, address, request, answer);
}

}  // namespace vantel
