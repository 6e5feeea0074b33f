// A UsernameToken made after 2038-01-19, where a 32-bit time_t runs out,
// must carry its true creation time and a digest the camera accepts: the
// camera recomputes Base64(SHA-1(nonce + Created + password)) and checks
// Created for freshness. The digest is recomputed here with OpenSSL alone,
// not with the plugin's own helpers.
#include <openssl/evp.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <set>
#include <string>

#include "onvif_namespaces.h"
#include "soapH.h"
#include "wsseapi.h"

namespace {

time_t g_now;

time_t fake_time(time_t* out) {
  if (out) *out = g_now;
  return g_now;
}

// Base64 with OpenSSL's block codec, both ways.
std::string base64(const std::string& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  text.resize(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]),
                              reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
  return text;
}
std::string unbase64(const std::string& text) {
  std::string bytes(text.size(), '\0');
  int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(&bytes[0]),
                          reinterpret_cast<const unsigned char*>(text.data()), text.size());
  for (size_t i = text.size(); n > 0 && i > 0 && text[i - 1] == '='; --i) --n;  // padding decodes as zeros
  bytes.resize(n < 0 ? 0 : n);
  return bytes;
}

std::string sha1(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha1(), nullptr);
  return std::string(reinterpret_cast<char*>(digest), size);
}

const char* text_or_empty(const char* text) { return text ? text : ""; }

}  // namespace

// The plugin's clock, whichever symbol glibc gives time() here.
extern "C" time_t __wrap_time(time_t* out) { return fake_time(out); }
extern "C" time_t __wrap___time64(time_t* out) { return fake_time(out); }

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
    g_now = static_cast<time_t>(c.seconds);
    if (static_cast<long long>(g_now) != c.seconds) {
      std::printf("FAIL %s: time_t cannot hold %lld\n", c.created, c.seconds);
      ++failures;
      continue;
    }
    struct soap soap;
    soap_init(&soap);
    soap_set_namespaces(&soap, namespaces);
    const char* password = "Pa55word";
    const int result = soap_wsse_add_UsernameTokenDigest(&soap, nullptr, "admin", password);
    const _wsse__UsernameToken* token =
        soap.header && soap.header->wsse__Security ? soap.header->wsse__Security->UsernameToken : nullptr;
    if (result != SOAP_OK || !token || !token->Nonce || !token->Password) {
      std::printf("FAIL %s: no UsernameToken (%d)\n", c.created, result);
      ++failures;
    } else {
      const std::string created = text_or_empty(token->wsu__Created);
      const std::string nonce = unbase64(text_or_empty(token->Nonce->__item));
      const std::string expected = base64(sha1(nonce + created + password));
      const std::string digest = text_or_empty(token->Password->__item);
      const bool repeated = !nonces.insert(nonce).second;
      if (created != c.created || nonce.size() != 20 || digest != expected || repeated) {
        std::printf("FAIL %s: Created %s, nonce of %zu bytes (seen before: %d), digest %s, expected %s\n",
                    c.created, created.c_str(), nonce.size(), repeated, digest.c_str(),
                    expected.c_str());
        ++failures;
      } else {
        std::printf("ok   %s digest %s\n", c.created, digest.c_str());
      }
    }
    soap_destroy(&soap);
    soap_end(&soap);
    soap_done(&soap);
  }
  return failures == 0 ? 0 : 1;
}
