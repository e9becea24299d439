#!/usr/bin/env bash
# The laptop controller (scripts/laptop.sh) end to end, around the built,
# unmodified Tessarine.exe under Wine's Service Control Manager:
#   laptop-test.sh HOME BUILD
# BUILD is the build tree that holds Tessarine.exe (nothing is built here);
# HOME is a laptop home of this test's own (its Wine prefix is kept there
# between runs; the run state is removed by down), never the one a person's
# `laptop.sh` uses. Misuse first (before up), then up, the wire, the
# switches, a wire deleted behind the controller's back, and down, after
# which nothing of the laptop may be left. An EXIT trap runs down whatever
# happens. Needs root (ip netns): without it the test fails, it is not
# skipped.
set -euo pipefail
# shellcheck source=tests/laptop/sim-lib.sh
source "$(dirname "$0")/sim-lib.sh"

out=""
err=""
rc=0

# run ARGS...: the controller, its stdout in $out, stderr in $err, exit code in $rc.
run() {
  local o e
  o=$(mktemp)
  e=$(mktemp)
  rc=0
  laptop "$@" >"$o" 2>"$e" || rc=$?
  out=$(cat "$o")
  err=$(cat "$e")
  rm -f "$o" "$e"
}

# expect_ok LABEL ARGS...: exit 0, nothing on stderr.
expect_ok() {
  local label=$1
  shift
  run "$@"
  if ((rc == 0)) && [ -z "$err" ]; then
    ok "$label"
  else
    bad "$label: laptop.sh $*: exit $rc"
    printf '%s\n' "$out" "$err" | sed 's/^/    /'
  fi
}

# expect_misuse LABEL PATTERN ARGS...: non-zero, nothing on stdout, one line
# on stderr that matches PATTERN (grep -E).
expect_misuse() {
  local label=$1 pattern=$2
  shift 2
  run "$@"
  if ((rc != 0)) && [ -z "$out" ] && [ "$(grep -c . <<<"$err")" -eq 1 ] && grep -qE "$pattern" <<<"$err"; then
    ok "$label: $err"
  else
    bad "$label: laptop.sh $*: exit $rc, expected a one-line error matching '$pattern'"
    printf '%s\n' "$out" "$err" | sed 's/^/    /'
  fi
}

