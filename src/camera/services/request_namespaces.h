// The namespaces each request declares on its Envelope: only those its
// header and body use. The runtime declares its whole namespace table on
// every request; the table also maps the answers' namespaces, so it stays
// whole for reading them, and a plugin on the context hides the entries a
// request does not use while it is written. The call wrappers name the
// body's namespaces before each call (body_namespaces below); a request sent
// without them declares the whole table, as the runtime does by itself.
// Command server thread, on the session's context and its working copies.
#pragma once

#include "soapH.h"

namespace vantel {

// Once per context, on the freshly initialised one: working copies made
// from it carry it along.
void declare_used_namespaces(struct soap* soap);

// For the next request on `soap` only: the prefixes its body uses,
// space-separated ("trt tt"). The header's (wsse and wsu for the security
// token, wsa5 for addressing blocks echoed from an answer) are read off the
// header itself, and the envelope's own is always declared.
void next_request_uses(struct soap* soap, const char* body_prefixes);

// Each request's body: the element of its service, and the camera
// schema's elements (tt) wherever it carries a schema type.
inline const char* body_namespaces(const _tds__GetCapabilities&) { return "tds"; }
inline const char* body_namespaces(const _tds__GetDeviceInformation&) { return "tds"; }
inline const char* body_namespaces(const _tds__GetSystemDateAndTime&) { return "tds"; }
inline const char* body_namespaces(const _tds__SystemReboot&) { return "tds"; }
inline const char* body_namespaces(const _trt__GetProfiles&) { return "trt"; }
inline const char* body_namespaces(const _trt__GetProfile&) { return "trt"; }
inline const char* body_namespaces(const _trt__GetVideoEncoderConfiguration&) { return "trt"; }
inline const char* body_namespaces(const _trt__GetVideoEncoderConfigurations&) { return "trt"; }
inline const char* body_namespaces(const _trt__GetVideoEncoderConfigurationOptions&) { return "trt"; }
inline const char* body_namespaces(const _trt__SetVideoEncoderConfiguration& r) {
  return r.Configuration ? "trt tt" : "trt";
}
inline const char* body_namespaces(const _trt__GetStreamUri& r) { return r.StreamSetup ? "trt tt" : "trt"; }
inline const char* body_namespaces(const _tptz__GetNodes&) { return "tptz"; }
inline const char* body_namespaces(const _tptz__GetNode&) { return "tptz"; }
inline const char* body_namespaces(const _tptz__ContinuousMove& r) { return r.Velocity ? "tptz tt" : "tptz"; }
inline const char* body_namespaces(const _tptz__Stop&) { return "tptz"; }
inline const char* body_namespaces(const _tptz__GetPresets&) { return "tptz"; }
inline const char* body_namespaces(const _tptz__SetPreset&) { return "tptz"; }
inline const char* body_namespaces(const _tptz__GotoPreset& r) { return r.Speed ? "tptz tt" : "tptz"; }
inline const char* body_namespaces(const tptz1__StopRequest&) { return "tptz1"; }
inline const char* body_namespaces(const tptz1__RemovePreset&) { return "tptz1"; }

}  // namespace vantel
