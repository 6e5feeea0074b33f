// Each request serialised once, into memory, and sent with its length in
// one TCP segment. By default the runtime serialises a request twice (once
// to count its Content-Length, once to send it); storing it instead halves
// that work and sends the same bytes, but writes the HTTP header and the
// body separately, so the socket is corked from the header until the
// stored message has been handed to it: one segment, on a new connection
// and on one kept from the call before alike.
// Called by OnvifSession from the command thread.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// Once per command, on the freshly initialised context (working copies
// made from it inherit it).
void send_requests_once(struct soap* soap);

// Before each request: the runtime returns to counting after every send.
void store_next_request(struct soap* soap);

}  // namespace vantel
