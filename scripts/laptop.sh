#!/usr/bin/env bash
# A simulated laptop around the unmodified Tessarine.exe: the service runs
# under Wine's Service Control Manager in a Wine session started inside a
# network namespace of its own, and this controller plugs and pulls the
# wires (veth pairs) and flips the switches a person would.
#
#   laptop.sh up [--no-build] [--no-sim] build, create the laptop, install and start the service
#                                        with the simulated devices when built (--no-sim: without)
#   laptop.sh plug [--dhcp SECONDS] [--name IFNAME]
#                                        plug a wire (default eth0): link up, then the address
#   laptop.sh pull [--name IFNAME]       pull it: addresses flushed, then link down
#                                        (plug and pull return once the service has handled
#                                        what the simulated network list announced)
#   laptop.sh wifi on|off                the user's Wi-Fi switch
#   laptop.sh wwan on|off                the user's mobile-broadband switch
#   laptop.sh airplane on|off            airplane mode (on also switches both radios off)
#   laptop.sh firmware wlan|wwan allow|forbid
#                                        a firmware setting, then the service restarted
#                                        (up, firmware and restart return once the service's
#                                        worker has made its start decisions, by the log)
#   laptop.sh modem present|absent       the modem there or not (the service sees it at its start)
#   laptop.sh restart                    stop and start the service (a reboot of the service)
#   laptop.sh state                      one screen: radios, power status, airplane, wires, service
#   laptop.sh wait WHAT VALUE... [SECONDS]
#                                        poll (bounded, default 30 s) until every WHAT has its
#                                        VALUE: wifi|wwan on|off, wlanpower|wwanpower True|False;
#                                        prints how long it took; exit 1 at the bound
#   laptop.sh idle [SECONDS]             wait (bounded, default 30 s) until the service handles
#                                        no network event; every verb that changes the laptop
#                                        first waits so, as a person's next step would
#   laptop.sh wakeups [SECONDS]          count the service process's context switches over
#                                        SECONDS (default 10): its wake-ups per second
#   laptop.sh log [N]                    the last N (20) lines of the service's log
#   laptop.sh diag ARGS...               TessarineDiag.exe ARGS in the laptop's session (status, explain);
#                                        its output and exit code
#   laptop.sh down                       stop and remove the service, remove the laptop
#
# Where: TESSARINE_BUILD_DIR (default build, the default preset's tree) holds
# the built program; TESSARINE_LAPTOP_HOME (default build/laptop) holds the laptop's Wine
# prefix (kept between runs: it is the laptop's disk) and, while it is up,
# the run state (state/). The namespaces are named after that folder, so two
# homes make two independent laptops.
#
# The simulated devices (sim/, when built) read and write their state under
# HKLM\SOFTWARE\Tessarine Simulation in the prefix; the controller writes the
# user's and the firmware's side of it there. They are the simulated Wi-Fi
# (wlanapi.dll beside the program: Wine loads it instead of its own) and the
# simulated COM server with its control program. Needs root (ip netns).
#
# The verbs live in scripts/laptop/, a file for each kind: lifecycle.sh (up,
# restart, down), wire.sh (plug, pull), switches.sh (wifi, wwan, airplane,
# firmware, modem), state.sh (state), observe.sh (wait, idle, wakeups, log,
# diag).
# What they share: lib.sh (the laptop's names and looks, shared with the
# tests), registry.sh, service.sh, classes.sh (the COM classes) and
# control.sh (the simulation's control program).
# shellcheck source-path=SCRIPTDIR/laptop
set -euo pipefail

me=laptop.sh
parts=$(cd "$(dirname "$0")/laptop" && pwd)
source "$parts/lib.sh"
source "$parts/registry.sh"
source "$parts/service.sh"
source "$parts/classes.sh"
source "$parts/control.sh"
source "$parts/lifecycle.sh"
source "$parts/wire.sh"
source "$parts/switches.sh"
source "$parts/state.sh"
source "$parts/observe.sh"

die() {
  echo "$me: $*" >&2
  exit 1
}

usage() {
  sed -n '/^#   laptop.sh/,/^#$/p' "$0" | sed '$d; s/^# \{0,1\}//'
}

need_tools() {
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || die "$tool is not installed (run scripts/setup.sh)"
  done
}

# One verb at a time per home. Descriptor 9 is closed in every program that
# may outlive the verb (the Wine session), so that it never holds the lock.
take_lock() {
  mkdir -p "$home"
  exec 9>"$home/.lock"
  flock -w 120 9 || die "another $me command still runs for $home"
}

require_up() {
  [ -d "$state" ] || die "the laptop is not up (run: $me up)"
  [ -f "$state/ready" ] || die "the last up did not finish (run: $me down)"
}

verb=${1-}
[ $# -gt 0 ] && shift
case $verb in
  "" | -h | --help | help)
    usage
    [ -n "$verb" ] || exit 2
    exit 0
    ;;
  up | plug | pull | wifi | wwan | airplane | firmware | modem | restart | state | wait | idle | wakeups | log | diag | down) ;;
  *) die "unknown verb '$verb' (up, plug, pull, wifi, wwan, airplane, firmware, modem, restart, state, wait, idle, wakeups, log, diag, down)" ;;
esac
[ "$(id -u)" -eq 0 ] || die "needs root (ip netns); run as root"
need_tools ip flock wine wineserver timeout setsid
# wait, wakeups and diag only read, and must look while another verb runs
# (a plug in its DHCP delay): they take no lock. idle talks to the control
# program, one verb at a time.
[ "$verb" = wait ] || [ "$verb" = wakeups ] || [ "$verb" = diag ] || take_lock
case $verb in
  up) verb_up "$@" ;;
  plug) verb_plug "$@" ;;
  pull) verb_pull "$@" ;;
  wifi | wwan) verb_radio "$verb" "$@" ;;
  airplane) verb_airplane "$verb" "$@" ;;
  firmware) verb_firmware "$verb" "$@" ;;
  modem) verb_modem "$@" ;;
  restart) verb_restart "$@" ;;
  state) verb_state "$@" ;;
  wait) verb_wait "$@" ;;
  idle) verb_idle "$@" ;;
  wakeups) verb_wakeups "$@" ;;
  log) verb_log "$@" ;;
  diag) verb_diag "$@" ;;
  down) verb_down "$@" ;;
esac
