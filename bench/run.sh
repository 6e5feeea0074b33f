#!/usr/bin/env bash
# One table, one run: what a goto-preset and a stream query cost the daemon,
# next to the floor (the same request bytes sent by a minimal C client) and
# the peer (the same calls through libonvif), all against one replay camera
# that serves camsim's recorded answers at next to no cost.
#
#   bench/run.sh [BUILD_DIR]          (default: build; `make build` first)
#   VANTEL_BENCH_N=500                commands per kind for CPU and wall
#   VANTEL_BENCH_STATIC=DIR           a fully static build to size (default:
#                                     BUILD_DIR's objects linked with -static)
#
# Needs root or sudo once, to install libonvif-dev and valgrind if missing.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
n=${VANTEL_BENCH_N:-500}
callgrind_n=${VANTEL_BENCH_CALLGRIND_N:-20}
vantel=$build/vantel
vantelctl=$build/vantelctl
for bin in "$vantel" "$vantelctl"; do
  [[ -x $bin ]] || { echo "missing $bin: build first (make build)" >&2; exit 1; }
done

# What the bench needs beyond the build, from Debian, only when missing.
missing=""
for p in libonvif-dev libxml2-dev valgrind gcc binutils; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing="$missing $p"
done
if [[ -n $missing ]]; then
  sudo=""; [[ $(id -u) -eq 0 ]] || sudo=sudo
  echo "bench: installing$missing" >&2
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends $missing >&2
fi

work=$(mktemp -d)
pgids=()
cleanup() {
  for g in "${pgids[@]}"; do kill -KILL -- "-$g" 2>/dev/null || true; done
  wait 2>/dev/null || true
  [[ -n ${VANTEL_BENCH_KEEP:-} ]] && echo "kept $work" >&2 || rm -rf "$work"
}
trap cleanup EXIT INT TERM

bin=$work/bin
mkdir -p "$bin" "$work/answers" "$work/requests"
for tool in replay_camera floor_client rifa_load; do
  gcc -O2 -Wall -Wextra -o "$bin/$tool" "$root/bench/$tool.c"
done
gcc -O2 -Wall -Wextra $(pkg-config --cflags libxml-2.0) -o "$bin/libonvif_peer" "$root/bench/libonvif_peer.c" \
  -lonvif $(pkg-config --libs libxml-2.0)

# Take turns with the system tests, which hold this lock while they own
# port 1997; then make sure nobody else is on the port.
exec 9>>"${VANTEL_TEST_PORT_LOCK:-/tmp/vantel-test-port-1997.lock}"
flock 9
port_open() { (exec 3<>/dev/tcp/127.0.0.1/1997) 2>/dev/null; }
if port_open; then echo "port 1997 is taken: stop the other vantel first" >&2; exit 1; fi

wait_file() { for _ in $(seq 100); do [[ -s $1 ]] && return 0; sleep 0.1; done; echo "no $1" >&2; exit 1; }
start_vantel() {  # [wrapper...]: starts the daemon, sets vantel_pid to the forked child
  VANTEL_STATE_DIR="$work" setsid "$@" "$vantel" >"$work/vantel.log" 2>&1 9>&- &
  local leader=$!
  pgids+=("$leader")
  for _ in $(seq 300); do port_open && break; sleep 0.1; done
  port_open || { echo "vantel did not open port 1997" >&2; cat "$work/vantel.log" >&2; exit 1; }
  vantel_pid=$(pgrep -g "$leader" -n -f "$vantel" || true)
  vantel_pgid=$leader
}
stop_vantel() { kill -"${1:-KILL}" -- "-$vantel_pgid" 2>/dev/null || true; while port_open; do sleep 0.1; done; }

