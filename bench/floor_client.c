/* The floor: the least any client can do for a command's calls. Sends the
 * request bytes vantel sent (captured once, HTTP headers and all) and reads
 * each answer to its Content-Length: over one connection per round while
 * the camera keeps it open, otherwise over a fresh connection per call.
 *
 *   floor_client PORT ROUNDS REQUEST_FILE...
 *
 * Prints "wall_us CPU_us failures" per round (one round = every file once). */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static double now_us(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

static double cpu_us(void) {
  struct rusage u;
  getrusage(RUSAGE_SELF, &u);
  return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e6 + u.ru_utime.tv_usec + u.ru_stime.tv_usec;
}

int main(int argc, char **argv) {
  if (argc < 4) { fprintf(stderr, "usage: floor_client PORT ROUNDS REQUEST_FILE...\n"); return 2; }
  const int port = atoi(argv[1]), rounds = atoi(argv[2]), count = argc - 3;
  char **data = calloc((size_t)count, sizeof *data);
  size_t *length = calloc((size_t)count, sizeof *length);
  for (int i = 0; i < count; i++) {
    FILE *f = fopen(argv[3 + i], "rb");
    if (!f) { perror(argv[3 + i]); return 1; }
    fseek(f, 0, SEEK_END);
    length[i] = (size_t)ftell(f);
    fseek(f, 0, SEEK_SET);
    data[i] = malloc(length[i]);
    if (fread(data[i], 1, length[i], f) != length[i]) return 1;
    fclose(f);
  }
  struct sockaddr_in a = {.sin_family = AF_INET, .sin_port = htons((uint16_t)port),
                          .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  static char answer[256 * 1024];
  int failures = 0;
  const double wall0 = now_us(), cpu0 = cpu_us();
  for (int r = 0; r < rounds; r++) {
    int s = -1;
    for (int i = 0; i < count; i++) {
      if (s < 0) {
        s = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(s, (struct sockaddr *)&a, sizeof a) < 0) { failures++; close(s); s = -1; continue; }
      }
      for (size_t sent = 0; sent < length[i];) {
        ssize_t w = write(s, data[i] + sent, length[i] - sent);
        if (w <= 0) break;
        sent += (size_t)w;
      }
      size_t got = 0, need = 0;
      while (!need || got < need) {
        ssize_t n = read(s, answer + got, sizeof answer - 1 - got);
        if (n <= 0) break;
        got += (size_t)n;
        answer[got] = '\0';
        const char *end = strstr(answer, "\r\n\r\n");
        const char *cl = strcasestr(answer, "Content-Length:");
        if (!need && end && cl && cl < end) need = (size_t)(end + 4 - answer) + strtoul(cl + 15, NULL, 10);
        if (got == sizeof answer - 1) break;
      }
      answer[got] = '\0';
      if (strncmp(answer, "HTTP/1.1 200", 12) != 0 || !need || got < need) failures++;
      if (!need || got < need || strcasestr(answer, "Connection: close")) { close(s); s = -1; }
    }
    if (s >= 0) close(s);
  }
  printf("%.1f %.1f %d\n", (now_us() - wall0) / rounds, (cpu_us() - cpu0) / rounds, failures);
  return failures ? 1 : 0;
}
