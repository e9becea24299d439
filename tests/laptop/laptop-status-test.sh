#!/usr/bin/env bash
# TessarineDiag status on the simulated laptop, beside the unmodified
# Tessarine.exe with the simulated devices in place:
#   laptop-status-test.sh HOME BUILD
# After each step of a person's day (the start, a plug, a pull, the user's
# Wi-Fi switch, airplane mode, the firmware forbidding Wi-Fi switching, a
# wire named TAP-Win1, no modem, the service stopped), `status --json` in
# the laptop's session (laptop.sh diag) must give the radios' states and
# the causes the service's own rules give, and the sentences must say the
# key facts. The radios are first seen where the step leaves them
# (laptop.sh wait), so status reads a settled laptop. Each report's own
# time is printed (not asserted). HOME is a laptop home of this test's
# own; BUILD holds the built programs and the simulation's DLLs. Needs root
# (ip netns).
set -euo pipefail
# shellcheck source=tests/laptop/sim-lib.sh
source "$(dirname "$0")/sim-lib.sh"

json_get=$root/scripts/laptop/status-json.awk
# The last report, in the test's own home (removed before down).
report=$home/status-report.json

# status LABEL [EXIT]: `status --json` in the laptop, kept in $report; its
# exit code must be EXIT (0: the service runs).
status() {
  local label=$1 want=${2-0} rc=0
  laptop diag status --json >"$report" 2>&1 || rc=$?
  if ((rc != want)); then
    bad "$label: status exit $rc, not $want: $(head -c 400 "$report")"
  elif [ "$(get schema)" != tessarine-diag ] || [ "$(get version)" != 1 ] || [ "$(get verb)" != status ]; then
    bad "$label: not a status report of schema tessarine-diag version 1: $(head -c 400 "$report")"
  else
    ok "$label: status --json (exit $rc) in $(get elapsedMilliseconds) ms"
  fi
}

# get PATH: the report's value(s) at PATH (scripts/laptop/status-json.awk).
get() { awk -v want="$1" -f "$json_get" "$report"; }

