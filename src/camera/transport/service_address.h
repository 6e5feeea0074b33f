// Where to send a service call when the camera advertises its services at
// an address the recorder cannot reach: behind NAT or port forwarding a
// camera names its own LAN address, another port, 127.0.0.1 or no host at
// all. Pure function; any thread.
#pragma once

#include <string>

namespace vantel {

// The address to call for a service advertised at `advertised` by the
// camera the command names as `camera_host`:`camera_port`. Empty when the
// advertised host is the command's own: it is then used as advertised,
// port included. Otherwise "http://HOST:PORT" of the command with the
// advertised path ("/" when it has none).
std::string reachable_address(const std::string& advertised, const char* camera_host, int camera_port);

}  // namespace vantel