# state_has LABEL REGEX...: each REGEX matches a line of one state screen.
state_has() {
  local label=$1 pattern missing=()
  shift
  run state
  for pattern in "$@"; do
    grep -qE "$pattern" <<<"$out" || missing+=("$pattern")
  done
  if ((rc == 0 && ${#missing[@]} == 0)); then
    ok "$label"
  else
    bad "$label: exit $rc; no line of 'state' matches: $(printf "'%s' " "${missing[@]}")"
    printf '%s\n' "$out" "$err" | sed 's/^/    /'
  fi
}

# log_has LABEL TEXT SECONDS: the service's log gets a line containing TEXT
# within SECONDS (the service writes it through a queued writer).
log_has() {
  local label=$1 text=$2 deadline=$((SECONDS + $3))
  while :; do
    run log 2000
    if ((rc == 0)) && grep -qF -- "$text" <<<"$out"; then
      ok "$label"
      return
    fi
    if ((SECONDS >= deadline)); then
      bad "$label: no log line contains '$text' after $3 s (log exit $rc)"
      tail -n 15 <<<"$out$err" | sed 's/^/    /'
      return
    fi
    sleep 0.5
  done
}

down_now_and_at_exit

# ---- misuse before up --------------------------------------------------------
expect_misuse "state before up" "not up" state
expect_misuse "plug before up" "not up" plug
expect_misuse "log before up" "not up" log
expect_misuse "idle before up" "not up" idle
expect_misuse "wakeups before up" "not up" wakeups 1
expect_misuse "idle with a bad bound" "idle: SECONDS is a whole number" idle soon
expect_misuse "wakeups over no time" "wakeups: SECONDS is a whole number from 1" wakeups 0
expect_misuse "unknown verb" "unknown verb 'fly'" fly
expect_misuse "wifi maybe" "wifi: say on or off, not 'maybe'" wifi maybe
expect_misuse "firmware without a setting" "firmware: say wlan or wwan" firmware
# A missing tool: the machine's programs without wine.
nowine=$(mktemp -d)
for tool in /usr/local/sbin/* /usr/local/bin/* /usr/sbin/* /usr/bin/* /sbin/* /bin/*; do
  program=${tool##*/}
  [[ $program == wine ]] || [ -e "$nowine/$program" ] || ln -s "$tool" "$nowine/$program"
done
PATH=$nowine expect_misuse "wine missing" "^laptop.sh: wine is not installed \(run scripts/setup.sh\)$" state
rm -rf "$nowine"
if command -v setpriv >/dev/null; then
  rc=0
  err=$(setpriv --reuid=65534 --regid=65534 --clear-groups bash "$controller" state 2>&1 >/dev/null) || rc=$?
  if ((rc != 0)) && [ "$(grep -c . <<<"$err")" -eq 1 ] && grep -q "needs root" <<<"$err"; then
    ok "not root: $err"
  else
    bad "not root: exit $rc: $err"
  fi
fi

# ---- up ----------------------------------------------------------------------
t=$SECONDS
expect_ok "up" up --no-build
echo "laptop-test: up took $((SECONDS - t)) s: $(tail -n 1 <<<"$out")"
((rc == 0)) || {
  echo "laptop-test: FAILED: up failed, nothing more to test" >&2
  exit 1
}
expect_misuse "second up" "already up" up --no-build
state_has "state: the service runs with the simulation's defaults and no wire" \
  "service Tessarine: RUNNING" "^  Wi-Fi radio +on$" "^  mobile radio +on$" "^  modem present +0x1 \(present\)$" \
  "^  firmware LAN/WLAN +Enable$" "^  firmware LAN/WWAN +Enable$" "^  airplane mode +off \(0x0\)$" \
  "^  WLAN PowerOnOff +" "^    \(none\)$"

# ---- the wire ----------------------------------------------------------------
expect_ok "plug with a DHCP delay" plug --dhcp 1
if [ "$(grep -c . <<<"$out")" -ne 2 ] || ! grep -q "0.0.0.0" <<<"$out"; then
  bad "plug --dhcp 1 should say link up without an address, then the address: $out"
fi
state_has "state: eth0 up with its address" "^    eth0 +link up +address 192\.168\.77\.2/24$"
expect_misuse "plug a plugged wire" "already plugged" plug
# The network list Wine's service process sees is made when the process
# starts (Wine's network list manager never fires an event): the firmware
# verb restarts the service, which then lists the wire as Ethernet.
expect_ok "firmware wlan forbid (restarts the service)" firmware wlan forbid
state_has "state: firmware forbids LAN/WLAN, the service runs again" "^  firmware LAN/WLAN +\*Disable$" \
  "service Tessarine: RUNNING"
log_has "log: the restarted service lists eth0" "|NLMUtils::PrintAdapterInfo|Description   : eth0" 20
log_has "log: eth0 counts as Ethernet" "|NLMUtils::PrintNetworkConnections|Ethernet Connection - adding to set..." 5
run log 3
if ((rc == 0)) && [ "$(grep -c . <<<"$out")" -eq 3 ]; then ok "log 3 shows 3 lines"; else bad "log 3: exit $rc, $out"; fi
expect_misuse "log with a bad count" "log: N is a number" log many

expect_ok "pull" pull
state_has "state: eth0 down without an address" "^    eth0 +link down +address none"

# ---- idle and wake-ups ---------------------------------------------------------
expect_ok "idle" idle 5
if [ ! -f "$prefix/drive_c/TessarineLaptop/TessarineSimDevices.dll" ]; then
  [ "$out" = "idle: no simulated network list (no network event can come)" ] && ok "idle without the simulation: $out" ||
    bad "idle without the simulation: $out"
elif [[ $out =~ ^idle:\ ([0-9]+)\ network\ events\ delivered,\ ([0-9]+)\ handled ]] &&
  [ "${BASH_REMATCH[1]}" = "${BASH_REMATCH[2]}" ] && ((BASH_REMATCH[1] > 0)); then
  ok "idle: every event the wire caused was handled: $out"
else
  bad "idle: $out"
fi
expect_ok "wakeups over 2 s" wakeups 2
if [[ $out =~ ^wakeups:\ [0-9]+\.[0-9]\ per\ second\ \([0-9]+\ context\ switches\ of\ the\ service\ process\'s\ [0-9]+\ threads\ in\ 2\.[0-9]\ s ]]; then
  ok "wakeups: $out"
else
  bad "wakeups: $out"
fi

# ---- the switches ------------------------------------------------------------
expect_ok "wifi off" wifi off
state_has "state: Wi-Fi off" "^  Wi-Fi radio +off$"
expect_misuse "wwan without on or off" "wwan: say on or off" wwan
expect_ok "airplane on" airplane on
state_has "state: airplane mode on, the mobile radio off" "^  airplane mode +on \(0x1\)$" "^  mobile radio +off$"
# Nonsense in the simulation's key shows as it is.
wine_do 60 reg add "$sim_key" /v WifiRadio /d 'half on' /f >/dev/null
state_has "state: nonsense shows as it is, with what the simulation makes of it" \
  "^  Wi-Fi radio +half on  <- not on or off: the simulated radio keeps its state$"

# ---- a wire deleted behind the controller's back ----------------------------
expect_ok "plug eth1" plug --name eth1
ip -n "$ns" link del eth1
state_has "state: eth1 is gone" "^    eth1 +gone"
expect_misuse "pull a deleted wire" "eth1 is gone" pull --name eth1

# ---- down --------------------------------------------------------------------
t=$SECONDS
expect_ok "down" down
trap - EXIT
echo "laptop-test: down took $((SECONDS - t)) s"
if ip netns list | grep -qE "^$ns(-peer)?( |$)"; then bad "down left a namespace: $(ip netns list | grep "$ns")"; else ok "no namespace left"; fi
if ip -o link show | grep -qE ": (eth1|peer[0-9]+)[@:]"; then bad "an interface of the laptop is in the machine's namespace"; else ok "no interface in the machine's namespace"; fi
left=$(prefix_pids)
if [ -n "$left" ]; then bad "Wine processes of the prefix left: $left"; else ok "no wineserver or Wine program of the prefix left"; fi
if [ -e "$state" ]; then bad "the state folder $state is left"; else ok "no state folder left"; fi
expect_ok "down again" down
grep -q "nothing was up" <<<"$out" || bad "a second down should say nothing was up: $out"
expect_misuse "pull after down" "not up" pull

finish
