// TLS under the runtime's own sockets, for cameras that speak only HTTPS.
// A plugin on the context: its connect hook runs the handshake after the
// runtime's TCP connect whenever the address is https://, and its send,
// receive and close hooks carry that connection through wolfSSL. Cameras
// show self-signed certificates, so there is no authority to check: the
// first certificate a camera shows is pinned (SHA-256 of the certificate)
// and any other is refused before a byte of the request leaves. The
// connection lives in per-context plugin data, so a working copy makes its
// own, or is handed the context's with its socket.
// Command server thread only.
#pragma once

#include <memory>
#include <string>

#include "stdsoap2.h"

struct WOLFSSL_SESSION;

namespace vantel {

// A camera's TLS session as its last connection left it (a session ID or a
// ticket): the next connection offers it and, when the camera takes it,
// skips the full handshake. Null until a full handshake has been made.
using TlsSession = std::shared_ptr<WOLFSSL_SESSION>;

// What a camera's certificate is checked against and its session resumed
// from; owned by the caller (the camera's entry in the book), alive as long
// as the context.
struct TlsPin {
  std::string* fingerprint;  // 64 hex digits; empty: the next one shown is pinned
  std::string camera;        // "host:port", for the lines
  TlsSession* session;       // offered only while a pin is held
  bool full_handshake = false;  // one was made since the context began
};

// Registers the plugin on a freshly initialised context, after every other
// wrapper of its connect; working copies made from it inherit it.
int use_tls(struct soap* soap, TlsPin* pin);

// Moves the TLS state of the connection `from` holds to `to`, a copy of the
// same context or the context it was copied from (the socket itself is
// the caller's to move).
void hand_over_tls(struct soap* from, struct soap* to);

// SHA-256 of `der` as 64 lower-case hex digits.
std::string certificate_fingerprint(const unsigned char* der, size_t size);

}  // namespace vantel
