// The command handlers, one per command code (and two for the codec
// change). Each takes the payload buffer (a request on entry, the results on
// return) and returns a signed 32-bit result. Called by the command server's
// thread only, one at a time: they share the one SOAP context unlocked.
#pragma once

#include <cstdint>

namespace vantel {

using CommandHandler = int32_t (*)(uint8_t* payload);

// commands/setup
int32_t handle_camera_setting(uint8_t* payload);
int32_t handle_reboot(uint8_t* payload);
int32_t handle_multiuser(uint8_t* payload);

// commands/stream
int32_t handle_stream_info(uint8_t* payload);
int32_t handle_net_codec_list(uint8_t* payload);
int32_t handle_net_codec_explicit(uint8_t* payload);

// commands/ptz
int32_t handle_ptz_move(uint8_t* payload);
int32_t handle_ptz_stop(uint8_t* payload);
int32_t handle_ptz_preset(uint8_t* payload);
int32_t handle_ptz_gotopreset(uint8_t* payload);
int32_t handle_ptz_remove_preset(uint8_t* payload);

}  // namespace vantel
