// The gSOAP runtime's compile-time options, in one place. stdsoap2.h
// includes this first (WITH_SOAPDEFS_H, set on every target that links the
// runtime), so the runtime, the generated bindings, the plugins and our
// code all see one layout of struct soap: a file compiled with other
// options would read and write the wrong fields without a warning.
#ifndef VANTEL_GSOAP_RUNTIME_SOAPDEFS_H
#define VANTEL_GSOAP_RUNTIME_SOAPDEFS_H

// The features Debian's libgsoapssl++ is built with, less its TLS layer
// (cmake/onvif.cmake): IPv6 camera addresses, compressed answers, and the
// DOM that the WS-Security plugin's header types use.
#define WITH_IPV6
#define WITH_GZIP
#define WITH_DOM

#endif
