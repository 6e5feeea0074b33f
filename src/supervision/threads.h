// Process start-up: the daemon start that launches the command server and
// the self-watchdog as detached threads. Called once by main's child.
#pragma once

#include <pthread.h>

namespace vantel {

// Creates a detached thread running `routine(argument)` and stores its id in
// `*id`. Returns 1, or -1 when creation reports a negative result.
int spawn_detached(void* (*routine)(void*), void* argument, pthread_t* id);

// Sleeps a second, then starts both threads. Returns 0, or ends the process
// with status 1.
int daemon_start();

}  // namespace vantel
