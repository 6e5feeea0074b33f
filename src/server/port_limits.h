// The command port's reads, with the limits of the hardened build
// (VANTEL_HARDENED) for recorders on untrusted networks. The default build
// reads as the server always has: one read call for the header, one for the
// payload, no time limit, any number of headers per connection, the port on
// every interface. The hardened build waits at most 5 s for a header and its
// whole payload together (looping over short reads), closes a connection
// after 16 headers that were not a command, and listens on loopback only
// (the recorder's application runs on the same board). Each limit prints
// one line when it acts; the connection then ends as a failed read does.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace vantel {

constexpr int kCommandReadLimitMs = 5000;
constexpr int kHeadersWithoutCommandLimit = 16;

class CommandReads {
 public:
  // The header of the next request; starts its time limit. Returns what
  // read(2) would: the byte count, 0 or -1 (-1 too when the limit acted).
  ssize_t header(int fd, uint8_t* record, size_t size);
  // The payload of that request, within the same time limit.
  ssize_t payload(int fd, uint8_t* buffer, size_t size);
  // Called for every header that is not dispatched; true when the
  // connection has sent too many and must be closed.
  bool too_many_headers();

 private:
  ssize_t read_all(int fd, uint8_t* data, size_t size, const char* what);
  long long deadline_ms_ = 0;
  int headers_without_command_ = 0;
};

// The address the command port binds (host order): any, or loopback in the
// hardened build.
uint32_t command_port_address();

}  // namespace vantel
