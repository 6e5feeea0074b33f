// The part of the gSOAP runtime's TLS layer that the WS-Security plugins
// use, for a runtime compiled without it (the static PowerPC build; see
// cmake/onvif.cmake). The daemon never makes a TLS connection, so the
// runtime's TLS code, which would link all of libssl and OpenSSL's X.509
// and PEM machinery, is left out; what the plugins still need is the
// OpenSSL random generator, seeded as the runtime seeds it, and SHA-1.
//
// soap_ssl_init() is the runtime's function of the same name for OpenSSL
// 1.1 and later (the /dev/urandom seeding, with the rand() fallback it uses
// on Linux), and vantel_soap_random() its soap_rand(). Without the TLS
// layer, stdsoap2.h makes soap_random (the WS-Security nonce, the
// runtime's UUIDs and MIME boundaries) the C library's rand(); the runtime
// and the plugins are compiled with HAVE_RANDOM, which makes it random(),
// and with `random` defined as vantel_soap_random, so soap_random draws
// from RAND_bytes exactly as in the full runtime.
#include <openssl/rand.h>

#include <cstdlib>
#include <ctime>

#include "stdsoap2.h"

namespace {
int g_init_done = 0;
}

void soap_ssl_init() {
  if (g_init_done) return;
  g_init_done = 1;
  if (!RAND_load_file("/dev/urandom", 1024)) {
    // No /dev/urandom: perturb the generator until it reports itself
    // seeded (the C library's rand() here, not the replacement).
    char buf[1024] = {};
    RAND_seed(buf, sizeof buf);
    srand(static_cast<unsigned>(time(nullptr)));
    do {
      int r = ::rand();
      RAND_seed(&r, sizeof r);
    } while (!RAND_status());
  }
}

void soap_ssl_noinit() { g_init_done = 1; }

extern "C" long vantel_soap_random(void) {
  int r;
  if (!g_init_done) soap_ssl_init();
  RAND_bytes(reinterpret_cast<unsigned char*>(&r), sizeof r);
  return r;
}
