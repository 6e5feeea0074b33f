// The self-watchdog: counts, over the whole life of the process, the
// one-second polls at which a command was in progress, and once that count
// passes 60 restarts the daemon by name. Runs as its own detached thread; it
// only reads the busy mark.
#pragma once

#include <cstdint>

namespace vantel {

constexpr int32_t kWatchdogBusyPollLimit = 60;

// One poll: the counter grows when the busy mark shows a command (any value
// above 0); idle (-1) and "nothing yet" (0) add nothing. Never reset.
inline int32_t watchdog_count(int32_t counter, int32_t busy_mark) {
  return busy_mark > 0 ? counter + 1 : counter;
}

inline bool watchdog_must_restart(int32_t counter) { return counter > kWatchdogBusyPollLimit; }

// Thread routine; never returns.
void* command_watchdog_daemon(void* unused);

}  // namespace vantel
