#!/usr/bin/env bash
# Runs a Windows program under Wine in the project's own prefix.
#   wine-run.sh PREFIX PROGRAM.exe [ARGS...]
#   wine-run.sh PREFIX                  only create the prefix if it is missing
# Used as CMAKE_CROSSCOMPILING_EMULATOR (so ctest runs every test .exe through
# it) and by the scripts. Creates PREFIX on first use, needs no display and no
# standard input, and passes the program's exit code through.
set -euo pipefail

prefix=$1
shift
# shellcheck source=scripts/wine-env.sh
. "$(dirname "${BASH_SOURCE[0]}")/wine-env.sh"
wine_env "$prefix"

if [ ! -f "$prefix/system.reg" ]; then
  mkdir -p "$(dirname "$prefix")"
  # Two tests started at once must not both create the prefix.
  (
    flock 9
    if [ ! -f "$prefix/system.reg" ]; then
      wineboot --init >/dev/null 2>&1 || true
      wineserver --wait
    fi
  ) 9>"$prefix.lock"
fi

[ $# -gt 0 ] || exit 0
exec wine "$@"
