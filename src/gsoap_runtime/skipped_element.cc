// The serializers of skipped_element (scripts/onvif/skipped_element.h): an
// element of an answer that no command reads, read past and not kept. A
// class holds such elements in a wildcard member; reading one costs a scan
// of the input for its end tag, not a copy of its text or objects built
// from it. Requests never carry one. Called by the generated bindings on the
// thread that makes the camera call.
#include <cstring>

#include "soapH.h"

namespace {

bool blank(soap_wchar c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Past the next '<' of the answer, text before it jumped over a buffer at a
// time; false at the end of the answer.
bool past_next_lt(struct soap* soap) {
  for (;;) {
    if (soap->bufidx >= soap->buflen && soap_recv(soap)) return false;
    const char* from = soap->buf + soap->bufidx;
    const void* lt = std::memchr(from, '<', soap->buflen - soap->bufidx);
    if (lt != nullptr) {
      soap->bufidx = static_cast<size_t>(static_cast<const char*>(lt) - soap->buf) + 1;
      return true;
    }
    soap->bufidx = soap->buflen;
  }
}

// Past the next `mark mark >` ("-->", "]]>"), or `mark >` ("?>") when not
// `twice`; false at the end of the answer.
bool past_closing(struct soap* soap, soap_wchar mark, bool twice) {
  int run = 0;
  for (;;) {
    const soap_wchar c = soap_get1(soap);
    if (c == EOF) return false;
    if (c == mark) {
      ++run;
    } else if (c == '>' && run >= (twice ? 2 : 1)) {
      return true;
    } else {
      run = 0;
    }
  }
}

// Past the '>' that ends the tag being read, quoted attribute values taken
// whole (they may hold '>'); false at the end of the answer. `empty` tells
// whether it was an empty-element tag ("/>").
bool past_tag(struct soap* soap, bool& empty) {
  char quote = 0;
  char last = 0;
  for (;;) {
    if (soap->bufidx >= soap->buflen && soap_recv(soap)) return false;
    const char* p = soap->buf + soap->bufidx;
    const char* const end = soap->buf + soap->buflen;
    // Most tags hold no quote before their '>': one search finds its end.
    if (quote == 0) {
      const char* gt = static_cast<const char*>(std::memchr(p, '>', static_cast<size_t>(end - p)));
      if (gt != nullptr && std::memchr(p, '"', static_cast<size_t>(gt - p)) == nullptr &&
          std::memchr(p, '\'', static_cast<size_t>(gt - p)) == nullptr) {
        empty = (gt > p ? gt[-1] : last) == '/';
        soap->bufidx = static_cast<size_t>(gt - soap->buf) + 1;
        return true;
      }
    }
    for (; p < end; ++p) {
      const char c = *p;
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == '>') {
        empty = last == '/';
        soap->bufidx = static_cast<size_t>(p - soap->buf) + 1;
        return true;
      } else if (c == '"' || c == '\'') {
        quote = c;
      }
      last = c;
    }
    soap->bufidx = soap->buflen;
  }
}

// The content and end tag of the element whose start tag was just read:
// nested elements, comments, CDATA sections and processing instructions
// included. The runtime's soap_ignore() does the same one character at a
// time; this jumps from '<' to '<' over the buffer.
int skip_content(struct soap* soap) {
  // A character the runtime has put back, or an open CDATA section: left to
  // its own reader, which knows what to make of them.
  if (soap->ahead != 0 || soap->cdata) return soap_ignore(soap);
  size_t depth = 0;
  for (;;) {
    if (!past_next_lt(soap)) return soap->error = SOAP_EOF;
    soap_wchar c = soap_get0(soap);
    while (blank(c)) {
      soap->bufidx++;
      c = soap_get0(soap);
    }
    if (c == EOF) return soap->error = SOAP_EOF;
    bool complete = true;
    bool empty = false;
    if (c == '/') {
      soap->bufidx++;
      complete = past_tag(soap, empty);
      if (complete && depth == 0) return SOAP_OK;
      --depth;
    } else if (c == '!') {
      soap->bufidx++;
      c = soap_get0(soap);
      if (c == '-' || c == '[') {
        soap->bufidx++;
        complete = past_closing(soap, c == '-' ? '-' : ']', true);
      } else {
        complete = past_tag(soap, empty);
      }
    } else if (c == '?') {
      soap->bufidx++;
      complete = past_closing(soap, '?', false);
    } else {
      complete = past_tag(soap, empty);
      if (!empty) ++depth;
    }
    if (!complete) return soap->error = SOAP_EOF;
  }
}

}  // namespace

void soap_default_skipped_element(struct soap*, char* a) { *a = 0; }

// Nothing to write: a request never holds a skipped element.
int soap_out_skipped_element(struct soap*, const char*, int, const char*, const char*) { return SOAP_OK; }

// One element, whatever its name (`tag` is the wildcard "-any"), as the
// runtime reads past an element it does not know: its start tag is taken,
// its content read to the matching end tag. At the end of the enclosing
// element there is none: SOAP_NO_TAG, which ends the caller's list.
char* soap_in_skipped_element(struct soap* soap, const char* tag, char* a, const char*) {
  if (soap_element_begin_in(soap, tag, 1, nullptr)) return nullptr;
  // The wildcard takes whatever comes next, an end tag included.
  if (!soap->peeked || *soap->tag == '\0') {
    soap->error = SOAP_NO_TAG;
    return nullptr;
  }
  soap->peeked = 0;
  if (soap->body && skip_content(soap)) return nullptr;
  if (a == nullptr && (a = static_cast<char*>(soap_malloc(soap, 1))) == nullptr) return nullptr;
  *a = 0;
  return a;
}
