#include "camera/auth/http_digest.h"

#include <cstring>

namespace vantel {
namespace {

// The plugin's reader of WWW-Authenticate lines. It is taken off the
// context's header parser as soon as the plugin is registered: left there,
// it would keep every later challenge to itself (the session must see a
// stale one) and quietly swap nonces between requests.
int (*g_challenge_reader)(struct soap*, const char*, const char*) = nullptr;

}  // namespace

http_da_data* HttpDigest::plugin(struct soap* context) {
  if (soap_lookup_plugin(context, http_da_id) == nullptr) {
    const auto own_parser = context->fparsehdr;
    if (soap_register_plugin(context, http_da) != SOAP_OK) return nullptr;
    g_challenge_reader = context->fparsehdr;
    context->fparsehdr = own_parser;
  }
  return static_cast<http_da_data*>(soap_lookup_plugin(context, http_da_id));
}

bool HttpDigest::take(struct soap* context, const char* challenge, const char* user, const char* password) {
  http_da_data* data = plugin(context);
  if (data == nullptr) return false;
  // A renewed challenge replaces the one before.
  release(context);
  // The runtime's own parser noted the realm already; the plugin reads a
  // challenge only for a realm it has not seen.
  context->authrealm = nullptr;
  data->nonce = nullptr;
  g_challenge_reader(context, "WWW-Authenticate", challenge);
  if (context->authrealm == nullptr || data->nonce == nullptr) return false;
  http_da_save(context, &info_, context->authrealm, user, password);
  count_ = 1;
  armed_ = true;
  return true;
}

bool HttpDigest::stale(struct soap* context, const char* challenge) {
  const char* flag = soap_http_header_attribute(context, challenge + std::strlen("Digest "), "stale");
  return flag != nullptr && soap_tag_cmp(flag, "true") == 0;
}

void HttpDigest::before_request(struct soap* context, bool http) {
  if (!armed_) return;
  if (!http) {
    // To the runtime any other address is plain TCP: no HTTP header would
    // carry the answer, and the plugin would start a digest of the request
    // that nothing ends.
    withhold(context);
    return;
  }
  http_da_data* data = plugin(context);
  if (data == nullptr) return;
  http_da_restore(context, &info_);
  data->nc = count_;
}

void HttpDigest::withhold(struct soap* context) {
  context->userid = nullptr;
  context->passwd = nullptr;
}

void HttpDigest::after_request(struct soap* context) {
  if (!armed_) return;
  if (http_da_data* data = static_cast<http_da_data*>(soap_lookup_plugin(context, http_da_id))) {
    count_ = data->nc;
    // The plugin starts a digest of each request before it is sent and ends
    // it when it writes the Authorization line; a request that never got
    // that far (no connection, no address) leaves it open, and the next
    // request would start another over it.
    if (data->smd_data.ctx != nullptr) soap_smd_final(context, &data->smd_data, nullptr, nullptr);
  }
}

void HttpDigest::release(struct soap* context) {
  if (!armed_) return;
  if (plugin(context) != nullptr) http_da_release(context, &info_);
  armed_ = false;
}

}  // namespace vantel