# is LABEL PATH VALUE...: each PATH has its VALUE.
is() {
  local label=$1 path value got
  shift
  while [ $# -ge 2 ]; do
    path=$1 value=$2
    shift 2
    got=$(get "$path")
    if [ "$got" = "$value" ]; then
      ok "$label: $path = $value"
    else
      bad "$label: $path is '$got', not '$value'"
    fi
  done
}

# says LABEL RADIO TEXT...: the radio's sentences hold every TEXT.
says() {
  local label=$1 radio=$2 text sentences
  shift 2
  sentences=$(get "explanations.$radio.sentences" | tr '\n' ' ')
  for text in "$@"; do
    if grep -qF -- "$text" <<<"$sentences"; then
      ok "$label: $radio says \"$text\""
    else
      bad "$label: $radio does not say \"$text\": $sentences"
    fi
  done
}

# adapter DESCRIPTION PATH: PATH of the adapter so described.
adapter() {
  local i description
  for ((i = 0; i < 16; i++)); do
    description=$(get "ethernet.adapters.[$i].description")
    [ -n "$description" ] || return 0
    if [ "$description" = "$1" ]; then
      get "ethernet.adapters.[$i].$2"
      return 0
    fi
  done
}

sim_up

# ---- the start: no wire, both radios on ------------------------------------
expect "at start both radios on" wifi on wwan on
status "start"
is "start" service.registered true service.running true service.state running service.startType automatic \
  firmware.wifiSwitching.allowed true firmware.mobileBroadbandSwitching.allowed true \
  firmware.settings."LAN / WLAN Auto Switching" Enable airplaneMode false ethernet.up false \
  radios.wifi.state on radios.mobileBroadband.state on \
  explanations.wifi.cause no-wire explanations.wifi.next.when wire-comes explanations.wifi.next.action switch-off \
  explanations.mobileBroadband.cause no-wire
says "start" wifi "Wi-Fi is on because no wired adapter counts as Ethernet"
out=$(laptop diag status 2>&1) && rc=0 || rc=$?
if ((rc == 0)) && grep -qF "Wi-Fi is on because no wired adapter counts as Ethernet" <<<"$out" &&
  grep -qF "Service           Tessarine: running, automatic start" <<<"$out"; then
  ok "start: status as text (exit 0) says the same"
else
  bad "start: status as text, exit $rc: $out"
fi

# ---- a plug and a pull -----------------------------------------------------
step "plug eth0" plug
expect "plug: both radios off" wifi off wwan off
status "plug"
is "plug" ethernet.up true ethernet.decidingAdapter eth0 radios.wifi.state off radios.mobileBroadband.state off \
  explanations.wifi.cause wired-link explanations.wifi.next.when wire-goes explanations.wifi.next.action switch-on \
  explanations.mobileBroadband.cause wired-link storedChoices.wifi.value True
[ "$(adapter eth0 verdict)/$(adapter eth0 decides)" = ethernet/true ] && ok "plug: eth0 counts and decides" ||
  bad "plug: eth0 is '$(adapter eth0 verdict)', decides '$(adapter eth0 decides)'"
says "plug" wifi "Wi-Fi is off because the wired adapter eth0 has an address" \
  "the firmware allows LAN/WLAN switching" "It comes back on when the wire goes, since the stored choice is True."
says "plug" mobileBroadband "Mobile broadband is off because the wired adapter eth0 has an address" \
  "the firmware allows LAN/WWAN switching"

step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on
status "pull"
is "pull" ethernet.up false radios.wifi.state on explanations.wifi.cause no-wire \
  explanations.mobileBroadband.cause no-wire
[ "$(adapter eth0 verdict)/$(adapter eth0 link)" = no-address/down ] && ok "pull: eth0 has no address, link down" ||
  bad "pull: eth0's verdict is '$(adapter eth0 verdict)', its link '$(adapter eth0 link)'"
says "pull" wifi "eth0 has no address and its link is down" "It goes off when a wired adapter gets an address"

# ---- the user's Wi-Fi switch ------------------------------------------------
step "the user switches Wi-Fi off" wifi off
expect "the choice is persisted" wlanpower False wifi off
status "user off"
is "user off" radios.wifi.state off storedChoices.wifi.value False storedChoices.wifi.on false \
  explanations.wifi.cause user-choice explanations.wifi.next.action none radios.mobileBroadband.state on
says "user off" wifi "Wi-Fi is off because the user switched it off: the stored choice is False." \
  "It stays off when a wire comes or goes"
step "plug eth0" plug
expect "plug: mobile broadband off, Wi-Fi stays off" wwan off wifi off
status "user off, plugged"
is "user off, plugged" explanations.wifi.cause wired-link explanations.wifi.next.action none
says "user off, plugged" wifi "It stays off when the wire goes, since the stored choice is False."
step "pull eth0" pull
expect "pull: mobile broadband on, Wi-Fi stays off" wwan on wifi off
step "the user switches Wi-Fi on" wifi on
expect "the choice is persisted" wlanpower True wifi on

# ---- airplane mode ------------------------------------------------------------
step "airplane on" airplane on
expect "airplane on: both radios off" wifi off wwan off
status "airplane"
is "airplane" airplaneMode true radios.wifi.state off explanations.wifi.cause airplane-mode \
  explanations.mobileBroadband.cause airplane-mode
says "airplane" wifi "Wi-Fi is off because airplane mode is on." \
  "When airplane mode goes off, the service switches it back on, since the stored choice is True."
step "airplane off" airplane off
expect "airplane off: both radios restored" wifi on wwan on
status "airplane off"
is "airplane off" airplaneMode false explanations.wifi.cause no-wire

# ---- the firmware forbids Wi-Fi switching ---------------------------------------
step "firmware wlan forbid (restarts the service)" firmware wlan forbid
plug_handled "plug eth0"
expect "forbidden: mobile broadband off" wwan off
now "forbidden: Wi-Fi stays on" wifi on
status "forbidden"
is "forbidden" firmware.settings."LAN / WLAN Auto Switching" "*Disable" firmware.wifiSwitching.allowed false \
  firmware.wifiSwitching.verdict starred firmware.mobileBroadbandSwitching.allowed true \
  radios.wifi.state on explanations.wifi.cause firmware-forbids explanations.wifi.next.action none \
  explanations.mobileBroadband.cause wired-link
says "forbidden" wifi "Wi-Fi is on beside the wired adapter eth0 because the firmware forbids LAN/WLAN switching" \
  '"LAN / WLAN Auto Switching" is "*Disable"'
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on
step "firmware wlan allow (restarts the service)" firmware wlan allow

# ---- a wire described as TAP-Win -------------------------------------------------
plug_handled "plug TAP-Win1 (handled by the service)" --name TAP-Win1
now "TAP-Win1 does not count: both radios on" wifi on wwan on
status "TAP-Win1"
is "TAP-Win1" ethernet.up false radios.wifi.state on explanations.wifi.cause no-wire \
  explanations.mobileBroadband.cause no-wire
[ "$(adapter TAP-Win1 verdict)" = vpn-description ] && ok "TAP-Win1: verdict vpn-description" ||
  bad "TAP-Win1: verdict '$(adapter TAP-Win1 verdict)'"
[ "$(adapter TAP-Win1 counts)" = false ] && ok "TAP-Win1: does not count" || bad "TAP-Win1 counts"
says "TAP-Win1" wifi "no wired adapter counts as Ethernet (" "TAP-Win1 is described as a VPN or virtual adapter"
pull_handled "pull TAP-Win1 (handled by the service)" --name TAP-Win1

# ---- no modem -------------------------------------------------------------------
step "modem absent" modem absent
step "restart the service without a modem" restart
status "no modem"
is "no modem" radios.mobileBroadband.state absent explanations.mobileBroadband.cause no-device \
  explanations.mobileBroadband.next.action none radios.wifi.state on explanations.wifi.cause no-wire
says "no modem" mobileBroadband "No mobile-broadband device was found" "leaves mobile broadband alone"
step "plug eth0" plug
expect "no modem: Wi-Fi off on plug" wifi off
status "no modem, plugged"
is "no modem, plugged" explanations.wifi.cause wired-link radios.mobileBroadband.state absent
step "pull eth0" pull
expect "no modem: Wi-Fi on on pull" wifi on

# ---- the service stopped ------------------------------------------------------------
out=$(in_laptop net stop Tessarine 2>&1) && ok "the service stopped outside the controller" ||
  bad "net stop: $out"
status "stopped" 1
is "stopped" service.registered true service.running false service.state stopped explanations.wifi.next.action none
says "stopped" wifi "The service is stopped, so nothing switches the Wi-Fi radio until it runs."

rm -f "$report"
sim_down
