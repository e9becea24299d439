#!/usr/bin/env bash
# The unmodified Tessarine.exe on the simulated laptop with the simulated
# devices in place (scripts/laptop.sh; wlanapi.dll and the COM server beside
# the program): the wire and the radios end to end.
#   laptop-sim-test.sh HOME BUILD
# BUILD holds Tessarine.exe and the simulation's DLLs (nothing is built
# here); HOME is a laptop home of this test's own. Steps: plug and pull;
# the user's Wi-Fi choice kept across a plug and a pull and a service
# restart; an address that comes after 3 s of DHCP; an interface named VPN0
# that does not count; two wires; airplane mode. Needs root (ip netns).
set -euo pipefail
# shellcheck source=tests/laptop/sim-lib.sh
source "$(dirname "$0")/sim-lib.sh"

sim_up
registered
expect "at start both radios on" wifi on wwan on

# ---- plug and pull -------------------------------------------------------------
step "plug eth0" plug
expect "plug: Wi-Fi and mobile broadband off" wifi off wwan off
step "pull eth0" pull
expect "pull: Wi-Fi and mobile broadband on" wifi on wwan on

# ---- the user's choice -------------------------------------------------------
step "the user switches Wi-Fi off" wifi off
expect "the choice is persisted: PowerOnOff False" wlanpower False wifi off
step "plug eth0" plug
expect "plug: mobile broadband off, Wi-Fi off" wwan off wifi off
step "pull eth0" pull
expect "pull: mobile broadband on" wwan on
expect "pull: Wi-Fi stays off, PowerOnOff still False" wifi off wlanpower False
step "restart the service" restart
expect "after a restart Wi-Fi stays off, PowerOnOff still False" wifi off wlanpower False wwan on
step "the user switches Wi-Fi on" wifi on
expect "the choice is persisted: PowerOnOff True" wlanpower True wifi on

# ---- DHCP taking 3 s -----------------------------------------------------------
out=$(mktemp)
laptop plug --dhcp 3 >"$out" 2>&1 &
plugging=$!
deadline=$((SECONDS + 10))
until grep -q "DHCP in 3 s" "$out" || ((SECONDS > deadline)); do sleep 0.05; done
# Link up without an address: the radios stay on meanwhile.
if r=$(laptop wait wifi on wwan on 0 2>&1) && kill -0 "$plugging" 2>/dev/null; then
  ok "link up, no address yet (plug still in its DHCP delay): radios on (${r#wait: })"
else
  bad "link up, no address yet: $r (plug running: $(kill -0 "$plugging" 2>/dev/null && echo yes || echo no))"
fi
if wait "$plugging"; then ok "plug --dhcp 3: $(tail -n 1 "$out")"; else bad "plug --dhcp 3: $(cat "$out")"; fi
rm -f "$out"
expect "the address came: both radios off" wifi off wwan off
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on

# ---- an interface named VPN0 -------------------------------------------------
plug_handled "plug VPN0 (handled by the service)" --name VPN0
now "VPN0 does not count: both radios on" wifi on wwan on
pull_handled "pull VPN0 (handled by the service)" --name VPN0
now "after VPN0: both radios on" wifi on wwan on

# ---- two wires -----------------------------------------------------------------
step "plug eth0" plug
expect "one wire: both radios off" wifi off wwan off
plug_handled "plug eth1 too" --name eth1
now "two wires: both radios off" wifi off wwan off
pull_handled "pull eth1 (handled by the service)" --name eth1
now "eth0 still in: both radios stay off" wifi off wwan off
step "pull eth0" pull
expect "no wire left: both radios on" wifi on wwan on

# ---- airplane mode -------------------------------------------------------------
step "airplane on" airplane on
expect "airplane on: Wi-Fi off" wifi off
step "airplane off" airplane off
expect "airplane off: both radios restored" wifi on wwan on

sim_down
