// Each request serialised once, into memory, and handed to the socket in
// one send. By default the runtime serialises a request twice (once to
// count its Content-Length, once to send it); storing it instead halves
// that work and sends the same bytes, but writes the HTTP header and each
// block of the body with a send of its own. Those sends are gathered here
// and go out as one: one system call, one TCP segment (one TLS record over
// HTTPS), on a new connection and on one kept from the call before alike.
// Called by OnvifSession from the command thread.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// Once per command, on the freshly initialised context, after every other
// wrapper of its send (the TLS layer's included); working copies made from
// it inherit it.
void send_requests_once(struct soap* soap);

// Before each request: the runtime returns to counting after every send.
void store_next_request(struct soap* soap);

}  // namespace vantel
