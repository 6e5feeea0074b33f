#include "camera/auth/username_token.h"

#include <cstring>

#include "crypto_init.h"

// clang-format off
#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/sha.h>
// clang-format on

namespace vantel {
namespace {

char kPasswordDigest[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0#PasswordDigest";
char kBase64Binary[] =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-soap-message-security-1.0#Base64Binary";
constexpr size_t kNonceSize = 20;

// Allocated in the context's memory and set to its defaults, as the
// generated code's own header types are; freed by soap_end.
template <typename T>
T* allocate(struct soap* context, void (*set_default)(struct soap*, T*)) {
  T* item = static_cast<T*>(soap_malloc(context, sizeof(T)));
  if (item != nullptr) set_default(context, item);
  return item;
}

bool password_digest(const unsigned char* nonce, const char* created, const char* password,
                     unsigned char digest[WC_SHA_DIGEST_SIZE]) {
  wc_Sha sha;
  if (wc_InitSha(&sha) != 0) return false;
  const bool done = wc_ShaUpdate(&sha, nonce, kNonceSize) == 0 &&
                    wc_ShaUpdate(&sha, reinterpret_cast<const byte*>(created), std::strlen(created)) == 0 &&
                    wc_ShaUpdate(&sha, reinterpret_cast<const byte*>(password), std::strlen(password)) == 0 &&
                    wc_ShaFinal(&sha, digest) == 0;
  wc_ShaFree(&sha);
  return done;
}

}  // namespace

int add_username_token(struct soap* context, const char* user, const char* password, time_t created) {
  if (password == nullptr) password = "";
  soap_header(context);
  if (context->header == nullptr) return context->error = SOAP_EOM;
  _wsse__Security*& security = context->header->wsse__Security;
  if (security == nullptr) security = allocate(context, soap_default__wsse__Security);
  if (security == nullptr) return context->error = SOAP_EOM;
  _wsse__UsernameToken* token = allocate(context, soap_default__wsse__UsernameToken);
  _wsse__Password* digest_text = allocate(context, soap_default__wsse__Password);
  wsse__EncodedString* nonce_text = allocate(context, soap_default_wsse__EncodedString);
  // The text form of the time is in the context's scratch buffer until the
  // next conversion: copied at once.
  char* created_text = soap_strdup(context, soap_dateTime2s(context, created));
  if (token == nullptr || digest_text == nullptr || nonce_text == nullptr || created_text == nullptr)
    return context->error = SOAP_EOM;

  unsigned char nonce[kNonceSize];
  vantel_random_bytes(nonce, sizeof nonce);
  unsigned char digest[WC_SHA_DIGEST_SIZE];
  if (!password_digest(nonce, created_text, password, digest))
    return soap_set_sender_error(context, "UsernameToken", "SHA-1 failed", SOAP_SSL_ERROR);

  digest_text->__item = soap_s2base64(context, digest, nullptr, sizeof digest);
  digest_text->Type = kPasswordDigest;
  nonce_text->__item = soap_s2base64(context, nonce, nullptr, sizeof nonce);
  nonce_text->EncodingType = kBase64Binary;
  if (digest_text->__item == nullptr || nonce_text->__item == nullptr) return context->error = SOAP_EOM;
  token->Username = soap_strdup(context, user);
  token->Password = digest_text;
  token->Nonce = nonce_text;
  token->wsu__Created = created_text;
  security->UsernameToken = token;
  return SOAP_OK;
}

}  // namespace vantel
