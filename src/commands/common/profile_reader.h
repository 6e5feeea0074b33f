// The profile stream reader: fills one stream's fields of the result block
// from one media profile of a GetProfiles answer. Shared by the codec change
// and registration (the models that keep their encoders), command server
// thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "camera/services/onvif_session.h"

namespace vantel {

// Reads profile `index` of `profiles` with GetProfile (and its stream URI
// with GetStreamUri) on `context` (the process's context or a working copy
// of it; `session` supplies the credentials) at `media_address`. Index 0
// fills the second stream as JPEG, any other index the first stream as
// H.264. Returns 1 when the profile was read, 0 when not (nothing written).
int read_profile_stream(OnvifSession& session, struct soap* context,
                        const _trt__GetProfilesResponse& profiles, size_t index,
                        const char* media_address, uint8_t* payload);

}  // namespace vantel
