// The HTTP header lines of a camera's answer that the session's recovery
// reads and the runtime keeps no copy of: Date (the camera's clock), a
// WWW-Authenticate Digest challenge and a redirect's Location. A plugin on
// the context keeps them as its own data; a working copy made from the
// context gets a set of its own. Command server thread only.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// Puts the plugin on a freshly initialised context, in front of whatever
// header parser it already has.
void watch_answer_headers(struct soap* soap);

// Cleared before each request, so the values are always the last answer's.
void forget_answer_headers(struct soap* soap);

// The last answer's Date value, "" when it had none (or one too long to
// be a date).
const char* answer_date(struct soap* soap);
// The last answer's first Digest challenge, "" when it had none.
const char* answer_digest_challenge(struct soap* soap);
// The last answer's Location (a redirect), "" when it had none; cut at 319
// bytes, which no redirect worth following comes near.
const char* answer_location(struct soap* soap);

}  // namespace vantel
