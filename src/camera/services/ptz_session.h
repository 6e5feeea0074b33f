// The opening shared by the five PTZ commands: capabilities, the test that
// the camera has a PTZ service, and the media profiles whose first token
// every PTZ request names. PTZ handlers only, on the command server's thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "camera/services/onvif_session.h"
#include "camera/services/ptz_calls.h"
#include "camera/services/status.h"
#include "soapH.h"

namespace vantel {

class PtzSession {
 public:
  explicit PtzSession(const CameraAccess& camera);

  // GetCapabilities, the PTZ-available test, a fresh token and GetProfiles.
  // Ok when the command may go on; otherwise it ends with 0 when
  // GetCapabilities failed (its line is printed), with -1 after
  // "[ipcam] ptz disable " or when there is no usable profile list.
  Status open();

  // Valid after open() succeeded, until the session ends.
  OnvifSession& session() { return session_; }
  // The PTZ service on the session's context, or on a working copy of it.
  PtzService service() { return service(session_.soap()); }
  PtzService service(struct soap* context) { return PtzService(session_, context, ptz_address_); }
  // Never empty; the first entry is never null, later ones may be.
  const std::vector<tt__ListedProfile*>& profiles() const { return profiles_.Profiles; }
  const std::string& profile_token() const { return profiles_.Profiles.front()->token; }

 private:
  OnvifSession session_;
  _trt__GetProfilesResponse profiles_;
  const char* ptz_address_ = nullptr;
};

}  // namespace vantel
