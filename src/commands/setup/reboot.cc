// Camera reboot: ask the camera to restart. Once its capabilities were read
// the command counts as done, whatever the camera says to the reboot.
#include "commands/handlers.h"
#include "camera_api/device_calls.h"

namespace vantel {

int32_t handle_reboot(uint8_t* payload) {
  OnvifSession session(camera_from_request(payload));
  if (session.get_capabilities() != SOAP_OK) return 0;
  system_reboot(session);
  session.end();
  return 1;
}

}  // namespace vantel
