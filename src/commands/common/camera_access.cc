#include "commands/common/camera_access.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>

#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/result_block.h"

namespace vantel {
namespace {

CameraAccess camera_at(const uint8_t* payload, size_t ip, size_t port, size_t user, size_t password) {
  CameraAccess camera{};
  in_addr address;
  std::memcpy(&address.s_addr, payload + ip, 4);  // already in network order
  std::snprintf(camera.ip_text, sizeof camera.ip_text, "%s", inet_ntoa(address));
  camera.port = get_be32s(payload + port);
  // The sender terminates both fields within 32 bytes; if it does not, the
  // text is cut at 32 rather than run into the next field.
  static_assert(req::kCredentialSize == block::kCredentialSize, "both records carry 32-byte credentials");
  std::memcpy(camera.user, payload + user, req::kCredentialSize);
  std::memcpy(camera.password, payload + password, req::kCredentialSize);
  return camera;
}

}  // namespace

CameraAccess camera_from_request(const uint8_t* payload) {
  return camera_at(payload, req::kCameraIp, req::kCameraPort, req::kUserName, req::kPassword);
}

CameraAccess camera_from_block(const uint8_t* payload) {
  return camera_at(payload, block::kCameraIp, block::kCameraPort, block::kUserName, block::kPassword);
}

}  // namespace vantel
