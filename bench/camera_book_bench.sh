#!/usr/bin/env bash
# The camera book over more cameras than it holds: CAMERAS (default 300,
# over its 256) skewed cameras, one camsim with a user each (the book keeps
# a camera per address, port and user), queried in ROUNDS rounds of stream
# queries. Per round: the refused logins the camera counted, and the
# daemon's resident and anonymous memory after it. The first round learns
# every clock; a book that bounds itself stays flat from round to round.
#
#   bench/camera_book_bench.sh [BUILD_DIR]      CAMERAS=300 ROUNDS=3
set -euo pipefail

source "$(dirname "$0")/common.sh" "${1:-}"
cameras=${CAMERAS:-300}
rounds=${ROUNDS:-3}

users=$(for ((i = 0; i < cameras; ++i)); do printf '"user%d": "pw",' "$i"; done)
record=1
start_camsim_and_vantel "{\"clock_offset\": -3600, \"users\": {${users%,}}}" \
  PATH="$root/tests/system/fake-bin:$PATH" VANTEL_TEST_CALLS="$work/watchdog-calls"

daemon_pid() { pgrep -g "$vantel_pgid" -x vantel | head -1; }
memory_kb() {  # resident, and the anonymous part (heap, stacks, written data)
  awk '/^Rss:/ { rss += $2 } /^Anonymous:/ { anon += $2 } END { print rss, anon }' "/proc/$(daemon_pid)/smaps"
}
refused() { grep -c '"auth": "bad"' "$work/record.jsonl" || true; }

printf '%-6s %8s %15s %10s %9s\n' round cameras refused_logins rss_kb anon_kb
before=0
for ((round = 1; round <= rounds; ++round)); do
  for ((i = 0; i < cameras; ++i)); do
    "$vantelctl" stream-info --camera 127.0.0.1 --camera-port "$port" --user "user$i" --password pw >/dev/null ||
      { echo "round $round camera $i: the query failed" >&2; exit 1; }
  done
  now=$(refused)
  read -r rss anon < <(memory_kb)
  printf '%-6d %8d %15d %10d %9d\n' "$round" "$cameras" $((now - before)) "$rss" "$anon"
  before=$now
done
