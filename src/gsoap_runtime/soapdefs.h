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

// Sizes for a client that sends small requests and reads camera answers of
// a few to a few tens of kilobytes, one at a time. gSOAP's defaults are
// made for servers and large messages, and make struct soap 164 KB; these
// make it 26 KB. Every command initialises the context, and every working
// copy copies all of it, so its size is paid in CPU on every command.
//
// The send and receive buffer. A request with its security header is 1 to
// 3 KB and leaves in one send; an answer is parsed as it arrives, so a
// longer one costs a few more reads of a buffer that TCP fills in segments
// of this order anyway.
#define SOAP_BUFLEN 8192
// Buckets for the id/ref attributes of an answer. Document/literal camera
// answers carry few or none; the table is walked whole on every soap_end,
// and resolving references walks it too, so it is kept small (a prime).
#define SOAP_IDHASH 31
// Buckets for the pointers of a request being serialised, used to find
// shared nodes. A request here is a tree of a few dozen nodes; the table is
// cleared for every message (a power of two).
#define SOAP_PTRHASH 32

#endif
