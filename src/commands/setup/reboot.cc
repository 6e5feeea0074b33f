// Camera reboot: ask the camera to restart. Once its capabilities were read
// the command counts as done, whatever the camera says to the reboot.
#include "camera/services/device_calls.h"
#include "commands/common/camera_access.h"
#include "commands/handlers.h"

namespace vantel {
namespace {

int32_t reboot(uint8_t* payload) {
  OnvifSession session(camera_from_request(payload));
  if (session.get_capabilities() != SOAP_OK) return 0;
  DeviceService(session).reboot();
  session.end();
  return 1;
}

}  // namespace

CommandResult handle_reboot(uint8_t* payload) {
  return result_with_line(ReplyKind::kEchoMajor, reboot(payload), "[vantel reboot] ");
}

}  // namespace vantel
