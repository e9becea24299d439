#!/usr/bin/env bash
# How long `TessarineDiag status` takes on the simulated laptop, where the
# platform answers at once:
#   bash scripts/bench-status.sh [RUNS]
# RUNS (default 20) runs of `status --json` in the laptop's Wine session
# (laptop.sh diag) with the cable out, and as many with it in. For each
# run: the report's own time (elapsedMilliseconds: from the first reading
# to the last, the firmware read's retry pauses included), those pauses
# (firmware.retryPauseMilliseconds, which the report gives apart; 0 when
# the firmware answers at once), the report's time without them, and the
# wall time of the whole program under Wine (its start and end included).
# Prints median and maximum of each beside the target (2 s without the
# firmware read's own pauses); the target is not asserted.
#
# Builds what it needs; its laptop has a home of its own
# (TESSARINE_LAPTOP_HOME, default build/laptop-bench-status), taken down at
# the end whatever happens. Needs root.
set -euo pipefail

runs=${1-20}
[[ $runs =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [RUNS]" >&2; exit 2; }
scripts=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/laptop/client.sh
source "$scripts/laptop/client.sh"
own_laptop laptop-bench-status
json_get=$scripts/laptop/status-json.awk

bash "$scripts/setup.sh"
down_now_and_at_exit
laptop up | sed 's/^/  /'

figures=()
# run WIRE: one status --json; prints and keeps "own pauses net wall" in ms.
run() {
  local wire=$1 report start end own pauses
  start=$EPOCHREALTIME
  report=$(laptop diag status --json) || { echo "bench: status failed: ${report:0:300}" >&2; exit 1; }
  end=$EPOCHREALTIME
  own=$(awk -v want=elapsedMilliseconds -f "$json_get" <<<"$report")
  pauses=$(awk -v want=firmware.retryPauseMilliseconds -f "$json_get" <<<"$report")
  local wall
  wall=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%d", (b - a) * 1000 }')
  figures+=("$own $pauses $((own - pauses)) $wall")
  printf '%-6s %8d ms %8d ms %8d ms %8d ms\n' "$wire" "$own" "$pauses" "$((own - pauses))" "$wall"
}

echo
printf '%-6s %11s %11s %11s %11s\n' wire report pauses "report-p" wall
for ((i = 0; i < runs; i++)); do run out; done
laptop plug >/dev/null
laptop wait wifi off wwan off 30 >/dev/null || { echo "bench: the plug did not switch the radios off" >&2; exit 1; }
for ((i = 0; i < runs; i++)); do run in; done
laptop pull >/dev/null

# stat COLUMN: "MEDIAN MAX" of a column of the figures.
stat() {
  printf '%s\n' "${figures[@]}" | awk -v c="$1" '{ print $c }' | sort -n |
    awk '{ v[NR] = $1 } END { m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; print m, v[NR] }'
}

echo
echo "status over $((2 * runs)) runs (median / maximum; target: at most 2000 ms without the firmware's own pauses)"
read -r m x <<<"$(stat 1)"
printf '  the report'"'"'s own time             %6s / %6s ms\n' "$m" "$x"
read -r m x <<<"$(stat 2)"
printf '  of which the firmware'"'"'s pauses    %6s / %6s ms\n' "$m" "$x"
read -r m x <<<"$(stat 3)"
printf '  without them                     %6s / %6s ms   (target 2000)\n' "$m" "$x"
read -r m x <<<"$(stat 4)"
printf '  the program under Wine (wall)    %6s / %6s ms\n' "$m" "$x"

echo
laptop down | sed 's/^/  /'
trap - EXIT
