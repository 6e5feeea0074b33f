// The part of the gSOAP runtime's TLS layer that the runtime and its
// plugins use, for a runtime compiled without it (cmake/onvif.cmake): the
// random generator, here wolfSSL's (a Hash-DRBG seeded from the kernel).
// The runtime's TLS layer is written for OpenSSL; the daemon's one crypto
// library is wolfSSL, and its TLS connections are made by the camera
// transport, not by the runtime.
//
// soap_ssl_init() is the runtime's function of the same name: it sets up
// the generator. vantel_soap_random() is the runtime's soap_rand().
// Without the TLS layer, stdsoap2.h makes soap_random (HTTP Digest's
// cnonce, the runtime's UUIDs and MIME boundaries) the C library's rand();
// the runtime and the plugins are compiled with HAVE_RANDOM, which makes
// it random(), and with `random` defined as vantel_soap_random, so
// soap_random draws from wolfSSL as the full runtime's draws from its TLS
// library. The UsernameToken's nonce is drawn with vantel_random_bytes().
//
// Called from the thread that serves commands (every camera call is made
// there), one call at a time.
#include "crypto_init.h"

#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "stdsoap2.h"

// clang-format off
#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/random.h>
// clang-format on

namespace {
int g_init_done = 0;
bool g_rng_ready = false;
WC_RNG g_rng;

// A draw from the generator costs about as much for 4 bytes as for 64
// (a hash of its state each time), and every UsernameToken's 20-byte nonce
// takes five draws of 4: so the bytes are drawn 64 at a time and handed out
// in turn.
unsigned char g_pool[64];
size_t g_pool_used = sizeof g_pool;

// A child forked after a draw has a copy of the pool and of the
// generator's state, which would hand out the parent's next bytes: it
// empties the pool, and its first draw seeds a generator of its own.
bool g_forked = false;
void after_fork_in_child() {
  g_pool_used = sizeof g_pool;
  g_forked = true;
}

void fill_pool() {
  if (g_forked && g_rng_ready) {
    wc_FreeRng(&g_rng);
    g_rng_ready = wc_InitRng(&g_rng) == 0;
  }
  g_forked = false;
  if (!g_rng_ready || wc_RNG_GenerateBlock(&g_rng, g_pool, sizeof g_pool) != 0) {
    // No seed to be had from the kernel: the C library's rand(), seeded
    // from the clock, as the runtime does without a TLS library (this is
    // rand() itself, not the replacement).
    for (unsigned char& byte : g_pool) byte = static_cast<unsigned char>(::rand() >> 7);
  }
  g_pool_used = 0;
}
}  // namespace

void soap_ssl_init() {
  if (g_init_done) return;
  g_init_done = 1;
  pthread_atfork(nullptr, nullptr, after_fork_in_child);
  g_rng_ready = wc_InitRng(&g_rng) == 0;
  if (!g_rng_ready) srand(static_cast<unsigned>(time(nullptr)));
}

// For a program that sets up the TLS library itself; the generator here is
// this file's own and is set up all the same.
void soap_ssl_noinit() {}

extern "C" long vantel_soap_random(void) {
  if (!g_init_done) soap_ssl_init();
  int r;
  if (g_pool_used + sizeof r > sizeof g_pool) fill_pool();
  std::memcpy(&r, g_pool + g_pool_used, sizeof r);
  g_pool_used += sizeof r;
  return r;
}

void vantel_random_bytes(unsigned char* out, size_t size) {
  while (size > 0) {
    const int r = static_cast<int>(vantel_soap_random());
    const size_t part = size < sizeof r ? size : sizeof r;
    std::memcpy(out, &r, part);
    out += part;
    size -= part;
  }
}
