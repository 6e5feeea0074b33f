// Stream profile query: the camera's maker and model and, for each of its
// two streams, address, codec, size, rates and quality into the block.
#include "camera/services/device_calls.h"
#include "camera/services/media_calls.h"
#include "commands/common/camera_access.h"
#include "commands/common/encoder_config.h"
#include "commands/common/profile_tokens.h"
#include "commands/handlers.h"
#include "log/log.h"
#include "wire/result_block.h"

namespace vantel {
namespace {

constexpr int32_t kStatusStreamUnread = 3;

// One stream's profile, encoder configuration and address into its fields.
// False when any of them could not be read; the fields may then hold part
// of the answer and are cleared by the caller.
bool read_stream(MediaService& media, const std::optional<std::string>& token, ResultBlockView& block,
                 const StreamLayout& stream) {
  if (!token) return false;
  _trt__GetProfileResponse profile;
  if (media.get_profile(*token, profile) != SOAP_OK) return false;
  const tt__VideoEncoderConfiguration* in_profile = profile_encoder(profile);
  if (in_profile == nullptr) return false;
  _trt__GetVideoEncoderConfigurationResponse encoder;
  if (media.get_encoder(in_profile->token, encoder) != SOAP_OK || encoder.Configuration == nullptr) {
    return false;
  }
  const tt__VideoEncoderConfiguration& configuration = *encoder.Configuration;
  fill_stream_settings(block, stream, configuration);
  block.set_u8(stream.codec,
               codec_from_encoding(configuration.Encoding));

  _trt__GetStreamUriResponse uri;
  if (media.get_stream_uri(profile.Profile->token, uri) != SOAP_OK) return false;
  const std::string* text = answered_uri(uri);
  if (text == nullptr) return false;
  block.set_uri(stream.uri, *text);
  return true;
}

// A stream that cannot be read is reported by status 3 and zero fields; the
// other stream is queried all the same.
void query_stream(MediaService& media, const std::optional<std::string>& token, ResultBlockView& block,
                  const StreamLayout& stream) {
  if (read_stream(media, token, block, stream)) return;
  block.set_s32(block::kStatus, kStatusStreamUnread);
  clear_stream_settings(block, stream);
}

int32_t query_streams(uint8_t* payload) {
  ResultBlockView block(payload);
  OnvifSession session(camera_from_block(payload));
  const struct soap* context = session.soap();
  log_printf("ip (%s) port (%d) soap state(%d) version(%d) \n", session.camera().ip_text, session.camera().port,
         static_cast<int>(context->state), static_cast<int>(context->version));
  if (session.get_capabilities() != SOAP_OK) return 0;

  MediaService media(session);
  _trt__GetProfilesResponse profiles;
  media.get_profiles(profiles);
  const ProfileTokens tokens = recorder_profile_tokens(profiles);

  _tds__GetDeviceInformationResponse device;
  DeviceService(session).get_information(device);
  block.set_text(block::kManufacturer, block::kNameFieldSize, device.Manufacturer);
  block.set_text(block::kModel, block::kNameFieldSize, device.Model);

  query_stream(media, tokens.first, block, kFirstStream);
  query_stream(media, tokens.second, block, kSecondStream);
  session.end();
  return 1;
}

}  // namespace

CommandResult handle_stream_info(uint8_t* payload) {
  return result_of(ReplyKind::kAlwaysResult, query_streams(payload), true);
}

}  // namespace vantel
