#!/usr/bin/env bash
# The demo: Tessarine.exe, unmodified, on the simulated laptop (scripts/laptop.sh
# with the simulated devices), through a person's day with a cable:
#   up with both radios on; plug the cable (the radios go off); pull it (they
#   come back); the user switches Wi-Fi off; plug and pull again (Wi-Fi stays
#   off: the user's choice is kept); the user switches Wi-Fi on again;
#   airplane mode on and off; down.
# It prints a timeline (each step, each radio after it, how long the service
# took to react), then the lines of the service's log that explain each
# change, then what TessarineDiag status reads on the laptop at the end and
# the story TessarineDiag explain tells from that log (both run in the
# laptop's Wine session as an administrator would; bounded). Where the service switched the Wi-Fi radio for a plug or a pull, the
# reaction is timed from the service's log to the millisecond
# (scripts/reaction.awk): from the wire ready with its address, or pulled, to
# the network event reaching the service, then to the radio set, split into
# the platform calls on the way and the service's own work. Other steps are
# timed by `laptop.sh wait`, which polls with one reg query per key per poll:
# exact to about one poll (0.3 to 1 s). scripts/bench-laptop.sh gives the
# same figures over many rounds.
#
# Each step starts from a service that handles no network event (the
# controller's verbs wait for that, bounded): a person's Wi-Fi switch that
# came while the service still handled a plug or a pull would be ignored by
# the service, on purpose.
#
# The laptop has a home of its own (TESSARINE_LAPTOP_HOME, default
# build/laptop-demo), never the one a person's laptop.sh uses; down runs
# whatever happens (EXIT trap), so nothing is left behind. Needs root.
# Exit status: 0 when every step reached what it should and explain told its
# story, 1 otherwise.
set -euo pipefail

# shellcheck source=scripts/laptop/client.sh
source "$(dirname "$0")/laptop/client.sh"
own_laptop laptop-demo
bound=30 # seconds the service gets to react to one step

down_now_and_at_exit

timeline=()  # one printed line per step
marks=()     # each step's start, as the log's timestamps write it
labels=()
failures=0

now_stamp() { date '+%Y/%m/%d %H:%M:%S.%3N'; }

# wifi_reaction READY ON|OFF POLLED: how long the Wi-Fi set took from READY
# by the log; where the service set no Wi-Fi (the user had it off), how
# long it took to handle the event; POLLED, the wait's figure, when the log
# has neither.
wifi_reaction() {
  local figures set d s p o
  figures=$(reaction "$1" "$2" none) || figures=none
  # "WIFI detection D service S platform P own O"
  read -r set _ d _ s _ p _ o <<<"$figures"
  case $figures in
    none) echo "$3 by polling (nothing timed in the log)" ;;
    "none "*) echo "handled $((d + s)) ms after the wire, no Wi-Fi set (event +$d ms)" ;;
    *) echo "Wi-Fi $set $((d + s)) ms after the wire (event +$d ms, set +$s ms: platform $p, own $o)" ;;
  esac
}

