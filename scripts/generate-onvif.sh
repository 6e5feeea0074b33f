#!/bin/sh
# Regenerate the camera-service client bindings in src/onvif from the
# published service descriptions, offline, with Debian's wsdl2h/soapcpp2.
#
#   scripts/generate-onvif.sh [WSDL_DIR]
#
# WSDL_DIR defaults to ../shared/onvif beside the repository.  Set
# ONVIF_OUT to write somewhere other than src/onvif (check-onvif.sh does).
# The output is byte-for-byte reproducible for a given gSOAP release, so CI
# can regenerate and diff.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
here="$root/scripts/onvif"
wsdl_dir=$(cd "${1:-$root/../shared/onvif}" && pwd)
out=${ONVIF_OUT:-$root/src/onvif}

for tool in wsdl2h soapcpp2; do
    command -v "$tool" >/dev/null || { echo "$tool not found (apt-get install gsoap)" >&2; exit 1; }
done

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT INT TERM

# Only what the daemon calls: everything else in the services would cost
# megabytes of serializers and minutes of compile time.
device_ops="GetCapabilities GetDeviceInformation GetSystemDateAndTime SystemReboot"
media_ops="GetProfiles GetProfile GetVideoEncoderConfiguration GetVideoEncoderConfigurations
           GetVideoEncoderConfigurationOptions SetVideoEncoderConfiguration GetStreamUri"
ptz_ops="GetNodes GetNode ContinuousMove Stop GetPresets SetPreset GotoPreset"

# Keep the directory layout: the services import the shared types by
# relative path.
mkdir -p "$tmp/in/ver10/device/wsdl" "$tmp/in/ver10/media/wsdl" \
         "$tmp/in/ver20/ptz/wsdl" "$tmp/in/ver10/schema" "$tmp/gen"
cp "$wsdl_dir/ver10/schema/onvif.xsd" "$wsdl_dir/ver10/schema/common.xsd" "$tmp/in/ver10/schema/"
prune() { /usr/bin/python3 "$here/prune_wsdl.py" "$wsdl_dir/$1" "$tmp/in/$1" $2; }
prune ver10/device/wsdl/devicemgmt.wsdl "$device_ops"
prune ver10/media/wsdl/media.wsdl "$media_ops"
prune ver20/ptz/wsdl/ptz.wsdl "$ptz_ops"

# Relative paths and a fixed typemap name keep absolute paths out of the
# generated text.  -O4 drops every schema component the kept operations
# cannot reach; -x drops xs:any extension points (unknown elements from
# newer firmware are skipped on input).
cp "$here/typemap.dat" "$tmp/typemap.dat"
(cd "$tmp" && wsdl2h -c++ -O4 -P -x -L -d -t typemap.dat -o gen/onvif.h \
    in/ver10/device/wsdl/devicemgmt.wsdl in/ver10/media/wsdl/media.wsdl \
    in/ver20/ptz/wsdl/ptz.wsdl) >"$tmp/wsdl2h.log" 2>&1 \
    || { cat "$tmp/wsdl2h.log" >&2; exit 1; }

# One interface for soapcpp2: the services, WS-Addressing and WS-Security in
# the SOAP header, and our legacy PTZ operations.  WS-Addressing is there for
# the answers: firmware built on a gSOAP server marks its wsa5:To, ReplyTo,
# Action... blocks mustUnderstand, and a header that does not know them makes
# every call fail with SOAP_MUSTUNDERSTAND.  We never add one of our own.
{ cat "$tmp/gen/onvif.h"; printf '\n#import "wsa5.h"\n#import "wsse.h"\n#import "ptz10.h"\n'; } >"$tmp/gen/vantel.h"

mkdir -p "$tmp/out"
(cd "$tmp/gen" && soapcpp2 -2 -C -L -x -w \
    -I/usr/share/gsoap/import:/usr/share/gsoap:"$here" -d ../out vantel.h) \
    >"$tmp/soapcpp2.log" 2>&1 || { cat "$tmp/soapcpp2.log" >&2; exit 1; }

# soapcpp2 stamps the generation time into the sources; pin it so that
# regenerating is a no-op.  Its per-service .nsmap files are replaced by
# our own table.
sed -i 's/^\(SOAP_SOURCE_STAMP("@(#) [A-Za-z]*\.cpp ver [0-9.]*\) [^"]*")/\1")/' \
    "$tmp/out/soapC.cpp" "$tmp/out/soapClient.cpp"
rm -f "$tmp"/out/*.nsmap
/usr/bin/python3 "$here/gen_namespaces.py" "$here/namespaces.txt" "$tmp/out"

mkdir -p "$out"
rm -f "$out"/*
cp "$tmp"/out/* "$out/"
echo "generated $(ls "$out" | wc -l) files in $out"
