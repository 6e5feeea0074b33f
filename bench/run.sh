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
for p in libonvif-dev libxml2-dev libwolfssl-dev openssl valgrind gcc binutils; do
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
for tool in floor_client rifa_load; do
  gcc -O2 -Wall -Wextra -o "$bin/$tool" "$root/bench/$tool.c"
done
gcc -O2 -Wall -Wextra -o "$bin/replay_camera" "$root/bench/replay_camera.c" -lwolfssl
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

# 2. Three replay cameras: one that closes every connection after its
#    answer (as many cameras do), one that keeps connections open while the
#    client asks, and one that does so over TLS and resumes sessions. The
#    first command of each kind through each leaves the exact request bytes
#    the daemon sends, for the floor.
modes=(close keep tls)
declare -A mode_name=([close]="camera closes each connection" [keep]="camera keeps connections"
                      [tls]="TLS camera keeps connections, resumes sessions")
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj /CN=replay \
  -keyout "$work/tls.key" -out "$work/tls.crt" 2>/dev/null
declare -A cam replay_pid
for m in "${modes[@]}"; do
  flags=(); [[ $m != close ]] && flags+=(--keep-alive 1); [[ $m == tls ]] && flags+=(--tls "$work/tls.crt" --key "$work/tls.key")
  mkdir -p "$work/requests.$m"
  setsid "$bin/replay_camera" --answers "$work/answers" --port-file "$work/replay.$m.port" "${flags[@]}" \
    --dump "$work/requests.$m" --dump-count 13 --stats "$work/replay.$m.stats" 9>&- &
  replay_pid[$m]=$!
  pgids+=("$!")
  wait_file "$work/replay.$m.port"
  cam[$m]=$(cat "$work/replay.$m.port")
  capture_commands "${cam[$m]}"
  "$bin/rifa_load" 1997 1 "$work/goto.${cam[$m]}.cmd" >/dev/null
  "$bin/rifa_load" 1997 1 "$work/stream.${cam[$m]}.cmd" >/dev/null
  commands=$((commands + 2))
done
# The TLS camera's first command found out that it speaks TLS: its first
# request went out twice, so its dump is one request longer.
for m in close keep; do
  [[ -s $work/requests.$m/012.req ]] || { echo "the $m replay camera saw fewer than 13 requests" >&2; exit 1; }
done

ticks=$(getconf CLK_TCK)
cpu_ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
camera_stats() {  # MODE: prints "requests nonces connections handshakes" since the last call
  rm -f "$work/replay.$1.stats"; kill -USR1 "${replay_pid[$1]}"; wait_file "$work/replay.$1.stats"
  awk '{print $2, $4, $6, $8}' "$work/replay.$1.stats"
}
# Full TLS handshakes since the TLS camera started, over the commands sent
# to it: the first command's handshake included.
read -r _ _ _ tls_handshakes < <(camera_stats tls)
tls_commands=2
for m in close keep; do camera_stats "$m" >/dev/null; done
# Per mode and kind, N commands through the daemon and N rounds of the
# floor; per kind, N commands through libonvif (which connects for every
# call, so the camera's mode does not change what it does). Taken in five
# interleaved slices so that all see the same load on a shared machine.
declare -A R
slices=5
per=$(( (n + slices - 1) / slices ))
n=$((per * slices))
add() { R[$1]=$(awk -v a="${R[$1]:-0}" -v b="$2" 'BEGIN{print a + b}'); }
for _ in $(seq "$slices"); do
  for kind in goto stream; do
    if [[ $kind == goto ]]; then calls=4; else calls=9; fi
    for m in "${modes[@]}"; do
      c0=$(cpu_ticks "$vantel_pid"); r0=$(cpu_ticks "${replay_pid[$m]}")
      read -r wall bad < <("$bin/rifa_load" 1997 "$per" "$work/$kind.${cam[$m]}.cmd")
      c1=$(cpu_ticks "$vantel_pid"); r1=$(cpu_ticks "${replay_pid[$m]}")
      [[ $bad -eq 0 ]] || { echo "$bad $kind replies differed from the first ($m)" >&2; exit 1; }
      commands=$((commands + per))
      add "$kind.$m.ticks" $((c1 - c0)); add "$kind.$m.camera.ticks" $((r1 - r0))
      add "$kind.$m.wall" "$wall"
      read -r requests nonces connections handshakes < <(camera_stats "$m")
      add "$kind.$m.requests" "$requests"; add "$kind.$m.nonces" "$nonces"
      add "$kind.$m.connections" "$connections"
      if [[ $m == tls ]]; then tls_handshakes=$((tls_handshakes + handshakes)); tls_commands=$((tls_commands + per)); fi
      [[ $m == tls ]] && continue

      if [[ $kind == goto ]]; then reqs=("$work/requests.$m"/00[0-3].req)
      else reqs=("$work/requests.$m"/00[4-9].req "$work/requests.$m"/01[0-2].req); fi
      read -r wall cpu bad < <("$bin/floor_client" "${cam[$m]}" "$per" "${reqs[@]}")
      [[ $bad -eq 0 ]] || { echo "floor: $bad failed calls ($m)" >&2; exit 1; }
      add "$kind.floor.$m.wall" "$wall"; add "$kind.floor.$m.cpu" "$cpu"
      read -r _ _ connections _ < <(camera_stats "$m")
      add "$kind.floor.$m.connections" "$connections"
    done

    read -r wall cpu bad < <("$bin/libonvif_peer" "${cam[close]}" "$per" "$kind")
    [[ $bad -eq 0 ]] || { echo "libonvif: $bad failed commands" >&2; exit 1; }
    add "$kind.libonvif.wall" "$wall"; add "$kind.libonvif.cpu" "$cpu"
    read -r requests nonces connections _ < <(camera_stats close)
    add "$kind.libonvif.requests" "$requests"; add "$kind.libonvif.nonces" "$nonces"
    add "$kind.libonvif.connections" "$connections"
  done
