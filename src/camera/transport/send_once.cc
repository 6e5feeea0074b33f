#include "camera/transport/send_once.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "camera/transport/context_data.h"

namespace vantel {
namespace {

// The connect the wrapper calls: the runtime's own, or the hardened one.
struct Wrapped {
  static constexpr const char* kId = "vantel-send-once";
  SOAP_SOCKET (*connect)(struct soap*, const char*, const char*, int);
};

void set_cork(SOAP_SOCKET socket, int on) {
  // A socket that cannot be corked sends the header and the body as two
  // segments, which HTTP allows: nothing to report.
  static_cast<void>(setsockopt(socket, IPPROTO_TCP, TCP_CORK, &on, sizeof on));
}

SOAP_SOCKET corked_connect(struct soap* soap, const char* endpoint, const char* host, int port) {
  const SOAP_SOCKET socket = data_of<Wrapped>(soap)->connect(soap, endpoint, host, port);
  if (soap_valid_socket(socket)) set_cork(socket, 1);
  return socket;
}

// Called once the whole stored request has been written.
int uncork(struct soap* soap) {
  if (soap_valid_socket(soap->socket)) set_cork(soap->socket, 0);
  return SOAP_OK;
}

}  // namespace

void send_requests_once(struct soap* soap) {
  attach(soap, Wrapped{soap->fopen});
  soap->fopen = corked_connect;
  soap->fpreparefinalsend = uncork;
}

void store_next_request(struct soap* soap) { soap_set_omode(soap, SOAP_IO_STORE); }

}  // namespace vantel
