#include "supervision/watchdog.h"

#include <unistd.h>

#include <cstdlib>

#include "log/log.h"
#include "server/command_state.h"

// A test build shortens the poll and points the start command at a stand-in;
// the recorder's build uses the values below.
#ifndef VANTEL_WATCHDOG_POLL_US
#define VANTEL_WATCHDOG_POLL_US 1000000
#endif
#ifndef VANTEL_INSTALL_PATH
#define VANTEL_INSTALL_PATH "/mnt/nvr/vantel"
#endif

namespace vantel {
namespace {

constexpr useconds_t kPollUs = VANTEL_WATCHDOG_POLL_US;
// Two polls between the kill and the start.
constexpr useconds_t kRestartPauseUs = 2 * kPollUs;
constexpr const char* kKillCommand = "killall -9 vantel";
constexpr const char* kStartCommand = VANTEL_INSTALL_PATH;

// usleep takes at most a second on some systems; sleep whole seconds apart.
void pause_us(useconds_t us) {
  if (us >= 1000000) sleep(us / 1000000);
  if (us % 1000000) usleep(us % 1000000);
}

// The kill names the daemon's own process name, so it reaches the process
// that runs it as well; whatever survives starts a fresh instance.
void restart_sequence() {
  log_puts("[vantel] self watchdog start ");
  system(kKillCommand);
  system(kKillCommand);
  pause_us(kRestartPauseUs);
  system(kStartCommand);
}

}  // namespace

void* command_watchdog_daemon(void*) {
  int32_t counter = 0;
  for (;;) {
    counter = watchdog_count(counter, g_busy_mark);
    if (watchdog_must_restart(counter)) restart_sequence();
    pause_us(kPollUs);
  }
}

}  // namespace vantel