done
per_command() { awk -v a="$1" -v n="$n" 'BEGIN{printf "%.2f", a/n}'; }
for kind in goto stream; do  # sums of per-slice means -> means, in ms or us
  for m in "${modes[@]}"; do
    R[$kind.$m.cpu]=$(awk -v t="${R[$kind.$m.ticks]}" -v k="$ticks" -v n="$n" 'BEGIN{printf "%.3f", t*1000/k/n}')
    R[$kind.$m.camera.cpu]=$(awk -v t="${R[$kind.$m.camera.ticks]}" -v k="$ticks" -v n="$n" 'BEGIN{printf "%.3f", t*1000/k/n}')
    R[$kind.$m.wall]=$(awk -v a="${R[$kind.$m.wall]}" -v s="$slices" 'BEGIN{printf "%.1f", a/s}')
    R[$kind.$m.connections]=$(per_command "${R[$kind.$m.connections]}")
  done
  for who in floor.close floor.keep libonvif; do
    R[$kind.$who.wall]=$(awk -v a="${R[$kind.$who.wall]}" -v s="$slices" 'BEGIN{printf "%.1f", a/s}')
    R[$kind.$who.cpu]=$(awk -v a="${R[$kind.$who.cpu]}" -v s="$slices" 'BEGIN{printf "%.3f", a/s/1000}')
    R[$kind.$who.connections]=$(per_command "${R[$kind.$who.connections]}")
  done
done

# 3. Resident and private memory after 1,000 and 10,000 commands (both
#    kinds in turn, to the camera that keeps connections).
run_to() {
  local want=$1 half
  half=$(( (want - commands) / 2 ))
  "$bin/rifa_load" 1997 "$half" "$work/goto.${cam[keep]}.cmd" >/dev/null
  "$bin/rifa_load" 1997 $((want - commands - half)) "$work/stream.${cam[keep]}.cmd" >/dev/null
  commands=$want
}
run_to 1000; rss_1000=$(rss_kb); private_1000=$(private_kb); anonymous_1000=$(anonymous_kb)
run_to 10000; rss_10000=$(rss_kb); private_10000=$(private_kb); anonymous_10000=$(anonymous_kb)
stop_vantel

# 4. Instructions per command: per camera mode, the daemon under callgrind
#    three times (1 goto-preset + 1 stream query, then N more of one kind);
#    the difference over N is that kind's cost, start-up, first-call and
#    first-handshake costs cancel out.
callgrind_total() {  # MODE GOTO_COUNT STREAM_COUNT
  rm -f "$work/vantel.cameras"  # every run finds the TLS camera out afresh
  start_vantel valgrind --tool=callgrind --callgrind-out-file="$work/callgrind.%p"
  "$bin/rifa_load" 1997 "$2" "$work/goto.${cam[$1]}.cmd" >/dev/null
  "$bin/rifa_load" 1997 "$3" "$work/stream.${cam[$1]}.cmd" >/dev/null
  kill -TERM "$vantel_pid"
  while kill -0 "$vantel_pid" 2>/dev/null; do sleep 0.1; done
  stop_vantel
  awk '/^(summary|totals):/ {print $2; exit}' "$work/callgrind.$vantel_pid"
}
for m in "${modes[@]}"; do
  base=$(callgrind_total "$m" 1 1)
  R[goto.$m.ir]=$(( ($(callgrind_total "$m" $((1 + callgrind_n)) 1) - base) / callgrind_n ))
  R[stream.$m.ir]=$(( ($(callgrind_total "$m" 1 $((1 + callgrind_n))) - base) / callgrind_n ))
