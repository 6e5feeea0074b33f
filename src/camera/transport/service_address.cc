#include "camera/transport/service_address.h"

#include <strings.h>

namespace vantel {

std::string reachable_address(const std::string& advertised, const char* camera_host, int camera_port) {
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

  std::string reachable = "http://" + std::string(camera_host) + ":" + std::to_string(camera_port);
  reachable += path < advertised.size() && advertised[path] == '/' ? advertised.substr(path) : "/" + advertised.substr(path);
  return reachable;
}

}  // namespace vantel
