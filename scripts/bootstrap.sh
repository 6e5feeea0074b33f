#!/bin/sh
# Installs the Debian packages that building and testing vantel need, and
# only those that are missing. Works as root or through sudo.
set -eu

packages="cmake make g++ pkg-config gsoap dpkg-dev libwolfssl-dev zlib1g-dev
libgtest-dev nlohmann-json3-dev python3 tshark $*"

missing=""
for p in $packages; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed"; then
    missing="$missing $p"
  fi
done
[ -z "$missing" ] && exit 0

if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
echo "bootstrap: installing$missing"
$sudo apt-get update -qq
# Through env, since sudo drops the caller's environment: tshark's question
# about capturing as non-root must take its default (no) unasked.
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
