// The HTTP header lines of a camera's answer that the session's recovery
// reads and the runtime keeps no copy of: Date (the camera's clock), a
// WWW-Authenticate Digest challenge and a redirect's Location. A hook on the context
// keeps them; every working copy made from the context inherits it.
// Command server thread only: one set of values for the process.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// Puts the hook on a freshly initialised context, in front of whatever
// header parser it already has.
void watch_answer_headers(struct soap* soap);

// Cleared before each request, so the values are always the last answer's.
void forget_answer_headers();

// The last answer's Date value, "" when it had none (or one too long to
// be a date).
const char* answer_date();
// The last answer's first Digest challenge, "" when it had none.
const char* answer_digest_challenge();
// The last answer's Location (a redirect), "" when it had none; cut at 319
// bytes.
const char* answer_location();

}  // namespace vantel
