#!/bin/sh
# apt-get on a private configuration under build/apt: Debian's archive for
# the foreign architectures and the source packages, without adding an
# architecture or a deb-src line to the machine's own apt setup.
#
#   scripts/cross-apt.sh update
#   scripts/cross-apt.sh download libssl-dev:s390x
#   scripts/cross-apt.sh source --download-only openssl
#   scripts/cross-apt.sh apt-cache showsrc openssl
set -eu
tool=apt-get
case "${1:-}" in apt-get|apt-cache) tool=$1; shift ;; esac
root=$(cd "$(dirname "$0")/.." && pwd)
apt_dir=${VANTEL_CROSS_APT_DIR:-$root/build/apt}
mirror=${VANTEL_DEBIAN_MIRROR:-http://deb.debian.org/debian}
security=${VANTEL_DEBIAN_SECURITY_MIRROR:-http://deb.debian.org/debian-security}
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial"
if [ ! -f "$apt_dir/sources.list" ]; then
  cat > "$apt_dir/sources.list" <<LIST
deb [arch=s390x signed-by=$keyring] $mirror bookworm main
deb [arch=s390x signed-by=$keyring] $mirror bookworm-updates main
deb [arch=s390x signed-by=$keyring] $security bookworm-security main
deb-src [signed-by=$keyring] $mirror bookworm main
deb-src [signed-by=$keyring] $security bookworm-security main
LIST
fi

exec $tool -q \
  -o Dir::Etc::SourceList="$apt_dir/sources.list" \
  -o Dir::Etc::SourceParts=/dev/null \
  -o Dir::State::Lists="$apt_dir/lists" \
  -o Dir::Cache="$apt_dir/cache" \
  -o APT::Architectures::=s390x \
  -o APT::Sandbox::User=root \
  "$@"
