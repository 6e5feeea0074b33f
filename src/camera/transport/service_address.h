// Where to send a service call when the camera advertises its services at
// an address the recorder cannot reach: behind NAT or port forwarding a
// camera names its own LAN address, another port, 127.0.0.1 or no host at
// all. Pure function; any thread.
#pragma once

#include <string>

namespace vantel {

// The address to call for a service advertised at `advertised` by the
// camera at `camera_host`, whose device service answers at
// `device_address`. Empty when the advertised host is the camera's own: it
// is then used as advertised, port included. Otherwise the advertised
// scheme on the camera's host, with the device service's port when the
// schemes agree (the port the recorder reaches), else the advertised port
// or the scheme's own, and the advertised path ("/" when it has none).
std::string reachable_address(const std::string& advertised, const char* camera_host,
                              const std::string& device_address);

}  // namespace vantel
