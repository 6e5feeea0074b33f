#!/bin/sh
# The demo: the daemon against the bundled simulated camera. Starts both in
# process groups of their own, sends real commands with vantelctl, prints
# the decoded replies and what the camera received, and stops both again.
set -eu
cd "$(dirname "$0")/.."

work=$(mktemp -d)
daemon_pg=""
camsim_pg=""
cleanup() {
  [ -n "$daemon_pg" ] && kill -9 "-$daemon_pg" 2>/dev/null || true
  [ -n "$camsim_pg" ] && kill -9 "-$camsim_pg" 2>/dev/null || true
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
setsid build/vantel >"$work/vantel.log" 2>&1 &
daemon_pg=$!

for _ in $(seq 100); do [ -s "$work/port" ] && break; sleep 0.1; done
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

echo
echo "== what the camera received (operation, path, WS-Security token, answer)"
/usr/bin/python3 - "$work/record.jsonl" <<'PY'
import json, sys
for line in open(sys.argv[1]):
    r = json.loads(line)
    print(f"  {r.get('op'):36} {r.get('path'):24} token={r.get('token'):6} answer={r.get('answer')}")
PY
echo
echo "== vantel's standard output"
sed 's/^/  /' "$work/vantel.log"
