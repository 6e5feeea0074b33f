// PTZ presets. Set and goto address a preset by its position in the
// camera's GetPresets list; remove sends the number itself, as decimal
// text, as the preset token.
#include <cstdio>
#include <optional>
#include <string>

#include "camera/ptz_session.h"
#include "camera/working_copy.h"
#include "command/byte_order.h"
#include "command/handlers.h"
#include "command/rifa.h"

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
  _tptz__GetPresets request;
  request.ProfileToken = ptz.profile_token();
  _tptz__GetPresetsResponse answer;
  // No fresh token: GetPresets follows GetProfiles directly and goes with
  // whatever security header the context still holds from it.
  if (soap_call___tptz__GetPresets(ptz.soap(), ptz.ptz_address(), nullptr, &request, answer) != SOAP_OK) {
    return false;
  }
  if (position < 0 || static_cast<size_t>(position) >= answer.Preset.size()) return false;
  const tt__PTZPreset* preset = answer.Preset[static_cast<size_t>(position)];
  if (preset == nullptr || preset->token == nullptr || preset->token->size() >= kPresetTokenSize) return false;
  std::snprintf(token, kPresetTokenSize, "%s", preset->token->c_str());
  printf("ptz (%d) %s \n", position, token);
  return true;
}

}  // namespace

int32_t handle_ptz_preset(uint8_t* payload) {
  const int32_t number = get_be32s(payload + kReqPresetNumber);
  PtzSession ptz(payload);
  if (const std::optional<int32_t> failed = ptz.open()) return *failed;
  PresetToken token;
  if (!find_preset(ptz, number, token)) return kPresetFailed;

  // The listed preset is stored again at the current position, under its
  // own token, and named by that token.
  std::string name_text = token;
  std::string token_text = token;
  _tptz__SetPreset request;
  request.ProfileToken = ptz.profile_token();
  request.PresetName = &name_text;
  request.PresetToken = &token_text;
  _tptz__SetPresetResponse answer;
  int result;
  {
    struct soap copy(*ptz.soap());
    ptz.session().add_token(&copy);
    result = soap_call___tptz__SetPreset(&copy, ptz.ptz_address(), nullptr, &request, answer);
    end_working_copy(&copy);
  }
  ptz.session().end();
  return result;
}

int32_t handle_ptz_gotopreset(uint8_t* payload) {
  const int32_t number = get_be32s(payload + kReqPresetNumber);
  PtzSession ptz(payload);
  if (const std::optional<int32_t> failed = ptz.open()) return *failed;
  PresetToken token;
  if (!find_preset(ptz, number, token)) return kPresetFailed;

  _tptz__GotoPreset request;  // no Speed: the camera's own
  request.ProfileToken = ptz.profile_token();
  request.PresetToken = token;
  _tptz__GotoPresetResponse answer;
  int result;
  {
    struct soap copy(*ptz.soap());
    ptz.session().add_token(&copy);
    result = soap_call___tptz__GotoPreset(&copy, ptz.ptz_address(), nullptr, &request, answer);
    end_working_copy(&copy);
  }
  ptz.session().end();
  return result;
}

int32_t handle_ptz_remove_preset(uint8_t* payload) {
  const int32_t number = get_be32s(payload + kReqPresetNumber);
  PtzSession ptz(payload);
  if (const std::optional<int32_t> failed = ptz.open()) return *failed;

  // Presets are removed through the second profile, unlike every other PTZ
  // request; a camera with one profile has nothing to remove them through.
  const std::vector<tt__Profile*>& profiles = ptz.profiles();
  if (profiles.size() < 2 || profiles[1] == nullptr) return kPresetFailed;
  char number_text[kPresetNumberTextSize];
  std::snprintf(number_text, sizeof number_text, "%d", number);

  tptz1__RemovePreset request;
  request.ProfileToken = profiles[1]->token;
  request.PresetToken = number_text;
  tptz1__RemovePresetResponse answer;
  int result;
  {
    struct soap copy(*ptz.soap());
    ptz.session().add_token(&copy);
    result = soap_call___tptz1__RemovePreset(&copy, ptz.ptz_address(), nullptr, &request, answer);
    end_working_copy(&copy);
  }
  ptz.session().end();
  return result;
}

}  // namespace vantel
