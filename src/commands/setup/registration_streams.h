// The two halves of camera registration after the camera is identified:
// the recording stream (profile 0, always H.264, with PTZ detection) and
// the network stream (profile 1, JPEG or H.264 as the recorder asks). Only
// the registration handler calls them, on the command server's thread,
// over its open session.
#pragma once

#include <cstdint>
#include <string>

#include "camera/services/media_calls.h"
#include "camera/services/onvif_session.h"
#include "wire/result_block.h"

namespace vantel {

// Detects the PTZ head, pushes the recording settings, and reports the
// stream in the block. 1 when the stream was set up, 0 when profile 0 could
// not be read (before or after the first push).
int32_t set_up_recording_stream(OnvifSession& session, MediaService& media, const std::string& profile_token,
                                const std::string& model, ResultBlockView& block);

// Pushes the requested codec (kCodecJpeg or kCodecH264; anything else keeps
// the camera's encoding) and the viewing settings, and reports the stream.
// Its failures show in the block and the log only.
void set_up_network_stream(MediaService& media, const std::string& profile_token, uint8_t requested_codec,
                           ResultBlockView& block);

// 1 when the camera has a usable PTZ head, 0 otherwise; prints which.
uint8_t detect_ptz(OnvifSession& session, const tt__Profile& recording_profile, const std::string& model);

}  // namespace vantel
