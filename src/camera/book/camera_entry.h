// What the daemon knows of one camera, kept from one command to the next by
// the camera book: the part that lasts across restarts (written to the
// state file) and the part that lives only as long as the process. Command
// server thread only, like the book that owns it.
#pragma once

#include <cstdint>
#include <string>

#include "camera/auth/lockout_guard.h"
#include "camera/transport/tls.h"

namespace vantel {

// A camera as the recorder names it: its address, port and user.
struct CameraKey {
  std::string host;  // dotted quad
  int32_t port = 0;
  std::string user;
  bool operator==(const CameraKey& o) const { return port == o.port && host == o.host && user == o.user; }
};

// Written to the state file whenever it changes. Nothing secret: no
// password, no Digest answer, no nonce.
struct LastingFacts {
  // The camera's clock minus ours, in seconds: every token is dated by it.
  int64_t clock_offset = 0;
  // The camera answers only over TLS (it redirected there, or its port
  // speaks nothing else).
  bool tls = false;
  // Where its device service answers when that is not the address the
  // command forms (after a redirect); empty otherwise.
  std::string device_address;
  // The addresses its media and PTZ services are called at when the ones it
  // advertises are not reachable (NAT); empty when it needs none.
  std::string media_address, ptz_address;
  // SHA-256 of the certificate it showed first, as 64 hex digits; empty
  // until it has shown one.
  std::string certificate_pin;

  bool operator==(const LastingFacts& o) const {
    return clock_offset == o.clock_offset && tls == o.tls && device_address == o.device_address &&
           media_address == o.media_address && ptz_address == o.ptz_address && certificate_pin == o.certificate_pin;
  }
  bool operator!=(const LastingFacts& o) const { return !(*this == o); }
};

struct CameraEntry {
  CameraKey key;
  LastingFacts lasting;
  // Which password the entry was learned with (a hash, never the
  // password): what depends on the credentials starts afresh when it
  // changes.
  uint64_t password_mark = 0;
  // The camera's last HTTP Digest challenge (WWW-Authenticate value) and
  // the next nonce count to send with it; empty when it asked for none.
  std::string digest_challenge;
  unsigned long digest_count = 1;
  LockoutGuard guard;
  // The TLS session its last connection left, resumed by the next one;
  // never written (a restart makes one full handshake).
  TlsSession tls_session;
  uint64_t last_use = 0;  // the book's clock, for least-recently-used
};

}  // namespace vantel
