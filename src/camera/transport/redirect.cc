#include "camera/transport/redirect.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

namespace vantel {
namespace {

const char* path_of(const char* address) {
  const char* authority = std::strstr(address, "://");
  authority = authority ? authority + 3 : address;
  const char* path = std::strchr(authority, '/');
  return path ? path : "/";
}

}  // namespace

std::string redirect_target(const char* location, const char* camera_host, const char* current, std::string& why) {
  const size_t length = std::strlen(location);
  if (length == 0) return why = "no Location", "";
  if (length > kLocationMax) return why = "Location too long", "";
  for (const char* c = location; *c != '\0'; ++c) {
    if (static_cast<unsigned char>(*c) <= ' ' || *c == 0x7f) return why = "Location not an address", "";
  }
  if (strncasecmp(location, "https://", 8) != 0) return why = "not to HTTPS", "";
  const char* host = location + 8;
  const size_t authority = std::strcspn(host, "/?#");
  const char* colon = static_cast<const char*>(std::memchr(host, ':', authority));
  const size_t host_length = colon ? static_cast<size_t>(colon - host) : authority;
  if (host_length != std::strlen(camera_host) || strncasecmp(host, camera_host, host_length) != 0) {
    return why = "to another host", "";
  }
  long port = 443;
  if (colon != nullptr) {
    const size_t digits = authority - host_length - 1;
    if (digits == 0 || digits > 5 || std::strspn(colon + 1, "0123456789") < digits) return why = "bad port", "";
    port = std::strtol(colon + 1, nullptr, 10);
    if (port < 1 || port > 65535) return why = "bad port", "";
  }
  // Cameras send their root; the service stays where it was.
  const char* path = host + authority;
  if (*path == '\0' || std::strcmp(path, "/") == 0) path = path_of(current);
  if (*path != '/') return why = "Location not an address", "";
  return std::string("https://") + camera_host + ":" + std::to_string(port) + path;
}

}  // namespace vantel
