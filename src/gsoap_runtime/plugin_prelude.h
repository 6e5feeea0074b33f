// Included ahead of gSOAP's plugin sources (cmake/onvif.cmake), which are
// written for a runtime with its TLS layer; ours is built without it.
// Without that layer stdsoap2.h includes no OpenSSL header, yet mecevp.c
// calls RAND_bytes, and wsseapi.c's X.509 store set-up (signed messages,
// never used here) hands soap->fsslverify, then a plain pointer, to
// OpenSSL as its callback type: valid C, an error in C++.
#ifndef VANTEL_GSOAP_RUNTIME_PLUGIN_PRELUDE_H
#define VANTEL_GSOAP_RUNTIME_PLUGIN_PRELUDE_H

#include <openssl/rand.h>
#include <openssl/x509_vfy.h>

#undef X509_STORE_set_verify_cb_func
#define X509_STORE_set_verify_cb_func(store, callback) \
  X509_STORE_set_verify_cb((store), (X509_STORE_CTX_verify_cb)(callback))

#endif
