#!/bin/sh
# `make cross-ppc`: the static 32-bit PowerPC daemon and vantelctl in
# build-ppc/ (plus stripped copies), with zlib and wolfSSL cross-built from
# Debian's source packages and the gSOAP runtime every build compiles; then
# the UsernameToken clock test under qemu-ppc. Sources and libraries are
# cached under build/ and reused; delete build/ppc-src or build/ppc-prefix
# to rebuild them.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
jobs=${JOBS:-2}
src=$root/build/ppc-src
prefix=$root/build/ppc-prefix
out=$root/build-ppc

scripts/bootstrap.sh g++-powerpc-linux-gnu qemu-user dpkg-dev make autoconf automake libtool

# Same flags as the toolchain file: 64-bit time_t, sections for the linker
# to collect, small code.
flags="-Os -fno-pie -ffunction-sections -fdata-sections"
time_flags="-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"

# The sources are fetched again when the list of them changes.
sources="zlib wolfssl"
if [ "$(cat "$src/.complete" 2>/dev/null)" != "$sources" ]; then
  rm -rf "$src"
  mkdir -p "$src"
  scripts/cross-apt.sh update -qq
  for package in $sources; do
    (cd "$src" && "$root/scripts/cross-apt.sh" source -qq "$package")
  done
  # Debian's wolfSSL source carries no configure script.
  (cd "$(ls -d "$src"/wolfssl-*/ | head -1)" && ./autogen.sh >/dev/null 2>&1)
  echo "$sources" > "$src/.complete"
fi
zlib_src=$(ls -d "$src"/zlib-*/ | head -1)
wolfssl_src=$(ls -d "$src"/wolfssl-*/ | head -1)

# wolfSSL and zlib are C: no C++ exception ever unwinds through them, so
# they need no unwind tables.
c_flags="$flags -fno-asynchronous-unwind-tables -fno-unwind-tables"
# What vantel uses of wolfSSL: SHA-1 (the UsernameToken), MD5 and SHA-256
# (HTTP Digest), the Hash-DRBG, and the camera transport's TLS client:
# TLS 1.2 and 1.3, ECDHE with RSA or ECDSA certificates (P-256, P-384,
# X25519) and AES-GCM, and RSA key exchange with AES-CBC for old cameras
# (WOLFSSL_STATIC_RSA). No server side, no TLS before 1.2, no DH, no PSK,
# no ChaCha20-Poly1305, no files (certificates come from memory), no error
# strings. KEEP_PEER_CERT keeps the camera's certificate for pinning.
# Session tickets, so that a TLS 1.3 camera's session is resumed by the next
# command as a TLS 1.2 camera's is by its session ID. The
# session cache is the small one (six sessions), enough for resuming the
# sessions of the cameras being talked to; the default's would take
# hundreds of kilobytes of RAM.
wolfssl_options="--enable-static --disable-shared --disable-examples --disable-crypttests --disable-benchmark
  --enable-tls13 --enable-tlsv12 --disable-oldtls --enable-session-ticket --enable-ecc --enable-curve25519 --disable-dh --enable-rsa
  --enable-aesgcm --enable-aescbc --enable-md5 --enable-sha --disable-sha224 --disable-sha3 --disable-poly1305
  --disable-chacha --disable-psk --disable-errorstrings --disable-filesystem --disable-oldnames
  --disable-base64encode"
wolfssl_defines="-DNO_WOLFSSL_SERVER -DKEEP_PEER_CERT -DWOLFSSL_STATIC_RSA -DSMALL_SESSION_CACHE"
stamp="$c_flags $time_flags $wolfssl_options $wolfssl_defines"

# Rebuilt when the flags or options change.
if [ "$(cat "$prefix/.stamp" 2>/dev/null)" != "$stamp" ]; then
  rm -rf "$prefix"
  # zlib has no time_t in its interface, and gzguts.h undefines
  # _FILE_OFFSET_BITS, which glibc's _TIME_BITS=64 requires: plain flags.
  (cd "$zlib_src" && (make distclean >/dev/null 2>&1 || true) &&
   CC=powerpc-linux-gnu-gcc AR=powerpc-linux-gnu-ar RANLIB=powerpc-linux-gnu-ranlib CFLAGS="$c_flags" \
     ./configure --static --prefix="$prefix" >/dev/null &&
   make -j"$jobs" libz.a >/dev/null && make install >/dev/null)
  # Out of the source tree. The defines go into the installed options.h
  # with the configure options, so every user of the library is compiled
  # against the same structures.
  rm -rf "$src/wolfssl-build"
  mkdir -p "$src/wolfssl-build"
  # shellcheck disable=SC2086
  (cd "$src/wolfssl-build" &&
   CFLAGS="$c_flags $time_flags $wolfssl_defines" "$wolfssl_src/configure" --host=powerpc-linux-gnu \
     --prefix="$prefix" $wolfssl_options >/dev/null &&
   make -j"$jobs" >/dev/null && make install >/dev/null)
  echo "$stamp" > "$prefix/.stamp"
fi

# Configured afresh each time, so that the toolchain file's flags are never
# shadowed by a cache from an older one; unchanged objects are not rebuilt.
rm -f "$out/CMakeCache.txt"
cmake -S . -B "$out" -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/powerpc-linux-gnu.cmake \
  -DVANTEL_PPC_PREFIX="$prefix" \
  -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
  -DVANTEL_GTEST_SUITES=OFF >/dev/null
cmake --build "$out" -j"$jobs" --target vantel vantelctl token_time_test
for program in vantel vantelctl; do
  powerpc-linux-gnu-strip -o "$out/$program.stripped" "$out/$program"
done
ctest --test-dir "$out" --output-on-failure
ls -l "$out/vantel.stripped" "$out/vantelctl.stripped"
scripts/size-breakdown.py "$out/vantel.map" "$out"
