// The parts both codec change variants share.
#include "commands/stream/codec_change.h"

#include "camera/services/device_calls.h"
#include "commands/common/camera_access.h"
#include "commands/common/encoder_config.h"
#include "commands/common/profile_reader.h"
#include "commands/common/stream_rules.h"
#include "log/log.h"

namespace vantel {
namespace {

// One profile stream reader call on its own working copy of the context.
void read_on_copy(OnvifSession& session, const _trt__GetProfilesResponse& profiles, size_t index,
                  uint8_t* payload) {
  session.on_working_copy([&](struct soap* copy) {
    return read_profile_stream(session, copy, profiles, index, session.media_address(), payload);
  });
}

// GetCapabilities, GetProfiles and GetDeviceInformation (maker and model
// into the block). Ends the command with 0 when GetCapabilities failed.
Status open_codec_change(OnvifSession& session, ResultBlockView& block,
                         _trt__GetProfilesResponse& profiles, std::string& model) {
  if (session.get_capabilities() != SOAP_OK) return Status::Ended(0);
  MediaService media(session);
  media.get_profiles(profiles);
  _tds__GetDeviceInformationResponse device;
  DeviceService(session).get_information(device);
  block.set_text(block::kManufacturer, block::kNameFieldSize, device.Manufacturer);
  block.set_text(block::kModel, block::kNameFieldSize, device.Model);
  model = device.Model;
  return Status::Ok();
}

void read_streams_unchanged(OnvifSession& session, const _trt__GetProfilesResponse& profiles,
                            const std::string& model, uint8_t* payload) {
  read_on_copy(session, profiles, 0, payload);
  read_on_copy(session, profiles, kept_recording_profile(model), payload);
}

}  // namespace

int32_t change_codecs(uint8_t* payload, ProfileChoice choose, StreamChange change) {
  ResultBlockView block(payload);
  OnvifSession session(camera_from_block(payload));
  _trt__GetProfilesResponse profiles;
  std::string model;
  const Status opened = open_codec_change(session, block, profiles, model);
  if (!opened.ok()) return opened.result();
  if (keeps_own_encoders(model)) {
    read_streams_unchanged(session, profiles, model, payload);
    session.end();
    return 0;
  }

  MediaService media(session);
  const int32_t result = change(media, choose(profiles), block);
  session.end();
  return result;
}

bool read_current_encoder(MediaService& media, const std::optional<std::string>& token, CurrentEncoder& current) {
  if (!token) return false;
  if (media.get_profile(*token, current.profile) != SOAP_OK) return false;
  const tt__VideoEncoderConfiguration* in_profile = profile_encoder(current.profile);
  if (in_profile == nullptr) return false;
  if (media.get_encoder(in_profile->token, current.encoder) != SOAP_OK) return false;
  current.configuration = current.encoder.Configuration;
  return current.configuration != nullptr;
}

int requested_bitrate(ResultBlockView& block, size_t bitrate_offset) {
  if (block.s16(bitrate_offset) == 0) block.set_s16(bitrate_offset, kDefaultBitrate);
  return block.s16(bitrate_offset);
}

bool SecondStreamReading::foreign_encoding() const {
  if (!encoder_read) return false;
  const StreamCodec codec = codec_from_encoding(encoder.Configuration->Encoding);
  return codec != kCodecH264 && codec != kCodecJpeg;
}

void reread_second_stream(MediaService& media, const std::string& profile_token,
                          const std::string& configuration_token, SecondStreamReading& reading) {
  media.get_profile(profile_token, reading.profile);
  reading.encoder_read = media.get_encoder(configuration_token, reading.encoder) == SOAP_OK &&
                         reading.encoder.Configuration != nullptr;
}

void store_second_stream(ResultBlockView& block, const SecondStreamReading& reading) {
  if (reading.encoder_read) {
    const StreamCodec codec = codec_from_encoding(reading.encoder.Configuration->Encoding);
    if (codec == kCodecH264 || codec == kCodecJpeg) block.set_u8(block::kSecondCodec, codec);
  }
  if (const tt__VideoEncoderConfiguration* configuration = profile_encoder(reading.profile)) {
    fill_stream_settings(block, kSecondStream, *configuration);
  }
}

void store_second_uri(MediaService& media, const std::string& profile_token, ResultBlockView& block) {
  _trt__GetStreamUriResponse answer;
  media.get_stream_uri(profile_token, answer);
  if (const std::string* uri = answered_uri(answer)) block.set_uri(block::kSecondUri, *uri);
}

void log_second_stream(const char* prefix, const ResultBlockView& block) {
  const std::string uri = block.text(block::kSecondUri, block::kUriFieldSize);
  log_printf("%s.second rtsp url : %s  codec (%d)\n", prefix, uri.c_str(), block.u8(block::kSecondCodec));
}

}  // namespace vantel
