// The opening shared by the five PTZ commands: capabilities, the test that
// the camera has a PTZ service, and the media profiles whose first token
// every PTZ request names. Command server thread only, like OnvifSession.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "camera/onvif_session.h"
#include "soapH.h"

namespace vantel {

class PtzSession {
 public:
  // The camera named by the CameraRequest prefix of `payload`.
  explicit PtzSession(const uint8_t* payload);

  // GetCapabilities, the PTZ-available test, a fresh token and GetProfiles.
  // Empty when the command may go on; otherwise the command's result:
  // 0 when GetCapabilities failed (its line is printed), -1 after
  // "[ipcam] ptz disable " or when there is no usable profile list.
  std::optional<int32_t> open();

  // Valid after open() succeeded, until the session ends.
  OnvifSession& session() { return session_; }
  struct soap* soap() { return session_.soap(); }
  const char* ptz_address() const { return ptz_address_; }
  // Never empty; the first entry is never null, later ones may be.
  const std::vector<tt__Profile*>& profiles() const { return profiles_.Profiles; }
  const std::string& profile_token() const { return profiles_.Profiles.front()->token; }

 private:
  OnvifSession session_;
  _trt__GetProfilesResponse profiles_;
  const char* ptz_address_ = nullptr;
};

}  // namespace vantel
