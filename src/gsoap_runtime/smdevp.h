// The message-digest engine that gSOAP's HTTP Digest plugin (httpda.c)
// hashes with, on wolfSSL: gSOAP's own smdevp is written for OpenSSL's EVP.
// Stands in for it under the same name, so that httpda.c, built beside the
// runtime (cmake/onvif.cmake), compiles unchanged. Plain digests only
// (MD5, SHA-256: what the plugin asks for); no HMAC, signatures or keys.
// Each soap_smd_data is used by one thread at a time, like its context.
#ifndef VANTEL_GSOAP_RUNTIME_SMDEVP_H
#define VANTEL_GSOAP_RUNTIME_SMDEVP_H

#include "stdsoap2.h"

#define SOAP_SMD_MD5_SIZE (16)
#define SOAP_SMD_SHA256_SIZE (32)
#define SOAP_SMD_MAX_SIZE (64)

// Algorithm codes as gSOAP numbers them: the hash in the low bits, the
// kind of computation above.
#define SOAP_SMD_HASH (0x000F)
#define SOAP_SMD_ALGO (0x0030)
#define SOAP_SMD_MD5 (0x00)
#define SOAP_SMD_SHA256 (0x03)
#define SOAP_SMD_DGST (0x10)
#define SOAP_SMD_DGST_MD5 (SOAP_SMD_DGST | SOAP_SMD_MD5)
#define SOAP_SMD_DGST_SHA256 (SOAP_SMD_DGST | SOAP_SMD_SHA256)

#ifdef __cplusplus
extern "C" {
#endif

// The fields of gSOAP's own: ctx is non-null from init until final (or
// cleanup), which is how callers tell a digest left open.
struct soap_smd_data {
  int alg;
  void* ctx;
  const void* key;
  int (*fsend)(struct soap*, const char*, size_t);
  size_t (*frecv)(struct soap*, char*, size_t);
  soap_mode mode;
};

// Each returns SOAP_OK, or sets soap->error (SOAP_SSL_ERROR, SOAP_EOM) and
// returns it; a failed call leaves no context open. `key` must be null.
int soap_smd_init(struct soap* soap, struct soap_smd_data* data, int alg, const void* key, int keylen);
int soap_smd_update(struct soap* soap, struct soap_smd_data* data, const char* buf, size_t len);
// Writes the digest to `buf` (its size to *len when len is given) and
// closes the context; with a null `buf` it only closes it.
int soap_smd_final(struct soap* soap, struct soap_smd_data* data, char* buf, int* len);
void soap_smd_cleanup(struct soap* soap, struct soap_smd_data* data);

#ifdef __cplusplus
}
#endif

#endif
