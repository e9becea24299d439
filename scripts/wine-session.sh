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
    # Any harmless program creates the prefix through the runner.
    "$here/wine-run.sh" "$prefix" cmd /c exit 0 >/dev/null 2>&1 || true
    wineserver --persistent
    ;;
  down)
    wineserver --kill 2>/dev/null || true
    ;;
  *)
    echo "usage: $0 up|down PREFIX" >&2
    exit 2
    ;;
esac
