// The daemon's command table: each command code with the handler that
// carries it out, and the reply made from the handler's result. Looked up
// once per command, on the command server's thread.
#pragma once

#include <cstdint>

#include "commands/handlers.h"
#include "wire/rifa.h"

namespace vantel {

struct Command {
  uint32_t major;
  CommandHandler handler;
  // Run instead when the request's minor equals its major (the codec
  // change with the recorder's own settings).
  CommandHandler when_minor_is_major;
};

// Exact comparison with the ten codes; nullptr for an unknown major.
const Command* command_for(uint32_t major);

// The reply header to a request `major` whose handler returned `result`.
RifaHeader reply_to(uint32_t major, const CommandResult& result);

}  // namespace vantel
