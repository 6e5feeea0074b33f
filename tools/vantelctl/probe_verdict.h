// Which of the recorder's commands would work with a camera, judged from
// what `vantelctl probe` read of it, by the same needs the daemon's command
// handlers have: each command would fail for the first need it finds unmet.
// Pure functions over plain data; client only, any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vantelctl {

struct ProfileFacts {
  std::string token;
  bool encoder = false;  // names a video encoder configuration
  std::string encoding;  // as the camera names it
  bool ptz = false;      // names a PTZ configuration
  bool uri = false;      // GetStreamUri gave an address
};

struct CameraFacts {
  enum class Stage {
    kNotReached,       // no answer, a redirect not followed, a TLS failure
    kRefused,          // the login was refused
    kNoCapabilities,   // it answered, but GetCapabilities failed
    kAnswered,
  };
  Stage stage = Stage::kNotReached;
  std::string why;    // what went wrong, for the first three stages
  std::string model;  // GetDeviceInformation's, empty when unread
  bool media = false;
  bool profiles_read = false;  // GetProfiles answered
  std::vector<ProfileFacts> profiles;
  // The profiles the stream query reads for the recorder's two streams.
  std::optional<std::string> first_stream, second_stream;
  // The first stream's encoder options list H.264 (the codec change sets it).
  bool first_stream_h264 = false;
  bool ptz = false;       // a PTZ service at an address that is not empty
  bool pan_tilt = false;  // the first profile's node gives continuous pan/tilt velocities
  bool presets_read = false;
  size_t presets = 0;
  bool first_preset_fits = false;  // its token is short enough for a preset request
  bool numbered_presets = false;   // some preset's token is a number, as removal names presets
};

struct CommandVerdict {
  const char* command;  // as vantelctl names it
  std::string why;      // empty: it would work
};

// One verdict per command, in vantelctl's order.
std::vector<CommandVerdict> judge(const CameraFacts& facts);

// 0: every command would work; 1: some would not; 2: the camera was not
// reached or refused the login.
int exit_status(const CameraFacts& facts, const std::vector<CommandVerdict>& verdicts);

// "would work: a, b; would not: c (why), d (why)", or the stage's reason.
std::string verdict_text(const CameraFacts& facts, const std::vector<CommandVerdict>& verdicts);

}  // namespace vantelctl
