#!/bin/sh
# Fail if src/onvif no longer matches what generate-onvif.sh produces from
# the shared service descriptions (someone edited generated code, or changed
# the generator inputs without regenerating).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
wsdl_dir=${1:-$root/../shared/onvif}
if [ ! -d "$wsdl_dir" ]; then
    echo "check-onvif: skipped ($wsdl_dir not present)"
    exit 0
fi
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT INT TERM
ONVIF_OUT="$tmp/onvif" "$root/scripts/generate-onvif.sh" "$wsdl_dir" >/dev/null
if diff -r "$root/src/onvif" "$tmp/onvif" >"$tmp/diff"; then
    echo "check-onvif: src/onvif is up to date"
else
    head -50 "$tmp/diff" >&2
    echo "check-onvif: src/onvif differs from generated output; run scripts/generate-onvif.sh" >&2
    exit 1
fi
