# Shared by the laptop's end-to-end tests (laptop-test.sh, and with the
# simulated devices laptop-sim-test.sh, laptop-boot-test.sh,
# laptop-bad-input-test.sh): sourced by a test called as `TEST.sh HOME
# BUILD` (HOME: a laptop home of the test's own; BUILD: the tree holding
# Tessarine.exe and the simulation's DLLs, nothing is built here), with the
# test's arguments. The laptop's names and looks come from the controller's
# own scripts/laptop/lib.sh, driving it from scripts/laptop/client.sh. The
# radios are read through the simulation's state (laptop.sh wait, one reg
# query per key per poll), the persisted power status through the
# registry, the service's progress through its log file; every wait has a
# bound. The controller's verbs wait until the service is idle (laptop.sh
# idle) before they change the laptop, and plug and pull until the service
# has handled what they caused, so no step lands while the service still
# handles the last one. An EXIT trap runs down whatever happens.
# shellcheck shell=bash

if [ $# -ne 2 ]; then
  echo "usage: $0 HOME BUILD" >&2
  exit 2
fi
export TESSARINE_LAPTOP_HOME TESSARINE_BUILD_DIR
TESSARINE_LAPTOP_HOME=$(realpath -m "$1")
TESSARINE_BUILD_DIR=$(realpath -m "$2")
# shellcheck source=scripts/laptop/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/laptop/lib.sh"
# shellcheck source=scripts/laptop/client.sh
source "$root/scripts/laptop/client.sh"
name=${0##*/}
name=${name%.sh}
failures=0
started=$SECONDS
react=20 # seconds the service gets to react to one step

ok() { echo "$name: ok    $*"; }
bad() {
  echo "$name: FAIL  $*"
  failures=$((failures + 1))
}

# finish: the closing line (a pass is "0 failure(s)"); fails on a failure.
finish() {
  echo "$name: $failures failure(s) in $((SECONDS - started)) s"
  ((failures == 0))
}

# log_lines: the log, with the newest rotated file before it (a line of
# interest may have gone there).
log_lines() {
  local file
  file=$(log_file)
  [ -n "$file" ] || return 0
  [ -f "${file%.log}_0001.log" ] && tr -d '\r' <"${file%.log}_0001.log"
  tr -d '\r' <"$file"
}
# log_count TEXT: the log's lines containing TEXT.
log_count() {
  log_lines | grep -cF -- "$1" || true
}
# busy_handlers: the service's network event handlers that have begun and
# not ended, by the log, counted from the service's last start: a handler
# cut off by a stop has not ended, but is no longer running either.
busy_handlers() {
  log_lines | awk -F'|' '
    $4 == "CMainService::OnStart" && $3 ~ /^TraceIn/ { split("", running) }
    $4 == "NLMEventHandler::NetworkConnectionConnectivityChanged" {
      if ($3 ~ /^TraceIn/) running[$2] = 1
      else if ($3 ~ /^TraceOut/) delete running[$2]
    }
    END { n = 0; for (thread in running) n++; print n }'
}
log_tail() { laptop log "${1-25}" 2>&1 | grep -v '|TraceIn \||TraceOut ' | cut -c12- | sed 's/^/    /'; }

event_connected='|NLMUtils::PrintConnectivityState|IPV4 - Internet Connectivity'
event_disconnected='|NLMUtils::PrintConnectivityState|Network Disconnected'

# handled KIND BEFORE: until the log has more than BEFORE lines of KIND (an
# event of that kind was delivered) and no handler of the running service is
# still at work (the log's queued writer may lag the service a little).
handled() {
  local kind=$1 before=$2 deadline=$((SECONDS + react))
  while :; do
    if (($(log_count "$kind") > before)) && (($(busy_handlers) == 0)); then
      return 0
    fi
    ((SECONDS < deadline)) || return 1
    sleep 0.1
  done
}

# expect LABEL WHAT VALUE...: laptop.sh wait for the values, bounded.
expect() { expect_within "$react" "$@"; }
# now LABEL WHAT VALUE...: the values as they are (one look), for what must
# not have changed once the service has handled an event.
now() { expect_within 0 "$@"; }

expect_within() {
  local bound=$1 label=$2 out rc=0
  shift 2
  out=$(laptop wait "$@" "$bound" 2>&1) || rc=$?
  if ((rc == 0)); then
    ok "$label (${out#wait: })"
  else
    bad "$label: $out"
    log_tail 25
  fi
}

# step LABEL VERB...: a controller verb that must succeed.
step() {
  local label=$1 out rc=0
  shift
  out=$(laptop "$@" 2>&1) || rc=$?
  if ((rc == 0)); then
    ok "$label"
  else
    bad "$label: laptop.sh $*: exit $rc: $out"
  fi
}

# plug_handled LABEL ARGS... and pull_handled LABEL ARGS...: the verb, then
# until the service has handled the connect (or disconnect) event it causes
# (for assertions that something did not change).
plug_handled() { wire_handled plug "$event_connected" connect "$@"; }
pull_handled() { wire_handled pull "$event_disconnected" disconnect "$@"; }

wire_handled() {
  local verb=$1 kind=$2 what=$3 label=$4 before
  shift 4
  before=$(log_count "$kind")
  step "$label" "$verb" "$@"
  handled "$kind" "$before" || bad "$label: no $what event handled in the log within $react s"
}

# in_laptop PROGRAM ARGS...: a Windows program in the laptop's Wine session
# (a person's command beside the controller).
in_laptop() { wine_do 60 "$@"; }

# registered: the simulated COM server holds the three classes.
registered() {
  local class out
  for class in "${sim_classes[@]}"; do
    # An empty answer is Wine's reg failing to run at all (seen once under
    # load, with no text), not an answer about the key: asked again, bounded.
    local tries rc
    for ((tries = 0; tries < 3; tries++)); do
      rc=0
      out=$(in_laptop reg query "$classes_key\\$class\\InprocServer32") || rc=$?
      [ -n "$out" ] && break
    done
    if grep -q 'TessarineSimDevices.dll' <<<"$out" && grep -q 'ThreadingModel.*Both' <<<"$out"; then
      ok "COM class $class served by TessarineSimDevices.dll"
    else
      bad "COM class $class not registered (reg exit $rc): $out"
    fi
  done
}

sim_up() {
  if [ ! -f "$build/sim/comserver/TessarineSimDevices.dll" ] || [ ! -f "$build/sim/wlanapi/wlanapi.dll" ]; then
    echo "$name: FAILED: the simulated devices are not built (targets sim_wlanapi, sim_comserver in $build)" >&2
    exit 1
  fi
  down_now_and_at_exit
  local t=$SECONDS out rc=0
  out=$(laptop up --no-build 2>&1) || rc=$?
  if ((rc != 0)); then
    echo "$name: FAILED: up: $out" >&2
    exit 1
  fi
  ok "up in $((SECONDS - t)) s"
  grep -q "TessarineSimDevices.dll" <<<"$out" || bad "up did not place the simulated COM server: $out"
}

# sim_down: down, then nothing of the laptop is left.
sim_down() {
  local out
  out=$(laptop down 2>&1) || bad "down: $out"
  trap - EXIT
  if ip netns list | grep -qE "^$ns(-peer)?( |$)"; then bad "down left a namespace"; else ok "down left no namespace"; fi
  if [ -e "$home/state" ]; then bad "down left $home/state"; else ok "down left no state folder"; fi
  if [ -e "$home/wine-classes.reg" ]; then bad "down did not put Wine's COM classes back"; else ok "Wine's COM classes put back"; fi
  if grep -qF 'TessarineSimDevices' "$prefix/system.reg"; then
    bad "the prefix still names TessarineSimDevices.dll"
  else
    ok "the prefix no longer names TessarineSimDevices.dll"
  fi
  finish
}
