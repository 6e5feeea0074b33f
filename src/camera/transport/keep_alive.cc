#include "camera/transport/keep_alive.h"

#include <cstring>

#include "camera/transport/context_data.h"
#include "camera/transport/tls.h"

namespace vantel {
namespace {

struct Wire {
  static constexpr const char* kId = "vantel-keep-alive";
  SOAP_SOCKET (*connect)(struct soap*, const char*, const char*, int);
  size_t (*recv)(struct soap*, char*, size_t);
  WireMark mark;
};

SOAP_SOCKET counted_connect(struct soap* soap, const char* endpoint, const char* host, int port) {
  Wire* wire = data_of<Wire>(soap);
  ++wire->mark.connects;
  return wire->connect(soap, endpoint, host, port);
}

size_t counted_recv(struct soap* soap, char* bytes, size_t size) {
  Wire* wire = data_of<Wire>(soap);
  const size_t got = wire->recv(soap, bytes, size);
  wire->mark.received += got;
  return got;
}

// A kept connection is used without first asking the kernel whether the
// camera has closed it (a system call per request): a request on one it
// has closed fails with nothing read, and goes out again on a new one.
int trust_kept_connection(struct soap*) { return SOAP_OK; }

}  // namespace

void keep_connections(struct soap* soap) {
  soap_set_mode(soap, SOAP_IO_KEEPALIVE);
  attach(soap, Wire{soap->fopen, soap->frecv, {}});
  soap->fopen = counted_connect;
  soap->frecv = counted_recv;
  soap->fpoll = trust_kept_connection;
}

WireMark wire_mark(struct soap* soap) {
  const Wire* wire = data_of<Wire>(soap);
  return wire ? wire->mark : WireMark{};
}

bool died_unused(struct soap* soap, const WireMark& before, int result) {
  const WireMark now = wire_mark(soap);
  return (result == SOAP_EOF || result == SOAP_TCP_ERROR) && now.connects == before.connects &&
         now.received == before.received;
}

void drop_connection(struct soap* soap) {
  if (soap_valid_socket(soap->socket)) {
    soap->fshutdownsocket(soap, soap->socket, SOAP_SHUT_RDWR);
    soap->fclosesocket(soap, soap->socket);
  }
  soap->socket = SOAP_INVALID_SOCKET;
  soap->keep_alive = 0;
}

void hand_over_connection(struct soap* from, struct soap* to) {
  if (from == to) return;
  if (soap_valid_socket(to->socket) && to->socket != from->socket) drop_connection(to);
  hand_over_tls(from, to);
  to->socket = from->socket;
  to->keep_alive = from->keep_alive;
  std::memcpy(to->host, from->host, sizeof to->host);
  to->port = from->port;
  from->socket = SOAP_INVALID_SOCKET;
  from->keep_alive = 0;
}

}  // namespace vantel
