// The command handlers, one per command code (and two for the codec
// change). Each takes the payload buffer (a request on entry, the results on
// return) and returns its result: the reply kind, the value and the line
// after the close. Called by the command server's thread only, one at a
// time: they share the one SOAP context unlocked.
#pragma once

#include <cstdint>

#include "commands/command_result.h"

namespace vantel {

using CommandHandler = CommandResult (*)(uint8_t* payload);

// commands/setup
CommandResult handle_camera_setting(uint8_t* payload);
CommandResult handle_reboot(uint8_t* payload);
CommandResult handle_multiuser(uint8_t* payload);

// commands/stream
CommandResult handle_stream_info(uint8_t* payload);
CommandResult handle_net_codec_list(uint8_t* payload);
CommandResult handle_net_codec_explicit(uint8_t* payload);

// commands/ptz
CommandResult handle_ptz_move(uint8_t* payload);
CommandResult handle_ptz_stop(uint8_t* payload);
CommandResult handle_ptz_preset(uint8_t* payload);
CommandResult handle_ptz_gotopreset(uint8_t* payload);
CommandResult handle_ptz_remove_preset(uint8_t* payload);

}  // namespace vantel
