// HTTP Digest towards a camera that answers 401 with a Digest challenge,
// through gSOAP's httpda plugin: the plugin goes on a context only once a
// challenge has come, so requests to every other camera stay as they were.
// One per command, owned by the session; command server thread only.
#pragma once

#include "httpda.h"

namespace vantel {

class HttpDigest {
 public:
  HttpDigest() = default;
  HttpDigest(const HttpDigest&) = delete;
  HttpDigest& operator=(const HttpDigest&) = delete;

  // Takes `challenge` (a WWW-Authenticate value) as read on `context`.
  // True when it can be answered: Digest with a realm and a nonce, in an
  // algorithm the plugin knows (MD5, SHA-256, their -sess forms).
  bool take(struct soap* context, const char* challenge, const char* user, const char* password);
  bool armed() const { return armed_; }
  // The next nonce count, kept by the camera book between commands so that
  // a remembered challenge is answered with counts that only grow.
  unsigned long count() const { return count_; }
  void continue_count(unsigned long count) { count_ = count; }
  // True when `challenge` says the answer was right but its nonce has run
  // out (stale=true): a new nonce to take, not a refused login.
  static bool stale(struct soap* context, const char* challenge);

  // Around every request once armed: the answer to the challenge in the
  // next request on `context` when it goes to an `http` address, then the
  // nonce count it used kept, so a working copy counts on from its context
  // and never repeats one.
  void before_request(struct soap* context, bool http);
  void after_request(struct soap* context);
  // The next request on `context` goes without any HTTP credentials.
  static void withhold(struct soap* context);

  // Releases the credentials' copies; `context` is the session's context,
  // before it is ended.
  void release(struct soap* context);

 private:
  static http_da_data* plugin(struct soap* context);

  http_da_info info_{};
  unsigned long count_ = 1;
  bool armed_ = false;
};

}  // namespace vantel
