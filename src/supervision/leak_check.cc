#include "supervision/leak_check.h"

#ifdef VANTEL_LEAK_CHECK_HOOK
#include <pthread.h>
#include <sanitizer/lsan_interface.h>
#include <signal.h>

#include "log/log.h"
#endif

namespace vantel {

#ifdef VANTEL_LEAK_CHECK_HOOK
namespace {

sigset_t leak_check_signal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGUSR2);
  return set;
}

// The check runs here rather than in a signal handler: LeakSanitizer stops
// every other thread and takes the allocator's locks, which a handler could
// interrupt halfway.
void* leak_check_thread(void*) {
  const sigset_t set = leak_check_signal();
  for (;;) {
    int signal_number = 0;
    if (sigwait(&set, &signal_number) != 0) continue;
    const int leaked = __lsan_do_recoverable_leak_check();
    log_printf("[leak check] %s\n", leaked ? "leaks found" : "clean");
  }
  return nullptr;
}

}  // namespace

void start_leak_check_hook() {
  const sigset_t set = leak_check_signal();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, leak_check_thread, nullptr) == 0) pthread_detach(thread);
}
#else
void start_leak_check_hook() {}
#endif

}  // namespace vantel
