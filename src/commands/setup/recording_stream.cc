// Registration of the recording stream: profile 0 becomes H.264 at 8 fps
// and 4000 kbit/s, then takes the recordable size nearest to 1280 wide with
// a GOP of 30.
#include <chrono>
#include <vector>

#include "commands/common/encoder_config.h"
#include "commands/common/encoder_push.h"
#include "commands/common/stream_rules.h"
#include "commands/setup/registration_streams.h"
#include "commands/setup/resolution_table.h"
#include "log/log.h"

namespace vantel {
namespace {

constexpr int kRecordingFps = 8;
constexpr int kRecordingBitrate = 4000;  // kbit/s
constexpr int kRecordingGovLength = 30;

// A refused recording push is tried once more after `pause`.
void push_recording(MediaService& media, tt__VideoEncoderConfiguration* configuration,
                    std::chrono::milliseconds pause) {
  switch (push_with_retry(media, configuration, pause, true, "H.264 Recording setting failed ")) {
    case PushResult::kFirstTry: break;
    case PushResult::kRetried: log_puts("H.264 Recording setting suc. "); break;
    case PushResult::kRefused: log_puts("H.264 Recording setting failed again"); break;
  }
}

const tt__H264Options* h264_options(const _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  return answer.Options ? answer.Options->H264 : nullptr;
}

const tt__JpegOptions* jpeg_options(const _trt__GetVideoEncoderConfigurationOptionsResponse& answer) {
  return answer.Options ? answer.Options->JPEG : nullptr;
}

// First push: H.264 at the recording rate and bit rate, into `read` as the
// camera handed it over; nullptr when it did not.
tt__VideoEncoderConfiguration* push_h264(MediaService& media, const std::string& encoder_token,
                                         _trt__GetVideoEncoderConfigurationResponse& read) {
  media.get_encoder(encoder_token, read);
  tt__VideoEncoderConfiguration* recording = read.Configuration;
  if (recording != nullptr) {
    recording->Encoding = encoding_of_codec(kCodecH264);
    rate_control_of(media.context(), *recording).FrameRateLimit = kRecordingFps;
    rate_control_of(media.context(), *recording).BitrateLimit = kRecordingBitrate;
  }
  push_recording(media, recording, std::chrono::seconds(1));
  return recording;
}

// The frame-rate range and the recordable H.264 sizes; the index of the size
// nearest to 1280 wide. A camera still in JPEG is switched to H.264 once
// more, and its H.264 sizes are taken as far as its JPEG list goes.
size_t read_recording_sizes(MediaService& media, StreamCodec settled_codec,
                            tt__VideoEncoderConfiguration* recording, ResultBlockView& block) {
  _trt__GetVideoEncoderConfigurationsResponse configurations;
  media.get_encoder_configurations(configurations);
  _trt__GetVideoEncoderConfigurationOptionsResponse options;
  media.get_options_for_configuration(first_configuration_token(configurations), options);
  block.set_u8(block::kSetupState, 1);
  block.set_range(kFirstStream.bitrate_range, kBitrateLower, kBitrateUpper);
  const tt__H264Options* h264 = h264_options(options);
  if (h264 != nullptr && h264->FrameRateRange != nullptr) {
    block.set_range(kFirstStream.fps_range, low16_field(h264->FrameRateRange->Min),
                    low16_field(h264->FrameRateRange->Max));
  }

  block.clear(block::kFirstOptions, block::kOptionTableSize);
  static const std::vector<tt__VideoResolution*> kNone;
  const std::vector<tt__VideoResolution*>& h264_sizes = h264 ? h264->ResolutionsAvailable : kNone;
  if (settled_codec == kCodecH264) {
    fill_first_options(block, h264_sizes, h264_sizes.size());
  } else if (settled_codec == kCodecJpeg) {
    if (recording != nullptr) recording->Encoding = encoding_of_codec(kCodecH264);
    media.push_encoder(recording);
    const tt__JpegOptions* jpeg = jpeg_options(options);
    fill_first_options(block, h264_sizes, jpeg ? jpeg->ResolutionsAvailable.size() : 0);
  }
  return nearest_to_1280(block, block::kFirstOptions);
}

// Second push: the chosen size and the recording GOP.
void push_recording_size(MediaService& media, const std::string& encoder_token, int16_t width, int16_t height,
                         ResultBlockView& block) {
  struct soap* context = media.context();
  _trt__GetVideoEncoderConfigurationResponse second_read;
  media.get_encoder(encoder_token, second_read);
  tt__VideoEncoderConfiguration* sized = second_read.Configuration;
  if (sized != nullptr) {
    resolution_of(context, *sized).Width = width;
    resolution_of(context, *sized).Height = height;
    if (codec_from_encoding(sized->Encoding) == kCodecH264) h264_of(context, *sized).GovLength = kRecordingGovLength;
  }
  block.set_s16(block::kFirstWidth, width);
  block.set_s16(block::kFirstHeight, height);
  log_printf("[rec]\trec width(%d) height(%d) \n", width, height);
  push_recording(media, sized, std::chrono::milliseconds(50));
}

}  // namespace

int32_t set_up_recording_stream(OnvifSession& session, MediaService& media, const std::string& profile_token,
                                const std::string& model, ResultBlockView& block) {
  _trt__GetProfileResponse profile;
  const int found = media.get_profile(profile_token, profile);
  const tt__VideoEncoderConfiguration* listed_encoder = profile_encoder(profile);
  if (found != SOAP_OK || listed_encoder == nullptr) {
    block.clear(block::kFirstUri, block::kUriFieldSize);
    log_puts("=> Profile 0 Not Find !!! ");
    return 0;
  }
  const std::string encoder_token = listed_encoder->token;

  block.set_u8(block::kPtzPresent, detect_ptz(session, *profile.Profile, model));

  block.clear(block::kFirstUri, block::kUriFieldSize);
  _trt__GetVideoEncoderConfigurationResponse first_read;
  tt__VideoEncoderConfiguration* recording = push_h264(media, encoder_token, first_read);

  // What the camera runs now.
  _trt__GetProfileResponse settled_profile;
  const int reread = media.get_profile(profile_token, settled_profile);
  const tt__VideoEncoderConfiguration* settled = profile_encoder(settled_profile);
  if (reread != SOAP_OK || settled == nullptr) {
    log_puts("=> err !!! ");
    return 0;
  }
  block.set_u8(block::kFirstFlag, resolution_class(settled->Resolution));
  fill_stream_settings(block, kFirstStream, *settled);

  const size_t chosen = read_recording_sizes(media, codec_from_encoding(settled->Encoding), recording, block);
  const int16_t width = block.option_width(block::kFirstOptions, chosen);
  const int16_t height = block.option_height(block::kFirstOptions, chosen);

  _trt__GetStreamUriResponse uri;
  media.get_stream_uri(profile_token, uri);
  block.set_u8(block::kFirstCodec, kCodecH264);
  if (const std::string* text = answered_uri(uri)) block.set_uri(block::kFirstUri, *text);

  push_recording_size(media, encoder_token, width, height, block);
  block.set_s16(block::kRegOne, 1);
  block.set_s16(block::kRegZero, 0);
  return 1;
}

}  // namespace vantel
