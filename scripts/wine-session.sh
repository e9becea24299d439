#!/usr/bin/env bash
# Starts or ends the one Wine server that a whole test run shares.
#   wine-session.sh up PREFIX    create the prefix if needed, start a persistent server
#   wine-session.sh down PREFIX  end that prefix's server (and its programs)
set -euo pipefail

action=$1
prefix=$2
here=$(cd "$(dirname "$0")" && pwd)
export WINEPREFIX=$prefix WINEDEBUG=-all

case "$action" in
  up)
    "$here/wine-run.sh" "$prefix"
    # A server left from an earlier run would end 3 s after its last program;
    # replace it with one that stays until "down".
    if ! wineserver --persistent 2>/dev/null; then
      wineserver --kill 2>/dev/null || true
      wineserver --wait 2>/dev/null || true
      wineserver --persistent
    fi
    # Start the prefix's background programs (services, device manager) now,
    # detached from our output: a test's pipe they inherited would stay open
    # and keep ctest waiting.
    "$here/wine-run.sh" "$prefix" cmd /c exit 0 >/dev/null 2>&1 </dev/null || true
    ;;
  down)
    wineserver --kill 2>/dev/null || true
    ;;
  *)
    echo "usage: $0 up|down PREFIX" >&2
    exit 2
    ;;
esac