done

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
both() {  # LABEL KEY_PREFIX KEY_SUFFIX [UNIT]
  row "$1" "${R[goto.$2$3]}${4:+ $4}" "${R[stream.$2$3]}${4:+ $4}"
}
echo
echo "| $n commands per kind and camera, one run | goto-preset (4 calls) | stream query (9 calls) |"
echo "|---|---|---|"
for m in "${modes[@]}"; do both "vantel daemon CPU per command, ${mode_name[$m]} (/proc utime+stime)" "$m" .cpu ms; done
both "libonvif 1.4.4 CPU per command, connects per call (getrusage)" libonvif .cpu ms
for m in close keep; do both "floor client CPU per command, ${mode_name[$m]}" "floor.$m" .cpu ms; done
for m in close keep; do
  row "**CPU vantel / libonvif, ${mode_name[$m]}**" "**$(ratio "${R[goto.$m.cpu]}" "${R[goto.libonvif.cpu]}")**" \
    "**$(ratio "${R[stream.$m.cpu]}" "${R[stream.libonvif.cpu]}")**"
done
row "**CPU vantel over TLS / over plain HTTP**, both cameras keeping connections" \
  "**$(ratio "${R[goto.tls.cpu]}" "${R[goto.keep.cpu]}")**" "**$(ratio "${R[stream.tls.cpu]}" "${R[stream.keep.cpu]}")**"
for m in "${modes[@]}"; do both "vantel instructions per command, ${mode_name[$m]} (callgrind, $callgrind_n commands)" "$m" .ir; done
for m in "${modes[@]}"; do both "TCP connections per command at the camera: vantel, ${mode_name[$m]}" "$m" .connections; done
both "TCP connections per command at the camera: libonvif" libonvif .connections
for m in close keep; do both "TCP connections per command at the camera: floor, ${mode_name[$m]}" "floor.$m" .connections; done
row "full TLS handshakes at the TLS camera, first command included" "$tls_handshakes in $tls_commands commands of both kinds" ""
for m in "${modes[@]}"; do both "replay camera CPU per vantel command, ${mode_name[$m]}" "$m" .camera.cpu ms; done
for m in "${modes[@]}"; do
  row "wall per command: vantel, ${mode_name[$m]}" "$(ms "${R[goto.$m.wall]}") ms" "$(ms "${R[stream.$m.wall]}") ms"
done
for m in close keep; do
  row "wall per command: floor, ${mode_name[$m]}" "$(ms "${R[goto.floor.$m.wall]}") ms" "$(ms "${R[stream.floor.$m.wall]}") ms"
done
row "wall per command: libonvif" "$(ms "${R[goto.libonvif.wall]}") ms" "$(ms "${R[stream.libonvif.wall]}") ms"
row "distinct nonces / requests: vantel (plain cameras)" \
  "$(( ${R[goto.close.nonces]} + ${R[goto.keep.nonces]} ))/$(( ${R[goto.close.requests]} + ${R[goto.keep.requests]} ))" \
  "$(( ${R[stream.close.nonces]} + ${R[stream.keep.nonces]} ))/$(( ${R[stream.close.requests]} + ${R[stream.keep.requests]} ))"
row "distinct nonces / requests: libonvif" "${R[goto.libonvif.nonces]}/${R[goto.libonvif.requests]}" \
  "${R[stream.libonvif.nonces]}/${R[stream.libonvif.requests]}"
echo
echo "| build/vantel | |"
echo "|---|---|"
echo "| stripped size, dynamic | $(mb "$size_dynamic") |"
echo "| stripped size, fully static (wolfSSL, gSOAP, libc inside) | $([[ $size_static == n/a ]] && echo "n/a (static link failed)" || mb "$size_static") |"
echo "| resident memory idle | $(mb $((rss_idle * 1024))) |"
echo "| resident memory after 1,000 / 10,000 commands | $(mb $((rss_1000 * 1024))) / $(mb $((rss_10000 * 1024))) |"
echo "| **private memory after 1,000 / 10,000 commands** (smaps Private_Clean + Private_Dirty) | **$(mb $((private_1000 * 1024))) / $(mb $((private_10000 * 1024)))** |"
echo "| of which anonymous (heap, stacks, data) | $(mb $((anonymous_1000 * 1024))) / $(mb $((anonymous_10000 * 1024))) |"
echo "| growth from 1,000 to 10,000 commands, resident | $(( (rss_10000 - rss_1000) * 1024 / 9000 )) bytes per command |"
ppc=$root/build-ppc/vantel.stripped
echo "| **static PowerPC daemon, stripped** (build-ppc, \`make cross-ppc\`) | $([[ -f $ppc ]] && echo "**$(mb "$(stat -c %s "$ppc")")** ($(stat -c %s "$ppc") bytes)" || echo "n/a: run make cross-ppc first") |"
