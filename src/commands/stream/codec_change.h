// What the two variants of the network codec change share: the opening
// conversation (capabilities, profiles, device information), the road of the
// models whose encoders are left alone, and the re-read of the second stream
// after a change. Only the two codec change handlers call it.
#pragma once

#include <chrono>
#include <string>

#include "camera/services/media_calls.h"
#include "camera/services/onvif_session.h"
#include "camera/services/status.h"
#include "commands/common/profile_tokens.h"
#include "wire/result_block.h"

namespace vantel {

// Values the recorder falls back to when the request leaves them at 0 or a
// stream runs faster than the recorder can take over the network.
constexpr int kDefaultBitrate = 4000;
constexpr int kDefaultFirstFps = 6;
constexpr float kFallbackQuality = 50.0f;
constexpr int kFirstGovLength = 30;
constexpr int kSecondH264GovLength = 1;
constexpr int kSecondFpsCap = 15;
// Above these frame rates the recorder caps the stream (first: bit rate to
// the default; second: frame rate to kSecondFpsCap and bit rate to the
// default).
constexpr int kFirstFpsForDefaultBitrate = 20;
constexpr int kSecondFpsAboveCap = 14;
// A rejected set is sent once more after this pause.
constexpr std::chrono::seconds kSetRetryPause{1};

// A variant's choice of the two profiles, and its change of their streams;
// the change's value ends the command.
using ProfileChoice = ProfileTokens (*)(const _trt__GetProfilesResponse& profiles);
using StreamChange = int32_t (*)(MediaService& media, const ProfileTokens& tokens, ResultBlockView& block);

// Either variant, start to end: GetCapabilities (0 when it fails),
// GetProfiles and GetDeviceInformation (maker and model into the block);
// then the models that keep their encoders only have their streams read
// (0), and every other camera gets `change` on the profiles `choose` picks.
int32_t change_codecs(uint8_t* payload, ProfileChoice choose, StreamChange change);

// A profile's encoder configuration as the camera reads it back directly:
// GetProfile, then GetVideoEncoderConfiguration with the token of the
// profile's configuration. Both answers are kept.
struct CurrentEncoder {
  _trt__GetProfileResponse profile;
  _trt__GetVideoEncoderConfigurationResponse encoder;
  tt__VideoEncoderConfiguration* configuration = nullptr;
};
// False, with nothing asked, without a token; false when any step fails.
bool read_current_encoder(MediaService& media, const std::optional<std::string>& token, CurrentEncoder& current);

// The bit rate the block asks for, a 0 replaced by the default in the block
// first.
int requested_bitrate(ResultBlockView& block, size_t bitrate_offset);

// The second stream as the camera has it after a set.
struct SecondStreamReading {
  _trt__GetProfileResponse profile;
  _trt__GetVideoEncoderConfigurationResponse encoder;
  bool encoder_read = false;

  // The configuration re-read directly holds an encoding the recorder
  // cannot take on the network stream (neither H.264 nor JPEG).
  bool foreign_encoding() const;
};
void reread_second_stream(MediaService& media, const std::string& profile_token,
                          const std::string& configuration_token, SecondStreamReading& reading);
// second_codec from the re-read encoding (H.264 or JPEG; any other leaves
// the byte), then the second stream's size, rates and quality from the
// re-read profile.
void store_second_stream(ResultBlockView& block, const SecondStreamReading& reading);
// GetStreamUri for the profile and its 50 bytes into second_uri.
void store_second_uri(MediaService& media, const std::string& profile_token, ResultBlockView& block);
// "%s  codec (%d)" with the second_uri the block holds (at most its 50
// bytes, terminated or not) and second_codec; `prefix` is "1)" after a
// first-try set and "" otherwise.
void log_second_stream(const char* prefix, const ResultBlockView& block);

}  // namespace vantel
