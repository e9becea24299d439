#!/usr/bin/env bash
# Builds Tessarine and runs it as a service under Wine's Service Control
# Manager, in the build tree's own Wine prefix: install, start, query, stop,
# remove, then shows the service's log file. Installs what it needs first.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target Tessarine

prefix=$PWD/build/wineprefix
run() { bash scripts/wine-run.sh "$prefix" "$@" </dev/null | tr -d '\r'; }
bash scripts/wine-session.sh up "$prefix"
trap 'bash scripts/wine-session.sh down "$prefix"' EXIT

exe=$(WINEPREFIX=$prefix winepath -w "$PWD/build/Tessarine.exe" 2>/dev/null)
echo "== Tessarine.exe (usage)";  run "$exe" || true
echo "== Tessarine.exe -install"; run "$exe" -install
echo "== net start Tessarine";    run net start Tessarine || true
echo "== sc query Tessarine";     run sc query Tessarine || true
echo "== net stop Tessarine";     run net stop Tessarine || true
echo "== Tessarine.exe -remove";  run "$exe" -remove

log=$(ls "$prefix"/drive_c/users/*/AppData/Roaming/zvrLog/Tessarine.log 2>/dev/null | head -n 1 || true)
if [ -n "$log" ]; then
  echo "== $log (last 30 lines)"
  tail -n 30 "$log" | tr -d '\r'
fi
