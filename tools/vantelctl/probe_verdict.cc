#include "probe_verdict.h"

#include "commands/common/stream_rules.h"
#include "wire/result_block.h"

namespace vantelctl {
namespace {

using Facts = CameraFacts;

const ProfileFacts* profile_at(const Facts& f, size_t index) {
  return index < f.profiles.size() ? &f.profiles[index] : nullptr;
}

const ProfileFacts* profile_named(const Facts& f, const std::optional<std::string>& token) {
  if (!token) return nullptr;
  for (const ProfileFacts& p : f.profiles) {
    if (p.token == *token) return &p;
  }
  return nullptr;
}

std::string ordinal(size_t index) {
  static const char* const kNames[] = {"first", "second", "third"};
  return index < 3 ? kNames[index] : std::to_string(index + 1) + "th";
}

std::string media_missing(const Facts& f) {
  if (!f.media) return "no media service";
  if (!f.profiles_read) return "GetProfiles failed";
  return "";
}

// Registration reads and sets the first two profiles (a model that keeps
// its encoders: the first and its recording profile).
std::string registration(const Facts& f) {
  if (std::string why = media_missing(f); !why.empty()) return why;
  if (f.profiles.size() < 2) {
    return "needs two media profiles, the camera lists " + std::to_string(f.profiles.size());
  }
  if (!f.profiles[0].encoder) return "the first profile has no video encoder";
  if (vantel::keeps_own_encoders(f.model)) {
    const size_t recording = vantel::kept_recording_profile(f.model);
    const ProfileFacts* p = profile_at(f, recording);
    if (p == nullptr || !p->encoder) return "the " + ordinal(recording) + " profile has no video encoder";
  }
  return "";
}

std::string stream_unread(const Facts& f, const std::optional<std::string>& token, const char* stream) {
  const ProfileFacts* p = profile_named(f, token);
  if (p == nullptr) {
    return std::string("no profile for the ") + stream + " stream" + (token ? " (token " + *token + ")" : "");
  }
  if (!p->encoder) return "profile " + p->token + " has no video encoder";
  if (!p->uri) return "no stream address for profile " + p->token;
  return "";
}

std::string stream_query(const Facts& f) {
  if (std::string why = media_missing(f); !why.empty()) return why;
  if (std::string why = stream_unread(f, f.first_stream, "first"); !why.empty()) return why;
  return stream_unread(f, f.second_stream, "second");
}

std::string codec_change(const Facts& f, bool list_variant) {
  if (vantel::keeps_own_encoders(f.model)) return "the " + f.model + " keeps its own encoders: they are only read";
  // The list variant makes the first stream H.264 before anything else.
  const ProfileFacts* first = profile_named(f, f.first_stream);
  if (list_variant && first != nullptr && first->encoder && !f.first_stream_h264) {
    return "the first stream cannot be made H.264: its options list none";
  }
  return "";
}

// What every PTZ command opens with: the service, the profiles and the
// first profile's PTZ configuration.
std::string ptz_missing(const Facts& f) {
  if (!f.ptz) return "no PTZ service";
  if (std::string why = media_missing(f); !why.empty()) return why;
  if (f.profiles.empty()) return "no media profile";
  if (!f.profiles[0].ptz) return "the first profile has no PTZ configuration";
  return "";
}

std::string ptz_move(const Facts& f) {
  if (std::string why = ptz_missing(f); !why.empty()) return why;
  if (!f.pan_tilt) return "the PTZ node gives no continuous pan/tilt velocities: only a stop is sent";
  return "";
}

std::string listed_preset(const Facts& f) {
  if (std::string why = ptz_missing(f); !why.empty()) return why;
  if (!f.presets_read) return "GetPresets failed";
  if (f.presets == 0) return "the camera lists no presets";
  if (!f.first_preset_fits) return "preset tokens longer than 19 characters";
  return "";
}

std::string preset_removal(const Facts& f) {
  if (std::string why = ptz_missing(f); !why.empty()) return why;
  // Presets are removed through the second profile.
  const ProfileFacts* second = profile_at(f, 1);
  if (second == nullptr) return "no second media profile";
  if (!second->ptz) return "the second profile has no PTZ configuration";
  if (f.presets_read && f.presets == 0) return "the camera lists no presets";
  if (f.presets_read && !f.numbered_presets) return "no preset token is a plain number, the way removal names a preset";
  return "";
}

// User mode sets the GOP length of the second profile's H.264 stream.
std::string user_mode(const Facts& f) {
  if (std::string why = media_missing(f); !why.empty()) return why;
  const ProfileFacts* second = profile_at(f, 1);
  if (second == nullptr) return "no second media profile";
  if (!second->encoder) return "the second profile has no video encoder";
  if (vantel::codec_from_encoding(second->encoding) != vantel::kCodecH264) {
    return "the second profile streams " + second->encoding + ", and user mode tunes H.264 only";
  }
  return "";
}

}  // namespace

std::vector<CommandVerdict> judge(const CameraFacts& f) {
  std::vector<CommandVerdict> verdicts = {
      {"camera-setting", registration(f)}, {"stream-info", stream_query(f)},
      {"net-codec", codec_change(f, true)}, {"net-codec --explicit", codec_change(f, false)},
      {"ptz-move", ptz_move(f)},           {"ptz-stop", ptz_missing(f)},
      {"ptz-preset", listed_preset(f)},     {"ptz-goto", listed_preset(f)},
      {"ptz-remove", preset_removal(f)},    {"reboot", ""},
      {"multiuser", user_mode(f)}};
  if (f.stage != Facts::Stage::kAnswered) {
    for (CommandVerdict& v : verdicts) v.why = f.why;
  }
  return verdicts;
}

int exit_status(const CameraFacts& f, const std::vector<CommandVerdict>& verdicts) {
  if (f.stage == Facts::Stage::kNotReached || f.stage == Facts::Stage::kRefused) return 2;
  for (const CommandVerdict& v : verdicts) {
    if (!v.why.empty()) return 1;
  }
  return 0;
}

std::string verdict_text(const CameraFacts& f, const std::vector<CommandVerdict>& verdicts) {
  if (f.stage != Facts::Stage::kAnswered) return "no command would work: " + f.why;
  std::string work, fail;
  for (const CommandVerdict& v : verdicts) {
    if (v.why.empty()) {
      work += (work.empty() ? "" : ", ") + std::string(v.command);
    } else {
      fail += (fail.empty() ? "" : ", ") + std::string(v.command) + " (" + v.why + ")";
    }
  }
  if (fail.empty()) return "every command would work: " + work;
  if (work.empty()) return "no command would work: " + fail;
  return "would work: " + work + "; would not: " + fail;
}

}  // namespace vantelctl
