#!/usr/bin/env bash
# How fast the unmodified Tessarine.exe switches the Wi-Fi radio on the
# simulated laptop: ROUNDS (default 10) rounds of plugging the cable (the
# wire ready: link up with its address) and pulling it, each timed from the
# service's log (scripts/reaction.awk): the simulation's detection (from the
# wire ready or pulled to the network event reaching the service) and the
# service's own time (from the event to the Wi-Fi radio set), the latter split
# into the platform calls it makes on the way and the rest, its own work.
# Prints each round, then the median and maximum of each figure.
#   bash scripts/bench-laptop.sh [ROUNDS]
# Builds what it needs; its laptop has a home of its own
# (TESSARINE_LAPTOP_HOME, default build/laptop-bench), taken down at the end
# whatever happens. Needs root.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
rounds=${1-10}
[[ $rounds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [ROUNDS]" >&2; exit 2; }
build=$(realpath -m "${TESSARINE_BUILD_DIR:-$root/build}")
export TESSARINE_BUILD_DIR=$build
export TESSARINE_LAPTOP_HOME=${TESSARINE_LAPTOP_HOME:-$build/laptop-bench}
bound=30 # seconds the service gets to react to one step

laptop() { bash "$root/scripts/laptop.sh" "$@"; }

bash "$root/scripts/setup.sh"
trap 'laptop down >/dev/null 2>&1 || true' EXIT
laptop down >/dev/null # a run killed outright may have left its laptop up
laptop up | sed 's/^/  /'

event_start='|NLMEventHandler::NetworkConnectionConnectivityChanged|------------------start'
event_end='|NLMEventHandler::NetworkConnectionConnectivityChanged|-------------------end'

# settled: every network event delivered so far has been handled to its end
# (the next step then starts from a quiet service; bounded).
settled() {
  local deadline=$((SECONDS + bound)) log
  while :; do
    log=$(laptop log 100000)
    [ "$(grep -cF -- "$event_start" <<<"$log")" = "$(grep -cF -- "$event_end" <<<"$log")" ] && return 0
    ((SECONDS < deadline)) || { echo "bench: an event was not handled within $bound s" >&2; exit 1; }
    sleep 0.1
  done
}

# measure VERB WIFI RADIOS...: the verb, the radios reached, then the figures
# (detection service platform own, in ms) for its moment.
measure() {
  local verb=$1 wifi=$2 out ready figures
  shift 2
  out=$(laptop "$verb")
  ready=${out##* at }
  laptop wait "$@" "$bound" >/dev/null || { echo "bench: $verb: not reached: $*" >&2; exit 1; }
  settled
  figures=$(laptop log 5000 | awk -v ready="$ready" -v wifi="$wifi" -f "$root/scripts/reaction.awk") ||
    { echo "bench: laptop.sh log failed" >&2; exit 1; }
  [ "$figures" != none ] || { echo "bench: $verb at $ready: no Wi-Fi $wifi after an event in the log" >&2; exit 1; }
  # "detection D service S platform P own O" -> "D S P O"
  awk '{ print $2, $4, $6, $8 }' <<<"$figures"
}

plugs=()
pulls=()
echo
printf '%5s  %-10s %10s %10s %10s %10s %10s\n' round step detection service platform own "total"
for ((round = 1; round <= rounds; round++)); do
  for what in plug pull; do
    if [ "$what" = plug ]; then
      figures=$(measure plug off wifi off wwan off)
      plugs+=("$figures")
    else
      figures=$(measure pull on wifi on wwan on)
      pulls+=("$figures")
    fi
    read -r d s p o <<<"$figures"
    printf '%5d  %-10s %8d ms %8d ms %8d ms %8d ms %8d ms\n' "$round" "$what" "$d" "$s" "$p" "$o" "$((d + s))"
  done
done

# summary NAME FIGURES...: median and maximum of each column.
summary() {
  local name=$1 column values median max
  shift
  printf '%-28s' "$name"
  for column in 1 2 3 4 5; do
    values=$(printf '%s\n' "$@" | awk -v c="$column" '{ print c == 5 ? $1 + $2 : $c }' | sort -n)
    median=$(awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }' <<<"$values")
    max=$(tail -n 1 <<<"$values")
    printf ' %6s/%-5s' "$median" "$max"
  done
  echo
}

echo
echo "median/maximum in ms over $rounds rounds (detection, service = platform + own, total = detection + service)"
printf '%-28s %-12s %-12s %-12s %-12s %-12s\n' "" detection service platform own total
summary "plug -> Wi-Fi off" "${plugs[@]}"
summary "pull -> Wi-Fi on" "${pulls[@]}"
own_max=$(printf '%s\n' "${plugs[@]}" "${pulls[@]}" | awk '$4 > m { m = $4 } END { print m + 0 }')
if ((own_max <= 20)); then
  echo "the service's own share: at most $own_max ms in every round (target: 20 ms beyond its required pauses; none on these paths)"
else
  echo "the service's own share: up to $own_max ms: MISSED the target of 20 ms"
fi
echo
laptop down | sed 's/^/  /'
trap - EXIT
