#!/usr/bin/env bash
# The unmodified Tessarine.exe on the simulated laptop with the simulated
# devices in place, at its start and under the firmware's and the
# hardware's limits:
#   laptop-boot-test.sh HOME BUILD
# A start with the cable already in; the firmware forbidding Wi-Fi
# switching (Wi-Fi untouched by plug and pull, mobile broadband still
# switched); a stop that cuts off the handling of a plug, after which plugs
# and pulls are still seen in the log; no modem present (the Wi-Fi side
# still works). HOME is a laptop
# home of this test's own; BUILD holds the built program and the
# simulation's DLLs. Needs root (ip netns).
set -euo pipefail
# shellcheck source=tests/laptop/sim-lib.sh
source "$(dirname "$0")/sim-lib.sh"

sim_up

# ---- a start with the cable in -------------------------------------------------
# The radios stay on under a cable while the firmware forbids switching; each
# allow restarts the service, which then starts with the cable in.
step "firmware wlan forbid (restarts the service)" firmware wlan forbid
step "firmware wwan forbid (restarts the service)" firmware wwan forbid
plug_handled "plug eth0 (switching forbidden both ways)"
now "forbidden both ways: both radios stay on" wifi on wwan on
start_line() { log_count "LAN connection available when service start. Stopping $1 service..."; }
before=$(start_line WLAN)
step "firmware wlan allow: the service starts with the cable in" firmware wlan allow
expect "start with the cable in: Wi-Fi off" wifi off
now "mobile broadband still forbidden: on" wwan on
if (($(start_line WLAN) > before)); then
  ok "the log says: LAN connection available when service start. Stopping WLAN service..."
else
  bad "no 'Stopping WLAN service' start line after the restart"
  log_tail 25
fi
before=$(start_line WWAN)
step "firmware wwan allow: the service starts with the cable in" firmware wwan allow
expect "start with the cable in: mobile broadband off, Wi-Fi off" wwan off wifi off
if (($(start_line WWAN) > before)); then
  ok "the log says: LAN connection available when service start. Stopping WWAN service..."
else
  bad "no 'Stopping WWAN service' start line after the restart"
  log_tail 25
fi
step "pull eth0" pull
expect "pull: both radios on" wifi on wwan on

# ---- the firmware forbids Wi-Fi switching --------------------------------------
step "firmware wlan forbid (restarts the service)" firmware wlan forbid
plug_handled "plug eth0"
expect "forbidden: mobile broadband off" wwan off
now "forbidden: Wi-Fi untouched by the plug" wifi on
pull_handled "pull eth0"
expect "forbidden: mobile broadband on" wwan on
now "forbidden: Wi-Fi untouched by the pull" wifi on
step "firmware wlan allow (restarts the service)" firmware wlan allow

# ---- a stop while the service handles a network event ---------------------------
# An administrator's stop (not the controller's, which waits for an idle
# service) cuts off the handling of a plug whose address is still to come.
# The log then holds a handler that began and never ended: the checks count
# from the service's last start, so the next plug and pull are still seen.
plugging=$(mktemp)
laptop plug --dhcp 3 >"$plugging" 2>&1 &
plugger=$!
deadline=$((SECONDS + react))
until (($(busy_handlers) > 0)) || ((SECONDS > deadline)); do sleep 0.05; done
if (($(busy_handlers) > 0)); then ok "the service handles the plug (waiting for its address)"; else bad "no handler began within $react s"; fi
workers=$(log_count "|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit")
out=$(in_laptop net stop Tessarine 2>&1) && out=$(in_laptop net start Tessarine 2>&1) &&
  ok "stopped and started outside the controller, mid-handler" || bad "net stop/start: $out"
if wait "$plugger"; then ok "plug --dhcp 3: $(tail -n 1 "$plugging")"; else bad "plug --dhcp 3: $(cat "$plugging")"; fi
rm -f "$plugging"
deadline=$((SECONDS + react))
until (($(log_count "|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit") > workers)) ||
  ((SECONDS > deadline)); do sleep 0.1; done
expect "the restarted service starts with the cable in: both radios off" wifi off wwan off
pull_handled "pull eth0 after the cut-off handler"
expect "pull: both radios on" wifi on wwan on
plug_handled "plug eth0 after the cut-off handler"
expect "plug: both radios off" wifi off wwan off
pull_handled "pull eth0"
expect "pull: both radios on" wifi on wwan on

# ---- no modem ----------------------------------------------------------------
step "modem absent" modem absent
step "restart the service without a modem" restart
if (($(log_count "WWAN Device enumeration failed") > 0)); then
  ok "the log says: WWAN Device enumeration failed / No supporting WWAN device found"
else
  bad "no 'WWAN Device enumeration failed' line"
  log_tail 25
fi
step "plug eth0" plug
expect "no modem: Wi-Fi off on plug" wifi off
step "pull eth0" pull
expect "no modem: Wi-Fi on on pull" wifi on

sim_down
