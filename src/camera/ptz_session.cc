#include "camera/ptz_session.h"

#include <cstdio>

namespace vantel {
namespace {

constexpr int32_t kNoPtz = -1;

// Every PTZ request names the first profile.
bool usable(const std::vector<tt__Profile*>& profiles) {
  return !profiles.empty() && profiles.front() != nullptr;
}

}  // namespace

PtzSession::PtzSession(const uint8_t* payload) : session_(camera_from_request(payload)) {}

std::optional<int32_t> PtzSession::open() {
  if (session_.get_capabilities() != SOAP_OK) return 0;

  // A camera without a PTZ element is as fixed as one with an empty address.
  const char* ptz = session_.ptz_address();
  if (ptz == nullptr || *ptz == '\0') {
    puts("[ipcam] ptz disable ");
    return kNoPtz;
  }
  const char* media = session_.media_address();
  if (media == nullptr) return kNoPtz;
  ptz_address_ = ptz;

  _trt__GetProfiles request;
  session_.add_token();
  if (soap_call___trt__GetProfiles(soap(), media, nullptr, &request, profiles_) != SOAP_OK) return kNoPtz;
  if (!usable(profiles_.Profiles)) return kNoPtz;
  return std::nullopt;
}

}  // namespace vantel
