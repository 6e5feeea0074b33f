// PTZ presets. Set and goto address a preset by its position in the
// camera's GetPresets list; remove sends the number itself, as decimal
// text, as the preset token. The two numberings differ because the
// recorder's own preset numbers have always been used so: its set and goto
// keys count list entries from 0, its remove key names the camera's token.
#include <cstdio>
#include <string>

#include "camera/services/ptz_calls.h"
#include "camera/services/ptz_session.h"
#include "commands/common/camera_access.h"
#include "commands/handlers.h"
#include "log/log.h"
#include "wire/byte_order.h"
#include "wire/request.h"

namespace vantel {
namespace {

constexpr int32_t kPresetFailed = -1;

// Preset tokens of up to 19 characters.
constexpr size_t kPresetTokenSize = 20;
// Any 32-bit number as "%d": sign, ten digits, terminator.
constexpr size_t kPresetNumberTextSize = 12;

using PresetToken = char[kPresetTokenSize];

// GetPresets, then the token of the preset at `position` of the list and the
// line naming it. False, with nothing printed, when the list cannot be read,
// the position is outside it, or the preset has no token that fits.
bool find_preset(PtzSession& ptz, int32_t position, PresetToken& token) {
  _tptz__GetPresetsResponse answer;
  // No fresh token: GetPresets follows GetProfiles directly and goes with
  // whatever security header the context still holds from it.
  if (ptz.service().get_presets_as_is(ptz.profile_token(), answer) != SOAP_OK) {
    return false;
  }
  if (position < 0 || static_cast<size_t>(position) >= answer.Preset.size()) return false;
  const tt__PTZPreset* preset = answer.Preset[static_cast<size_t>(position)];
  if (preset == nullptr || preset->token == nullptr || preset->token->size() >= kPresetTokenSize) return false;
  std::snprintf(token, kPresetTokenSize, "%s", preset->token->c_str());
  log_printf("ptz (%d) %s \n", position, token);
  return true;
}

using PresetCall = int (PtzService::*)(const std::string& profile_token, const std::string& preset_token);

// Set and goto: the preset at the listed position, named by its token.
int32_t on_listed_preset(uint8_t* payload, PresetCall call) {
  const int32_t number = get_be32s(payload + req::preset::kNumber);
  PtzSession ptz(camera_from_request(payload));
  const Status opened = ptz.open();
  if (!opened.ok()) return opened.result();
  PresetToken token;
  if (!find_preset(ptz, number, token)) return kPresetFailed;

  const int result = ptz.session().on_working_copy([&](struct soap* copy) {
    return (ptz.service(copy).*call)(ptz.profile_token(), token);
  });
  ptz.session().end();
  return result;
}

int32_t remove_numbered_preset(uint8_t* payload) {
  const int32_t number = get_be32s(payload + req::preset::kNumber);
  PtzSession ptz(camera_from_request(payload));
  const Status opened = ptz.open();
  if (!opened.ok()) return opened.result();

  // Presets are removed through the second profile, unlike every other PTZ
  // request; a camera with one profile has nothing to remove them through.
  const std::vector<tt__ListedProfile*>& profiles = ptz.profiles();
  if (profiles.size() < 2 || profiles[1] == nullptr) return kPresetFailed;
  char number_text[kPresetNumberTextSize];
  std::snprintf(number_text, sizeof number_text, "%d", number);

  const int result = ptz.session().on_working_copy([&](struct soap* copy) {
    return ptz.service(copy).remove_preset(profiles[1]->token, number_text);
  });
  ptz.session().end();
  return result;
}

}  // namespace

CommandResult handle_ptz_preset(uint8_t* payload) {
  log_puts("[vantel ptz] ");
  // The listed preset is stored again at the current position, under its
  // own token, and named by that token.
  return result_with_line(ReplyKind::kEchoMajor, on_listed_preset(payload, &PtzService::set_preset),
                          "[vantel ptz] ptz preset ");
}

CommandResult handle_ptz_gotopreset(uint8_t* payload) {
  return result_with_line(ReplyKind::kEchoMajor, on_listed_preset(payload, &PtzService::goto_preset),
                          "[vantel ptz] ptz gotopreset ");
}

CommandResult handle_ptz_remove_preset(uint8_t* payload) {
  return result_with_line(ReplyKind::kEchoMajor, remove_numbered_preset(payload), "[vantel ptz] ptz remove preset ");
}

}  // namespace vantel
