#include "camera/auth/refusal.h"

#include <cstring>

#include "soapH.h"

namespace vantel {
namespace {

// The local part of a QName like "ter:NotAuthorized".
bool names_refusal(const char* qname) {
  if (qname == nullptr) return false;
  const char* colon = std::strrchr(qname, ':');
  const char* name = colon ? colon + 1 : qname;
  for (const char* refusal : {"NotAuthorized", "FailedAuthentication", "InvalidSecurityToken", "InvalidSecurity"}) {
    if (std::strcmp(name, refusal) == 0) return true;
  }
  return false;
}

}  // namespace

bool refused_for_authentication(const struct soap* soap, int result) {
  if (result == 401) return true;
  if (result != SOAP_FAULT && result != SOAP_CLI_FAULT && result != SOAP_SVR_FAULT) return false;
  const SOAP_ENV__Fault* fault = soap->fault;
  if (fault == nullptr) return false;
  if (names_refusal(fault->faultcode)) return true;  // SOAP 1.1 shape
  // Cameras put it one or two subcodes deep; the depth is bounded because
  // an answer with multi-reference ids can make the chain a loop.
  const SOAP_ENV__Code* code = fault->SOAP_ENV__Code;
  const SOAP_ENV__Code* sub = code ? code->SOAP_ENV__Subcode : nullptr;
  for (int depth = 0; sub != nullptr && depth < 8; sub = sub->SOAP_ENV__Subcode, ++depth) {
    if (names_refusal(sub->SOAP_ENV__Value)) return true;
  }
  return false;
}

}  // namespace vantel
