// The conversation with one camera on the process's single SOAP context:
// initialise it, form the device service address, put a fresh WS-Security
// UsernameToken on every call, read the capabilities, end the context. Every
// command handler opens one on its stack; the call wrappers of this folder
// go through it. Command server thread only: the context is shared, unlocked.
#pragma once

#include <cstdint>

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

// From the CameraRequest prefix (PTZ, reboot, user mode).
CameraAccess camera_from_request(const uint8_t* payload);
// From offsets 84..159 of the result block (query, codec change, registration).
CameraAccess camera_from_block(const uint8_t* payload);

class OnvifSession {
 public:
  // soap_init and the namespace table on the process's context, then the
  // device service address "http://%s:%d/onvif/device_service".
  explicit OnvifSession(const CameraAccess& camera);
  // Ends the context if the handler returned before its own tear-down, so a
  // failed command leaves nothing allocated behind it.
  ~OnvifSession();
  OnvifSession(const OnvifSession&) = delete;
  OnvifSession& operator=(const OnvifSession&) = delete;

  struct soap* soap();
  const CameraAccess& camera() const { return camera_; }
  const char* device_address() const;

  // A fresh UsernameToken (nonce, creation time, SHA-1 digest) in the next
  // request's header, on the process's context or on a working copy.
  int add_token();
  int add_token(struct soap* context);

  // One generated client call on `context` at `address`, after a fresh
  // token: the one way every wrapper of this folder calls the camera.
  template <typename Request, typename Answer>
  int call(struct soap* context, SoapCall<Request, Answer> operation, const char* address,
           Request& request, Answer& answer) {
    add_token(context);
    return operation(context, address, nullptr, &request, answer);
  }
  // The same without a fresh token: the request goes out with whatever
  // security header the context still holds from the call before.
  template <typename Request, typename Answer>
  static int call_as_is(struct soap* context, SoapCall<Request, Answer> operation,
                        const char* address, Request& request, Answer& answer) {
    return operation(context, address, nullptr, &request, answer);
  }

  // Runs `work(copy)` on a working copy of the process's context that is
  // ended right after (its destructor: soap_destroy, soap_end, soap_done).
  template <typename Work>
  auto on_working_copy(Work work) {
    struct soap copy(*soap());
    return work(&copy);
  }

  // Token, then GetCapabilities (category All) at the device address. On
  // failure prints "GetCapabilities error (%d)" and returns the code.
  int get_capabilities();
  // The answer's capabilities, valid after get_capabilities() until end().
  // Addresses are the context's own strings, not copies; missing elements
  // read as nullptr.
  const tt__Capabilities* capabilities() const;
  const char* media_address() const;  // nullptr when the answer has none
  const char* ptz_address() const;    // nullptr when the answer has none

  // soap_destroy, soap_end, soap_done on the process's context.
  void end();

 private:
  CameraAccess camera_;
  _tds__GetCapabilitiesResponse capabilities_;
  bool open_ = true;
};

}  // namespace vantel
