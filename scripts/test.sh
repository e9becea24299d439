#!/usr/bin/env bash
# Builds Tessarine and every test, then runs all tests under Wine.
# Installs what it needs first (scripts/setup.sh). Ends with ctest's summary.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
bash scripts/check-layers.sh
bash scripts/check-format.sh
cmake --preset default
cmake --build --preset default

prefix=$PWD/build/wineprefix
bash scripts/wine-session.sh up "$prefix"
trap 'bash scripts/wine-session.sh down "$prefix"' EXIT
ctest --preset default
