# What the small bench drivers share, sourced by them (bash): the build's
# programs, the port-1997 lock the system tests take, and camsim and the
# daemon started in process groups of their own that the exit trap stops.
#
#   source "$(dirname "$0")/common.sh" "${1:-}"     (BUILD_DIR, default build)

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
vantel=$build/vantel
vantelctl=$build/vantelctl
for bin in "$vantel" "$vantelctl"; do
  [[ -x $bin ]] || { echo "missing $bin: build first (make build)" >&2; exit 1; }
done

work=$(mktemp -d)
camsim_pgid=
vantel_pgid=
stop_all() {
  [[ -n $vantel_pgid ]] && kill -KILL -- "-$vantel_pgid" 2>/dev/null || true
  [[ -n $camsim_pgid ]] && kill -TERM -- "-$camsim_pgid" 2>/dev/null || true
  vantel_pgid= camsim_pgid=
}
trap 'stop_all; rm -rf "$work"' EXIT INT TERM

port_open() { (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null; }
# Take turns with the system tests, which hold this lock while they own
# port 1997; then make sure nobody else is on the port.
exec 9>>"${VANTEL_TEST_PORT_LOCK:-/tmp/vantel-test-port-1997.lock}"
flock 9
if port_open; then
  echo "port 1997 is taken: stop the other vantel first" >&2
  exit 1
fi

# camsim with the JSON config CONFIG (recording its requests to
# $work/record.jsonl when `record` is set), then the daemon with the rest of
# the arguments as its environment (NAME=VALUE ...); returns when both
# listen. Sets camsim_pgid, vantel_pgid and port (camsim's).
record=
start_camsim_and_vantel() {
  local config=$1
  shift
  echo "$config" >"$work/camera.json"
  rm -f "$work/port"
  setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/port" \
    --config "$work/camera.json" ${record:+--record "$work/record.jsonl"} --quiet >"$work/camsim.log" 2>&1 9>&- &
  camsim_pgid=$!
  env VANTEL_STATE_DIR="$work" "$@" setsid "$vantel" >/dev/null 2>&1 9>&- &
  vantel_pgid=$!
  for _ in $(seq 100); do
    [[ -s $work/port ]] && port_open && break
    sleep 0.1
  done
  [[ -s $work/port ]] || { echo "camsim did not start" >&2; cat "$work/camsim.log" >&2; exit 1; }
  port_open || { echo "vantel did not open port 1997" >&2; exit 1; }
  port=$(cat "$work/port")
}
