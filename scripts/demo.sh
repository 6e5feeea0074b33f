#!/bin/sh
# The demo: the daemon against the bundled simulated camera. Starts both in
# process groups of their own, sends real commands with vantelctl, prints
# the decoded replies and what the camera received, and stops both again.
set -eu
cd "$(dirname "$0")/.."

work=$(mktemp -d)
daemon_pg=""
camsim_pg=""
field_pg=""
cleanup() {
  for pg in "$daemon_pg" "$camsim_pg" "$field_pg"; do
    [ -n "$pg" ] && kill -9 "-$pg" 2>/dev/null || true
  done
  rm -rf "$work"
}
trap cleanup EXIT INT TERM

ctl() {
  echo
  echo "\$ vantelctl $*"
  build/vantelctl "$@"
}

if build/vantelctl raw --major 0 --hex 00 --timeout 2 >/dev/null 2>&1; then
  echo "demo: something already answers on port 1997; stop it first" >&2
  exit 1
fi

# The preset list and the stop command's Stop go out on the security header
# of the GetProfiles exchange before them, which a camera that checks every
# request refuses; this camera, like many, leaves those two operations open.
# Its network stream takes qualities 1..100, as registration asks for 50.
cat >"$work/camera.json" <<'JSON'
{"auth_exempt": ["GetPresets", "Stop"],
 "profiles": [{}, {"encoder": {"options": {"quality_range": [1, 100]}}}]}
JSON
setsid /usr/bin/python3 tools/camsim/camsim --port 0 --port-file "$work/port" \
  --record "$work/record.jsonl" --profile default --config "$work/camera.json" \
  >"$work/camsim.log" 2>&1 &
camsim_pg=$!
# A camera as recorders meet them in the field: H.265 on its main stream,
# its clock an hour ahead, HTTP Digest, and its services named at its LAN
# address behind NAT (on loopback here, so nothing leaves this machine).
echo '{"encoding_main": "H265", "clock_offset": 3600, "http_digest": true, "advertise": "127.0.0.2:80"}' \
  >"$work/field.json"
setsid /usr/bin/python3 tools/camsim/camsim --port 0 --port-file "$work/field-port" \
  --record "$work/field.jsonl" --config "$work/field.json" >"$work/field.log" 2>&1 &
field_pg=$!
# Its memory of the cameras goes to the demo's own folder, not /mnt/nvr.
VANTEL_STATE_DIR="$work" setsid build/vantel >"$work/vantel.log" 2>&1 &
daemon_pg=$!

for _ in $(seq 100); do [ -s "$work/port" ] && [ -s "$work/field-port" ] && break; sleep 0.1; done
cam_port=$(tr -dc 0-9 < "$work/port")
for _ in $(seq 100); do build/vantelctl raw --major 0 --hex 00 --timeout 2 >/dev/null 2>&1 && break; sleep 0.1; done
echo "== camsim serves one camera on 127.0.0.1:$cam_port; vantel listens on 1997"
cam="--camera 127.0.0.1 --camera-port $cam_port --user admin --password admin"

# shellcheck disable=SC2086
{
  ctl camera-setting $cam --field second_codec=1 --save-block "$work/block"
  ctl stream-info $cam
  ctl --json net-codec --block-file "$work/block"
  ctl ptz-goto $cam --preset 1
  ctl ptz-move $cam --direction 2 --zoom 9
  ctl ptz-stop $cam
  ctl multiuser $cam --mode 1
  ctl reboot $cam
  ctl raw --major 0x0b060002 --hex 00
}

field_port=$(tr -dc 0-9 < "$work/field-port")
echo
echo "== a camera in the field on 127.0.0.1:$field_port: H.265, clock an hour ahead, HTTP Digest, behind NAT"
ctl stream-info --camera 127.0.0.1 --camera-port "$field_port" --user admin --password admin

received() {
  /usr/bin/python3 - "$1" <<'PY'
import json, sys
for line in open(sys.argv[1]):
    r = json.loads(line)
    print(f"  {r.get('op'):36} {r.get('path'):24} token={r.get('token'):6} answer={r.get('answer')}")
PY
}
echo
echo "== what the camera received (operation, path, WS-Security token, answer)"
received "$work/record.jsonl"
echo
echo "== what the camera in the field received"
received "$work/field.jsonl"
echo
echo "== vantel's standard output"
sed 's/^/  /' "$work/vantel.log"
