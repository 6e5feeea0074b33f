// Whether a camera refused a call for its credentials, as cameras say it:
// a SOAP fault whose subcode is ter:NotAuthorized (or WS-Security's
// FailedAuthentication family), or HTTP 401. Pure; any thread.
#pragma once

#include "stdsoap2.h"

namespace vantel {

// `result` is the call's gSOAP result on `soap`.
bool refused_for_authentication(const struct soap* soap, int result);

}  // namespace vantel
