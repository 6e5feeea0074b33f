# The camera-service client bindings (generated into src/onvif by
# scripts/generate-onvif.sh) plus gSOAP's WS-Security plugin, built as one
# static library `onvif`.
#
# Everything that includes stdsoap2.h must see the same WITH_* flags as
# Debian's libgsoapssl++ was built with, because they change the layout of
# struct soap.  Those flags come from pkg-config and are PUBLIC here, so
# every target linking `onvif` gets exactly them.

find_package(OpenSSL REQUIRED)
find_package(ZLIB REQUIRED)

# A target with no packaged gSOAP (the static PowerPC build) compiles the
# runtime from a gSOAP source tree instead: Debian's WITH_* flags except
# WITH_OPENSSL. The daemon never makes a TLS connection, and the runtime's
# TLS layer would link all of libssl and OpenSSL's X.509 and PEM code into
# a program for a small flash. What the WS-Security plugins use of that
# layer, soap_ssl_init() and the OpenSSL-backed soap_random, comes from
# src/gsoap_runtime/crypto_init.cc; SHA-1 and the nonce still come from
# libcrypto exactly as with the packaged runtime.
set(VANTEL_GSOAP_RUNTIME_SOURCE "" CACHE PATH
    "gSOAP source folder holding stdsoap2.cpp and dom.cpp; empty: the system's libgsoapssl++")
set(VANTEL_GSOAP_SSL OpenSSL::SSL)
if(VANTEL_GSOAP_RUNTIME_SOURCE)
  add_library(gsoapssl_runtime STATIC
    ${VANTEL_GSOAP_RUNTIME_SOURCE}/stdsoap2.cpp ${VANTEL_GSOAP_RUNTIME_SOURCE}/dom.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../src/gsoap_runtime/crypto_init.cc)
  target_include_directories(gsoapssl_runtime PUBLIC ${VANTEL_GSOAP_RUNTIME_SOURCE})
  target_compile_definitions(gsoapssl_runtime PUBLIC WITH_IPV6 WITH_GZIP WITH_DOM)
  target_link_libraries(gsoapssl_runtime PUBLIC OpenSSL::Crypto ZLIB::ZLIB)
  target_compile_options(gsoapssl_runtime PRIVATE -w)
  set(VANTEL_GSOAP_RUNTIME gsoapssl_runtime)
  set(VANTEL_GSOAP_SSL "")
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(GSOAPSSL REQUIRED IMPORTED_TARGET gsoapssl++)
  set(VANTEL_GSOAP_RUNTIME PkgConfig::GSOAPSSL)
endif()

set(VANTEL_GSOAP_SHARE /usr/share/gsoap CACHE PATH
    "gSOAP's shared sources (Debian package gsoap): plugin/ and custom/")

# Used straight from the gsoap package, never copied into the tree.  They
# are C files that include the C++ soapH.h, so they are built as C++.
set(VANTEL_GSOAP_PLUGIN_SOURCES
  ${VANTEL_GSOAP_SHARE}/plugin/wsseapi.c
  # The bindings' SOAP header carries WS-Addressing (answers from firmware
  # built on a gSOAP server have it); wsseapi.c then calls into wsaapi.c.
  ${VANTEL_GSOAP_SHARE}/plugin/wsaapi.c
  ${VANTEL_GSOAP_SHARE}/plugin/smdevp.c
  ${VANTEL_GSOAP_SHARE}/plugin/mecevp.c
  # HTTP Digest, for cameras that answer 401 with a Digest challenge; its
  # server-side session table is what needs threads.c.
  ${VANTEL_GSOAP_SHARE}/plugin/httpda.c
  ${VANTEL_GSOAP_SHARE}/plugin/threads.c
  # WS-Security brings SAML types whose xsd:dateTime is a struct timeval.
  ${VANTEL_GSOAP_SHARE}/custom/struct_timeval.c)
foreach(src IN LISTS VANTEL_GSOAP_PLUGIN_SOURCES)
  if(NOT EXISTS ${src})
    message(FATAL_ERROR "${src} missing: apt-get install gsoap")
  endif()
endforeach()
set_source_files_properties(${VANTEL_GSOAP_PLUGIN_SOURCES} PROPERTIES LANGUAGE CXX)
if(VANTEL_GSOAP_RUNTIME_SOURCE)
  # soap_random is the C library's rand() in a runtime without its TLS
  # layer; the runtime and the plugins (the WS-Security nonce) draw from
  # OpenSSL instead, as the full runtime's soap_rand() does. HAVE_RANDOM
  # makes soap_random call random() (rand() cannot be renamed: <cstdlib>
  # undefines it), which is vantel_soap_random in their sources only.
  set_source_files_properties(${VANTEL_GSOAP_PLUGIN_SOURCES}
    ${VANTEL_GSOAP_RUNTIME_SOURCE}/stdsoap2.cpp ${VANTEL_GSOAP_RUNTIME_SOURCE}/dom.cpp
    PROPERTIES COMPILE_DEFINITIONS "HAVE_RANDOM;random=vantel_soap_random")
  # stdsoap2.h includes OpenSSL's headers only with its TLS layer; the
  # plugins call RAND_bytes (mecevp.c) without including rand.h themselves.
  set_source_files_properties(${VANTEL_GSOAP_PLUGIN_SOURCES} PROPERTIES COMPILE_OPTIONS "-include;openssl/rand.h")
  # The X.509 store set-up in wsseapi.c (signed messages, never used here)
  # passes soap->fsslverify, a plain pointer without the TLS layer, as
  # OpenSSL's callback type: valid C, an error in C++ unless permissive.
  set_source_files_properties(${VANTEL_GSOAP_SHARE}/plugin/wsseapi.c PROPERTIES COMPILE_OPTIONS "-include;openssl/rand.h;-fpermissive")
endif()

file(GLOB VANTEL_ONVIF_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/../src/onvif/*.cpp)

add_library(onvif STATIC ${VANTEL_ONVIF_SOURCES} ${VANTEL_GSOAP_PLUGIN_SOURCES})
target_include_directories(onvif PUBLIC
  ${CMAKE_CURRENT_LIST_DIR}/../src/onvif
  ${VANTEL_GSOAP_SHARE}/plugin
  ${VANTEL_GSOAP_SHARE}/custom
  ${VANTEL_GSOAP_SHARE})
# PkgConfig::GSOAPSSL carries the WITH_* definitions as PUBLIC usage
# requirements along with the library.
target_link_libraries(onvif PUBLIC ${VANTEL_GSOAP_RUNTIME} ${VANTEL_GSOAP_SSL} OpenSSL::Crypto ZLIB::ZLIB)
# libgsoapssl++ calls back into the generated serializers (faults, SOAP
# header), so the archive must be searched again after the runtime on the
# link line; otherwise a program that uses only runtime calls fails to link.
target_link_libraries(onvif INTERFACE "$<TARGET_FILE:onvif>")
# Generated and third-party code: its warnings are not ours to fix.
target_compile_options(onvif PRIVATE -w)

# The generated serializers are most of the daemon's code: built for size,
# with every function in its own section so that the link drops the ones
# nothing calls. The recorder's flash is small; the parser's speed is
# bound by its per-character work, not by this.
option(VANTEL_SMALL_BINDINGS "Build the bindings with -Os and link with --gc-sections" ON)
if(VANTEL_SMALL_BINDINGS)
  target_compile_options(onvif PRIVATE -Os -ffunction-sections -fdata-sections)
  target_link_options(onvif INTERFACE -Wl,--gc-sections)
endif()
