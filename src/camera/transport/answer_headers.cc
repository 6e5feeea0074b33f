#include "camera/transport/answer_headers.h"

#include <cstring>

#include "camera/transport/context_data.h"

namespace vantel {
namespace {

struct Headers {
  static constexpr const char* kId = "vantel-answer-headers";
  int (*next_parser)(struct soap*, const char*, const char*) = nullptr;
  // An HTTP date is 29 characters; anything that does not fit is no date.
  char date[40] = "";
  // Realm, nonce, opaque, qop and algorithm fit easily; a longer challenge
  // is not one we could answer.
  char challenge[1024] = "";
  char location[320] = "";
};

const char kNone[] = "";

Headers* headers_of(struct soap* soap) { return data_of<Headers>(soap); }

void keep(char* field, size_t size, const char* value) {
  const size_t length = std::strlen(value);
  if (length < size) std::memcpy(field, value, length + 1);
}

int parse_header(struct soap* soap, const char* key, const char* value) {
  Headers* h = headers_of(soap);
  if (soap_tag_cmp(key, "Location") == 0) {
    std::strncpy(h->location, value, sizeof h->location - 1);
    h->location[sizeof h->location - 1] = '\0';
  } else if (soap_tag_cmp(key, "Date") == 0) {
    keep(h->date, sizeof h->date, value);
  } else if (soap_tag_cmp(key, "WWW-Authenticate") == 0 && soap_tag_cmp(value, "Digest *") == 0 &&
             h->challenge[0] == '\0') {
    // Servers offering several algorithms send one challenge each, the
    // preferred first.
    keep(h->challenge, sizeof h->challenge, value);
  }
  return h->next_parser(soap, key, value);
}

}  // namespace

void watch_answer_headers(struct soap* soap) {
  Headers initial;
  initial.next_parser = soap->fparsehdr;
  attach(soap, initial);
  soap->fparsehdr = parse_header;
}

void forget_answer_headers(struct soap* soap) {
  if (Headers* h = headers_of(soap)) h->date[0] = h->challenge[0] = h->location[0] = '\0';
}

const char* answer_date(struct soap* soap) {
  const Headers* h = headers_of(soap);
  return h ? h->date : kNone;
}
const char* answer_digest_challenge(struct soap* soap) {
  const Headers* h = headers_of(soap);
  return h ? h->challenge : kNone;
}
const char* answer_location(struct soap* soap) {
  const Headers* h = headers_of(soap);
  return h ? h->location : kNone;
}

}  // namespace vantel
