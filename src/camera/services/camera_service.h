// What the camera's service objects share (media, PTZ): the session that
// supplies the credentials, the context a call goes out on (the session's
// own or a working copy of it) and the service's address. Cheap to make:
// one per context and address. Command server thread only.
#pragma once

#include "camera/services/onvif_session.h"

namespace vantel {

class CameraService {
 public:
  struct soap* context() const { return context_; }

 protected:
  CameraService(OnvifSession& session, struct soap* context, const char* address)
      : session_(session), context_(context), address_(address) {}

  // A camera whose capabilities named no such service gets no call at
  // all: SOAP_ERR.
  template <typename Request, typename Answer>
  int call(SoapCall<Request, Answer> operation, Request& request, Answer& answer) {
    if (address_ == nullptr) return SOAP_ERR;
    return session_.call(context_, operation, address_, request, answer);
  }
  template <typename Request, typename Answer>
  int call_as_is(SoapCall<Request, Answer> operation, Request& request, Answer& answer) {
    if (address_ == nullptr) return SOAP_ERR;
    return session_.call_as_is(context_, operation, address_, request, answer);
  }

  OnvifSession& session_;
  struct soap* context_;
  const char* address_;
};

}  // namespace vantel
