#!/bin/sh
# End-to-end check of the static PowerPC daemon (build-ppc/vantel, from
# `make cross-ppc`) under qemu-ppc: the native camsim and the native
# build/vantelctl ask it for a stream query. Prints the daemon's start-up
# log, the decoded reply and what the camera received. Runs in a network
# namespace of its own (root), so that it never meets another port 1997.
#
#   scripts/netns-run.sh scripts/cross-ppc-check.sh
set -eu
cd "$(dirname "$0")/.."
daemon=${1:-build-ppc/vantel.stripped}

work=$(mktemp -d)
daemon_pg=""
camsim_pg=""
cleanup() {
  # qemu and the daemon's forked child outlive their shell: kill the groups.
  [ -n "$daemon_pg" ] && kill -9 "-$daemon_pg" 2>/dev/null || true
  [ -n "$camsim_pg" ] && kill -9 "-$camsim_pg" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT HUP INT TERM PIPE

if build/vantelctl raw --major 0 --hex 00 --timeout 2 >/dev/null 2>&1; then
  echo "cross-ppc-check: something already answers on port 1997" >&2
  exit 1
fi
setsid /usr/bin/python3 tools/camsim/camsim --port 0 --port-file "$work/port" \
  --record "$work/record.jsonl" --profile default >"$work/camsim.log" 2>&1 &
camsim_pg=$!
started=$(date +%s.%N)
setsid qemu-ppc "$daemon" >"$work/vantel.log" 2>&1 &
daemon_pg=$!

for _ in $(seq 100); do [ -s "$work/port" ] && break; sleep 0.1; done
cam_port=$(tr -dc 0-9 < "$work/port")
for _ in $(seq 200); do build/vantelctl raw --major 0 --hex 00 --timeout 2 >/dev/null 2>&1 && break; sleep 0.1; done
echo "== port 1997 answered $(awk -v a="$started" -v b="$(date +%s.%N)" 'BEGIN { printf "%.1f", b - a }') s after start"
echo "== start-up log"
cat "$work/vantel.log"
echo "== vantelctl stream-info"
build/vantelctl stream-info --camera 127.0.0.1 --camera-port "$cam_port" --user admin --password admin
echo "== camera received"
/usr/bin/python3 -c 'import json,sys; print(" ".join(json.loads(l).get("op","") for l in open(sys.argv[1]) if l.strip()))' "$work/record.jsonl"
echo "== daemon log after the query"
cat "$work/vantel.log"