# step LABEL EXPECTED -- COMMAND...: runs the controller COMMAND, then waits
# (bounded) for EXPECTED (laptop.sh wait's arguments) and notes the result.
step() {
  local label=$1 expected=() out rc=0 seen took
  shift
  while [ "$1" != -- ]; do
    expected+=("$1")
    shift
  done
  shift
  labels+=("$label")
  marks+=("$(now_stamp)")
  local said
  if ! said=$(laptop "$@" 2>&1); then
    rc=1
    out="laptop.sh $*: ${said##*$'\n'}"
  else
    out=$(laptop wait "${expected[@]}" "$bound" 2>&1) || rc=$?
  fi
  if ((rc == 0)); then
    took=$(sed -n 's/.* after \([0-9.]*\) s .*/\1 s/p' <<<"$out")
    # A plug or pull says when the wire was ready: the log times the
    # service's Wi-Fi set from it to the millisecond.
    case $1 in
      plug) took=$(wifi_reaction "${said##* at }" off "$took") ;;
      pull) took=$(wifi_reaction "${said##* at }" on "$took") ;;
    esac
  else
    took="NOT REACHED in $bound s (wanted ${expected[*]}): ${out##*$'\n'}"
    failures=$((failures + 1))
  fi
  # The radios as they are now (the wait's last look may not include both).
  # One look: "wait: wifi X wwan Y after ..." or "...; last seen: wifi X wwan Y".
  seen=$(laptop wait wifi on wwan on 0 2>&1 || true)
  case $seen in
    *"last seen:"*) seen=${seen##*last seen:} ;;
    *) seen=${seen#wait:} ;;
  esac
  local wifi wwan
  read -r _ wifi _ wwan _ <<<"$seen"
  timeline+=("$(printf '%2d  %-38s %-6s %-6s %s' "$((${#labels[@]} - 1))" "$label" "${wifi:-?}" "${wwan:-?}" "$took")")
  printf '%s\n' "${timeline[-1]}"
}

echo "== the simulated laptop comes up (build, Wine session in its own network namespace, service)"
labels+=("up, both radios on (the service's start)")
marks+=("$(now_stamp)")
laptop up | sed 's/^/   /'
echo
echo "== timeline (reaction: from the step's end to the radios as expected)"
printf '%2s  %-38s %-6s %-6s %s\n' "#" "step" "Wi-Fi" "mobile" "service reacted in"
step "plug the cable (eth0, address at once)" wifi off wwan off -- plug
step "pull the cable" wifi on wwan on -- pull
step "the user switches Wi-Fi off" wlanpower False wifi off -- wifi off
step "plug the cable again" wwan off wifi off -- plug
step "pull it again (Wi-Fi stays off)" wwan on wifi off -- pull
step "the user switches Wi-Fi on" wlanpower True wifi on -- wifi on
step "airplane mode on" wifi off wwan off -- airplane on
step "airplane mode off (radios restored)" wifi on wwan on -- airplane off

# The service is idle, and its queued writer writes what it was handed at
# once: the log is complete once it stops growing (bounded).
laptop idle >/dev/null || true
log_size() { laptop log 100000 | wc -c; }
size=$(log_size)
for ((looks = 0; looks < 30; looks++)); do
  sleep 0.1
  now=$(log_size)
  [ "$now" = "$size" ] && break
  size=$now
done
log=$(laptop log 100000)
echo
echo "== the service's log lines that explain each change"
patterns=(
  "Connecting to Ethernet. Stop W"
  "The disconnecting connection was Ethernet. Start W"
  "Ethernet is present, switching OFF WWAN"
  "WLAN Registry Status"
  "Change to softwareRadioState"
  "Current WLAN Status : "
  "SwitchWwanStatus|Current Status : "
  "AirplaneModeWatcher - Registry Change Event Triggered"
  "Airplane Mode ON"
  "Airplane mode is OFF"
  "Previous WLAN Power Status"
  "Setting SetWlanPowerStatusInRegistry"
  "WiFi already ON in Airplanemode"
  "Auto Switching is disabled in BIOS"
  "Ethernet connected and LanWlanSwitching Disabled"
  "Current WLAN status = "
  "Writing Power Status in registry"
)
grep_args=()
for p in "${patterns[@]}"; do grep_args+=(-e "$p"); done
relevant=$(grep -F "${grep_args[@]}" <<<"$log" | grep -v '|TraceIn \||TraceOut' || true)
for i in "${!labels[@]}"; do
  from=${marks[$i]}
  to=${marks[$((i + 1))]:-9999}
  echo "-- $i ${labels[$i]}"
  # Timestamps sort as text: the lines written from this step's start to the next's.
  awk -v from="$from" -v to="$to" '{ stamp = substr($0, 1, 23) } stamp >= from && stamp < to' <<<"$relevant" |
    cut -d'|' -f1,3- | sed 's/^/   /'
done

echo
echo "== TessarineDiag status: the laptop as the administrators' companion reads it now"
if ! laptop diag status | sed 's/^/   /'; then
  echo "   (status says the service is not running, or it could not run)"
fi

echo "== TessarineDiag explain: the story of the service's log"
if ! laptop diag explain 2>&1 | sed 's/^/   /'; then
  echo "   TessarineDiag explain did not run to its end"
  failures=$((failures + 1))
fi

echo
echo "== down"
laptop down | sed 's/^/   /'
trap - EXIT
if ((failures)); then
  echo "demo: $failures step(s) did not reach what they should (or explain did not run)"
  exit 1
fi
echo "demo: every step reached what it should"
