#!/usr/bin/env bash
# The simulated laptop given bad input behind the controller's back:
#   laptop-bad-input-test.sh HOME BUILD
# The simulation's state edited by hand to nonsense (a radio neither on nor
# off, a modem presence that is no 0 or 1) and deleted outright; a wire
# deleted outside the controller. The controller says what is wrong; the
# simulated devices keep their radios and write their state again; the
# unmodified Tessarine.exe goes on switching by what the platform then
# reports. Also the timing of a plug and a pull from the service's log
# (scripts/reaction.awk, which the demo and the benchmark print). HOME is a
# laptop home of this test's own; BUILD holds the built program and the
# simulation's DLLs. Needs root (ip netns).
set -euo pipefail
# shellcheck source=tests/laptop/sim-lib.sh
source "$(dirname "$0")/sim-lib.sh"

# by_hand LABEL REG-ARGS...: a person's reg command in the laptop's session.
by_hand() {
  local label=$1 out rc=0
  shift
  out=$(in_laptop reg "$@" 2>&1) || rc=$?
  if ((rc == 0)); then ok "$label"; else bad "$label: reg $*: exit $rc: $out"; fi
}

# state_says LABEL TEXT: laptop.sh state succeeds and shows TEXT.
state_says() {
  local out rc=0
  out=$(laptop state 2>&1) || rc=$?
  if ((rc == 0)) && grep -qF -- "$2" <<<"$out"; then
    ok "$1"
  else
    bad "$1: state (exit $rc) does not say '$2':"
    sed 's/^/    /' <<<"$out"
  fi
}

# timed LABEL WIFI VERB...: the verb says when the wire was ready or pulled;
# the log times the Wi-Fi set (WIFI on or off) from that moment.
timed() {
  local label=$1 wifi=$2 out figures
  shift 2
  out=$(laptop "$@" 2>&1) || { bad "$label: laptop.sh $*: $out"; return; }
  [[ $out == *" at "20[0-9][0-9]/[0-9][0-9]/[0-9][0-9]" "[0-9][0-9]:[0-9][0-9]:[0-9][0-9].[0-9][0-9][0-9] ]] ||
    { bad "$label: no moment in '$out'"; return; }
  figures=$(reaction "${out##* at }" "$wifi") || figures="(laptop.sh log failed)"
  figures=${figures#"$wifi "}
  if [[ $figures =~ ^detection\ [0-9]+\ service\ [0-9]+\ platform\ [0-9]+\ own\ -?[0-9]+$ ]]; then
    ok "$label: the log times it: $figures (ms)"
  else
    bad "$label: the log does not time the Wi-Fi set: '$figures'"
    log_tail 25
  fi
}

sim_up

# ---- the timing of a plug and a pull -------------------------------------------
timed "plug eth0" off plug
expect "plug: both radios off" wifi off wwan off
timed "pull eth0" on pull
expect "pull: both radios on" wifi on wwan on

# ---- a radio neither on nor off --------------------------------------------------
by_hand "WifiRadio set to 'maybe' by hand" add "$sim_key" /v WifiRadio /t REG_SZ /d maybe /f
state_says "state says what is wrong with it" "maybe  <- not on or off: the simulated radio keeps its state"
# The simulated Wi-Fi kept its radio on: the service finds it on and
# switches it off, and the simulation writes the state again.
step "plug eth0" plug
expect "plug: Wi-Fi switched off from its kept state, written again" wifi off wwan off
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on

by_hand "ModemPresent set to 'yes' by hand" add "$sim_key" /v ModemPresent /t REG_SZ /d yes /f
state_says "state says what is wrong with it" "yes  <- not 0 or 1: read as present"

# ---- the simulation's key deleted ------------------------------------------------
by_hand "the simulation's key deleted by hand" delete "$sim_key" /f
state_says "state says the key is missing" "the simulation's key HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessarine Simulation is missing"
state_says "state shows a radio as missing" "<none>  <- missing: the simulated radio keeps its state"
step "plug eth0" plug
expect "plug: both radios switched off, their state written again" wifi off wwan off
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on
step "the user switches Wi-Fi off (writes the key again)" wifi off
expect "the user's switch reaches the service: PowerOnOff False" wlanpower False wifi off
step "the user switches Wi-Fi on" wifi on
expect "PowerOnOff True" wlanpower True wifi on

# ---- a wire deleted outside the controller --------------------------------------
step "plug eth0" plug
expect "plug: both radios off" wifi off wwan off
if ip -n "$ns" link del eth0; then ok "eth0 deleted outside the controller"; else bad "could not delete eth0"; fi
# No controller's word for this: the simulated network list's settled poll
# finds it (a read every 10 s, counted when a second read 1 s later agrees).
expect_within 30 "the adapter is gone: both radios on" wifi on wwan on
state_says "state says the wire is gone" "gone (deleted outside the controller)"
rc=0
out=$(laptop pull 2>&1) || rc=$?
if ((rc != 0)) && [ "$out" = "laptop.sh: pull: eth0 is gone (deleted outside the controller)" ]; then
  ok "pull of the deleted wire: one line, exit $rc: $out"
else
  bad "pull of the deleted wire: exit $rc: '$out'"
fi
step "plug eth0 (a new wire)" plug
expect "plug: both radios off" wifi off wwan off
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on

sim_down
