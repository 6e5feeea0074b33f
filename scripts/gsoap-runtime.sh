#!/bin/sh
# Prepares the one gSOAP runtime that every build compiles (x86-64, the
# sanitizers, the fuzzers, s390x, PowerPC): stdsoap2.h, stdsoap2.cpp and
# dom.cpp from Debian's gSOAP source package, of the same version as the
# installed soapcpp2 that generated src/onvif, with the edits of
# scripts/gsoap-runtime.py. CMake runs it at configure time.
#
#   scripts/gsoap-runtime.sh [DEST]      (default: build/gsoap-runtime)
#
# The source package is fetched once and cached in build/gsoap-src; delete
# that folder to fetch it again.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
dest=${1:-$root/build/gsoap-runtime}
cache=$root/build/gsoap-src
mkdir -p "$root/build"

# Several build trees may be configured at once.
exec 8>"$root/build/.gsoap-runtime.lock"
flock 8

version=$(dpkg-query -W -f='${Version}' gsoap)
if [ "$(cat "$cache/.complete" 2>/dev/null)" != "$version" ]; then
  rm -rf "$cache"
  mkdir -p "$cache"
  "$root/scripts/cross-apt.sh" update -qq
  (cd "$cache" && "$root/scripts/cross-apt.sh" source -qq "gsoap=$version" >/dev/null)
  echo "$version" > "$cache/.complete"
fi
/usr/bin/python3 "$root/scripts/gsoap-runtime.py" "$(ls -d "$cache"/gsoap-*/ | head -1)gsoap" "$dest"
