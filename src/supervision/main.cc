// vantel: the camera-control daemon of the recorder. Forks once so the
// starting shell returns, then serves the command port from a detached
// thread while the main thread sleeps.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "supervision/leak_check.h"
#include "supervision/threads.h"

int main() {
  // Standard output is often a file or a pipe on the recorder; every line
  // must be there when printed, not in a buffer that a kill -9 discards.
  setvbuf(stdout, nullptr, _IONBF, 0);

  const pid_t pid = fork();
  if (pid < 0) exit(0);
  if (pid > 0) {
    printf("parent process end !");
    exit(0);
  }
  puts("rtsp client create .. \n");
  vantel::start_leak_check_hook();
  vantel::daemon_start();
  for (;;) sleep(1);
}
