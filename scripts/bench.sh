#!/bin/bash
# Builds the logging benchmark and runs it under the build tree's Wine
# prefix; it prints a table of figures with their targets.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default
cmake --build --preset default --target log_bench

prefix="$PWD/build/wineprefix"
scripts/wine-session.sh up "$prefix"
trap 'scripts/wine-session.sh down "$prefix"' EXIT
scripts/wine-run.sh "$prefix" build/bench/log_bench.exe
