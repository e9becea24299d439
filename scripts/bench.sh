#!/usr/bin/env bash
# Builds the logging benchmark and runs it under Wine; it prints a table of
# figures (medians of several runs) beside their targets.
#   bash scripts/bench.sh
# Installs what it needs first (scripts/setup.sh), configures the default
# preset into build/ and runs in the build tree's prefix build/wineprefix.
# TESSARINE_BENCH_BUILD names another build folder (default: build).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${TESSARINE_BENCH_BUILD:-build}

bash scripts/setup.sh
cmake --preset default -B "$build"
cmake --build "$build" --target log_bench

prefix=$PWD/$build/wineprefix
trap 'bash scripts/wine-session.sh down "$prefix"' EXIT
bash scripts/wine-session.sh up "$prefix"
bash scripts/wine-run.sh "$prefix" "$build/bench/log_bench.exe"
