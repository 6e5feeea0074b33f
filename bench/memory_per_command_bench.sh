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

source "$(dirname "$0")/common.sh" "${1:-}"
shift || true
kinds=("$@")
[[ ${#kinds[@]} -gt 0 ]] || kinds=(ptz-move ptz-stop ptz-preset ptz-goto ptz-remove reboot multiuser
                                   stream-info net-codec net-codec-explicit camera-setting camera-setting-xr520)
count=${COUNT:-10000}
step=${STEP:-1000}

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
  # Thousands of commands add up to more than the watchdog's minute of busy
  # time: its restart must reach the test stand-ins, not the machine's killall.
  start_camsim_and_vantel "$config" PATH="$root/tests/system/fake-bin:$PATH" VANTEL_TEST_CALLS="$work/watchdog-calls"
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
