// Profile tokens of the two streams.
#include "commands/common/profile_tokens.h"

namespace vantel {

std::optional<std::string> profile_token_at(const _trt__GetProfilesResponse& profiles, size_t index) {
  if (index >= profiles.Profiles.size() || profiles.Profiles[index] == nullptr) return std::nullopt;
  return profiles.Profiles[index]->token;
}

ProfileTokens recorder_profile_tokens(const _trt__GetProfilesResponse& profiles) {
  const std::optional<std::string> first = profile_token_at(profiles, 0);
  if (first == "0") return {"0", "1"};
  if (first == "Profile1") return {"Profile1", "Profile2"};
  if (first == "h264") return {"h264", "jpeg"};
  return first_two_profile_tokens(profiles);
}

ProfileTokens first_two_profile_tokens(const _trt__GetProfilesResponse& profiles) {
  return {profile_token_at(profiles, 0), profile_token_at(profiles, 1)};
}

}  // namespace vantel
