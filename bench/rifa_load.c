/* The recorder's side: sends one captured RIFA command N times to the
 * daemon, each on a fresh connection, and reads each reply to the end.
 *
 *   rifa_load PORT N COMMAND_FILE      prints "wall_us_per_command mismatches"
 *   rifa_load --capture PORT_FILE FILE listens on a free port (written to
 *                                      PORT_FILE), accepts one connection and
 *                                      saves the command it carries
 *
 * Every reply must equal the first one byte for byte; a command that
 * failed once would show as a mismatch. */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static size_t read_all(int s, unsigned char *buf, size_t size) {
  size_t got = 0;
  while (got < size) {
    ssize_t n = read(s, buf + got, size - got);
    if (n <= 0) break;
    got += (size_t)n;
  }
  return got;
}

static int capture(const char *port_file, const char *path) {
  int l = socket(AF_INET, SOCK_STREAM, 0);
  struct sockaddr_in a = {.sin_family = AF_INET, .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  socklen_t alen = sizeof a;
  if (bind(l, (struct sockaddr *)&a, sizeof a) < 0 || listen(l, 1) < 0 ||
      getsockname(l, (struct sockaddr *)&a, &alen) < 0) { perror("capture"); return 1; }
  char tmp[4096];
  snprintf(tmp, sizeof tmp, "%s.tmp", port_file);
  FILE *pf = fopen(tmp, "w");
  fprintf(pf, "%d\n", ntohs(a.sin_port));
  fclose(pf);
  rename(tmp, port_file);
  int c = accept(l, NULL, NULL);
  unsigned char buf[16 + 4096];
  if (read_all(c, buf, 16) != 16) return 1;
  const size_t size = ((size_t)buf[4] << 24) | ((size_t)buf[5] << 16) | ((size_t)buf[6] << 8) | buf[7];
  if (size > 4096 || read_all(c, buf + 16, size) != size) return 1;
  FILE *f = fopen(path, "wb");
  fwrite(buf, 1, 16 + size, f);
  fclose(f);
  close(c);
  close(l);
  return 0;
}

int main(int argc, char **argv) {
  if (argc == 4 && !strcmp(argv[1], "--capture")) return capture(argv[2], argv[3]);
  if (argc != 4) { fprintf(stderr, "usage: rifa_load PORT N COMMAND_FILE\n"); return 2; }
  const int port = atoi(argv[1]), n = atoi(argv[2]);
  unsigned char command[16 + 4096];
  FILE *f = fopen(argv[3], "rb");
  if (!f) { perror(argv[3]); return 1; }
  const size_t length = fread(command, 1, sizeof command, f);
  fclose(f);
  struct sockaddr_in a = {.sin_family = AF_INET, .sin_port = htons((uint16_t)port),
                          .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  static unsigned char first[8192], reply[8192];
  size_t first_length = 0;
  int mismatches = 0;
  struct timespec t0, t1;
  clock_gettime(CLOCK_MONOTONIC, &t0);
  for (int i = 0; i < n; i++) {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    size_t got = 0;
    if (connect(s, (struct sockaddr *)&a, sizeof a) == 0 && write(s, command, length) == (ssize_t)length) {
      got = read_all(s, reply, sizeof reply);
    }
    close(s);
    if (i == 0) { memcpy(first, reply, got); first_length = got; }
    if (got < 16 || memcmp(reply, "RIFA", 4) != 0 || got != first_length || memcmp(reply, first, got) != 0)
      mismatches++;
  }
  clock_gettime(CLOCK_MONOTONIC, &t1);
  const double us = ((t1.tv_sec - t0.tv_sec) * 1e6 + (t1.tv_nsec - t0.tv_nsec) / 1e3) / n;
  printf("%.1f %d\n", us, mismatches);
  return mismatches ? 1 : 0;
}
