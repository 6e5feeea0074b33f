#!/bin/sh
# `make cross-ppc`: the static 32-bit PowerPC daemon and vantelctl in
# build-ppc/ (plus stripped copies), with zlib and OpenSSL cross-built from
# Debian's source packages and the gSOAP runtime every build compiles; then the UsernameToken clock
# test under qemu-ppc. Sources and libraries are cached under build/ and
# reused; delete build/ppc-src or build/ppc-prefix to rebuild them.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
jobs=${JOBS:-2}
src=$root/build/ppc-src
prefix=$root/build/ppc-prefix
out=$root/build-ppc

scripts/bootstrap.sh g++-powerpc-linux-gnu qemu-user dpkg-dev perl make

# Same flags as the toolchain file: 64-bit time_t, sections for the linker
# to collect, small code.
flags="-Os -fno-pie -ffunction-sections -fdata-sections"
time_flags="-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64"

if [ ! -f "$src/.complete" ]; then
  rm -rf "$src"
  mkdir -p "$src"
  scripts/cross-apt.sh update -qq
  (cd "$src" && "$root/scripts/cross-apt.sh" source -qq zlib)
  # The security suite can name an openssl whose source the mirror no
  # longer has; then take the newest version that is there.
  if ! (cd "$src" && "$root/scripts/cross-apt.sh" source -qq openssl 2>/dev/null); then
    echo "cross-ppc: the newest openssl source is not on the mirror; trying older versions"
    for v in $(scripts/cross-apt.sh apt-cache showsrc openssl | sed -n 's/^Version: //p' | sort -rV); do
      (cd "$src" && "$root/scripts/cross-apt.sh" source -qq "openssl=$v") && break
    done
  fi
  touch "$src/.complete"
fi
zlib_src=$(ls -d "$src"/zlib-*/ | head -1)
openssl_src=$(ls -d "$src"/openssl-*/ | head -1)

# OpenSSL and zlib are C: no C++ exception ever unwinds through them, so
# they need no unwind tables (a quarter of OpenSSL's bytes otherwise).
c_flags="$flags -fno-asynchronous-unwind-tables -fno-unwind-tables"
# What vantel uses of OpenSSL is SHA-1 and random bytes. The runtime is
# built without its TLS layer (cmake/onvif.cmake), so libssl is not
# linked and no TLS protocol version is built; the WS-Security plugins
# still name X.509 stores, PEM, RSA keys, AES/3DES, MD5, HMAC and the SHA-2
# family, so those stay. Everything else is left out, DH and sockets too.
openssl_options="linux-ppc no-shared no-pic no-dso no-module no-engine no-legacy no-tests no-ui-console
  no-afalgeng no-async no-autoload-config no-capieng no-cms no-comp no-ct no-dgram no-ocsp no-srp
  no-srtp no-ssl no-tls no-dtls no-psk no-ts no-rfc3779 no-nextprotoneg no-sctp no-ec no-ec2m
  no-sm2 no-gost no-dsa no-idea no-mdc2 no-rc2 no-rc4 no-rc5 no-md4 no-bf no-cast no-camellia
  no-aria no-seed no-sm3 no-sm4 no-whirlpool no-rmd160 no-blake2 no-siphash no-poly1305 no-chacha
  no-scrypt no-ocb no-siv no-err no-filenames no-dh no-sock no-cmac no-secure-memory"
stamp="$c_flags $time_flags $openssl_options"

# Rebuilt when the flags or options change.
if [ "$(cat "$prefix/.stamp" 2>/dev/null)" != "$stamp" ]; then
  rm -rf "$prefix"
  # zlib has no time_t in its interface, and gzguts.h undefines
  # _FILE_OFFSET_BITS, which glibc's _TIME_BITS=64 requires: plain flags.
  (cd "$zlib_src" && (make distclean >/dev/null 2>&1 || true) &&
   CC=powerpc-linux-gnu-gcc AR=powerpc-linux-gnu-ar RANLIB=powerpc-linux-gnu-ranlib CFLAGS="$c_flags" \
     ./configure --static --prefix="$prefix" >/dev/null &&
   make -j"$jobs" libz.a >/dev/null && make install >/dev/null)
  (cd "$openssl_src" && (make distclean >/dev/null 2>&1 || true) &&
   CFLAGS="$c_flags $time_flags" ./Configure $openssl_options --cross-compile-prefix=powerpc-linux-gnu- \
     --prefix="$prefix" --libdir=lib --openssldir=/etc/ssl >/dev/null &&
   make -j"$jobs" build_libs >/dev/null && make install_dev >/dev/null)
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
