// The end of a working copy of the process's SOAP context. gSOAP 2.8's
// ~soap() runs only soap_done, which leaves behind everything the copy's
// call allocated (answers, strings, the security header): a few kilobytes
// per command that would never come back. Every copy is ended with this
// right after its call, before it goes out of scope.
#pragma once

#include "stdsoap2.h"

namespace vantel {

inline void end_working_copy(struct soap* copy) {
  soap_destroy(copy);
  soap_end(copy);
  soap_done(copy);
}

}  // namespace vantel
