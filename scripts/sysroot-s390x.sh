#!/bin/sh
# Builds build/sysroot-s390x: the s390x -dev packages the daemon and its
# tests link against, fetched from Debian's archive and unpacked, not
# installed. A multiarch install is not used because the security suite can
# carry a newer library for amd64 than for s390x, which apt cannot resolve.
# Reused as it is once complete, until the list of packages changes; delete
# the folder to refresh it.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
sysroot=${1:-$root/build/sysroot-s390x}
packages="libwolfssl-dev:s390x zlib1g-dev:s390x libgtest-dev:s390x nlohmann-json3-dev"
[ "$(cat "$sysroot/.complete" 2>/dev/null)" = "$packages" ] && exit 0

debs=$sysroot.debs
rm -rf "$sysroot" "$debs"
mkdir -p "$debs"
"$root/scripts/cross-apt.sh" update -qq
(cd "$debs" && "$root/scripts/cross-apt.sh" download -qq $packages)
for deb in "$debs"/*.deb; do dpkg-deb -x "$deb" "$sysroot"; done
# Only the static archives: the daemon then needs nothing of the sysroot at
# run time but the cross toolchain's own libc and libstdc++ (and zlib1g-dev's
# libz.so is an absolute link that would point at the build machine's).
find "$sysroot" -name '*.so' -delete
rm -rf "$debs"
echo "$packages" > "$sysroot/.complete"
