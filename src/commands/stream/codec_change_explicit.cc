// Network codec change, explicit variant: the recorder names the sizes,
// rates, quality and second-stream codec itself, and the camera's first two
// profiles carry them.
#include "commands/common/encoder_config.h"
#include "commands/common/encoder_push.h"
#include "commands/common/profile_tokens.h"
#include "commands/common/stream_rules.h"
#include "commands/handlers.h"
#include "commands/stream/codec_change.h"
#include "log/log.h"

namespace vantel {
namespace {

void change_first_stream(MediaService& media, const std::optional<std::string>& token,
                         ResultBlockView& block) {
  CurrentEncoder current;
  if (!read_current_encoder(media, token, current)) return;
  tt__VideoEncoderConfiguration* configuration = current.configuration;
  struct soap* context = media.context();

  tt__VideoResolution& resolution = resolution_of(context, *configuration);
  resolution.Width = block.s16(block::kFirstWidth);
  resolution.Height = block.s16(block::kFirstHeight);
  tt__VideoRateControl& rate = rate_control_of(context, *configuration);
  rate.FrameRateLimit = block.u8(block::kFirstFps);
  if (rate.FrameRateLimit > kFirstFpsForDefaultBitrate) {
    rate.BitrateLimit = kDefaultBitrate;
    block.set_s16(block::kFirstBitrate, kDefaultBitrate);
  } else {
    rate.BitrateLimit = requested_bitrate(block, block::kFirstBitrate);
  }
  media.set_encoder(configuration);
}

// Sets the encoding the recorder asked for in second_codec; true when that
// changed the camera's encoding.
bool apply_requested_codec(const ResultBlockView& block, tt__VideoEncoderConfiguration& configuration) {
  const uint8_t wanted = block.u8(block::kSecondCodec);
  if (wanted != kCodecH264 && wanted != kCodecJpeg) return false;
  if (codec_from_encoding(configuration.Encoding) == wanted) return false;
  configuration.Encoding = encoding_of_codec(static_cast<StreamCodec>(wanted));
  return true;
}

// The recorder's quality, unless it lies outside its own bounds on both
// sides at once; the two tests are joined by "or" on purpose, so a value
// passing either bound is taken as it is.
float requested_quality(const ResultBlockView& block) {
  const int16_t quality = block.s16(block::kSecondQuality);
  const int16_t lower = block.s16(kSecondStream.quality_range);
  const int16_t upper = block.s16(kSecondStream.quality_range + 2);
  if (lower <= quality || quality <= upper) return quality;
  return kFallbackQuality;
}

void change_second_stream(MediaService& media, const std::optional<std::string>& token,
                          ResultBlockView& block) {
  CurrentEncoder current;
  if (!read_current_encoder(media, token, current)) return;
  tt__VideoEncoderConfiguration* configuration = current.configuration;
  const std::string configuration_token = configuration->token;
  struct soap* context = media.context();

  const bool codec_changed = apply_requested_codec(block, *configuration);
  tt__VideoResolution& resolution = resolution_of(context, *configuration);
  resolution.Width = block.s16(block::kSecondWidth);
  resolution.Height = block.s16(block::kSecondHeight);
  configuration->Quality = requested_quality(block);
  tt__VideoRateControl& rate = rate_control_of(context, *configuration);
  if (block.u8(block::kSecondFps) > kSecondFpsAboveCap) {
    rate.BitrateLimit = kDefaultBitrate;
    block.set_s16(block::kSecondBitrate, kDefaultBitrate);
    block.set_u8(block::kSecondFps, kSecondFpsCap);
  } else {
    rate.BitrateLimit = requested_bitrate(block, block::kSecondBitrate);
  }
  rate.FrameRateLimit = block.u8(block::kSecondFps);

  // Sent once more also when it went through but left the codec as it was.
  const PushResult pushed = push_with_retry(media, configuration, kSetRetryPause, codec_changed);
  SecondStreamReading reading;
  reread_second_stream(media, *token, configuration_token, reading);
  store_second_stream(block, reading);
  if (pushed == PushResult::kFirstTry) {
    store_second_uri(media, *token, block);
    log_second_stream("1)", block);
    return;
  }
  const bool retried = pushed == PushResult::kRetried;
  if (retried) store_second_uri(media, *token, block);
  log_second_stream("", block);
  if (!retried) log_puts("network codec changed failed ");
}

int32_t change_both_streams(MediaService& media, const ProfileTokens& tokens, ResultBlockView& block) {
  change_first_stream(media, tokens.first, block);
  change_second_stream(media, tokens.second, block);
  return 1;
}

}  // namespace

CommandResult handle_net_codec_explicit(uint8_t* payload) {
  return result_of(ReplyKind::kResultCodecFail, change_codecs(payload, first_two_profile_tokens, change_both_streams));
}

}  // namespace vantel
