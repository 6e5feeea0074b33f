#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for SECONDS each and prints one
# line per target: executions and findings.
#
#   scripts/fuzz.sh BUILD_DIR SECONDS [TARGET...]
#
# Targets: command_port, recovery (the session's answer to refusals),
# probe_match (vantelctl discover's reader of WS-Discovery answers) and one
# per camera operation (the names make_seeds prints, e.g. tptz__GetPresets). Seeds: camsim's answers, recorded at the
# start of each run. Corpora grow in BUILD_DIR/corpus/, crashes land in
# BUILD_DIR/findings/.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
seconds=$2
shift 2
corpus=$build/corpus
findings=$build/findings
mkdir -p "$corpus" "$findings"

# camsim's answers as seeds, recorded through the same client calls.
work=$(mktemp -d)
camsim_pgid=
cleanup() {
  [[ -n $camsim_pgid ]] && kill -TERM -- "-$camsim_pgid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM
echo '{"auth_exempt": ["GetPresets", "Stop"]}' >"$work/camera.json"
setsid /usr/bin/python3 "$root/tools/camsim/camsim" --port 0 --port-file "$work/port" \
  --discovery-port 0 --discovery-port-file "$work/discovery-port" \
  --config "$work/camera.json" --quiet >"$work/camsim.log" 2>&1 &
camsim_pgid=$!
for _ in $(seq 100); do [[ -s $work/port ]] && break; sleep 0.1; done
ASAN_OPTIONS=detect_leaks=0 "$build/fuzz/make_seeds" "$(cat "$work/port")" "$work/seeds" >"$work/seeds.log" || {
  cat "$work/seeds.log" >&2
  echo "could not record camsim's answers" >&2
  exit 1
}
# Its answer to a discovery probe (the discovery port is written first).
mkdir -p "$work/seeds/probe_match"
/usr/bin/python3 - "$(cat "$work/discovery-port")" "$work/seeds/probe_match/camsim" <<'EOF' || exit 1
import socket, sys
probe = ('<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" '
         'xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" '
         'xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery"><s:Header>'
         '<a:MessageID>urn:uuid:0c2ee7a0-5b7e-4c1d-9d3e-2f1a8b6c4d21</a:MessageID></s:Header>'
         '<s:Body><d:Probe/></s:Body></s:Envelope>')
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
    s.settimeout(5)
    s.sendto(probe.encode(), ("127.0.0.1", int(sys.argv[1])))
    open(sys.argv[2], "wb").write(s.recv(65536))
EOF

# A state file of two cameras, one skewed, one reached over TLS and pinned.
mkdir -p "$work/seeds/state_file"
/usr/bin/python3 - "$work/seeds/state_file/two" <<'EOF' || exit 1
import sys, zlib
body = ("vantel.cameras 1\n10.0.0.7 80 61646d696e -3600 http - - - -\n"
        "192.168.1.64 443 61646d696e 0 tls 68747470733a2f2f3139322e3136382e312e36343a3434332f - - " + "ab" * 32 + "\n")
open(sys.argv[1], "w").write(body + "end 2 %08x\n" % zlib.crc32(body.encode()))
EOF

# Locations cameras send, and ones they must not be followed to.
mkdir -p "$work/seeds/redirect"
printf 'https://10.0.0.7:443/' >"$work/seeds/redirect/root"
printf 'https://10.0.0.7/onvif/device_service' >"$work/seeds/redirect/path"
printf 'http://10.0.0.7/' >"$work/seeds/redirect/plain"
printf 'https://192.168.1.64:8443/' >"$work/seeds/redirect/other"

targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  [[ -x $build/fuzz/fuzz_command_port ]] && targets+=(command_port)
  for dir in "$work/seeds"/*/; do
    [[ $(basename "$dir") == command_port ]] || targets+=("$(basename "$dir")")
  done
fi

# Targets run side by side, FUZZ_JOBS at a time (default: one per core);
# each prints its line when it ends.
run_target() {
  local target=$1 binary max_len status=0 dict=()
  mkdir -p "$corpus/$target" "$findings/$target"
  if [[ $target == command_port ]]; then
    binary=$build/fuzz/fuzz_command_port max_len=2048
  elif [[ $target == recovery ]]; then
    binary=$build/fuzz/fuzz_recovery max_len=65536
  elif [[ $target == redirect ]]; then
    binary=$build/fuzz/fuzz_redirect max_len=512
  elif [[ $target == state_file ]]; then
    binary=$build/fuzz/fuzz_state_file max_len=4096
  elif [[ $target == probe_match ]]; then
    binary=$build/fuzz/fuzz_probe_match max_len=65536 dict=(-dict="$root/fuzz/probe_match.dict")
  else
    binary=$build/fuzz/fuzz_answers max_len=65536
  fi
  local log=$findings/$target/fuzz.log
  # allocator_may_return_null: a request for an impossible size fails as it
  # does with the daemon's malloc, instead of counting as a finding. A camera
  # may declare any Content-Length, and the runtime asks malloc for that much
  # before a byte of the body arrives: so the allocator, not libFuzzer's
  # per-malloc limit, decides whether a large request fails, refusing more
  # than the 3 GB a process has on the 32-bit recorder; only memory actually
  # used (rss_limit_mb) counts as a finding. The command server's 20-byte
  # copy of each dispatched header is never freed by design: the system
  # tests' suppression holds here too, and any other leak is a finding.
  VANTEL_FUZZ_OP=$target ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1:max_allocation_size_mb=3072 \
    LSAN_OPTIONS=print_suppressions=0:suppressions=$root/tests/system/data/lsan-suppressions.txt \
    "$binary" -max_total_time="$seconds" \
    -max_len=$max_len -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=1048576 -artifact_prefix="$findings/$target/" \
    -print_final_stats=1 "${dict[@]}" \
    "$corpus/$target" "$work/seeds/$target" >"$log" 2>&1 || status=$?
  local runs crashes
  runs=$(awk '/stat::number_of_executed_units/ { print $2 }' "$log" | tail -1)
  crashes=$(find "$findings/$target" -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' | wc -l)
  printf '%-48s %12d executions  %d findings%s\n' "$target" "${runs:-0}" "$crashes" \
    "$([[ $status -ne 0 ]] && echo "  (exit $status, see $log)")"
  [[ $status -eq 0 && $crashes -eq 0 ]]
}

jobs=${FUZZ_JOBS:-$(nproc)}
failed=0
running=0
for target in "${targets[@]}"; do
  if ((running >= jobs)); then
    wait -n || failed=1
    running=$((running - 1))
  fi
  run_target "$target" &
  running=$((running + 1))
done
while ((running > 0)); do
  wait -n || failed=1
  running=$((running - 1))
done
total=0
for target in "${targets[@]}"; do
  runs=$(awk '/stat::number_of_executed_units/ { print $2 }' "$findings/$target/fuzz.log" | tail -1)
  total=$((total + ${runs:-0}))
done
printf '%-48s %12d executions\n' total "$total"
exit $failed
