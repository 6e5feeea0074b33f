// `vantelctl discover`: asks which ONVIF cameras are on this network with a
// WS-Discovery Probe (to the multicast group, or to one address), collects
// the answers for a while and prints the cameras. Client only; main thread.
#pragma once

#include <string>

namespace vantelctl {

struct DiscoverOptions {
  double timeout_s = 3;  // how long answers are collected
  bool json = false;
  std::string to;  // ADDRESS[:PORT]; empty: 239.255.255.250:3702
};

// Returns the process's exit status: 0 when a camera answered, 1 when none
// did, 2 on a bad --to or a socket error (after one line on stderr).
int discover(const DiscoverOptions& options);

}  // namespace vantelctl
