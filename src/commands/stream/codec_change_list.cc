// Network codec change, list variant: the first stream is forced to H.264
// at a size from the recorder's list, the second stream to the codec the
// registration found possible, both at sizes picked from the block's lists.
#include "commands/common/encoder_config.h"
#include "commands/common/encoder_push.h"
#include "commands/common/profile_tokens.h"
#include "commands/common/stream_rules.h"
#include "commands/handlers.h"
#include "commands/stream/codec_change.h"
#include "log/log.h"

namespace vantel {
namespace {

bool same_size(const tt__VideoResolution* resolution, const ResultBlockView& block, size_t table,
               size_t index) {
  return resolution != nullptr && resolution->Width == block.option_width(table, index) &&
         resolution->Height == block.option_height(table, index);
}

bool lists_size(const ResultBlockView& block, size_t table, const tt__VideoResolution* resolution) {
  for (size_t i = 0; i < block::kOptionEntries; ++i) {
    if (same_size(resolution, block, table, i)) return true;
  }
  return false;
}

// The first stream as the camera has it after a set: its size, rates and
// quality into the block, then its stream address. False when the profile
// could not be read back.
bool store_first_stream(MediaService& media, const std::string& token, ResultBlockView& block,
                        const char* success_line) {
  _trt__GetProfileResponse profile;
  if (media.get_profile(token, profile) != SOAP_OK) return false;
  const tt__VideoEncoderConfiguration* configuration = profile_encoder(profile);
  if (configuration == nullptr) return false;
  fill_stream_settings(block, kFirstStream, *configuration);
  _trt__GetStreamUriResponse uri;
  media.get_stream_uri(token, uri);
  log_puts(success_line);
  if (const std::string* text = answered_uri(uri)) block.set_uri(block::kFirstUri, *text);
  return true;
}

Status change_first_stream(MediaService& media, const std::optional<std::string>& token,
                           ResultBlockView& block) {
  CurrentEncoder read_back;
  if (!read_current_encoder(media, token, read_back)) return Status::Ok();
  // The size the camera streams now, as its profile shows it.
  const tt__VideoEncoderConfiguration* current = profile_encoder(read_back.profile);
  tt__VideoEncoderConfiguration& configuration = *read_back.configuration;
  struct soap* context = media.context();

  // The recording side only takes H.264 from the first stream.
  if (codec_from_encoding(configuration.Encoding) != kCodecH264) {
    configuration.Encoding = encoding_of_codec(kCodecH264);
    media.set_encoder(&configuration);
  }

  const bool size_listed = lists_size(block, block::kFirstOptions, current->Resolution);
  const size_t nearest = nearest_to_1280(block, block::kFirstOptions);
  h264_of(context, configuration).GovLength = kFirstGovLength;
  if (!size_listed) {
    tt__VideoResolution& resolution = resolution_of(context, configuration);
    resolution.Width = block.option_width(block::kFirstOptions, nearest);
    resolution.Height = block.option_height(block::kFirstOptions, nearest);
  }
  tt__VideoRateControl& rate = rate_control_of(context, configuration);
  const int fps = block.u8(block::kFirstFps);
  rate.FrameRateLimit = fps != 0 ? fps : kDefaultFirstFps;
  if (rate.FrameRateLimit > kFirstFpsForDefaultBitrate) {
    rate.BitrateLimit = kDefaultBitrate;
    block.set_s16(block::kFirstBitrate, kDefaultBitrate);
  } else {
    rate.BitrateLimit = requested_bitrate(block, block::kFirstBitrate);
  }

  switch (push_with_retry(media, &configuration, kSetRetryPause)) {
    case PushResult::kFirstTry:
      // The camera is given the same pause to settle before it is read back.
      pause_for(kSetRetryPause);
      if (!store_first_stream(media, *token, block, "[IP CAMERA SETTING] suc ")) {
        log_puts("[IP CAMERA SETTING] failed ");
        return Status::Ended(0);
      }
      return Status::Ok();
    case PushResult::kRetried:
      // A profile that cannot be read back after the retry leaves the block
      // as it was; the second stream is still changed.
      store_first_stream(media, *token, block, "[IP CAMERA SETTING] suc 2");
      return Status::Ok();
    case PushResult::kRefused:
      break;
  }
  log_puts("[IP CAMERA SETTING] failed ");
  return Status::Ended(0);
}

Status change_second_stream(MediaService& media, const std::optional<std::string>& token,
                            ResultBlockView& block) {
  CurrentEncoder read_back;
  if (!read_current_encoder(media, token, read_back)) return Status::Ok();
  const std::string configuration_token = profile_encoder(read_back.profile)->token;
  tt__VideoEncoderConfiguration& configuration = *read_back.configuration;
  struct soap* context = media.context();

  if (block.s16(block::kRegH264Capable) == 1) {
    configuration.Encoding = encoding_of_codec(kCodecH264);
    h264_of(context, configuration).GovLength = kSecondH264GovLength;
  } else {
    configuration.Encoding = encoding_of_codec(kCodecJpeg);
  }
  const size_t nearest = nearest_to_1280(block, block::kSecondOptions);
  tt__VideoResolution& resolution = resolution_of(context, configuration);
  resolution.Width = block.option_width(block::kSecondOptions, nearest);
  resolution.Height = block.option_height(block::kSecondOptions, nearest);
  log_printf("net codec width(%d) height(%d) \n", resolution.Width, resolution.Height);
  if (frame_rate_limit(configuration) > kSecondFpsAboveCap) {
    tt__VideoRateControl& rate = rate_control_of(context, configuration);
    rate.FrameRateLimit = kSecondFpsCap;
    rate.BitrateLimit = kDefaultBitrate;
    block.set_s16(block::kSecondBitrate, kDefaultBitrate);
    block.set_u8(block::kSecondFps, kSecondFpsCap);
  }

  const PushResult pushed = push_with_retry(media, &configuration, kSetRetryPause);
  SecondStreamReading reading;
  if (pushed == PushResult::kFirstTry) {
    reread_second_stream(media, *token, configuration_token, reading);
    store_second_stream(block, reading);
    store_second_uri(media, *token, block);
    log_second_stream("1)", block);
    return Status::Ok();
  }
  const bool retried = pushed == PushResult::kRetried;
  if (!retried) pause_for(kSetRetryPause);
  reread_second_stream(media, *token, configuration_token, reading);
  if (reading.foreign_encoding()) {
    log_puts("net codec failed ");
    return Status::Ended(0);
  }
  store_second_stream(block, reading);
  if (retried) store_second_uri(media, *token, block);
  log_second_stream("", block);
  if (!retried) log_puts("network codec changed failed ");
  return Status::Ok();
}

int32_t change_both_streams(MediaService& media, const ProfileTokens& tokens, ResultBlockView& block) {
  Status changed = change_first_stream(media, tokens.first, block);
  if (changed.ok()) changed = change_second_stream(media, tokens.second, block);
  return changed.ok() ? 1 : changed.result();
}

}  // namespace

CommandResult handle_net_codec_list(uint8_t* payload) {
  return result_of(ReplyKind::kResultCodecFail, change_codecs(payload, recorder_profile_tokens, change_both_streams));
}

}  // namespace vantel
