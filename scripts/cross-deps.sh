#!/bin/sh
# Installs the named Debian packages that are missing (cross compilers,
# qemu-user, ...) along with the native build's, through scripts/bootstrap.sh.
set -eu
exec "$(dirname "$0")/bootstrap.sh" "$@"
