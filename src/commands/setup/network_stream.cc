// Registration of the network stream: profile 1 gets the codec the recorder
// asked for at 6 fps, then the size nearest to 1280 wide at quality 50 (GOP
// 1 in H.264), and is reported with its ranges and size table.
#include <chrono>

#include "commands/common/encoder_config.h"
#include "commands/common/encoder_push.h"
#include "commands/common/stream_rules.h"
#include "commands/setup/registration_streams.h"
#include "commands/setup/resolution_table.h"
#include "log/log.h"

namespace vantel {
namespace {

constexpr int kNetworkFps = 6;
constexpr float kNetworkQuality = 50.0f;
constexpr int kNetworkGovLength = 1;

void set_fixed_ranges(ResultBlockView& block) {
  block.set_range(kSecondStream.fps_range, kSecondFpsLower, kSecondFpsUpper);
  block.set_range(kSecondStream.bitrate_range, kBitrateLower, kBitrateUpper);
}

// The stream as the recorder lists it after a refused codec push.
void forget_network_settings(ResultBlockView& block) {
  block.set_u8(block::kSecondFps, 0);
  block.set_s16(block::kSecondBitrate, 0);
  block.set_u8(block::kSecondFlag, 0);
  block.set_s16(block::kSecondQuality, 0);
  block.clear(block::kSecondUri, block::kUriFieldSize);
}

// Only MPEG-4 differs from the stream-codec byte: the recorder files it as 0.
void report_codec(ResultBlockView& block, StreamCodec codec) {
  switch (codec) {
    case kCodecMpeg4:
      block.set_u8(block::kSecondCodec, kCodecUnknown);
      break;
    case kCodecJpeg:
      block.set_u8(block::kSecondCodec, kCodecJpeg);
      block.set_u8(block::kSetupState, 2);
      break;
    case kCodecH264:
      block.set_u8(block::kSecondCodec, kCodecH264);
      block.set_u8(block::kSetupState, 2);
      break;
    default:
      block.set_u8(block::kSetupState, 2);
      break;
  }
}

// second_options from the list of the stream's own encoding; any other
// encoding leaves the table empty.
void fill_network_sizes(ResultBlockView& block, StreamCodec codec,
                        const _trt__GetVideoEncoderConfigurationOptionsResponse& options) {
  block.clear(block::kSecondOptions, block::kOptionTableSize);
  const tt__VideoEncoderConfigurationOptions* o = options.Options;
  if (o == nullptr) return;
  if (codec == kCodecJpeg && o->JPEG != nullptr) {
    fill_second_options(block, o->JPEG->ResolutionsAvailable);
  } else if (codec == kCodecH264 && o->H264 != nullptr) {
    fill_second_options(block, o->H264->ResolutionsAvailable);
  }
}

// Codec push: the requested codec at the network frame rate, retried once.
// A push refused twice leaves the stream reported with its settings cleared.
void push_requested_codec(MediaService& media, const std::string& encoder_token, uint8_t requested_codec,
                          ResultBlockView& block) {
  _trt__GetVideoEncoderConfigurationResponse first_read;
  media.get_encoder(encoder_token, first_read);
  tt__VideoEncoderConfiguration* coded = first_read.Configuration;
  if (coded != nullptr) {
    if (requested_codec == kCodecJpeg || requested_codec == kCodecH264) {
      coded->Encoding = encoding_of_codec(static_cast<StreamCodec>(requested_codec));
    }
    rate_control_of(media.context(), *coded).FrameRateLimit = kNetworkFps;
  }
  const PushResult pushed = push_with_retry(media, coded, std::chrono::seconds(1));
  if (pushed != PushResult::kFirstTry) {
    forget_network_settings(block);
    log_puts("codec changed try again ");
    log_puts(pushed == PushResult::kRetried ? "codec changed suc " : "codec changed failed ");
  }
}

// The stream as the camera runs it after the codec push, with its address.
void report_settled_stream(MediaService& media, const std::string& profile_token,
                           const tt__VideoEncoderConfiguration& settled, ResultBlockView& block) {
  set_fixed_ranges(block);
  block.set_range(kSecondStream.quality_range, kSecondQualityLower, kSecondQualityUpper);
  block.set_u8(block::kSecondFlag, resolution_class(settled.Resolution));
  fill_stream_settings(block, kSecondStream, settled);

  _trt__GetStreamUriResponse uri;
  media.get_stream_uri(profile_token, uri);
  report_codec(block, codec_from_encoding(settled.Encoding));
  if (const std::string* text = answered_uri(uri)) block.set_uri(block::kSecondUri, *text);
}

// The camera's quality range and size list for the stream; the index of the
// listed size nearest to 1280 wide.
size_t read_network_options(MediaService& media, const std::string& profile_token, StreamCodec codec,
                            ResultBlockView& block) {
  _trt__GetVideoEncoderConfigurationsResponse configurations;
  media.get_encoder_configurations(configurations);
  _trt__GetVideoEncoderConfigurationOptionsResponse options;
  media.get_options_for_profile(profile_token, options);
  if (options.Options != nullptr && options.Options->QualityRange != nullptr) {
    block.set_range(kSecondStream.quality_range, low16_field(options.Options->QualityRange->Min),
                    low16_field(options.Options->QualityRange->Max));
  }
  set_fixed_ranges(block);
  fill_network_sizes(block, codec, options);
  return nearest_to_1280(block, block::kSecondOptions);
}

// Viewing push: the chosen size, quality 50, and GOP 1 in H.264. Not retried;
// the size asked for stays reported although the camera refused it.
void push_viewing_settings(MediaService& media, const std::string& encoder_token,
                           const std::string& profile_token, size_t chosen, ResultBlockView& block) {
  const int16_t width = block.option_width(block::kSecondOptions, chosen);
  const int16_t height = block.option_height(block::kSecondOptions, chosen);
  struct soap* context = media.context();
  _trt__GetVideoEncoderConfigurationResponse second_read;
  media.get_encoder(encoder_token, second_read);
  tt__VideoEncoderConfiguration* viewed = second_read.Configuration;
  log_printf(" changed ==>>\tnet width(%d) height(%d) \n", width, height);
  if (viewed != nullptr) {
    viewed->Quality = kNetworkQuality;
    resolution_of(context, *viewed).Width = width;
    resolution_of(context, *viewed).Height = height;
    if (codec_from_encoding(viewed->Encoding) == kCodecH264) h264_of(context, *viewed).GovLength = kNetworkGovLength;
  }
  block.set_s16(block::kSecondWidth, width);
  block.set_s16(block::kSecondHeight, height);
  if (media.push_encoder(viewed) != SOAP_OK) {
    _trt__GetVideoEncoderConfigurationOptionsResponse unused;
    media.get_options_for_profile(profile_token, unused);
    log_puts("net setup failed ");
  }
}

}  // namespace

void set_up_network_stream(MediaService& media, const std::string& profile_token, uint8_t requested_codec,
                           ResultBlockView& block) {
  block.set_u8(block::kReserved275, 0);
  _trt__GetProfileResponse profile;
  const int found = media.get_profile(profile_token, profile);
  block.clear(block::kSecondUri, block::kUriFieldSize);
  const tt__VideoEncoderConfiguration* listed_encoder = profile_encoder(profile);
  if (found != SOAP_OK || listed_encoder == nullptr) {
    block.set_u8(block::kSecondCodec, requested_codec);
    log_puts("=> Profile 1 Not Find !!! ");
    return;
  }
  const std::string encoder_token = listed_encoder->token;

  push_requested_codec(media, encoder_token, requested_codec, block);

  // What the camera runs now.
  _trt__GetProfileResponse settled_profile;
  const int reread = media.get_profile(profile_token, settled_profile);
  const tt__VideoEncoderConfiguration* settled = profile_encoder(settled_profile);
  const bool jpeg = settled != nullptr && codec_from_encoding(settled->Encoding) == kCodecJpeg;
  block.set_s16(block::kRegJpegCapable, jpeg ? 1 : 0);
  block.set_s16(block::kRegH264Capable, 0);
  if (reread != SOAP_OK || settled == nullptr) {
    log_puts("=> Profile 1 Not Support ( MPEG4 ) !!! ");
    return;
  }
  report_settled_stream(media, profile_token, *settled, block);

  const size_t chosen = read_network_options(media, profile_token, codec_from_encoding(settled->Encoding), block);
  push_viewing_settings(media, encoder_token, profile_token, chosen, block);

  // The recorder offers both codecs for the network stream of every camera
  // it registers, whatever the options listed.
  block.set_s16(block::kRegJpegCapable, 1);
  log_puts("jpeg enable ");
  block.set_s16(block::kRegH264Capable, 1);
  log_puts("h.264 enable ");
}

}  // namespace vantel
