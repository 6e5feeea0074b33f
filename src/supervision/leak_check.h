// On-demand leak check for the sanitizer build: SIGUSR2 makes the daemon run
// LeakSanitizer while it keeps serving, and print one line with the outcome.
// The daemon is ended with SIGKILL, so LeakSanitizer's own check at exit
// never runs; this is how the tests look for memory lost per command.
// Compiled to nothing in every other build.
#pragma once

namespace vantel {

// Call once, before any other thread is created: the signal is blocked in
// every thread and taken only by the hook's own thread.
void start_leak_check_hook();

}  // namespace vantel
