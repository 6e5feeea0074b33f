#include "camera/services/device_calls.h"

namespace vantel {

int DeviceService::get_information(_tds__GetDeviceInformationResponse& answer) {
  _tds__GetDeviceInformation request;
  return session_.call(session_.soap(), soap_call___tds__GetDeviceInformation, session_.device_address(),
                       request, answer);
}

int DeviceService::reboot() {
  _tds__SystemReboot request;
  _tds__SystemRebootResponse answer;
  return session_.call(session_.soap(), soap_call___tds__SystemReboot, session_.device_service_address(),
                       request, answer);
}

}  // namespace vantel
