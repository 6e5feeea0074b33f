// Which media profiles carry the recorder's two streams: the tokens taken
// from a GetProfiles answer. Pure functions over the answer; used by the
// stream query, the codec change and registration.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "soapH.h"

namespace vantel {

struct ProfileTokens {
  std::optional<std::string> first;   // empty: no profile for the first stream
  std::optional<std::string> second;  // empty: no profile for the second stream
};

// The token of profile `index`, or nothing when the answer has no such
// profile.
std::optional<std::string> profile_token_at(const _trt__GetProfilesResponse& profiles, size_t index);

// Cameras that name their profiles in well-known pairs get the pair, found
// from the first profile's token ("0"/"1", "Profile1"/"Profile2",
// "h264"/"jpeg"), whether or not the camera has the second one; any other
// camera the tokens of its first two profiles.
ProfileTokens recorder_profile_tokens(const _trt__GetProfilesResponse& profiles);

// The tokens of the first two profiles, as they stand.
ProfileTokens first_two_profile_tokens(const _trt__GetProfilesResponse& profiles);

}  // namespace vantel
