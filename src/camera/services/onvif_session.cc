#include "camera/services/onvif_session.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "camera/transport/answer_headers.h"
#include "camera/auth/camera_clock.h"
#include "camera/transport/hardening.h"
#include "camera/auth/refusal.h"
#include "camera/transport/send_once.h"
#include "camera/transport/service_address.h"
#include "log/log.h"
#include "onvif_namespaces.h"
#include "camera/auth/username_token.h"

namespace vantel {

struct soap OnvifSession::context_;

namespace {

// Clocks this close are the same clock: the Date header counts whole
// seconds and the answer takes its time to arrive.
constexpr int64_t kClockToleranceS = 5;

constexpr int kSocketBufferSize = 65536;

}  // namespace

OnvifSession::OnvifSession(const CameraAccess& camera) : camera_(camera) {
  soap_init(&context_);
  // The runtime asks the kernel for socket buffers of its own I/O buffer's
  // size, which is now sized for the process (soapdefs.h); the sockets keep
  // the 64 KB they always had, so a camera's long answer arrives as fast.
  context_.sndbuf = context_.rcvbuf = kSocketBufferSize;
  soap_set_namespaces(&context_, namespaces);
  harden_context(&context_);
  send_requests_once(&context_);
  watch_answer_headers(&context_);
  std::snprintf(device_address_, sizeof device_address_, "http://%s:%d/onvif/device_service",
                camera_.ip_text, camera_.port);
}

OnvifSession::~OnvifSession() {
  if (open_) end();
}

struct soap* OnvifSession::soap() { return &context_; }

const char* OnvifSession::device_address() const { return device_address_; }

int OnvifSession::add_token() { return add_token(&context_); }

int OnvifSession::add_token(struct soap* context) {
  return add_username_token(context, camera_.user, camera_.password, time(nullptr) + static_cast<time_t>(clock_offset_));
}

int OnvifSession::attempt(struct soap* context, const Request& request) {
  if (request.token == kFreshToken) add_token(context);
  forget_answer_headers();
  digest_.before_request(context, request.http);
  store_next_request(context);
  const int result = request.send();
  digest_.after_request(context);
  return result;
}

int OnvifSession::exchange(struct soap* context, Token token, const char* address, const std::function<int()>& send) {
  const bool http = address != nullptr && (strncasecmp(address, "http://", 7) == 0 || strncasecmp(address, "https://", 8) == 0);
  int result = attempt(context, {token, http, send});

  // A challenge to a request that carried no answer to one is the first
  // half of HTTP Digest, and one marked stale a nonce run out: neither is a
  // refused login.
  const char* challenge = answer_digest_challenge();
  if (result == 401 && *challenge != '\0' && (!digest_.armed() || HttpDigest::stale(context, challenge))) {
    const bool first = !digest_.armed();
    if (digest_.take(context, challenge, camera_.user, camera_.password)) {
      if (first) log_puts("[ipcam] camera asks for HTTP Digest: answered ");
      result = attempt(context, {token, http, send});
    }
  }
  if (!refused_for_authentication(context, result)) return result;

  // One more credentialed request at most, and only when it differs from
  // the refused one in what the refusal can have been about.
  if (token == kHeaderAsIs) {
    log_puts("[ipcam] refused on the previous request's header: sent again with a fresh token ");
    return attempt(context, {kFreshToken, http, send});
  }
  if (clock_learned_) return result;
  clock_learned_ = true;
  if (!learn_camera_clock(context)) return result;
  log_printf("[ipcam] camera clock %+lld s from ours: sent again on the camera's time \n",
             static_cast<long long>(clock_offset_));
  return attempt(context, {kFreshToken, http, send});
}

bool OnvifSession::learn_camera_clock(struct soap* context) {
  int64_t camera_now = 0;
  bool known = parse_http_date(answer_date(), camera_now);
  if (!known) {
    // Cameras answer it without credentials, so it costs no login.
    _tds__GetSystemDateAndTime request;
    _tds__GetSystemDateAndTimeResponse answer;
    // No token and no HTTP credentials: a wrong password must not cost a
    // second refused login here.
    context->header = nullptr;
    HttpDigest::withhold(context);
    forget_answer_headers();
    known = soap_call___tds__GetSystemDateAndTime(context, device_address_, nullptr, &request, answer) == SOAP_OK &&
            camera_time(answer, camera_now);
  }
  if (!known) return false;
  const int64_t offset = camera_now - static_cast<int64_t>(time(nullptr));
  if (std::llabs(offset) <= kClockToleranceS) return false;
  clock_offset_ = offset;
  return true;
}

int OnvifSession::get_capabilities() {
  _tds__GetCapabilities request;
  request.Category.push_back("All");
  const int result =
      call(&context_, soap_call___tds__GetCapabilities, device_address_, request, capabilities_);
  if (result != SOAP_OK) log_printf("GetCapabilities error (%d)", result);
  return result;
}

const tt__Capabilities* OnvifSession::capabilities() const { return capabilities_.Capabilities; }

const char* OnvifSession::reachable(const char* name, const std::string* advertised, Service& service) {
  if (service.resolved) return service.address;
  service.resolved = true;
  if (advertised == nullptr) return service.address = nullptr;
  service.address = advertised->c_str();
  // An empty PTZ address means "no PTZ": nothing to reach.
  if (advertised->empty()) return service.address;
  const std::string instead = reachable_address(*advertised, camera_.ip_text, camera_.port);
  if (instead.empty()) return service.address;
  service.address = soap_strdup(&context_, instead.c_str());
  log_printf("[ipcam] %s service at %.200s is not the camera's address: using %s \n", name, advertised->c_str(),
             service.address);
  return service.address;
}

const char* OnvifSession::media_address() {
  const tt__Capabilities* c = capabilities();
  return reachable("media", c && c->Media ? &c->Media->XAddr : nullptr, media_);
}

const char* OnvifSession::ptz_address() {
  const tt__Capabilities* c = capabilities();
  return reachable("ptz", c && c->PTZ ? &c->PTZ->XAddr : nullptr, ptz_);
}

const char* OnvifSession::device_service_address() {
  const tt__Capabilities* c = capabilities();
  const std::string* named = c && c->Device && !c->Device->XAddr.empty() ? &c->Device->XAddr : nullptr;
  const char* address = reachable("device", named, device_);
  return address ? address : device_address_;
}

void OnvifSession::end() {
  digest_.release(&context_);
  soap_destroy(&context_);
  soap_end(&context_);
  soap_done(&context_);
  open_ = false;
}

}  // namespace vantel
