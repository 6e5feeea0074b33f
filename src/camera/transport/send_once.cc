#include "camera/transport/send_once.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <string>

#include "camera/transport/context_data.h"

namespace vantel {
namespace {

struct Gathered {
  static constexpr const char* kId = "vantel-send-once";
  // The sends underneath: the TLS layer's, the hardened or the runtime's.
  int (*send)(struct soap*, const char*, size_t);
  int (*final_send)(struct soap*);
  int (*post)(struct soap*, const char*, const char*, int, const char*, const char*, ULONG64);
  bool gathering = false;
  std::string request;
};

// The HTTP header starts every request; a stored one is gathered from
// there to its end (a request sent as it is counted, such as one made by
// hand on the context, goes out as the runtime sends it).
int start_request(struct soap* soap, const char* endpoint, const char* host, int port, const char* path,
                  const char* action, ULONG64 count) {
  Gathered* g = data_of<Gathered>(soap);
  g->gathering = (soap->omode & SOAP_IO) == SOAP_IO_STORE;
  g->request.clear();
  return g->post(soap, endpoint, host, port, path, action, count);
}

int gather(struct soap* soap, const char* bytes, size_t size) {
  Gathered* g = data_of<Gathered>(soap);
  if (!g->gathering) return g->send(soap, bytes, size);
  g->request.append(bytes, size);
  return SOAP_OK;
}

// Called once the whole stored request has been handed over. The answer
// is then acknowledged as it comes: many cameras write an answer's header
// and body with a send each and leave Nagle on, so the body waits for the
// header's ACK, which the kernel would delay by up to 40 ms on a kept
// connection (on one closed after the answer, the close flushes it).
int send_gathered(struct soap* soap) {
  Gathered* g = data_of<Gathered>(soap);
  int result = SOAP_OK;
  if (g->gathering) {
    g->gathering = false;
    result = g->send(soap, g->request.data(), g->request.size());
    g->request.clear();
    const int on = 1;
    if (result == SOAP_OK && soap_valid_socket(soap->socket)) {
      static_cast<void>(setsockopt(soap->socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on));
    }
  }
  if (result == SOAP_OK && g->final_send != nullptr) result = g->final_send(soap);
  return result;
}

}  // namespace

void send_requests_once(struct soap* soap) {
  attach(soap, Gathered{soap->fsend, soap->fpreparefinalsend, soap->fpost, false, {}});
  soap->fpost = start_request;
  soap->fsend = gather;
  soap->fpreparefinalsend = send_gathered;
}

void store_next_request(struct soap* soap) { soap_set_omode(soap, SOAP_IO_STORE); }

}  // namespace vantel
