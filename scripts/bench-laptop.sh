#!/usr/bin/env bash
# How fast the unmodified Tessarine.exe switches the Wi-Fi radio on the
# simulated laptop, and how quiet it is when nothing happens:
#   bash scripts/bench-laptop.sh [ROUNDS]
# ROUNDS (default 50) rounds of plugging the cable (the wire ready: link up
# with its address) and pulling it, each timed from the service's log
# (scripts/reaction.awk): the detection (from the wire ready or pulled to
# the network event reaching the service: the controller's word, the
# simulated network list's read of the adapters, the delivery) and the
# service's own time (from the event to the Wi-Fi radio set), the latter
# split into the platform calls it makes on the way and the rest, its own
# work. Then the wake-ups of the service's process on the idle laptop (the
# context switches of all its threads over 10 s, `laptop.sh wakeups`), and
# the same for the service under Wine alone (the laptop without the
# simulated devices). Prints each round, then median and maximum of each
# figure beside its target; the targets are not asserted.
#
# Builds what it needs; its laptop has a home of its own
# (TESSARINE_LAPTOP_HOME, default build/laptop-bench), taken down at the end
# whatever happens. Needs root.
set -euo pipefail

rounds=${1-50}
[[ $rounds =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [ROUNDS]" >&2; exit 2; }
# shellcheck source=scripts/laptop/client.sh
source "$(dirname "$0")/laptop/client.sh"
own_laptop laptop-bench
bound=30     # seconds the service gets to react to one step
idle_count=10 # seconds over which the idle wake-ups are counted

bash "$(dirname "$0")/setup.sh"
down_now_and_at_exit
laptop up | sed 's/^/  /'

# measure VERB WIFI RADIOS...: the verb (it returns once the service has
# handled the event), the radios reached, then the figures (detection
# service platform own, in ms) for its moment.
measure() {
  local verb=$1 wifi=$2 out ready figures
  shift 2
  out=$(laptop "$verb") || { echo "bench: laptop.sh $verb failed: $out" >&2; exit 1; }
  ready=${out##* at }
  laptop wait "$@" "$bound" >/dev/null || { echo "bench: $verb: not reached: $*" >&2; exit 1; }
  figures=$(reaction "$ready" "$wifi") || { echo "bench: laptop.sh log failed" >&2; exit 1; }
  [ "$figures" != none ] || { echo "bench: $verb at $ready: no Wi-Fi $wifi after an event in the log" >&2; exit 1; }
  # "WIFI detection D service S platform P own O" -> "D S P O"
  awk '{ print $3, $5, $7, $9 }' <<<"$figures"
}

plugs=()
pulls=()
echo
printf '%5s  %-6s %11s %11s %11s %11s %11s\n' round step detection service platform own total
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
    printf '%5d  %-6s %8d ms %8d ms %8d ms %8d ms %8d ms\n' "$round" "$what" "$d" "$s" "$p" "$o" "$((d + s))"
  done
done

# The idle laptop: nothing handled any more, then the count.
laptop idle >/dev/null
wakeups_sim=$(laptop wakeups "$idle_count")

# stat COLUMN FIGURES...: "MEDIAN MAX" of a column (1 detection, 2 service,
# 3 platform, 4 own, 5 total = detection + service, 6 the platform's floor =
# detection + platform: all of the total that is not the service's own).
stat() {
  local column=$1
  shift
  printf '%s\n' "$@" | awk -v c="$column" '{ print c == 5 ? $1 + $2 : c == 6 ? $1 + $3 : $c }' | sort -n |
    awk '{ v[NR] = $1 } END { m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; print m, v[NR] }'
}

# row NAME FIGURES...: median/maximum of each column.
row() {
  local name=$1 column median max
  shift
  printf '%-20s' "$name"
  for column in 1 2 3 4 5; do
    read -r median max <<<"$(stat "$column" "$@")"
    printf ' %6s/%-6s' "$median" "$max"
  done
  echo
}

# verdict TEXT VALUE LIMIT: "TEXT VALUE (target <= LIMIT: met|MISSED)".
verdict() {
  awk -v t="$1" -v v="$2" -v l="$3" -v u="$4" \
    'BEGIN { printf "%s %s%s (target <= %s%s: %s)", t, v, u, l, u, (v + 0 <= l + 0) ? "met" : "MISSED" }'
}

echo
echo "median/maximum in ms over $rounds rounds (service = platform + own; total = detection + service)"
printf '%-20s %-13s %-13s %-13s %-13s %-13s\n' "" detection service platform own total
row "plug -> Wi-Fi off" "${plugs[@]}"
row "pull -> Wi-Fi on" "${pulls[@]}"
echo
for direction in plug pull; do
  if [ "$direction" = plug ]; then set -- "${plugs[@]}"; name="plug -> Wi-Fi off"; else set -- "${pulls[@]}"; name="pull -> Wi-Fi on"; fi
  read -r total_median total_max <<<"$(stat 5 "$@")"
  read -r own_median _ <<<"$(stat 4 "$@")"
  read -r platform_median _ <<<"$(stat 3 "$@")"
  read -r floor_median floor_max <<<"$(stat 6 "$@")"
  echo "$name:"
  echo "  $(verdict "total median" "$total_median" 20 " ms"), $(verdict "maximum" "$total_max" 100 " ms")"
  echo "  $(verdict "the service's own share, median" "$own_median" 1 " ms") (the log's stamps are whole milliseconds)"
  # The platform's floor in this same run: the detection (the simulation's
  # word, its read of the adapters, the delivery) and the calls the service
  # makes into the platform on the way, which no service can do without.
  awk -v t="$total_median" -v p="$platform_median" -v f="$floor_median" -v m="$floor_max" \
    'BEGIN { ratio = (f > 0) ? t / f : 0; printf "  the platform'"'"'s floor (detection + platform calls): median %s ms, maximum %s ms (platform calls alone: median %s ms); total/floor at the median: %.2f\n", f, m, p, ratio }'
done
echo
per_second=$(sed -n 's/^wakeups: \([0-9.]*\) per second.*/\1/p' <<<"$wakeups_sim")
echo "idle, the service on the simulated laptop: $(verdict "wake-ups per second" "$per_second" 5 "")"
echo "  ${wakeups_sim#wakeups: }"

# The service under Wine alone: the same laptop without the simulated
# devices (Wine's own network list never fires, nothing polls).
laptop down >/dev/null
laptop up --no-build --no-sim >/dev/null
sleep 2 # the service's start is over (up returns once its worker has ended it); let its last threads go
wakeups_alone=$(laptop wakeups "$idle_count")
echo "idle, the service under Wine alone: ${wakeups_alone#wakeups: }"
echo
laptop down | sed 's/^/  /'
trap - EXIT
