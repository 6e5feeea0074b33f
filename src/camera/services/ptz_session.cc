#include "camera/services/ptz_session.h"

#include "camera/services/media_calls.h"
#include "log/log.h"

namespace vantel {
namespace {

constexpr int32_t kNoPtz = -1;

// Every PTZ request names the first profile.
bool usable(const std::vector<tt__ListedProfile*>& profiles) {
  return !profiles.empty() && profiles.front() != nullptr;
}

}  // namespace

PtzSession::PtzSession(const CameraAccess& camera) : session_(camera) {}

Status PtzSession::open() {
  if (session_.get_capabilities() != SOAP_OK) return Status::Ended(0);

  // A camera without a PTZ element is as fixed as one with an empty address.
  const char* ptz = session_.ptz_address();
  if (ptz == nullptr || *ptz == '\0') {
    log_puts("[ipcam] ptz disable ");
    return Status::Ended(kNoPtz);
  }
  const char* media = session_.media_address();
  if (media == nullptr) return Status::Ended(kNoPtz);
  ptz_address_ = ptz;

  if (MediaService(session_).get_profiles(profiles_) != SOAP_OK) return Status::Ended(kNoPtz);
  if (!usable(profiles_.Profiles)) return Status::Ended(kNoPtz);
  return Status::Ok();
}

}  // namespace vantel
