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
  return session.call(session.soap(), soap_call___tds__SystemReboot, session.device_service_address(), request,
                      answer);
}

}  // namespace vantel
