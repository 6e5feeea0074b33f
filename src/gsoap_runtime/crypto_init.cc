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
//
// Called from the thread that serves commands (every camera call is made
// there), one call at a time.
#include <openssl/rand.h>
#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "stdsoap2.h"

namespace {
int g_init_done = 0;

// A call of RAND_bytes costs about as much for 4 bytes as for 64 (the
// generator's lock and reseed checks), and every UsernameToken's 20-byte
// nonce takes five draws of 4: so the bytes are drawn 64 at a time and
// handed out in turn. A child forked after a draw empties its copy, so
// that parent and child never hand out the same bytes.
unsigned char g_pool[64];
size_t g_pool_used = sizeof g_pool;
void empty_pool() { g_pool_used = sizeof g_pool; }
}  // namespace

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
  if (!g_init_done) soap_ssl_init();
  int r;
  if (g_pool_used + sizeof r > sizeof g_pool) {
    static const int forks_empty_it = pthread_atfork(nullptr, nullptr, empty_pool);
    static_cast<void>(forks_empty_it);
    RAND_bytes(g_pool, sizeof g_pool);
    g_pool_used = 0;
  }
  std::memcpy(&r, g_pool + g_pool_used, sizeof r);
  g_pool_used += sizeof r;
  return r;
}
