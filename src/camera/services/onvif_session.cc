#include "camera/services/onvif_session.h"

#include <strings.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "camera/auth/camera_clock.h"
#include "camera/auth/lockout_guard.h"
#include "camera/auth/refusal.h"
#include "camera/auth/username_token.h"
#include "camera/book/state_file.h"
#include "camera/transport/answer_headers.h"
#include "camera/transport/hardening.h"
#include "camera/transport/redirect.h"
#include "camera/transport/send_once.h"
#include "camera/transport/service_address.h"
#include "log/log.h"
#include "onvif_namespaces.h"

namespace vantel {

struct soap OnvifSession::context_;
CameraBook* OnvifSession::book_ = nullptr;

namespace {

// Clocks this close are the same clock: the Date header counts whole
// seconds and the answer takes its time to arrive.
constexpr int64_t kClockToleranceS = 5;

}  // namespace

OnvifSession::OnvifSession(const CameraAccess& camera, CameraBook::Meeting meeting)
    : camera_(camera),
      entry_(book_ ? &book_->entry({camera.ip_text, camera.port, camera.user}, camera.password, meeting)
                   : &own_entry_),
      lasting_before_(entry_->lasting) {
  soap_init(&context_);
  // The runtime would ask the kernel for socket buffers of its own I/O
  // buffer's size (soapdefs.h sizes that for the process): the kernel's own,
  // tuned as the connection goes, are no smaller and cost no system calls.
  context_.sndbuf = context_.rcvbuf = 0;
  // A camera that closed a kept connection costs the request (sent again on
  // a new one), never the process: no SIGPIPE from a send on it.
  context_.socket_flags = MSG_NOSIGNAL;
  soap_set_namespaces(&context_, namespaces);
  harden_context(&context_);
  watch_answer_headers(&context_);
  declare_used_namespaces(&context_);
  tls_pin_ = {&entry_->lasting.certificate_pin, std::string(camera_.ip_text) + ":" + std::to_string(camera_.port),
              &entry_->tls_session};
  use_tls(&context_, &tls_pin_);
  keep_connections(&context_);
  send_requests_once(&context_);
  std::snprintf(device_address_, sizeof device_address_, "http://%s:%d/onvif/device_service",
                camera_.ip_text, camera_.port);
  // A camera that redirected to HTTPS, or speaks nothing else, is called
  // there from the first request on.
  if (!entry_->lasting.device_address.empty() && entry_->lasting.device_address.size() < sizeof device_address_) {
    std::snprintf(device_address_, sizeof device_address_, "%s", entry_->lasting.device_address.c_str());
  }
  // A camera that asked for HTTP Digest before gets its answer up front,
  // with the nonce count going on from where the last command left it.
  if (!entry_->digest_challenge.empty() &&
      digest_.take(&context_, entry_->digest_challenge.c_str(), camera_.user, camera_.password)) {
    digest_.continue_count(entry_->digest_count);
    challenge_from_book_ = true;
  }
}

OnvifSession::~OnvifSession() {
  if (open_) end();
  if (book_ != nullptr && entry_->lasting != lasting_before_) book_->save();
}

struct soap* OnvifSession::soap() { return &context_; }

const char* OnvifSession::device_address() const { return device_address_; }

int OnvifSession::add_token() { return add_token(&context_); }

int OnvifSession::add_token(struct soap* context) {
  return add_username_token(context, camera_.user, camera_.password,
                            time(nullptr) + static_cast<time_t>(entry_->lasting.clock_offset));
}

int OnvifSession::attempt(struct soap* context, const Request& request) {
  const char* address = request.address;
  const bool http = address != nullptr && (strncasecmp(address, "http://", 7) == 0 || strncasecmp(address, "https://", 8) == 0);
  int result = SOAP_OK;
  // Twice at most: the camera may close the connection kept from the call
  // before just as the request goes out on it. It read none of it then, so
  // the request goes out again, on a new connection, costing no login.
  for (int sent = 0; sent < 2; ++sent) {
    if (request.token == kFreshToken) add_token(context);
    forget_answer_headers(context);
    digest_.before_request(context, http);
    store_next_request(context);
    const WireMark before = wire_mark(context);
    result = request.send(address);
    digest_.after_request(context);
    if (digest_.armed()) entry_->digest_count = digest_.count();
    if (!died_unused(context, before, result)) break;
  }
  if (result != SOAP_OK) drop_connection(context);
  return result;
}

bool OnvifSession::refused(int result) {
  entry_->guard.refused(result, monotonic_seconds());
  return !entry_->guard.holding(monotonic_seconds());
}

int OnvifSession::judged(struct soap* context, int result) {
  if (refused_for_authentication(context, result)) {
    refused(result);
  } else if (result == SOAP_OK || result == SOAP_FAULT || result == SOAP_CLI_FAULT || result == SOAP_SVR_FAULT) {
    // Any answer but a refusal means the credentials were taken.
    entry_->guard.accepted();
  }
  return result;
}

bool OnvifSession::take_challenge(struct soap* context, int result, bool& counted) {
  // A challenge to a request that carried no answer to one is the first
  // half of HTTP Digest, and one marked stale a nonce run out: neither is a
  // refused login. A remembered nonce the camera no longer takes (it
  // rebooted) is, to the camera, and is renewed only while the guard allows.
  const char* challenge = answer_digest_challenge(context);
  if (result != 401 || *challenge == '\0') return false;
  const bool first = !digest_.armed();
  if (!first && !HttpDigest::stale(context, challenge)) {
    if (!challenge_from_book_) return false;
    counted = true;
    if (!refused(result)) return false;
  }
  challenge_from_book_ = false;
  if (!digest_.take(context, challenge, camera_.user, camera_.password)) {
    // No realm or nonce, or an algorithm the plugin does not know.
    log_printf("[ipcam] camera asks for HTTP Digest in a form not answered: %.120s \n", challenge);
    return false;
  }
  entry_->digest_challenge = challenge;
  entry_->digest_count = 1;
  if (first) log_puts("[ipcam] camera asks for HTTP Digest: answered ");
  return true;
}

int OnvifSession::exchange(struct soap* context, Token token, const char* address, const Send& send) {
  // Credentials the camera refused twice in a row are not offered again
  // until the hold runs out: the call fails as the last refusal did.
  const int64_t now = monotonic_seconds();
  if (entry_->guard.holding(now)) {
    if (!guard_said_) {
      log_printf("[ipcam] %s:%d refused user %s %d times in a row: its credentials are held back for %lld s \n",
                 camera_.ip_text, camera_.port, camera_.user, LockoutGuard::kRefusalsInRow,
                 static_cast<long long>(entry_->guard.seconds_left(now)));
    }
    guard_said_ = true;
    return entry_->guard.last_refusal();
  }
  int result = attempt(context, {token, address, send});
  if (address == device_address_) {
    const std::string plain = device_address_;
    if (reach_over_tls(context, result)) {
      result = attempt(context, {token, address, send});
      // Remembered only once the camera answered there: a camera that is
      // merely down, or shows a certificate not its own, stays as it was.
      if (result == SOAP_SSL_ERROR || result == SOAP_TCP_ERROR || result == SOAP_EOF) {
        std::snprintf(device_address_, sizeof device_address_, "%s", plain.c_str());
        entry_->lasting.device_address.clear();
        entry_->lasting.tls = false;
      }
    }
  }
  bool counted = false;
  if (take_challenge(context, result, counted)) {
    counted = false;
    result = attempt(context, {token, address, send});
  }
  if (!refused_for_authentication(context, result)) return judged(context, result);
  // The guard holds the credentials back after this refusal: nothing more
  // goes out.
  if (counted ? entry_->guard.holding(monotonic_seconds()) : !refused(result)) return result;

  // One more credentialed request at most, and only when it differs from
  // the refused one in what the refusal can have been about.
  if (token == kHeaderAsIs) {
    log_puts("[ipcam] refused on the previous request's header: sent again with a fresh token ");
    ++resent_with_fresh_token_;
    return judged(context, attempt(context, {kFreshToken, address, send}));
  }
  if (clock_learned_) return result;
  clock_learned_ = true;
  if (!learn_camera_clock(context)) return result;
  log_printf("[ipcam] camera clock %+lld s from ours: sent again on the camera's time \n",
             static_cast<long long>(entry_->lasting.clock_offset));
  return judged(context, attempt(context, {kFreshToken, address, send}));
}

bool OnvifSession::reach_over_tls(struct soap* context, int result) {
  const bool redirect = result == 301 || result == 302 || result == 307 || result == 308;
  // A TLS server read as HTTP: the connection closed before any status
  // line, something that is no HTTP, or a bare 400 ("plain HTTP sent to an
  // HTTPS port"). An answer cut short after its status line is no sign.
  const bool no_plain_http =
      (result == SOAP_EOF && context->status == 0) || result == SOAP_HTTP_ERROR || result == 400;
  if (tls_tried_ || entry_->lasting.tls || strncasecmp(device_address_, "http://", 7) != 0 ||
      (!redirect && !no_plain_http)) {
    return false;
  }
  tls_tried_ = true;
  std::string to;
  if (redirect) {
    std::string why;
    to = redirect_target(answer_location(context), camera_.ip_text, device_address_, why);
    if (to.empty()) {
      log_printf("[ipcam] %s:%d redirects to %.80s: not followed (%s) \n", camera_.ip_text, camera_.port,
                 answer_location(context), why.c_str());
      return false;
    }
    log_printf("[ipcam] %s:%d redirects to %s: following \n", camera_.ip_text, camera_.port, to.c_str());
  } else {
    to = std::string("https://") + (device_address_ + 7);
    log_printf("[ipcam] %s:%d answers no plain HTTP: trying TLS \n", camera_.ip_text, camera_.port);
  }
  if (to.size() >= sizeof device_address_ || to.size() > kRememberedAddressMax) return false;
  std::snprintf(device_address_, sizeof device_address_, "%s", to.c_str());
  entry_->lasting.device_address = to;
  entry_->lasting.tls = true;
  return true;
}

bool OnvifSession::learn_camera_clock(struct soap* context) {
  int64_t camera_now = 0;
  bool known = parse_http_date(answer_date(context), camera_now);
  if (!known) {
    // Cameras answer it without credentials, so it costs no login.
    _tds__GetSystemDateAndTime request;
    _tds__GetSystemDateAndTimeResponse answer;
    // No token and no HTTP credentials: a wrong password must not cost a
    // second refused login here.
    context->header = nullptr;
    HttpDigest::withhold(context);
    forget_answer_headers(context);
    const int result = soap_call___tds__GetSystemDateAndTime(context, device_address_, nullptr, &request, answer);
    if (result != SOAP_OK) drop_connection(context);
    known = result == SOAP_OK && camera_time(answer, camera_now);
  }
  if (!known) return false;
  const int64_t offset = camera_now - static_cast<int64_t>(time(nullptr));
  if (std::llabs(offset - entry_->lasting.clock_offset) <= kClockToleranceS) return false;
  // A camera whose clock came right again is on ours, not a few seconds off.
  entry_->lasting.clock_offset = std::llabs(offset) <= kClockToleranceS ? 0 : offset;
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

const char* OnvifSession::reachable(const char* name, const std::string* advertised, Service& service,
                                    std::string* remembered) {
  if (service.resolved) return service.address;
  service.resolved = true;
  if (advertised == nullptr) return service.address = nullptr;
  service.address = advertised->c_str();
  // An empty PTZ address means "no PTZ": nothing to reach.
  if (advertised->empty()) return service.address;
  const std::string instead = reachable_address(*advertised, camera_.ip_text, device_address_);
  if (instead.empty()) {
    if (remembered != nullptr) remembered->clear();
    return service.address;
  }
  service.address = soap_strdup(&context_, instead.c_str());
  if (remembered != nullptr && *remembered == instead) return service.address;
  if (remembered != nullptr && instead.size() <= kRememberedAddressMax) *remembered = instead;
  log_printf("[ipcam] %s service at %.200s is not the camera's address: using %s \n", name, advertised->c_str(),
             service.address);
  return service.address;
}

const char* OnvifSession::media_address() {
  const tt__Capabilities* c = capabilities();
  return reachable("media", c && c->Media ? &c->Media->XAddr : nullptr, media_, &entry_->lasting.media_address);
}

const char* OnvifSession::ptz_address() {
  const tt__Capabilities* c = capabilities();
  return reachable("ptz", c && c->PTZ ? &c->PTZ->XAddr : nullptr, ptz_, &entry_->lasting.ptz_address);
}

const char* OnvifSession::device_service_address() {
  const tt__Capabilities* c = capabilities();
  const std::string* named = c && c->Device && !c->Device->XAddr.empty() ? &c->Device->XAddr : nullptr;
  const char* address = reachable("device", named, device_, nullptr);
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
