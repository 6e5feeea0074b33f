// The profile stream reader: one media profile into one stream's fields.
#include "commands/common/profile_reader.h"

#include "camera/services/media_calls.h"
#include "commands/common/encoder_config.h"
#include "commands/common/profile_tokens.h"
#include "commands/common/stream_rules.h"
#include "wire/result_block.h"

namespace vantel {

int read_profile_stream(OnvifSession& session, struct soap* context,
                        const _trt__GetProfilesResponse& profiles, size_t index,
                        const char* media_address, uint8_t* payload) {
  const std::optional<std::string> token = profile_token_at(profiles, index);
  if (!token) return 0;

  MediaService media(session, context, media_address);
  _trt__GetProfileResponse answer;
  if (media.get_profile(*token, answer) != SOAP_OK) return 0;
  const tt__VideoEncoderConfiguration* configuration = profile_encoder(answer);
  if (configuration == nullptr) return 0;

  // Index 0 is the camera's secondary profile and feeds the second stream,
  // which the recorder always runs as JPEG; any other index feeds the main
  // H.264 stream.
  const bool second = index == 0;
  const StreamLayout& stream = second ? kSecondStream : kFirstStream;
  ResultBlockView block(payload);

  block.set_u8(stream.flag, 0);
  fill_stream_settings(block, stream, *configuration);
  block.set_u8(stream.codec, second ? kCodecJpeg : kCodecH264);
  if (second) {
    block.set_range(stream.fps_range, kSecondFpsLower, kSecondFpsUpper);
    block.set_range(stream.quality_range, kSecondQualityLower, kSecondQualityUpper);
  } else {
    block.set_range(stream.fps_range, kFirstFpsLower, kFirstFpsUpper);
  }
  block.set_range(stream.bitrate_range, kBitrateLower, kBitrateUpper);

  _trt__GetStreamUriResponse uri;
  media.get_stream_uri(answer.Profile->token, uri);
  if (const std::string* text = answered_uri(uri)) block.set_uri(stream.uri, *text);

  if (second) {
    block.set_range(stream.fps_range, kSecondFpsLower, kSecondFpsUpper);
    block.set_range(stream.bitrate_range, kBitrateLower, kBitrateUpper);
  }
  block.clear(stream.options, block::kOptionTableSize);
  return 1;
}

}  // namespace vantel
