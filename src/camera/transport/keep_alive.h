// One connection per command: the calls of one command to the same camera
// share an HTTP/1.1 connection for as long as the camera keeps it open, and
// the runtime connects again when it does not (it answered "Connection:
// close", spoke HTTP/1.0, or closed the socket). The connection ends with
// the command's context: none outlives its command. Called by OnvifSession
// from the command thread.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// Once per command, on the freshly initialised context, after every other
// wrapper of its connect and receive; working copies inherit it.
void keep_connections(struct soap* soap);

// What the context has done on the wire so far: a request whose answer
// failed with neither a new connection nor a byte received went out on a
// kept connection the camera had already closed.
struct WireMark {
  unsigned long connects = 0;
  unsigned long long received = 0;
};
WireMark wire_mark(struct soap* soap);
bool died_unused(struct soap* soap, const WireMark& before, int result);

// Closes the context's connection: after an answer that was not read to its
// end, the next one must not start in the middle of it.
void drop_connection(struct soap* soap);

// Moves the connection `from` holds (socket, TLS state, keep-alive) to
// `to`, a copy of the same context or the context it was copied from;
// `from` is left without one.
void hand_over_connection(struct soap* from, struct soap* to);

}  // namespace vantel
