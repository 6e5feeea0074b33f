#!/bin/sh
# Run a command in a private network namespace (root only), with loopback up
# and a port-1997 lock of its own, so that system tests from several build
# trees can run at the same time without meeting on port 1997.
#
#   scripts/netns-run.sh ctest --test-dir build -R system
set -eu
exec unshare -n sh -c 'ip link set lo up && VANTEL_TEST_PORT_LOCK=$(mktemp /tmp/vantel-netns-lock.XXXXXX) && export VANTEL_TEST_PORT_LOCK && "$@"' netns-run "$@"
