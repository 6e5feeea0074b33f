#!/usr/bin/env bash
# Wall time of 100 goto-preset commands, recorder to camera and back:
# vantelctl -> vantel on port 1997 -> camsim (GetCapabilities, GetProfiles,
# GetPresets, GotoPreset) -> reply. Each command is a fresh vantelctl process
# and a fresh TCP connection, as the recorder sends them.
#
#   bench/goto_preset_bench.sh [BUILD_DIR]     (default: build)
set -euo pipefail

count=100
source "$(dirname "$0")/common.sh" "${1:-}"

# GetPresets follows GetProfiles without a fresh token, so the camera must
# serve it unauthenticated for a goto to get through.
record=yes
start_camsim_and_vantel '{"auth_exempt": ["GetPresets"]}'

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
