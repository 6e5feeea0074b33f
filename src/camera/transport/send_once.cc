#include "camera/transport/send_once.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace vantel {
namespace {

// The connect the wrapper calls: the runtime's own, or the hardened one.
SOAP_SOCKET (*g_connect)(struct soap*, const char*, const char*, int) = nullptr;

void set_cork(SOAP_SOCKET socket, int on) {
  // A socket that cannot be corked sends the header and the body as two
  // segments, which HTTP allows: nothing to report.
  static_cast<void>(setsockopt(socket, IPPROTO_TCP, TCP_CORK, &on, sizeof on));
}

SOAP_SOCKET corked_connect(struct soap* soap, const char* endpoint, const char* host, int port) {
  const SOAP_SOCKET socket = g_connect(soap, endpoint, host, port);
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
  g_connect = soap->fopen;
  soap->fopen = corked_connect;
  soap->fpreparefinalsend = uncork;
}

void store_next_request(struct soap* soap) { soap_set_omode(soap, SOAP_IO_STORE); }

}  // namespace vantel
