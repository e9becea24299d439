#!/usr/bin/env bash
# Builds TessarineDiag and its benchmark and runs it under Wine: explain over
# a 100 MB log (the README demo's log repeated, in rotated files) and over a
# 20 MB one, median of 3 runs each way and the peak working set of the
# process, beside the targets (at most 5 s; memory independent of the log's
# size).
#   bash scripts/bench-diag.sh
# Installs what it needs first (scripts/setup.sh), configures the default
# preset into build/ and runs in the build tree's prefix build/wineprefix;
# the logs are made in the prefix's temporary folder and removed at the end.
# TESSARINE_BENCH_BUILD names another build folder (default: build).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${TESSARINE_BENCH_BUILD:-build}

bash scripts/setup.sh
cmake --preset default -B "$build"
cmake --build "$build" --target TessarineDiag diag_bench

prefix=$PWD/$build/wineprefix
trap 'bash scripts/wine-session.sh down "$prefix"' EXIT
bash scripts/wine-session.sh up "$prefix"
bash scripts/wine-run.sh "$prefix" "$build/bench/diag_bench.exe"
