#!/usr/bin/env bash
# Wall time of 100 goto-preset commands, recorder to camera and back:
# vantelctl -> vantel on port 1997 -> camsim (GetCapabilities, GetProfiles,
# GetPresets, GotoPreset) -> reply. Each command is a fresh vantelctl process
# and a fresh TCP connection, as the recorder sends them.
#
#   bench/goto_preset_bench.sh [BUILD_DIR]     (default: build)
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
count=100
vantel=$build/vantel
vantelctl=$build/vantelctl
for bin in "$vantel" "$vantelctl"; do
  [[ -x $bin ]] || { echo "missing $bin: build first" >&2; exit 1; }
done

work=$(mktemp -d)
camsim_pgid=
vantel_pgid=
cleanup() {
  [[ -n $vantel_pgid ]] && kill -KILL -- "-$vantel_pgid" 2>/dev/null || true
  [[ -n $camsim_pgid ]] && kill -TERM -- "-$camsim_pgid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT INT TERM

# Take turns with the system tests, which hold this lock while they own
# port 1997; then make sure nobody else is on the port.
exec 9>>/tmp/vantel-test-port-1997.lock
flock 9
if (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null; then
  echo "port 1997 is taken: stop the other vantel first" >&2
  exit 1
fi

# GetPresets follows GetProfiles without a fresh token, so the camera must
# serve it unauthenticated for a goto to get through.
echo '{"auth_exempt": ["GetPresets"]}' >"$work/camera.json"
setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/port" \
  --config "$work/camera.json" --record "$work/record.jsonl" --quiet >"$work/camsim.log" 2>&1 9>&- &
camsim_pgid=$!
setsid "$vantel" >"$work/vantel.log" 2>&1 9>&- &
vantel_pgid=$!

for _ in $(seq 100); do
  [[ -s $work/port ]] && (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null && break
  sleep 0.1
done
[[ -s $work/port ]] || { echo "camsim did not start" >&2; cat "$work/camsim.log" >&2; exit 1; }
(exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null || { echo "vantel did not open port 1997" >&2; exit 1; }
port=$(cat "$work/port")

start=$(date +%s.%N)
for _ in $(seq "$count"); do
  "$vantelctl" ptz-goto --camera 127.0.0.1 --camera-port "$port" --user admin --password admin \
    --preset 1 >/dev/null
done
end=$(date +%s.%N)

sent=$(grep -c '"op": "GotoPreset".*"answer": "ok"' "$work/record.jsonl" || true)
if [[ $sent -ne $count ]]; then
  echo "only $sent of $count GotoPreset requests were answered ok" >&2
  exit 1
fi
awk -v s="$start" -v e="$end" -v n="$count" \
  'BEGIN { printf "%d goto-preset commands: %.3f s wall, %.1f ms each\n", n, e - s, (e - s) * 1000 / n }'
