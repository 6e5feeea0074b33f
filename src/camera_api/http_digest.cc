#include "camera_api/http_digest.h"

namespace vantel {

http_da_data* HttpDigest::plugin(struct soap* context) {
  if (soap_lookup_plugin(context, http_da_id) == nullptr) soap_register_plugin(context, http_da);
  return static_cast<http_da_data*>(soap_lookup_plugin(context, http_da_id));
}

bool HttpDigest::take(struct soap* context, const char* challenge, const char* user, const char* password) {
  http_da_data* data = plugin(context);
  if (data == nullptr) return false;
  // The runtime's own parser noted the realm already; the plugin reads a
  // challenge only for a realm it has not seen.
  context->authrealm = nullptr;
  data->nonce = nullptr;
  context->fparsehdr(context, "WWW-Authenticate", challenge);
  if (context->authrealm == nullptr || data->nonce == nullptr) return false;
  release(context);
  http_da_save(context, &info_, context->authrealm, user, password);
  count_ = 1;
  armed_ = true;
  return true;
}

void HttpDigest::before_request(struct soap* context, bool http) {
  if (!armed_) return;
  if (!http) {
    // To the runtime any other address is plain TCP: no HTTP header would
    // carry the answer, and the plugin would start a digest of the request
    // that nothing ends.
    context->userid = nullptr;
    context->passwd = nullptr;
    return;
  }
  http_da_data* data = plugin(context);
  if (data == nullptr) return;
  http_da_restore(context, &info_);
  data->nc = count_;
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
