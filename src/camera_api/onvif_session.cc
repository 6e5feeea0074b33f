#include "camera_api/onvif_session.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstring>

#include "camera_api/hardening.h"
#include "log/log.h"
#include "onvif_namespaces.h"
#include "wire/byte_order.h"
#include "wire/request.h"
#include "wire/result_block.h"
#include "wsseapi.h"

namespace vantel {
namespace {

// The one SOAP context of the process, re-initialised by every command.
struct soap g_soap;
// Long enough for any dotted quad and any 32-bit port.
char g_device_address[64];

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

OnvifSession::OnvifSession(const CameraAccess& camera) : camera_(camera) {
  soap_init(&g_soap);
  soap_set_namespaces(&g_soap, namespaces);
  harden_context(&g_soap);
  std::snprintf(g_device_address, sizeof g_device_address, "http://%s:%d/onvif/device_service",
                camera_.ip_text, camera_.port);
}

OnvifSession::~OnvifSession() {
  if (open_) end();
}

struct soap* OnvifSession::soap() { return &g_soap; }

const char* OnvifSession::device_address() const { return g_device_address; }

int OnvifSession::add_token() { return add_token(&g_soap); }

int OnvifSession::add_token(struct soap* context) {
  return soap_wsse_add_UsernameTokenDigest(context, nullptr, camera_.user, camera_.password);
}

int OnvifSession::get_capabilities() {
  _tds__GetCapabilities request;
  request.Category.push_back("All");
  const int result =
      call(&g_soap, soap_call___tds__GetCapabilities, g_device_address, request, capabilities_);
  if (result != SOAP_OK) log_printf("GetCapabilities error (%d)", result);
  return result;
}

const tt__Capabilities* OnvifSession::capabilities() const { return capabilities_.Capabilities; }

const char* OnvifSession::media_address() const {
  const tt__Capabilities* c = capabilities();
  return c && c->Media ? c->Media->XAddr.c_str() : nullptr;
}

const char* OnvifSession::ptz_address() const {
  const tt__Capabilities* c = capabilities();
  return c && c->PTZ ? c->PTZ->XAddr.c_str() : nullptr;
}

void OnvifSession::end() {
  soap_destroy(&g_soap);
  soap_end(&g_soap);
  soap_done(&g_soap);
  open_ = false;
}

}  // namespace vantel
