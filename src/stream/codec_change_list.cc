// Network codec change, list variant: the first stream is forced to H.264
// at a size from the recorder's list, the second stream to the codec the
// registration found possible, both at sizes picked from the block's lists.
#include <unistd.h>

#include <cstdio>

#include "command/handlers.h"
#include "stream/codec_change.h"
#include "stream/encoder_config.h"
#include "stream/profile_tokens.h"

namespace vantel {
namespace {

enum class Outcome { kGoOn, kFailed };

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
  puts(success_line);
  if (const std::string* text = answered_uri(uri)) block.set_uri(block::kFirstUri, *text);
  return true;
}

Outcome change_first_stream(MediaService& media, const std::optional<std::string>& token,
                            ResultBlockView& block) {
  if (!token) return Outcome::kGoOn;
  _trt__GetProfileResponse profile;
  _trt__GetVideoEncoderConfigurationResponse encoder;
  tt__VideoEncoderConfiguration* read_back = current_encoder(media, *token, profile, encoder);
  if (read_back == nullptr) return Outcome::kGoOn;
  // The size the camera streams now, as its profile shows it.
  const tt__VideoEncoderConfiguration* current = profile_encoder(profile);
  tt__VideoEncoderConfiguration& configuration = *read_back;
  struct soap* context = media.context();

  // The recording side only takes H.264 from the first stream.
  if (configuration.Encoding != tt__VideoEncoding__H264) {
    configuration.Encoding = tt__VideoEncoding__H264;
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

  if (media.set_encoder(&configuration) == SOAP_OK) {
    sleep(kSetRetryPauseSeconds);
    if (!store_first_stream(media, *token, block, "[IP CAMERA SETTING] suc ")) {
      puts("[IP CAMERA SETTING] failed ");
      return Outcome::kFailed;
    }
    return Outcome::kGoOn;
  }
  sleep(kSetRetryPauseSeconds);
  if (media.set_encoder(&configuration) != SOAP_OK) {
    puts("[IP CAMERA SETTING] failed ");
    return Outcome::kFailed;
  }
  // A profile that cannot be read back after the retry leaves the block as
  // it was; the second stream is still changed.
  store_first_stream(media, *token, block, "[IP CAMERA SETTING] suc 2");
  return Outcome::kGoOn;
}

Outcome change_second_stream(MediaService& media, const std::optional<std::string>& token,
                             ResultBlockView& block) {
  if (!token) return Outcome::kGoOn;
  _trt__GetProfileResponse profile;
  _trt__GetVideoEncoderConfigurationResponse encoder;
  tt__VideoEncoderConfiguration* read_back = current_encoder(media, *token, profile, encoder);
  if (read_back == nullptr) return Outcome::kGoOn;
  const std::string configuration_token = profile_encoder(profile)->token;
  tt__VideoEncoderConfiguration& configuration = *read_back;
  struct soap* context = media.context();

  if (block.s16(block::kRegH264Capable) == 1) {
    configuration.Encoding = tt__VideoEncoding__H264;
    h264_of(context, configuration).GovLength = kSecondH264GovLength;
  } else {
    configuration.Encoding = tt__VideoEncoding__JPEG;
  }
  const size_t nearest = nearest_to_1280(block, block::kSecondOptions);
  tt__VideoResolution& resolution = resolution_of(context, configuration);
  resolution.Width = block.option_width(block::kSecondOptions, nearest);
  resolution.Height = block.option_height(block::kSecondOptions, nearest);
  printf("net codec width(%d) height(%d) \n", resolution.Width, resolution.Height);
  if (frame_rate_limit(configuration) > kSecondFpsAboveCap) {
    tt__VideoRateControl& rate = rate_control_of(context, configuration);
    rate.FrameRateLimit = kSecondFpsCap;
    rate.BitrateLimit = kDefaultBitrate;
    block.set_s16(block::kSecondBitrate, kDefaultBitrate);
    block.set_u8(block::kSecondFps, kSecondFpsCap);
  }

  SecondStreamReading reading;
  if (media.set_encoder(&configuration) == SOAP_OK) {
    reread_second_stream(media, *token, configuration_token, reading);
    store_second_stream(block, reading);
    store_second_uri(media, *token, block);
    log_second_stream("1)", block);
    return Outcome::kGoOn;
  }
  sleep(kSetRetryPauseSeconds);
  const bool retried = media.set_encoder(&configuration) == SOAP_OK;
  if (!retried) sleep(kSetRetryPauseSeconds);
  reread_second_stream(media, *token, configuration_token, reading);
  if (reading.foreign_encoding()) {
    puts("net codec failed ");
    return Outcome::kFailed;
  }
  store_second_stream(block, reading);
  if (retried) store_second_uri(media, *token, block);
  log_second_stream("", block);
  if (!retried) puts("network codec changed failed ");
  return Outcome::kGoOn;
}

}  // namespace

int32_t handle_net_codec_list(uint8_t* payload) {
  ResultBlockView block(payload);
  OnvifSession session(camera_from_block(payload));
  _trt__GetProfilesResponse profiles;
  std::string model;
  if (!open_codec_change(session, block, profiles, model)) return 0;
  const ProfileTokens tokens = recorder_profile_tokens(profiles);
  if (keeps_own_encoders(model)) {
    read_streams_unchanged(session, profiles, model, payload);
    session.end();
    return 0;
  }

  MediaService media(session, session.soap(), session.media_address());
  if (change_first_stream(media, tokens.first, block) == Outcome::kFailed) {
    session.end();
    return 0;
  }
  if (change_second_stream(media, tokens.second, block) == Outcome::kFailed) {
    session.end();
    return 0;
  }
  session.end();
  return 1;
}

}  // namespace vantel
