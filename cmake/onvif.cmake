# The camera-service client bindings (generated into src/onvif by
# scripts/generate-onvif.sh), gSOAP's HTTP Digest plugin and the gSOAP
# runtime, built as two static libraries: `gsoap_runtime` and `onvif` on
# top of it.
#
# Every build compiles the same runtime from Debian's gSOAP source package
# (scripts/gsoap-runtime.sh, run here at configure time), so the tests, the
# sanitizers and the fuzzers run the runtime that ships. Its compile-time
# options change the layout of struct soap; they are all in one header,
# src/gsoap_runtime/soapdefs.h, which stdsoap2.h includes first whenever
# WITH_SOAPDEFS_H is defined. That definition is PUBLIC on the runtime, so
# every file that includes stdsoap2.h, in whatever target, sees exactly the
# options the runtime was compiled with.
#
# The runtime is built without its TLS layer, which is written for OpenSSL:
# the daemon's one crypto library is wolfSSL. What the runtime and the
# plugins need of crypto is random bytes (soap_random: the UsernameToken's
# nonce, HTTP Digest's cnonce, the runtime's UUIDs and MIME boundaries),
# SHA-1 (the UsernameToken, src/camera/auth/username_token.cc) and MD5 and
# SHA-256 (HTTP Digest); all of it comes from wolfSSL through
# src/gsoap_runtime (crypto_init.cc, and smdevp.h, which stands in for
# gSOAP's OpenSSL-bound digest engine).

find_package(ZLIB REQUIRED)

# wolfSSL: Debian's libwolfssl-dev on the build machine and for s390x; the
# static PowerPC build's own, cross-built by scripts/cross-ppc.sh. Its
# options.h says how it was configured and must be read before any other of
# its headers; WOLFSSL_OPTIONS_IGNORE_SYS keeps it from setting
# _FORTIFY_SOURCE, which is the build's choice, not the library's.
find_path(WOLFSSL_INCLUDE_DIR wolfssl/options.h)
find_library(WOLFSSL_LIBRARY wolfssl)
if(NOT WOLFSSL_INCLUDE_DIR OR NOT WOLFSSL_LIBRARY)
  message(FATAL_ERROR "wolfSSL not found: apt-get install libwolfssl-dev")
endif()
add_library(wolfssl UNKNOWN IMPORTED)
set_target_properties(wolfssl PROPERTIES
  IMPORTED_LOCATION ${WOLFSSL_LIBRARY}
  INTERFACE_INCLUDE_DIRECTORIES ${WOLFSSL_INCLUDE_DIR}
  INTERFACE_COMPILE_DEFINITIONS WOLFSSL_OPTIONS_IGNORE_SYS
  INTERFACE_LINK_LIBRARIES "Threads::Threads;m")

set(VANTEL_GSOAP_RUNTIME_SOURCE ${CMAKE_CURRENT_LIST_DIR}/../build/gsoap-runtime CACHE PATH
    "Where scripts/gsoap-runtime.sh puts stdsoap2.h, stdsoap2.cpp and dom.cpp")
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/gsoap-runtime.sh ${VANTEL_GSOAP_RUNTIME_SOURCE}
                RESULT_VARIABLE gsoap_runtime_result)
if(NOT gsoap_runtime_result EQUAL 0)
  message(FATAL_ERROR "scripts/gsoap-runtime.sh failed: no gSOAP runtime source")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${CMAKE_CURRENT_LIST_DIR}/../scripts/gsoap-runtime.sh ${CMAKE_CURRENT_LIST_DIR}/../scripts/gsoap-runtime.py)

add_library(gsoap_runtime STATIC
  ${VANTEL_GSOAP_RUNTIME_SOURCE}/stdsoap2.cpp ${VANTEL_GSOAP_RUNTIME_SOURCE}/dom.cpp
  ${CMAKE_CURRENT_LIST_DIR}/../src/gsoap_runtime/crypto_init.cc
  ${CMAKE_CURRENT_LIST_DIR}/../src/gsoap_runtime/smdevp.cc)
target_include_directories(gsoap_runtime PUBLIC
  ${CMAKE_CURRENT_LIST_DIR}/../src/gsoap_runtime ${VANTEL_GSOAP_RUNTIME_SOURCE})
target_compile_definitions(gsoap_runtime PUBLIC WITH_SOAPDEFS_H)
target_link_libraries(gsoap_runtime PUBLIC wolfssl ZLIB::ZLIB)
target_compile_options(gsoap_runtime PRIVATE -w)

set(VANTEL_GSOAP_SHARE /usr/share/gsoap CACHE PATH
    "gSOAP's shared sources (Debian package gsoap): custom/")

# HTTP Digest, for cameras that answer 401 with a Digest challenge, and the
# threads.c its server-side session table needs: from the same source
# package as the runtime, copied next to it by scripts/gsoap-runtime.py.
# They are not built from /usr/share/gsoap/plugin, where httpda.h would
# find gSOAP's own smdevp.h beside it; next to the runtime it finds ours.
# C files that include the C++ stdsoap2.h, so they are built as C++.
set(VANTEL_GSOAP_PLUGIN_SOURCES
  ${VANTEL_GSOAP_RUNTIME_SOURCE}/httpda.c
  ${VANTEL_GSOAP_RUNTIME_SOURCE}/threads.c
  # The bindings carry the WS-Security header types, with SAML types whose
  # xsd:dateTime is a struct timeval.
  ${VANTEL_GSOAP_SHARE}/custom/struct_timeval.c)
foreach(src IN LISTS VANTEL_GSOAP_PLUGIN_SOURCES)
  if(NOT EXISTS ${src})
    message(FATAL_ERROR "${src} missing: apt-get install gsoap")
  endif()
endforeach()
set_source_files_properties(${VANTEL_GSOAP_PLUGIN_SOURCES} PROPERTIES LANGUAGE CXX)
# soap_random is the C library's rand() in a runtime without its TLS
# layer; the runtime and the plugins (HTTP Digest's cnonce) draw from
# wolfSSL's generator instead, as the full runtime's soap_rand() draws from
# its TLS library. HAVE_RANDOM makes soap_random call random() (rand()
# cannot be renamed: <cstdlib> undefines it), which is vantel_soap_random in
# their sources only.
set_source_files_properties(${VANTEL_GSOAP_PLUGIN_SOURCES}
  ${VANTEL_GSOAP_RUNTIME_SOURCE}/stdsoap2.cpp ${VANTEL_GSOAP_RUNTIME_SOURCE}/dom.cpp
  PROPERTIES COMPILE_DEFINITIONS "HAVE_RANDOM;random=vantel_soap_random")

file(GLOB VANTEL_ONVIF_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/../src/onvif/*.cpp)
# The serializers of the one type the bindings declare but do not generate:
# an answer's element read past and not kept (scripts/onvif/skipped_element.h).
list(APPEND VANTEL_ONVIF_SOURCES ${CMAKE_CURRENT_LIST_DIR}/../src/gsoap_runtime/skipped_element.cc)

add_library(onvif STATIC ${VANTEL_ONVIF_SOURCES} ${VANTEL_GSOAP_PLUGIN_SOURCES})
target_include_directories(onvif PUBLIC
  ${CMAKE_CURRENT_LIST_DIR}/../src/onvif
  ${VANTEL_GSOAP_SHARE}/custom
  ${VANTEL_GSOAP_SHARE})
target_link_libraries(onvif PUBLIC gsoap_runtime)
# The runtime calls back into the generated serializers (faults, SOAP
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
