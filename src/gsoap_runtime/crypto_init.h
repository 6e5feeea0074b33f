// Random bytes for the runtime, its plugins and the daemon's WS-Security
// token, from wolfSSL's generator through one pool (crypto_init.cc); the
// pool is not shared with a forked child. Command server thread only, one
// call at a time.
#ifndef VANTEL_GSOAP_RUNTIME_CRYPTO_INIT_H
#define VANTEL_GSOAP_RUNTIME_CRYPTO_INIT_H

#include <cstddef>

// What soap_random is in the runtime and the plugins (cmake/onvif.cmake).
extern "C" long vantel_soap_random(void);

// Fills `out` with `size` random bytes.
void vantel_random_bytes(unsigned char* out, size_t size);

#endif
