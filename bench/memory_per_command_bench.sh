#!/usr/bin/env bash
# Resident memory of the daemon while it serves one kind of command over and
# over: one line every 1,000 commands up to 10,000 (or COUNT), per kind.
# A daemon that gives back what each command took stays flat after the
# first thousand; the growth column shows anything it keeps.
#
#   bench/memory_per_command_bench.sh [BUILD_DIR] [KIND...]   (default: build, every kind)
#   COUNT=10000 STEP=1000 bench/memory_per_command_bench.sh build ptz-move
#
# Kinds: ptz-move ptz-stop ptz-preset ptz-goto ptz-remove reboot multiuser
#        stream-info net-codec net-codec-explicit camera-setting camera-setting-xr520
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
shift || true
kinds=("$@")
[[ ${#kinds[@]} -gt 0 ]] || kinds=(ptz-move ptz-stop ptz-preset ptz-goto ptz-remove reboot multiuser
                                   stream-info net-codec net-codec-explicit camera-setting camera-setting-xr520)
count=${COUNT:-10000}
step=${STEP:-1000}
vantel=$build/vantel
vantelctl=$build/vantelctl
for bin in "$vantel" "$vantelctl"; do
  [[ -x $bin ]] || { echo "missing $bin: build first" >&2; exit 1; }
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

exec 9>>"${VANTEL_TEST_PORT_LOCK:-/tmp/vantel-test-port-1997.lock}"
flock 9
if (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null; then
  echo "port 1997 is taken: stop the other vantel first" >&2
  exit 1
fi

# The daemon is the forked child: the process of its group that is not the
# (already ended) leader.
daemon_pid() { pgrep -g "$vantel_pgid" -x vantel | head -1; }
rss_kb() { awk '/^VmRSS/ { print $2 }' "/proc/$(daemon_pid)/status"; }

printf '%-22s %8s %10s %12s\n' kind commands rss_kb growth_kb
for kind in "${kinds[@]}"; do
  config='{"auth_exempt": ["GetPresets", "Stop"]}'
  args=()
  case $kind in
    ptz-move) args=(ptz-move --direction 2 --zoom 1) ;;
    ptz-stop) args=(ptz-stop) ;;
    ptz-preset|ptz-goto|ptz-remove) args=("$kind" --preset 1) ;;
    reboot|stream-info|net-codec|camera-setting) args=("$kind") ;;
    multiuser) args=(multiuser --mode 1) ;;
    net-codec-explicit) args=(net-codec --explicit) ;;
    camera-setting-xr520) args=(camera-setting); config='{"model": "XR-520"}' ;;
    *) echo "unknown kind $kind" >&2; exit 1 ;;
  esac
  echo "$config" >"$work/camera.json"
  rm -f "$work/port"
  setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/port" \
    --config "$work/camera.json" --quiet >"$work/camsim.log" 2>&1 9>&- &
  camsim_pgid=$!
  # Thousands of commands add up to more than the watchdog's minute of busy
  # time: its restart must reach the test stand-ins, not the machine's killall.
  PATH=$root/tests/system/fake-bin:$PATH VANTEL_TEST_CALLS=$work/watchdog-calls \
    setsid "$vantel" >/dev/null 2>&1 9>&- &
  vantel_pgid=$!
  for _ in $(seq 100); do
    [[ -s $work/port ]] && (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null && break
    sleep 0.1
  done
  port=$(cat "$work/port")
  first=
  for ((done_count = 1; done_count <= count; ++done_count)); do
    "$vantelctl" "${args[@]}" --camera 127.0.0.1 --camera-port "$port" --user admin --password admin \
      >/dev/null || { echo "$kind: command $done_count failed" >&2; exit 1; }
    if ((done_count % step == 0)); then
      rss=$(rss_kb)
      first=${first:-$rss}
      printf '%-22s %8d %10d %12d\n' "$kind" "$done_count" "$rss" $((rss - first))
    fi
  done
  stop_all
done
