#include "smdevp.h"

#include <cstdlib>

// clang-format off
#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/md5.h>
#include <wolfssl/wolfcrypt/sha256.h>
// clang-format on

namespace {

struct Digest {
  int hash;  // SOAP_SMD_MD5 or SOAP_SMD_SHA256
  union {
    wc_Md5 md5;
    wc_Sha256 sha256;
  };
};

int fail(struct soap* soap, struct soap_smd_data* data, const char* what) {
  soap_smd_cleanup(soap, data);
  return soap_set_receiver_error(soap, what, "digest failed", SOAP_SSL_ERROR);
}

}  // namespace

int soap_smd_init(struct soap* soap, struct soap_smd_data* data, int alg, const void* key, int keylen) {
  static_cast<void>(keylen);
  data->alg = alg;
  data->key = key;
  data->ctx = nullptr;
  const int hash = alg & SOAP_SMD_HASH;
  if ((alg & SOAP_SMD_ALGO) != SOAP_SMD_DGST || key != nullptr || (hash != SOAP_SMD_MD5 && hash != SOAP_SMD_SHA256))
    return soap_set_receiver_error(soap, "soap_smd_init() failed", "Unsupported digest algorithm", SOAP_SSL_ERROR);
  auto* digest = static_cast<Digest*>(std::malloc(sizeof(Digest)));
  if (digest == nullptr) return soap->error = SOAP_EOM;
  digest->hash = hash;
  data->ctx = digest;
  const int result = hash == SOAP_SMD_MD5 ? wc_InitMd5(&digest->md5) : wc_InitSha256(&digest->sha256);
  if (result != 0) {
    std::free(digest);
    data->ctx = nullptr;
    return soap_set_receiver_error(soap, "soap_smd_init() failed", "digest failed", SOAP_SSL_ERROR);
  }
  return SOAP_OK;
}

int soap_smd_update(struct soap* soap, struct soap_smd_data* data, const char* buf, size_t len) {
  auto* digest = static_cast<Digest*>(data->ctx);
  if (digest == nullptr) return soap_set_receiver_error(soap, "soap_smd_update() failed", "No context", SOAP_SSL_ERROR);
  const auto* bytes = reinterpret_cast<const byte*>(buf);
  // The hashes take 32-bit lengths; the plugin hands over whole messages.
  while (len > 0) {
    const word32 part = len > 0x40000000u ? 0x40000000u : static_cast<word32>(len);
    const int result = digest->hash == SOAP_SMD_MD5 ? wc_Md5Update(&digest->md5, bytes, part)
                                                    : wc_Sha256Update(&digest->sha256, bytes, part);
    if (result != 0) return fail(soap, data, "soap_smd_update() failed");
    bytes += part;
    len -= part;
  }
  return SOAP_OK;
}

int soap_smd_final(struct soap* soap, struct soap_smd_data* data, char* buf, int* len) {
  auto* digest = static_cast<Digest*>(data->ctx);
  if (digest == nullptr) return soap_set_receiver_error(soap, "soap_smd_final() failed", "No context", SOAP_SSL_ERROR);
  if (buf != nullptr) {
    auto* out = reinterpret_cast<byte*>(buf);
    const bool md5 = digest->hash == SOAP_SMD_MD5;
    const int result = md5 ? wc_Md5Final(&digest->md5, out) : wc_Sha256Final(&digest->sha256, out);
    if (result != 0) return fail(soap, data, "soap_smd_final() failed");
    if (len != nullptr) *len = md5 ? SOAP_SMD_MD5_SIZE : SOAP_SMD_SHA256_SIZE;
  }
  soap_smd_cleanup(soap, data);
  return SOAP_OK;
}

void soap_smd_cleanup(struct soap* soap, struct soap_smd_data* data) {
  static_cast<void>(soap);
  auto* digest = static_cast<Digest*>(data->ctx);
  if (digest == nullptr) return;
  if (digest->hash == SOAP_SMD_MD5)
    wc_Md5Free(&digest->md5);
  else
    wc_Sha256Free(&digest->sha256);
  std::free(digest);
  data->ctx = nullptr;
}
