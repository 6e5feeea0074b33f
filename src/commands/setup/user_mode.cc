// User mode: tune the network stream (profile 1) for one viewer or many by
// its H.264 GOP length alone. The recording stream is never touched.
#include "camera/services/media_calls.h"
#include "commands/common/camera_access.h"
#include "commands/common/encoder_config.h"
#include "commands/common/profile_tokens.h"
#include "commands/handlers.h"
#include "log/log.h"
#include "wire/byte_order.h"
#include "wire/request.h"

namespace vantel {
namespace {

constexpr int32_t kSingleUser = 1;
constexpr int kSingleUserGovLength = 10;
constexpr int kMultiUserGovLength = 1;
constexpr size_t kNetworkProfile = 1;

int32_t set_user_mode(uint8_t* payload) {
  const int32_t mode = get_be32s(payload + req::user_mode::kMode);
  OnvifSession session(camera_from_request(payload));
  if (session.get_capabilities() != SOAP_OK) return 0;

  MediaService media(session);
  _trt__GetProfilesResponse profiles;
  media.get_profiles(profiles);
  // A camera without a second profile has no network stream to tune: it is
  // answered like one whose second profile cannot be read.
  const std::optional<std::string> token = profile_token_at(profiles, kNetworkProfile);
  _trt__GetProfileResponse profile;
  if (!token || media.get_profile(*token, profile) != SOAP_OK || answered_profile(profile) == nullptr) {
    log_puts("=> second stream Not Find !!! ");
    return 0;
  }
  const tt__VideoEncoderConfiguration* listed_encoder = profile_encoder(profile);
  if (listed_encoder == nullptr || codec_from_encoding(listed_encoder->Encoding) != kCodecH264) return 0;

  _trt__GetVideoEncoderConfigurationResponse current;
  media.get_encoder(listed_encoder->token, current);
  tt__VideoEncoderConfiguration* configuration = current.Configuration;
  // Nothing to change when the camera did not hand the configuration over.
  if (configuration == nullptr) return 0;
  if (mode == kSingleUser) {
    h264_of(session.soap(), *configuration).GovLength = kSingleUserGovLength;
    log_puts("[single user set]");
  } else {
    h264_of(session.soap(), *configuration).GovLength = kMultiUserGovLength;
    log_puts("[multi user set]");
  }
  const int32_t result = media.set_encoder(configuration) == SOAP_OK ? 1 : 0;
  session.end();
  return result;
}

}  // namespace

CommandResult handle_multiuser(uint8_t* payload) {
  const int32_t result = set_user_mode(payload);
  return result_with_line(ReplyKind::kEchoMajor, result, "[vantel multiuser] (%d)", result);
}

}  // namespace vantel
