// Where a camera's redirect may take the recorder: only to HTTPS on the
// camera's own host. Cameras set to HTTPS only answer plain HTTP with a
// redirect to "https://<camera>:443/"; anything else (another host, plain
// HTTP, garbage) is not followed. Pure function; any thread.
#pragma once

#include <cstddef>
#include <string>

namespace vantel {

constexpr size_t kLocationMax = 255;

// The address to call instead of `current` (an http:// address of the
// camera at `camera_host`) for the Location value `location`:
// "https://HOST:PORT/PATH", the port 443 when the Location names none, the
// path `current`'s when the Location's is "/" or empty. Empty, with `why`
// set, when it is not to be followed.
std::string redirect_target(const char* location, const char* camera_host, const char* current, std::string& why);

}  // namespace vantel
