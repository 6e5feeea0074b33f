// A camera's redirect as the session reads it: any Location value must
// give either nothing to follow or an HTTPS address on the camera's own
// host, never a read or a write outside the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "camera/transport/redirect.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string location(reinterpret_cast<const char*>(data), size);  // cut at a NUL, as a header is
  std::string why;
  const std::string to =
      vantel::redirect_target(location.c_str(), "10.0.0.7", "http://10.0.0.7:80/onvif/device_service", why);
  if (to.empty() == why.empty()) std::abort();
  if (!to.empty() && to.compare(0, 17, "https://10.0.0.7:") != 0) std::abort();
  return 0;
}
