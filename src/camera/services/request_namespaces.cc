#include "camera/services/request_namespaces.h"

#include <cstring>

#include "camera/transport/context_data.h"

namespace vantel {
namespace {

// Entries of the table beyond this many are always declared.
constexpr int kMaxEntries = 32;

struct Narrowing {
  static constexpr const char* kId = "vantel-request-namespaces";
  int (*next_init_send)(struct soap*) = nullptr;
  int (*next_init_recv)(struct soap*) = nullptr;
  // The next request's body prefixes; nullptr declares the whole table.
  const char* body = nullptr;
  // The URIs of the entries hidden while a request is written, nullptr
  // for the entries left as they were.
  const char* hidden[kMaxEntries] = {};
};

Narrowing* narrowing_of(struct soap* soap) { return data_of<Narrowing>(soap); }

// Whether `prefix` is one of the space-separated `list`.
bool listed(const char* list, const char* prefix) {
  const size_t length = std::strlen(prefix);
  for (const char* p = list; *p != '\0';) {
    const char* end = std::strchr(p, ' ');
    const size_t n = end ? static_cast<size_t>(end - p) : std::strlen(p);
    if (n == length && std::strncmp(p, prefix, n) == 0) return true;
    if (end == nullptr) break;
    p = end + 1;
  }
  return false;
}

bool addressing(const SOAP_ENV__Header* h) {
  return h != nullptr && (h->wsa5__MessageID || h->wsa5__RelatesTo || h->wsa5__From || h->wsa5__ReplyTo ||
                          h->wsa5__FaultTo || h->wsa5__To || h->wsa5__Action);
}

bool used(const char* id, const char* body, const SOAP_ENV__Header* header) {
  if (listed(body, id)) return true;
  if (header != nullptr && header->wsse__Security != nullptr &&
      (std::strcmp(id, "wsse") == 0 || std::strcmp(id, "wsu") == 0)) {
    return true;
  }
  return std::strcmp(id, "wsa5") == 0 && addressing(header);
}

void widen_table(struct soap* soap, Narrowing* n) {
  struct Namespace* table = soap->local_namespaces;
  for (int i = 0; i < kMaxEntries; ++i) {
    if (n->hidden[i] == nullptr) continue;
    if (table != nullptr) table[i].ns = n->hidden[i];
    n->hidden[i] = nullptr;
  }
}

// Before the request is written. The runtime declares every entry with a
// URI; an entry whose URI an answer set (a camera's own envelope or
// addressing namespace, matched by the entry's pattern) is declared as it
// always was. The envelope's entry comes first and is always declared.
int narrow(struct soap* soap) {
  Narrowing* n = narrowing_of(soap);
  widen_table(soap, n);
  const char* body = n->body;
  n->body = nullptr;
  struct Namespace* table = soap->local_namespaces;
  if (body != nullptr && table != nullptr && table[0].id != nullptr) {
    for (int i = 1; i < kMaxEntries && table[i].id != nullptr; ++i) {
      if (table[i].out != nullptr || table[i].ns == nullptr || used(table[i].id, body, soap->header)) continue;
      n->hidden[i] = table[i].ns;
      table[i].ns = nullptr;
    }
  }
  return n->next_init_send ? n->next_init_send(soap) : SOAP_OK;
}

// Before the answer is read: the whole table again.
int widen(struct soap* soap) {
  Narrowing* n = narrowing_of(soap);
  widen_table(soap, n);
  return n->next_init_recv ? n->next_init_recv(soap) : SOAP_OK;
}

}  // namespace

void declare_used_namespaces(struct soap* soap) {
  Narrowing initial;
  initial.next_init_send = soap->fprepareinitsend;
  initial.next_init_recv = soap->fprepareinitrecv;
  attach(soap, initial);
  soap->fprepareinitsend = narrow;
  soap->fprepareinitrecv = widen;
}

void next_request_uses(struct soap* soap, const char* body_prefixes) {
  if (Narrowing* n = narrowing_of(soap)) n->body = body_prefixes;
}

}  // namespace vantel
