// Process-wide state of the command channel: the payload buffer the server
// hands every handler, and the busy mark. Only the command server's thread
// writes either; the self-watchdog (supervision) reads the busy mark.
#pragma once

#include <cstdint>

#include "wire/rifa.h"

namespace vantel {

// Cleared before each payload is read; its first 480 bytes are the reply's
// result block.
extern uint8_t g_payload[kPayloadSize];

// The major of the command being served, -1 between commands, 0 before the
// first. One aligned 32-bit word: a torn or stale read by the watchdog only
// shifts its count by one poll, so the writer needs no lock. volatile keeps
// the compiler from caching it in either thread's loop.
extern volatile int32_t g_busy_mark;

}  // namespace vantel
