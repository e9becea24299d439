#!/usr/bin/env bash
# Builds the Ethernet-test benchmark and runs it: first against the
# adapter-list model (the service's own share), then against Wine's real IP
# Helper in a network namespace of its own with 1 and with 8 interfaces.
#   bash scripts/bench-ethernet.sh
# Installs what it needs first (scripts/setup.sh); needs root (ip netns).
# Uses the build folder build/ and, for the namespace, the Wine prefix
# build/wineprefix-bench (created on first use). Removes its namespaces and
# ends its Wine sessions at the end, whatever happened.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build build --target ethernet_bench
bench=$PWD/build/bench/ethernet_bench.exe
here=$PWD/scripts

fail() {
  echo "bench-ethernet: FAILED: $*" >&2
  exit 1
}

echo "== the adapter-list model, in the build tree's prefix"
model_prefix=$PWD/build/wineprefix
bash scripts/wine-session.sh up "$model_prefix"
WINEDEBUG=-all bash scripts/wine-run.sh "$model_prefix" "$bench"
bash scripts/wine-session.sh down "$model_prefix"

prefix=$PWD/build/wineprefix-bench
# shellcheck source=scripts/netns-run.sh
. "$here/netns-run.sh"

# A session keeps every interface it has once seen, so each count gets a
# session of its own: one interface, then (after it is gone) seven
# VPN-looking ones and the ordinary one last, so that every test walks all
# eight.
echo "== Wine's IP Helper, 1 interface"
start_session
add_interface eth0 "tbe$$"
ip -n "$ns" addr add 10.214.0.2/24 dev eth0
in_ns wine "$bench" --real </dev/null 2>&1 | tr -d '\r'
end_session
ip -n "$ns" link del eth0

echo "== Wine's IP Helper, 8 interfaces"
start_session
for i in 1 2 3 4 5 6 7; do
  add_interface "VPN$i" "tbv$i$$"
  ip -n "$ns" addr add "10.214.$i.2/24" dev "VPN$i"
done
add_interface eth0 "tbe$$"
ip -n "$ns" addr add 10.214.8.2/24 dev eth0
in_ns wine "$bench" --real </dev/null 2>&1 | tr -d '\r'
