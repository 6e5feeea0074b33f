#include "camera/transport/send_once.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "camera/transport/context_data.h"

namespace vantel {
namespace {

// The runtime's HTTP header writer, which the wrapper calls.
struct Wrapped {
  static constexpr const char* kId = "vantel-send-once";
  int (*post)(struct soap*, const char*, const char*, int, const char*, const char*, ULONG64);
};

void set_cork(SOAP_SOCKET socket, int on) {
  // A socket that cannot be corked sends the header and the body as two
  // segments, which HTTP allows: nothing to report.
  static_cast<void>(setsockopt(socket, IPPROTO_TCP, TCP_CORK, &on, sizeof on));
}

int corked_post(struct soap* soap, const char* endpoint, const char* host, int port, const char* path,
                const char* action, ULONG64 count) {
  if (soap_valid_socket(soap->socket)) set_cork(soap->socket, 1);
  return data_of<Wrapped>(soap)->post(soap, endpoint, host, port, path, action, count);
}

// Called once the whole stored request has been written.
int uncork(struct soap* soap) {
  if (soap_valid_socket(soap->socket)) set_cork(soap->socket, 0);
  return SOAP_OK;
}

}  // namespace

void send_requests_once(struct soap* soap) {
  attach(soap, Wrapped{soap->fpost});
  soap->fpost = corked_post;
  soap->fpreparefinalsend = uncork;
}

void store_next_request(struct soap* soap) { soap_set_omode(soap, SOAP_IO_STORE); }

}  // namespace vantel
