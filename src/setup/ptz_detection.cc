// Whether a camera being registered has a PTZ head the recorder can drive.
#include <cstdio>

#include "setup/registration_streams.h"
#include "setup/setup_calls.h"

namespace vantel {

uint8_t detect_ptz(OnvifSession& session, const tt__Profile& recording_profile, const std::string& model) {
  // The node list is asked at the device address, the node itself at the
  // PTZ address.
  const int listed = get_ptz_nodes(session);
  // A QF2093 is registered without PTZ whatever it reports.
  if (listed != SOAP_OK || model.find("QF2093") != std::string::npos) {
    puts("[ipcam] ptz disable ");
    return 0;
  }
  const tt__PTZConfiguration* ptz = recording_profile.PTZConfiguration;
  if (get_ptz_node(session, session.ptz_address(), ptz ? &ptz->NodeToken : nullptr) == SOAP_OK) {
    puts("[ipcam]. ptz enable ");
    return 1;
  }
  puts("[ipcam]. ptz disable ");
  return 0;
}

}  // namespace vantel
