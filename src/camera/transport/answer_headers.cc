#include "camera/transport/answer_headers.h"

#include <cstring>

namespace vantel {
namespace {

int (*g_next_parser)(struct soap*, const char*, const char*) = nullptr;
// An HTTP date is 29 characters; anything that does not fit is no date.
char g_date[40];
// Realm, nonce, opaque, qop and algorithm fit easily; a longer challenge
// is not one we could answer.
char g_challenge[1024];
// A Location longer than any address worth following is kept as "too
// long" by its first bytes, which no redirect check accepts.
char g_location[320];

void keep(char* field, size_t size, const char* value) {
  const size_t length = std::strlen(value);
  if (length < size) std::memcpy(field, value, length + 1);
}

int parse_header(struct soap* soap, const char* key, const char* value) {
  if (soap_tag_cmp(key, "Location") == 0) {
    std::strncpy(g_location, value, sizeof g_location - 1);
    g_location[sizeof g_location - 1] = '\0';
  } else if (soap_tag_cmp(key, "Date") == 0) {
    keep(g_date, sizeof g_date, value);
  } else if (soap_tag_cmp(key, "WWW-Authenticate") == 0 && soap_tag_cmp(value, "Digest *") == 0 &&
             g_challenge[0] == '\0') {
    // Servers offering several algorithms send one challenge each, the
    // preferred first.
    keep(g_challenge, sizeof g_challenge, value);
  }
  return g_next_parser(soap, key, value);
}

}  // namespace

void watch_answer_headers(struct soap* soap) {
  g_next_parser = soap->fparsehdr;
  soap->fparsehdr = parse_header;
}

void forget_answer_headers() {
  g_date[0] = '\0';
  g_challenge[0] = '\0';
  g_location[0] = '\0';
}

const char* answer_date() { return g_date; }
const char* answer_digest_challenge() { return g_challenge; }
const char* answer_location() { return g_location; }

}  // namespace vantel
