#include "server/port_limits.h"

#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

#include "config.h"
#include "log/log.h"

namespace vantel {
namespace {

long long now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

ssize_t CommandReads::header(int fd, uint8_t* record, size_t size) {
  if (!kHardened) return read(fd, record, size);
  deadline_ms_ = now_ms() + kCommandReadLimitMs;
  return read_all(fd, record, size, "header");
}

ssize_t CommandReads::payload(int fd, uint8_t* buffer, size_t size) {
  if (!kHardened) return read(fd, buffer, size);
  return read_all(fd, buffer, size, "payload");
}

bool CommandReads::too_many_headers() {
  if (!kHardened || ++headers_without_command_ < kHeadersWithoutCommandLimit) return false;
  log_printf("[hardened] command port: %d headers without a command, connection closed\n", kHeadersWithoutCommandLimit);
  return true;
}

// All `size` bytes or nothing: a peer that closes early ends the read as a
// closed connection does (0), one that is too slow as an error (-1).
ssize_t CommandReads::read_all(int fd, uint8_t* data, size_t size, const char* what) {
  size_t got = 0;
  while (got < size) {
    const long long left = deadline_ms_ - now_ms();
    pollfd ready{fd, POLLIN, 0};
    const int polled = left > 0 ? poll(&ready, 1, static_cast<int>(left)) : 0;
    if (polled < 0 && errno == EINTR) continue;
    if (polled == 0) {
      log_printf("[hardened] command port: %s not complete within %d s (%zu of %zu bytes), connection closed\n", what,
             kCommandReadLimitMs / 1000, got, size);
      return -1;
    }
    const ssize_t n = read(fd, data + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return n;
    got += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(got);
}

uint32_t command_port_address() {
  if (!kHardened) return INADDR_ANY;
  log_printf("[hardened] command port on 127.0.0.1 only\n");
  return INADDR_LOOPBACK;
}

}  // namespace vantel
