// Whether a camera being registered has a PTZ head the recorder can drive.
#include "camera/services/ptz_calls.h"
#include "commands/setup/registration_streams.h"
#include "log/log.h"

namespace vantel {

uint8_t detect_ptz(OnvifSession& session, const tt__Profile& recording_profile, const std::string& model) {
  // The node list is asked at the device address, the node itself at the
  // PTZ address.
  const int listed = PtzService(session, session.soap(), session.device_address()).get_nodes();
  // A QF2093 is registered without PTZ whatever it reports.
  if (listed != SOAP_OK || model.find("QF2093") != std::string::npos) {
    log_puts("[ipcam] ptz disable ");
    return 0;
  }
  const tt__PTZConfiguration* ptz = recording_profile.PTZConfiguration;
  _tptz__GetNodeResponse node;
  PtzService service(session, session.soap(), session.ptz_address());
  if (service.get_node(ptz ? &ptz->NodeToken : nullptr, node) == SOAP_OK) {
    log_puts("[ipcam]. ptz enable ");
    return 1;
  }
  log_puts("[ipcam]. ptz disable ");
  return 0;
}

}  // namespace vantel
