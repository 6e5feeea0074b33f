// A UsernameToken made after 2038-01-19, where a 32-bit time_t runs out,
// must carry its true creation time and a digest the camera accepts: the
// camera recomputes Base64(SHA-1(nonce + Created + password)) and checks
// Created for freshness. The digest is recomputed here with wolfSSL's
// one-call SHA-1 and its Base64 decoder, not with the token's own code.
#include <cstdio>
#include <ctime>
#include <set>
#include <string>

#include "camera/auth/username_token.h"
#include "onvif_namespaces.h"
#include "soapH.h"

// clang-format off
#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/coding.h>
#include <wolfssl/wolfcrypt/hash.h>
#include <wolfssl/wolfcrypt/sha.h>
// clang-format on

namespace {

std::string unbase64(const std::string& text) {
  std::string bytes(text.size(), '\0');
  word32 size = static_cast<word32>(bytes.size());
  if (Base64_Decode(reinterpret_cast<const byte*>(text.data()), static_cast<word32>(text.size()),
                    reinterpret_cast<byte*>(&bytes[0]), &size) != 0)
    return std::string();
  bytes.resize(size);
  return bytes;
}

std::string sha1(const std::string& bytes) {
  byte digest[WC_SHA_DIGEST_SIZE];
  if (wc_ShaHash(reinterpret_cast<const byte*>(bytes.data()), static_cast<word32>(bytes.size()), digest) != 0)
    return std::string();
  return std::string(reinterpret_cast<char*>(digest), sizeof digest);
}

const char* text_or_empty(const char* text) { return text ? text : ""; }

}  // namespace

int main() {
  struct Case {
    long long seconds;
    const char* created;
  };
  const Case cases[] = {
      {1795435200LL, "2026-11-23T12:00:00Z"},
      {2147483647LL, "2038-01-19T03:14:07Z"},  // the last second of a 32-bit time_t
      {2148595200LL, "2038-02-01T00:00:00Z"},
      {4296844800LL, "2106-03-01T00:00:00Z"},  // past an unsigned 32-bit one too
  };
  int failures = 0;
  // Four nonces of 20 bytes outrun one draw of the random pool.
  std::set<std::string> nonces;
  for (const Case& c : cases) {
    const time_t now = static_cast<time_t>(c.seconds);
    if (static_cast<long long>(now) != c.seconds) {
      std::printf("FAIL %s: time_t cannot hold %lld\n", c.created, c.seconds);
      ++failures;
      continue;
    }
    struct soap soap;
    soap_init(&soap);
    soap_set_namespaces(&soap, namespaces);
    const char* password = "Pa55word";
    const int result = vantel::add_username_token(&soap, "admin", password, now);
    const _wsse__UsernameToken* token =
        soap.header && soap.header->wsse__Security ? soap.header->wsse__Security->UsernameToken : nullptr;
    if (result != SOAP_OK || !token || !token->Nonce || !token->Password) {
      std::printf("FAIL %s: no UsernameToken (%d)\n", c.created, result);
      ++failures;
    } else {
      const std::string created = text_or_empty(token->wsu__Created);
      const std::string nonce = unbase64(text_or_empty(token->Nonce->__item));
      const std::string expected = sha1(nonce + created + password);
      const char* digest = text_or_empty(token->Password->__item);
      const bool right = expected.size() == 20 && unbase64(digest) == expected;
      const bool repeated = !nonces.insert(nonce).second;
      if (created != c.created || nonce.size() != 20 || !right || repeated) {
        std::printf("FAIL %s: Created %s, nonce of %zu bytes (seen before: %d), digest %s (right: %d)\n",
                    c.created, created.c_str(), nonce.size(), repeated, digest, right);
        ++failures;
      } else {
        std::printf("ok   %s digest %s\n", c.created, digest);
      }
    }
    soap_destroy(&soap);
    soap_end(&soap);
    soap_done(&soap);
  }
  return failures == 0 ? 0 : 1;
}
