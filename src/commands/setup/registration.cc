// Camera registration: identify the camera, then set up its recording
// stream (profile 0) and its network stream (profile 1), reporting both in
// the result block. The XR-410 and XR-520 are only read, never changed.
#include <string>

#include "camera/services/device_calls.h"
#include "camera/services/media_calls.h"
#include "commands/common/camera_access.h"
#include "commands/common/profile_reader.h"
#include "commands/common/profile_tokens.h"
#include "commands/common/stream_rules.h"
#include "commands/handlers.h"
#include "commands/setup/registration_streams.h"
#include "log/log.h"
#include "wire/result_block.h"

namespace vantel {
namespace {

// Both streams of a model that keeps its encoders are read through the
// profile stream reader, each on a working copy of the context.
int32_t read_fixed_streams(OnvifSession& session, const _trt__GetProfilesResponse& profiles,
                           const std::string& model, uint8_t* payload) {
  const int first = session.on_working_copy([&](struct soap* copy) {
    return read_profile_stream(session, copy, profiles, 0, session.media_address(), payload);
  });
  if (first == 0) return 0;
  const int second = session.on_working_copy([&](struct soap* copy) {
    return read_profile_stream(session, copy, profiles, kept_recording_profile(model),
                               session.media_address(), payload);
  });
  ResultBlockView(payload).set_u8(block::kSetupState, 2);
  return second != 0 ? 1 : 0;
}

int32_t set_up_camera(uint8_t* payload) {
  ResultBlockView block(payload);
  uint8_t requested_codec = block.u8(block::kSecondCodec);
  if (requested_codec == kCodecUnknown) {
    requested_codec = kCodecJpeg;
    block.set_u8(block::kSecondCodec, requested_codec);
  }

  // Registering is the recorder's deliberate act of setting a camera up
  // (or up again, after it was replaced): nothing learned before holds.
  OnvifSession session(camera_from_block(payload), CameraBook::Meeting::kFirst);
  if (session.add_token() != SOAP_OK) return 0;
  if (session.get_capabilities() != SOAP_OK) return 0;

  MediaService media(session);
  _trt__GetProfilesResponse profiles;
  const int listed = media.get_profiles(profiles);
  // The recorder needs both a recording and a network stream: a camera with
  // fewer profiles is as unusable as one that does not answer.
  const ProfileTokens tokens = first_two_profile_tokens(profiles);
  if (listed != SOAP_OK || !tokens.first || !tokens.second) {
    log_puts("IP CAM ERROR, CHECK IP CAMERA !! ");
    return 0;
  }

  _tds__GetDeviceInformationResponse device;
  DeviceService(session).get_information(device);
  // The two labels are crossed, and the recorder reads these lines by their
  // labels: the model under "Came name", the maker under "Model name".
  log_printf("==>> Came\tname (%s) \n", device.Model.c_str());
  log_printf("==>> Model  name (%s) \n", device.Manufacturer.c_str());
  block.set_text(block::kManufacturer, block::kNameFieldSize, device.Manufacturer);
  block.set_text(block::kModel, block::kNameFieldSize, device.Model);

  if (keeps_own_encoders(device.Model)) {
    const int32_t result = read_fixed_streams(session, profiles, device.Model, payload);
    session.end();
    return result;
  }

  const int32_t result = set_up_recording_stream(session, media, *tokens.first, device.Model, block);
  set_up_network_stream(media, *tokens.second, requested_codec, block);
  session.end();
  return result;
}

}  // namespace

CommandResult handle_camera_setting(uint8_t* payload) {
  const int32_t result = set_up_camera(payload);
  // The outcome also reaches the block: status 1 done, 3 failed.
  ResultBlockView(payload).set_s32(block::kStatus, result != 0 ? 1 : 3);
  return result_of(ReplyKind::kSettingOkFail, result, true);
}

}  // namespace vantel
