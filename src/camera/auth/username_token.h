// The WS-Security UsernameToken that authenticates a request to a camera:
// a wsse:Security header (mustUnderstand) with the user name, a password
// digest, a fresh nonce and the creation time. Command server thread only:
// the nonce comes from the runtime's random pool, which is not locked.
#pragma once

#include <ctime>

#include "soapH.h"

namespace vantel {

// Puts the token into the SOAP header of the next request on `context`
// (replacing a token already there): Password of type PasswordDigest,
// Base64(SHA-1(nonce + Created + password)); Nonce, 20 random bytes in
// Base64 (EncodingType Base64Binary); wsu:Created, `created` in UTC to the
// second. The header lives in the context's memory until soap_end.
// Returns SOAP_OK, or the context's error.
int add_username_token(struct soap* context, const char* user, const char* password, time_t created);

}  // namespace vantel
