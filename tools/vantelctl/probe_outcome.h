// What became of a call to the camera, in words for the probe's findings:
// whether the camera was reached at all, and the camera's own words for a
// refusal or a failure. Client only; main thread.
#pragma once

#include <string>

#include "stdsoap2.h"

namespace vantelctl {

// A camera that takes no connection within this is not reached.
constexpr int kConnectLimitS = 10;

// A TCP connection to `ip`:`port` within kConnectLimitS, closed at once: ""
// when it was made, else why not. The runtime would wait for the kernel's
// own limit, minutes.
std::string tcp_reachable(const std::string& ip, int port);

// A call's result that says the camera was not reached: no
// connection, no TLS, no answer, or a redirect left unfollowed.
bool unreached(int result);

// The camera's own words for a failed call: its fault's subcode and
// reason, an HTTP status, or what the runtime saw.
std::string reason(struct soap* soap, int result);

}  // namespace vantelctl
