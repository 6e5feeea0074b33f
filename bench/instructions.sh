#!/usr/bin/env bash
# Instructions per goto-preset and per stream query alone: the callgrind
# part of run.sh without its minutes of CPU and wall measurements, for
# trying a change to the bindings or the runtime and keeping it only if it
# pays. Also leaves what a profile needs to be read.
#
#   bench/instructions.sh [BUILD_DIR] [OUT_DIR]
#   VANTEL_BENCH_CALLGRIND_N=20      commands of each kind
#
# OUT_DIR (default: a temp dir, removed) keeps the three callgrind files
# (base, goto, stream: `callgrind_annotate OUT_DIR/callgrind.goto`) and the
# daemon's first 13 requests through the replay camera (OUT_DIR/requests),
# which show what went on the wire, and the answers it served
# (OUT_DIR/answers).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
n=${VANTEL_BENCH_CALLGRIND_N:-20}
vantel=$build/vantel
vantelctl=$build/vantelctl
for bin in "$vantel" "$vantelctl"; do
  [[ -x $bin ]] || { echo "missing $bin: build first (make build)" >&2; exit 1; }
done
command -v valgrind >/dev/null || { echo "valgrind not found (apt-get install valgrind)" >&2; exit 1; }

work=$(mktemp -d)
out=${2:-$work/out}
mkdir -p "$out" "$out/requests" "$work/answers" "$work/bin"
pgids=()
cleanup() {
  for g in "${pgids[@]}"; do kill -KILL -- "-$g" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT INT TERM

for tool in replay_camera rifa_load; do
  gcc -O2 -Wall -Wextra -o "$work/bin/$tool" "$root/bench/$tool.c"
done

exec 9>>"${VANTEL_TEST_PORT_LOCK:-/tmp/vantel-test-port-1997.lock}"
flock 9
port_open() { (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null; }
if port_open; then echo "port 1997 is taken: stop the other vantel first" >&2; exit 1; fi

wait_file() { for _ in $(seq 100); do [[ -s $1 ]] && return 0; sleep 0.1; done; echo "no $1" >&2; exit 1; }
start_vantel() {  # [wrapper...]
  VANTEL_STATE_DIR="$work" setsid "$@" "$vantel" >"$work/vantel.log" 2>&1 9>&- &
  vantel_pgid=$!
  pgids+=("$vantel_pgid")
  for _ in $(seq 300); do port_open && break; sleep 0.1; done
  port_open || { echo "vantel did not open port 1997" >&2; cat "$work/vantel.log" >&2; exit 1; }
  vantel_pid=$(pgrep -g "$vantel_pgid" -n -f "$vantel" || true)
}
stop_vantel() { kill -KILL -- "-$vantel_pgid" 2>/dev/null || true; while port_open; do sleep 0.1; done; }

capture_commands() {  # CAMERA_PORT: the command bytes vantelctl sends
  local cam=$1 kind
  for kind in goto stream; do
    rm -f "$work/cport"
    "$work/bin/rifa_load" --capture "$work/cport" "$work/$kind.$cam.cmd" &
    local cap=$!
    wait_file "$work/cport"
    local args=(--camera 127.0.0.1 --camera-port "$cam" --user admin --password admin)
    if [[ $kind == goto ]]; then
      "$vantelctl" --port "$(cat "$work/cport")" --timeout 5 ptz-goto "${args[@]}" --preset 1 >/dev/null 2>&1 || true
    else
      "$vantelctl" --port "$(cat "$work/cport")" --timeout 5 stream-info "${args[@]}" >/dev/null 2>&1 || true
    fi
    wait "$cap"
  done
}

# camsim's answers to one command of each kind, for the replay camera (as
# in run.sh: GetPresets goes out on the header as is).
echo '{"auth_exempt": ["GetPresets"]}' >"$work/camera.json"
setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/camsim.port" \
  --config "$work/camera.json" --record "$work/record.jsonl" --quiet >"$work/camsim.log" 2>&1 9>&- &
camsim_pgid=$!
pgids+=("$camsim_pgid")
wait_file "$work/camsim.port"
camsim_port=$(cat "$work/camsim.port")
start_vantel
capture_commands "$camsim_port"
"$work/bin/rifa_load" 1997 1 "$work/goto.$camsim_port.cmd" >/dev/null
"$work/bin/rifa_load" 1997 1 "$work/stream.$camsim_port.cmd" >/dev/null
stop_vantel
/usr/bin/python3 "$root/bench/capture_answers.py" "$work/record.jsonl" "$camsim_port" "$work/answers" >/dev/null
kill -TERM -- "-$camsim_pgid"
cp -r "$work/answers" "$out/"

setsid "$work/bin/replay_camera" --answers "$work/answers" --port-file "$work/replay.port" \
  --dump "$out/requests" --dump-count 13 9>&- &
pgids+=("$!")
wait_file "$work/replay.port"
cam=$(cat "$work/replay.port")
capture_commands "$cam"

callgrind_total() {  # NAME GOTO_COUNT STREAM_COUNT
  start_vantel valgrind --tool=callgrind --callgrind-out-file="$work/callgrind.%p"
  "$work/bin/rifa_load" 1997 "$2" "$work/goto.$cam.cmd" >/dev/null
  "$work/bin/rifa_load" 1997 "$3" "$work/stream.$cam.cmd" >/dev/null
  kill -TERM "$vantel_pid"
  while kill -0 "$vantel_pid" 2>/dev/null; do sleep 0.1; done
  stop_vantel
  cp "$work/callgrind.$vantel_pid" "$out/callgrind.$1"
  awk '/^(summary|totals):/ {print $2; exit}' "$out/callgrind.$1"
}
base=$(callgrind_total base 1 1)
goto=$(( ($(callgrind_total goto $((1 + n)) 1) - base) / n ))
stream=$(( ($(callgrind_total stream 1 $((1 + n))) - base) / n ))
echo "instructions per goto-preset: $goto"
echo "instructions per stream query: $stream"
echo "request bytes (first goto-preset, then stream query): $(cat "$out"/requests/*.req | wc -c)"
