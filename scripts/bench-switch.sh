#!/usr/bin/env bash
# Builds the wired-event benchmark and runs it on the simulated laptop in
# the build tree's Wine prefix: 1,000 plug and pull pairs at the service's
# network event sink, with the default queued file logging.
#   bash scripts/bench-switch.sh
# Installs what it needs first (scripts/setup.sh); ends its Wine session at
# the end, whatever happened.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build build --target switch_bench
prefix=$PWD/build/wineprefix
trap 'bash scripts/wine-session.sh down "$prefix"' EXIT
bash scripts/wine-session.sh up "$prefix"
WINEDEBUG=-all bash scripts/wine-run.sh "$prefix" "$PWD/build/bench/switch_bench.exe"
