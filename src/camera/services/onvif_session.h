// The conversation with one camera on the process's single SOAP context:
// initialise it, form the device service address, put a fresh WS-Security
// UsernameToken on every call, read the capabilities, end the context. What
// it learns of the camera goes to the camera's entry in the book, and what
// earlier commands learned is used from the first request on. Every command
// handler opens one on its stack; the call wrappers of this folder go
// through it. Command server thread only: the context is shared, unlocked.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "camera/auth/http_digest.h"
#include "camera/book/camera_book.h"
#include "camera/services/request_namespaces.h"
#include "camera/transport/keep_alive.h"
#include "camera/transport/tls.h"
#include "soapH.h"

namespace vantel {

// The shape of every generated client call.
template <typename Request, typename Answer>
using SoapCall = int (*)(struct soap*, const char*, const char*, Request*, Answer&);

// Camera address and credentials as the command carries them.
struct CameraAccess {
  char ip_text[16];    // dotted quad
  int32_t port;
  char user[33];       // the 32-byte fields, always terminated here
  char password[33];
};

class OnvifSession {
 public:
  // soap_init and the namespace table on the process's context, then the
  // device service address "http://%s:%d/onvif/device_service".
  // A first meeting (the recorder registering the camera) starts from a
  // clean entry.
  explicit OnvifSession(const CameraAccess& camera, CameraBook::Meeting meeting = CameraBook::Meeting::kAgain);
  // Ends the context if the handler returned before its own tear-down, so a
  // failed command leaves nothing allocated behind it; writes the book's
  // state file when a lasting fact of the camera changed.
  ~OnvifSession();

  // The book every later session remembers its camera in; set once by the
  // command server, which owns it. Without one (tests of this layer alone)
  // each session remembers for itself.
  static void use_book(CameraBook* book) { book_ = book; }
  OnvifSession(const OnvifSession&) = delete;
  OnvifSession& operator=(const OnvifSession&) = delete;

  struct soap* soap();
  const CameraAccess& camera() const { return camera_; }
  const char* device_address() const;
  // Requests the camera refused on the previous request's header and got
  // again with a fresh token, since the session opened: read by whoever
  // reports on a camera rather than commands it.
  int resent_with_fresh_token() const { return resent_with_fresh_token_; }

  // A fresh UsernameToken (nonce, creation time, SHA-1 digest) in the next
  // request's header, on the process's context or on a working copy. Dated
  // by the camera's clock once a refusal has shown that it differs.
  int add_token();
  int add_token(struct soap* context);

  // One generated client call on `context` at `address`, after a fresh
  // token: the one way every wrapper of this folder calls the camera.
  template <typename Request, typename Answer>
  int call(struct soap* context, SoapCall<Request, Answer> operation, const char* address,
           Request& request, Answer& answer) {
    return exchange(context, kFreshToken, address, [&](const char* to) {
      next_request_uses(context, body_namespaces(request));
      return operation(context, to, nullptr, &request, answer);
    });
  }
  // The same without a fresh token: the request goes out with whatever
  // security header the context still holds from the call before.
  template <typename Request, typename Answer>
  int call_as_is(struct soap* context, SoapCall<Request, Answer> operation, const char* address,
                 Request& request, Answer& answer) {
    return exchange(context, kHeaderAsIs, address, [&](const char* to) {
      next_request_uses(context, body_namespaces(request));
      return operation(context, to, nullptr, &request, answer);
    });
  }

  // Runs `work(copy)` on a working copy of the process's context that is
  // ended right after. gSOAP 2.8's ~soap() runs only soap_done, which would
  // leave behind everything the copy's calls allocated (answers, strings,
  // the security header): a few kilobytes per command, never given back.
  // So the copy is ended here in full: soap_destroy, soap_end, soap_done.
  // The command's connection to the camera goes with the copy and comes
  // back with whatever the copy's calls left of it.
  template <typename Work>
  auto on_working_copy(Work work) {
    struct soap copy(*soap());
    hand_over_connection(soap(), &copy);
    auto result = work(&copy);
    hand_over_connection(&copy, soap());
    soap_destroy(&copy);
    soap_end(&copy);
    soap_done(&copy);
    return result;
  }

  // Token, then GetCapabilities (category All) at the device address. On
  // failure prints "GetCapabilities error (%d)" and returns the code.
  int get_capabilities();
  // The answer's capabilities, valid after get_capabilities() until end().
  // Missing elements read as nullptr.
  const tt__Capabilities* capabilities() const;
  // The service addresses to call, valid until end(); nullptr when the
  // answer names none. An address on the command's own host is the
  // context's own string, as advertised; one on another host is replaced
  // by the command's host and port with the advertised path, and says so
  // in one line the first time it is asked for.
  const char* media_address();
  const char* ptz_address();
  // The device service as the camera names it, or as the command formed it
  // when the answer names none.
  const char* device_service_address();

  // soap_destroy, soap_end, soap_done on the process's context.
  void end();

 private:
  enum Token { kFreshToken, kHeaderAsIs };
  // One request and, where the camera's refusal says how, one more: the
  // answer to an HTTP Digest challenge, a fresh token for a request sent on
  // the header as is, or tokens on the camera's clock.
  using Send = std::function<int(const char* address)>;
  struct Request {
    Token token;
    const char* address;
    const Send& send;
  };
  int exchange(struct soap* context, Token token, const char* address, const Send& send);
  // The device address the command formed answered as no plain-HTTP
  // camera does: a redirect to HTTPS is followed, a port that speaks only
  // TLS is tried over TLS, once per command, and the book remembers which.
  // True when the call is to go out again (to the new device address).
  bool reach_over_tls(struct soap* context, int result);
  int attempt(struct soap* context, const Request& request);
  // A 401 with a Digest challenge that the request can be sent again to
  // answer: the camera's first, a nonce marked stale, or a new nonce for
  // one remembered from an earlier command (a refusal, `counted` then).
  bool take_challenge(struct soap* context, int result, bool& counted);
  // The guard's view of an answer: a refused login, or credentials taken.
  // refused() is true when another credentialed request may still go out.
  bool refused(int result);
  int judged(struct soap* context, int result);
  // After a refusal: the camera's time from the refusal's Date header, or
  // else from GetSystemDateAndTime, asked without credentials. True when it
  // differs by more than the tolerance from the clock the tokens were dated
  // by (the camera's entry then holds the new offset).
  bool learn_camera_clock(struct soap* context);
  struct Service {
    const char* address = nullptr;
    bool resolved = false;
  };
  // `remembered`: the replacement address the camera's entry holds, so a
  // camera behind NAT is reported once, not on every command.
  const char* reachable(const char* name, const std::string* advertised, Service& service, std::string* remembered);

  // The one SOAP context of the process, re-initialised by every session:
  // one command at a time, on the command thread.
  static struct soap context_;
  static CameraBook* book_;
  CameraAccess camera_;
  CameraEntry own_entry_;
  CameraEntry* entry_;
  LastingFacts lasting_before_;
  // Long enough for any dotted quad and any 32-bit port, or for an HTTPS
  // address the camera redirected to.
  char device_address_[320];
  TlsPin tls_pin_;
  bool tls_tried_ = false;
  _tds__GetCapabilitiesResponse capabilities_;
  HttpDigest digest_;
  bool clock_learned_ = false;       // once per command at most
  bool challenge_from_book_ = false;  // armed with an earlier command's challenge
  bool guard_said_ = false;
  int resent_with_fresh_token_ = 0;
  Service media_, ptz_, device_;
  bool open_ = true;
};

}  // namespace vantel
