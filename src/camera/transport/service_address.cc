#include "camera/transport/service_address.h"

#include <strings.h>

namespace vantel {

namespace {

// "http" or "https" of an address, lower case; "http" when it names none.
std::string scheme_of(const std::string& address) {
  return strncasecmp(address.c_str(), "https://", 8) == 0 ? "https" : "http";
}

// The port an address names after its host, or "" when it names none.
std::string port_of(const std::string& address) {
  const size_t scheme = address.find("://");
  const size_t authority = scheme == std::string::npos ? 0 : scheme + 3;
  size_t end = address.find_first_of("/?#", authority);
  if (end == std::string::npos) end = address.size();
  const size_t bracket = address.rfind(']', end);
  const size_t colon = address.rfind(':', end);
  if (colon == std::string::npos || colon < authority || (bracket != std::string::npos && colon < bracket)) return "";
  return address.substr(colon + 1, end - colon - 1);
}

}  // namespace

std::string reachable_address(const std::string& advertised, const char* camera_host,
                              const std::string& device_address) {
  const size_t scheme = advertised.find("://");
  const size_t authority = scheme == std::string::npos ? 0 : scheme + 3;
  size_t path = advertised.find_first_of("/?#", authority);
  if (path == std::string::npos) path = advertised.size();

  // host of [user@]host[:port], or of [v6]:port
  size_t host = advertised.rfind('@', path);
  host = host == std::string::npos || host < authority ? authority : host + 1;
  size_t host_end;
  if (host < path && advertised[host] == '[') {
    host_end = advertised.find(']', host);
    host_end = host_end == std::string::npos || host_end > path ? path : host_end + 1;
  } else {
    host_end = advertised.find(':', host);
    if (host_end == std::string::npos || host_end > path) host_end = path;
  }
  const std::string named = advertised.substr(host, host_end - host);
  if (!named.empty() && strcasecmp(named.c_str(), camera_host) == 0) return "";

  const std::string to_scheme = scheme_of(advertised);
  std::string port = to_scheme == scheme_of(device_address) ? port_of(device_address) : port_of(advertised);
  if (port.empty()) port = to_scheme == "https" ? "443" : "80";
  std::string reachable = to_scheme + "://" + camera_host + ":" + port;
  reachable += path < advertised.size() && advertised[path] == '/' ? advertised.substr(path) : "/" + advertised.substr(path);
  return reachable;
}

}  // namespace vantel