# The command bytes vantelctl sends, for a camera on port $1.
capture_commands() {
  local cam=$1 kind
  for kind in goto stream; do
    rm -f "$work/cport"
    "$bin/rifa_load" --capture "$work/cport" "$work/$kind.$cam.cmd" &
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

# 1. camsim answers one goto-preset and one stream query; the answers are
#    kept for the replay camera. GetPresets follows GetProfiles without a
#    fresh token, so the camera serves it unauthenticated.
echo '{"auth_exempt": ["GetPresets"]}' >"$work/camera.json"
setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/camsim.port" \
  --config "$work/camera.json" --record "$work/record.jsonl" --quiet >"$work/camsim.log" 2>&1 9>&- &
pgids+=("$!")
camsim_pgid=$!
wait_file "$work/camsim.port"
camsim_port=$(cat "$work/camsim.port")
start_vantel
rss_kb() { awk '/^VmRSS/ {print $2}' "/proc/$vantel_pid/status"; }
# Pages of the daemon's own (heap, stacks, written data), as opposed to the
# shared libraries' pages that every process on the recorder maps anyway.
# Pages that are the daemon's alone (Private_Clean + Private_Dirty), as
# opposed to pages it shares with other processes (the libraries' code that
# every program on the recorder maps). Which library pages count as private
# depends on what else runs, so the anonymous part (heap, stacks, written
# data) is given apart: that part is ours.
private_kb() { awk '/^Private_(Clean|Dirty):/ {kb += $2} END {print kb}' "/proc/$vantel_pid/smaps_rollup"; }
anonymous_kb() {
  awk '/^[0-9a-f]+-[0-9a-f]+ / {anon = ($6 == "" || $6 ~ /^\[(heap|stack)/)}
       anon && /^Private_(Clean|Dirty):/ {kb += $2} END {print kb}' "/proc/$vantel_pid/smaps"
}
rss_idle=$(rss_kb)
capture_commands "$camsim_port"
"$bin/rifa_load" 1997 1 "$work/goto.$camsim_port.cmd" >/dev/null
"$bin/rifa_load" 1997 1 "$work/stream.$camsim_port.cmd" >/dev/null
commands=2
/usr/bin/python3 "$root/bench/capture_answers.py" "$work/record.jsonl" "$camsim_port" "$work/answers" >/dev/null
kill -TERM -- "-$camsim_pgid"

# 2. The replay camera; the first command of each kind through it leaves
#    the exact request bytes the daemon sends, for the floor.
setsid "$bin/replay_camera" --answers "$work/answers" --port-file "$work/replay.port" \
  --dump "$work/requests" --dump-count 13 --stats "$work/replay.stats" 9>&- &
replay_pid=$!
pgids+=("$replay_pid")
wait_file "$work/replay.port"
cam=$(cat "$work/replay.port")
capture_commands "$cam"
"$bin/rifa_load" 1997 1 "$work/goto.$cam.cmd" >/dev/null
"$bin/rifa_load" 1997 1 "$work/stream.$cam.cmd" >/dev/null
commands=$((commands + 2))
goto_requests=("$work"/requests/00[0-3].req)
stream_requests=("$work"/requests/00[4-9].req "$work"/requests/01[0-2].req)
[[ -s ${stream_requests[8]} ]] || { echo "the replay camera saw fewer than 13 requests" >&2; exit 1; }

ticks=$(getconf CLK_TCK)
cpu_ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
nonce_stats() {  # prints "distinct/requests" since the last call
  rm -f "$work/replay.stats"; kill -USR1 "$replay_pid"; wait_file "$work/replay.stats"
  awk '{print $4 "/" $2}' "$work/replay.stats"
}
# Per kind, N commands through the daemon, N rounds of the floor and N
# commands through libonvif, taken in five interleaved slices so that the
# three see the same load on a shared machine.
declare -A R
slices=5
per=$(( (n + slices - 1) / slices ))
n=$((per * slices))
add() { R[$1]=$(awk -v a="${R[$1]:-0}" -v b="$2" 'BEGIN{print a + b}'); }
add_nonces() {  # KEY "distinct/requests"
  local old=${R[$1]:-0/0}
  R[$1]="$(( ${old%/*} + ${2%/*} ))/$(( ${old#*/} + ${2#*/} ))"
}
for _ in $(seq "$slices"); do
  for kind in goto stream; do
    nonce_stats >/dev/null
    c0=$(cpu_ticks "$vantel_pid"); r0=$(cpu_ticks "$replay_pid")
    read -r wall bad < <("$bin/rifa_load" 1997 "$per" "$work/$kind.$cam.cmd")
    c1=$(cpu_ticks "$vantel_pid"); r1=$(cpu_ticks "$replay_pid")
    [[ $bad -eq 0 ]] || { echo "$bad $kind replies differed from the first" >&2; exit 1; }
    commands=$((commands + per))
    add "$kind.vantel.ticks" $((c1 - c0)); add "$kind.camera.ticks" $((r1 - r0))
    add "$kind.vantel.wall" "$wall"
    add_nonces "$kind.vantel.nonces" "$(nonce_stats)"

    if [[ $kind == goto ]]; then reqs=("${goto_requests[@]}"); else reqs=("${stream_requests[@]}"); fi
    read -r wall cpu bad < <("$bin/floor_client" "$cam" "$per" "${reqs[@]}")
    [[ $bad -eq 0 ]] || { echo "floor: $bad failed calls" >&2; exit 1; }
    add "$kind.floor.wall" "$wall"; add "$kind.floor.cpu" "$cpu"
    nonce_stats >/dev/null

    read -r wall cpu bad < <("$bin/libonvif_peer" "$cam" "$per" "$kind")
    [[ $bad -eq 0 ]] || { echo "libonvif: $bad failed commands" >&2; exit 1; }
    add "$kind.libonvif.wall" "$wall"; add "$kind.libonvif.cpu" "$cpu"
    add_nonces "$kind.libonvif.nonces" "$(nonce_stats)"
  done
done
for kind in goto stream; do  # sums of per-slice means -> means, in ms or us
  R[$kind.vantel.cpu]=$(awk -v t="${R[$kind.vantel.ticks]}" -v k="$ticks" -v n="$n" 'BEGIN{printf "%.3f", t*1000/k/n}')
  R[$kind.camera.cpu]=$(awk -v t="${R[$kind.camera.ticks]}" -v k="$ticks" -v n="$n" 'BEGIN{printf "%.3f", t*1000/k/n}')
  for who in vantel floor libonvif; do
    R[$kind.$who.wall]=$(awk -v a="${R[$kind.$who.wall]}" -v s="$slices" 'BEGIN{printf "%.1f", a/s}')
  done
  for who in floor libonvif; do
    R[$kind.$who.cpu]=$(awk -v a="${R[$kind.$who.cpu]}" -v s="$slices" 'BEGIN{printf "%.3f", a/s/1000}')
  done
done

# 3. Resident and private memory after 1,000 and 10,000 commands (both
#    kinds in turn).
run_to() {
  local want=$1 half
  half=$(( (want - commands) / 2 ))
  "$bin/rifa_load" 1997 "$half" "$work/goto.$cam.cmd" >/dev/null
  "$bin/rifa_load" 1997 $((want - commands - half)) "$work/stream.$cam.cmd" >/dev/null
  commands=$want
}
run_to 1000; rss_1000=$(rss_kb); private_1000=$(private_kb); anonymous_1000=$(anonymous_kb)
run_to 10000; rss_10000=$(rss_kb); private_10000=$(private_kb); anonymous_10000=$(anonymous_kb)
stop_vantel

# 4. Instructions per command: the daemon under callgrind, three times
#    (1 goto-preset + 1 stream query, then N more of one kind); the
#    difference over N is that kind's cost, start-up and first-call costs
#    cancel out.
callgrind_total() {  # GOTO_COUNT STREAM_COUNT
  start_vantel valgrind --tool=callgrind --callgrind-out-file="$work/callgrind.%p"
  "$bin/rifa_load" 1997 "$1" "$work/goto.$cam.cmd" >/dev/null
  "$bin/rifa_load" 1997 "$2" "$work/stream.$cam.cmd" >/dev/null
  kill -TERM "$vantel_pid"
  while kill -0 "$vantel_pid" 2>/dev/null; do sleep 0.1; done
  stop_vantel
  awk '/^(summary|totals):/ {print $2; exit}' "$work/callgrind.$vantel_pid"
}
base=$(callgrind_total 1 1)
R[goto.vantel.ir]=$(( ($(callgrind_total $((1 + callgrind_n)) 1) - base) / callgrind_n ))
R[stream.vantel.ir]=$(( ($(callgrind_total 1 $((1 + callgrind_n))) - base) / callgrind_n ))

# 5. Sizes, stripped. The fully static one is the same build linked again
#    with -static against the archives of the same libraries, unless one is
#    named.
stripped() { strip -o "$work/stripped" "$1" && stat -c %s "$work/stripped"; }
size_dynamic=$(stripped "$vantel")
static=${VANTEL_BENCH_STATIC:+$VANTEL_BENCH_STATIC/vantel}
if [[ -z $static && -f $build/CMakeFiles/vantel.dir/link.txt ]]; then
  link=$(sed -e 's#/[^ ]*/lib\([^ /]*\)\.so\( \|$\)#-l:lib\1.a #g' \
             -e "s# -o vantel # -o $work/vantel-static #" "$build/CMakeFiles/vantel.dir/link.txt")
  (cd "$build" && eval "$link -static -lpthread -ldl") >/dev/null 2>&1 && static=$work/vantel-static
fi
size_static=n/a
[[ -n $static && -x $static ]] && size_static=$(stripped "$static")

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a/b}'; }
ms() { awk -v a="$1" 'BEGIN{printf "%.3f", a/1000}'; }
mb() { awk -v a="$1" 'BEGIN{printf "%.2f MB", a/1048576}'; }
row() { printf '| %s | %s | %s |\n' "$1" "$2" "$3"; }
echo
echo "| $n commands per kind, one run | goto-preset (4 calls) | stream query (9 calls) |"
echo "|---|---|---|"
row "vantel daemon CPU per command (/proc utime+stime)" "${R[goto.vantel.cpu]} ms" "${R[stream.vantel.cpu]} ms"
row "libonvif 1.4.4 CPU per command (getrusage)" "${R[goto.libonvif.cpu]} ms" "${R[stream.libonvif.cpu]} ms"
row "**CPU vantel / libonvif**" "**$(ratio "${R[goto.vantel.cpu]}" "${R[goto.libonvif.cpu]}")**" "**$(ratio "${R[stream.vantel.cpu]}" "${R[stream.libonvif.cpu]}")**"
row "floor client CPU per command" "${R[goto.floor.cpu]} ms" "${R[stream.floor.cpu]} ms"
row "replay camera CPU per vantel command" "${R[goto.camera.cpu]} ms" "${R[stream.camera.cpu]} ms"
row "vantel instructions per command (callgrind, $callgrind_n commands)" "${R[goto.vantel.ir]}" "${R[stream.vantel.ir]}"
row "wall per command: vantel, at the recorder's side" "$(ms "${R[goto.vantel.wall]}") ms" "$(ms "${R[stream.vantel.wall]}") ms"
row "wall per command: floor" "$(ms "${R[goto.floor.wall]}") ms" "$(ms "${R[stream.floor.wall]}") ms"
row "wall per command: libonvif" "$(ms "${R[goto.libonvif.wall]}") ms" "$(ms "${R[stream.libonvif.wall]}") ms"
row "**wall vantel / floor**" "**$(ratio "${R[goto.vantel.wall]}" "${R[goto.floor.wall]}")**" "**$(ratio "${R[stream.vantel.wall]}" "${R[stream.floor.wall]}")**"
row "wall vantel / libonvif" "$(ratio "${R[goto.vantel.wall]}" "${R[goto.libonvif.wall]}")" "$(ratio "${R[stream.vantel.wall]}" "${R[stream.libonvif.wall]}")"
row "distinct nonces / requests: vantel" "${R[goto.vantel.nonces]}" "${R[stream.vantel.nonces]}"
row "distinct nonces / requests: libonvif" "${R[goto.libonvif.nonces]}" "${R[stream.libonvif.nonces]}"
echo
echo "| build/vantel | |"
echo "|---|---|"
echo "| stripped size, dynamic | $(mb "$size_dynamic") |"
echo "| stripped size, fully static (OpenSSL, gSOAP, libc inside) | $([[ $size_static == n/a ]] && echo "n/a (static link failed)" || mb "$size_static") |"
echo "| resident memory idle | $(mb $((rss_idle * 1024))) |"
echo "| resident memory after 1,000 / 10,000 commands | $(mb $((rss_1000 * 1024))) / $(mb $((rss_10000 * 1024))) |"
echo "| **private memory after 1,000 / 10,000 commands** (smaps Private_Clean + Private_Dirty) | **$(mb $((private_1000 * 1024))) / $(mb $((private_10000 * 1024)))** |"
echo "| of which anonymous (heap, stacks, data) | $(mb $((anonymous_1000 * 1024))) / $(mb $((anonymous_10000 * 1024))) |"
echo "| growth from 1,000 to 10,000 commands, resident | $(( (rss_10000 - rss_1000) * 1024 / 9000 )) bytes per command |"
ppc=$root/build-ppc/vantel.stripped
echo "| **static PowerPC daemon, stripped** (build-ppc, \`make cross-ppc\`) | $([[ -f $ppc ]] && echo "**$(mb "$(stat -c %s "$ppc")")** ($(stat -c %s "$ppc") bytes)" || echo "n/a: run make cross-ppc first") |"
