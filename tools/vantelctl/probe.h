// `vantelctl probe`: asks one camera directly, through the daemon's own
// camera layer (session, transport, authentication, lockout guard), only
// what reads and changes nothing, and says what it found and which of the
// recorder's commands would work with it. The daemon is not involved and
// no state file is read or written. Client only; main thread.
#pragma once

#include <string>

namespace vantelctl {

struct ProbeOptions {
  std::string camera;  // dotted quad
  int port = 80;
  std::string user, password;  // at most 32 bytes each
  bool json = false;
  bool verbose = false;  // the camera layer's own lines to stderr
};

// Prints the findings and the verdict; returns the exit status: 0 every
// command would work, 1 some would not, 2 the camera was not reached or
// refused the login.
int probe(const ProbeOptions& options);

}  // namespace vantelctl
