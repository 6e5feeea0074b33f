// vantel: the camera-control daemon of the recorder. Forks once so the
// starting shell returns, then serves the command port from a detached
// thread while the main thread sleeps.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "log/log.h"
#include "supervision/threads.h"

int main() {
  // Standard output is often a file or a pipe on the recorder; every line
  // must be there when printed, not in a buffer that a kill -9 discards.
  setvbuf(stdout, nullptr, _IONBF, 0);

  const pid_t pid = fork();
  if (pid < 0) exit(0);
  if (pid > 0) {
    // No line end, as the recorder has always read it: the child's first
    // line runs on from this text.
    vantel::log_printf("parent process end !");
    exit(0);
  }
  vantel::log_puts("rtsp client create .. \n");
  vantel::daemon_start();
  for (;;) sleep(1);
}
