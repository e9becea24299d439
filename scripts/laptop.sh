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
#   laptop.sh down                       stop and remove the service, remove the laptop
#
# Where: TESSARINE_BUILD_DIR (default build, the default preset's tree) holds
# the built program; TESSARINE_LAPTOP_HOME (default build/laptop) holds the laptop's Wine
# prefix (kept between runs: it is the laptop's disk) and, while it is up,
# the run state (state/). The namespaces are named after that folder, so two
# homes make two independent laptops.
#
# The laptop's end of each wire lives in the laptop's namespace; the other
# end lives in a peer namespace, so that it is neither a second Ethernet
# adapter of the laptop nor an interface of the machine itself. The Wine
# session is started inside the laptop's namespace because Wine's IP Helper
# answers from a helper program that the session's first program starts:
# the namespace that helper runs in is the one the service sees.
#
# The simulated devices (sim/, when built) read and write their state under
# HKLM\SOFTWARE\Tessarine Simulation in the prefix; the controller writes the
# user's and the firmware's side of it there. They are the simulated Wi-Fi
# (wlanapi.dll beside the program: Wine loads it instead of its own) and the
# simulated COM server (TessarineSimDevices.dll beside the program, made the
# InprocServer32 of the network list manager, the MBN interface manager and
# the WMI locator in the prefix). up keeps Wine's own values of those classes
# in the home (wine-classes.reg) and down puts them back; an up after a run
# that was killed puts them back first. Needs root (ip netns).
#
# With the COM server, up also starts the simulation's control program
# (TessarineSimControl.exe) in the laptop's session, its input and output on
# two FIFOs of state/: a request costs a fraction of a millisecond where a
# `reg` program costs most of a second. When plug or pull has finished a
# change of the wires, the control program raises WireChange in the
# simulation's key, and the simulated network list reads the adapters once
# and announces the change as one transition; it counts the events it
# delivers and those the service has handled, so the controller can wait
# until the service is idle.
set -euo pipefail

me=laptop.sh
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${TESSARINE_BUILD_DIR:-$root/build}")
service=Tessarine
sim_key='HKEY_LOCAL_MACHINE\SOFTWARE\Tessarine Simulation'
# src/state/RegistryPaths.h: kAirplaneModeKey, kWlanPowerStatusKey, kWwanPowerStatusKey.
airplane_key='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\RadioManagement\SystemRadioState'
wlan_power_key='HKEY_LOCAL_MACHINE\SOFTWARE\QX\QX Brisa UWP\WlanPowerStatus'
wwan_power_key='HKEY_LOCAL_MACHINE\SOFTWARE\QX\QX Brisa UWP\WwanPowerStatus'
# The simulation's copy of the program, in the prefix's drive C.
program_dir_win='C:\TessarineLaptop'
running_bound=60 # seconds to wait for RUNNING or STOPPED
# The classes the simulated COM server serves (CLSID_NetworkListManager,
# CLSID_MbnInterfaceManager, CLSID_WbemLocator).
sim_classes=('{DCB00C01-570F-4A9B-8D69-199FDBA5723B}' '{BDFEE05B-4418-11DD-90ED-001C257CCFF1}'
  '{4590F811-1D3A-11D0-891F-00AA004B2E24}')
classes_key='HKEY_LOCAL_MACHINE\Software\Classes\CLSID'
sim_com_dll=TessarineSimDevices.dll
sim_control_exe=TessarineSimControl.exe
idle_bound=30 # seconds the service gets to handle a network event

die() {
  echo "$me: $*" >&2
  exit 1
}

usage() {
  sed -n '/^#   laptop.sh/,/^#$/p' "$0" | sed '$d; s/^# \{0,1\}//'
}

home=$(realpath -m "${TESSARINE_LAPTOP_HOME:-$build/laptop}")
prefix=$home/prefix
state=$home/state
# Wine's own registration of sim_classes, as a .reg file that restores it;
# outside state/ so that it survives a killed run.
wine_classes=$home/wine-classes.reg
program_dir=$prefix/drive_c/TessarineLaptop
tag=$(printf '%s' "$home" | sha1sum | cut -c1-8)
ns=tessarine-laptop-$tag
peers=tessarine-laptop-$tag-peer

export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=" # no Mono or Gecko install prompts
unset DISPLAY WAYLAND_DISPLAY

# ---- helpers ---------------------------------------------------------------

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

in_ns() { ip netns exec "$ns" "$@" 9>&-; }

# wine_do SECONDS PROGRAM ARGS...: a Windows program in the laptop's session,
# bounded, its output without carriage returns.
wine_do() {
  local limit=$1
  shift
  ip netns exec "$ns" timeout "$limit" wine "$@" </dev/null 2>&1 9>&- | tr -d '\r'
}

# Every process of this prefix, wherever it runs: the Wine binaries (the
# server and the programs) whose environment names the prefix. The
# controller's own shells carry WINEPREFIX too, so the binary counts.
prefix_pids() {
  local exe pid
  while IFS= read -r exe; do
    pid=${exe#/proc/}
    pid=${pid%/exe}
    tr '\0' '\n' 2>/dev/null <"/proc/$pid/environ" | grep -qxF "WINEPREFIX=$prefix" && echo "$pid"
  done < <(find /proc -mindepth 2 -maxdepth 2 -name exe -lname '*/wine*' 2>/dev/null)
  return 0
}

session_alive() { [ -n "$(prefix_pids)" ]; }

# reg_import LINES...: one .reg file, imported by one program (the values are
# written in the order given).
reg_import() {
  local file=$program_dir/controller.reg
  mkdir -p "$program_dir"
  { echo "REGEDIT4"; printf '%s\n' "$@"; } >"$file"
  local out
  out=$(wine_do 30 reg import "$program_dir_win\\controller.reg") ||
    die "reg import failed: $(head -n 1 <<<"$out")"
}

# reg_text TEXT: TEXT as a quoted string of a REGEDIT4 file.
reg_text() {
  local text=${1//\\/\\\\}
  printf '"%s"' "${text//\"/\\\"}"
}

# Keeps Wine's own registration of sim_classes in wine_classes, as the .reg
# lines that put it back (a class or InprocServer32 Wine lacks is deleted, a
# value it lacks removed). One reg query per class, side by side.
save_wine_classes() {
  local dir=$home/classes-query class i=0 out
  rm -rf "$dir"
  mkdir -p "$dir"
  for class in "${sim_classes[@]}"; do
    { wine_do 30 reg query "$classes_key\\$class" /s >"$dir/$i" || echo $? >"$dir/$i.rc"; } &
    i=$((i + 1))
  done
  wait
  local entries=() key section default model
  i=0
  for class in "${sim_classes[@]}"; do
    key="$classes_key\\$class"
    out=$(cat "$dir/$i")
    if [ -f "$dir/$i.rc" ]; then
      grep -q "Unable to find" <<<"$out" || { rm -rf "$dir"; die "up: reg query $key failed: $(head -n 1 <<<"$out")"; }
      entries+=("[-$key]" "")
    else
      # The InprocServer32 section of the subtree listing.
      section=$(awk -v k="$key\\InprocServer32" 'tolower($0) == tolower(k) { on = 1; next } /^HKEY_/ { on = 0 } on' <<<"$out")
      if [ -z "$section" ] && ! grep -qixF "$key\\InprocServer32" <<<"$out"; then
        entries+=("[-$key\\InprocServer32]" "")
      else
        default=$(reg_value "$section" '(Default)')
        model=$(reg_value "$section" ThreadingModel)
        entries+=("[$key\\InprocServer32]")
        if [ "$default" = "<none>" ]; then entries+=("@=-"); else entries+=("@=$(reg_text "$default")"); fi
        if [ "$model" = "<none>" ]; then
          entries+=('"ThreadingModel"=-')
        else
          entries+=("\"ThreadingModel\"=$(reg_text "$model")")
        fi
        entries+=("")
      fi
    fi
    i=$((i + 1))
  done
  rm -rf "$dir"
  printf '%s\n' "${entries[@]}" >"$wine_classes.new"
  mv "$wine_classes.new" "$wine_classes"
}

# Makes the simulated COM server the InprocServer32 of sim_classes.
register_sim_classes() {
  local entries=() class path
  path=$(reg_text "$program_dir_win\\$sim_com_dll")
  for class in "${sim_classes[@]}"; do
    entries+=("[$classes_key\\$class\\InprocServer32]" "@=$path" '"ThreadingModel"="Both"' "")
  done
  reg_import "${entries[@]}"
}

# Puts Wine's own registration of sim_classes back, when up had replaced it.
restore_wine_classes() {
  [ -f "$wine_classes" ] || return 0
  local saved
  mapfile -t saved <"$wine_classes"
  reg_import "" "${saved[@]}"
  rm -f "$wine_classes"
}

# The service's state from sc query: RUNNING, STOPPED, ... or "not installed".
service_state() {
  local out
  out=$(wine_do 30 sc query "$service") || true
  sed -n 's/^ *STATE *: *[0-9]* *\([A-Z_]*\).*/\1/p' <<<"$out" | head -n 1 | grep . || echo "not installed"
}

wait_for_service() {
  local want=$1 deadline=$((SECONDS + running_bound)) now
  while :; do
    now=$(service_state)
    [ "$now" = "$want" ] && return 0
    ((SECONDS < deadline)) || die "the service is $now, not $want, after $running_bound s"
    sleep 0.3
  done
}

start_service() {
  local out
  out=$(wine_do 90 net start "$service") || true
  wait_for_service RUNNING || die "net start: $(grep . <<<"$out" | tail -n 1)"
}

stop_service() {
  wine_do 90 net stop "$service" >/dev/null || true
  wait_for_service STOPPED
}

log_file() {
  find "$prefix"/drive_c/users -path '*/AppData/Roaming/zvrLog/Tessarine.log' -printf '%T@ %p\n' 2>/dev/null |
    sort -rn | head -n 1 | cut -d' ' -f2-
}

# The lines with which the service's worker ends its start: the decisions
# made at start are taken once one of them is in the log.
worker_done='|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit
|CMainService::ServiceWorkerThread|WWAN Device enumeration failed
|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_MbnInterfaceManager) failed
|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) failed
|CMainService::ServiceWorkerThread|Exception in ServiceWorkerThread'

# How many times the worker has ended its start, by the log.
worker_starts() {
  local file
  file=$(log_file)
  [ -n "$file" ] || { echo 0; return; }
  grep -cF "$worker_done" "$file" || true
}

# wait_for_worker COUNT: until the log shows more than COUNT worker starts
# ended (bounded; the log is a file: each look costs no Wine program). Says
# so on stdout when the bound passes.
wait_for_worker() {
  local before=$1 deadline=$((SECONDS + running_bound))
  while (($(worker_starts) <= before)); do
    if ((SECONDS >= deadline)); then
      echo "$me: the service's worker had not ended its start after $running_bound s (see: $me log)"
      return 0
    fi
    sleep 0.1
  done
}

# ---- wires -----------------------------------------------------------------
# state/wires: one line per wire ever plugged in this run, "NAME NUMBER"; the
# number gives the peer's name and the subnet 192.168.(77+NUMBER).0/24.

wire_number() { awk -v n="$1" '$1 == n { print $2 }' "$state/wires" 2>/dev/null; }

wire_exists() { ip -n "$ns" link show dev "$1" >/dev/null 2>&1; }

wire_address() { echo "192.168.$((77 + $1)).2/24"; }

valid_ifname() { [[ $1 =~ ^[A-Za-z0-9_.-]{1,15}$ ]] && [ "$1" != lo ]; }

# stamp_of TIME: an $EPOCHREALTIME (a builtin: taking the moment forks
# nothing) in the service log's clock format, local time to the
# millisecond: plug and pull say when the wire was ready or pulled, so the
# log's reaction to it can be timed (scripts/reaction.awk).
stamp_of() {
  local seconds=${1%[.,]*} fraction=${1#*[.,]}
  printf '%(%Y/%m/%d %H:%M:%S)T.%s' "$seconds" "${fraction:0:3}"
}

# ---- the simulation's control program ----------------------------------------

# Whether this laptop runs the simulated COM server and its control program.
sim_running() { [ -f "$program_dir/$sim_com_dll" ] && [ -p "$state/control.in" ]; }

# control SECONDS REQUEST...: one request to the control program; its answer
# (without the request's id) in $answer, set in this shell (no command
# substitution: a plug's word to the network list forks nothing). Exit 1
# when it gave none within SECONDS. The FIFOs are opened for reading and
# writing, so that no open waits for the other end.
answer=""
control() {
  local bound=$1 id line
  shift
  id="$$.$RANDOM"
  answer=""
  exec 7<>"$state/control.in" 8<>"$state/control.out"
  printf '%s %s\n' "$id" "$*" >&7
  # An answer to an earlier request that gave up is skipped.
  while IFS= read -r -t "$bound" line <&8; do
    if [[ $line == "$id "* ]]; then
      exec 7>&- 8<&-
      answer=${line#"$id "}
      return 0
    fi
  done
  exec 7>&- 8<&-
  return 1
}

start_control() {
  rm -f "$state/control.in" "$state/control.out"
  mkfifo "$state/control.in" "$state/control.out"
  # Detached, and no child of this shell (a later `wait` would wait for
  # it): it lives as long as the session, and down ends it with the rest.
  (setsid ip netns exec "$ns" wine "$program_dir_win\\$sim_control_exe" <>"$state/control.in" \
    1<>"$state/control.out" 2>"$state/control.log" 9>&- &)
  control 60 ping && [ "$answer" = pong ] ||
    die "up: the simulation's control program did not start (see $state/control.log)"
}

# wait_idle SECONDS: until the service has handled every network event the
# simulated network list delivered (a person waits for the laptop before the
# next step: the service ignores the user's Wi-Fi switch while it handles
# one). Dies at the bound.
wait_idle() {
  local bound=$1 delivered handled
  sim_running || return 0
  control $((bound + 10)) idle $((bound * 1000)) ||
    die "the simulation's control program does not answer (see $state/control.log)"
  case $answer in
    "idle yes "*) return 0 ;;
    "idle no "*)
      read -r _ _ delivered handled <<<"$answer"
      die "the service still handles a network event after $bound s ($delivered delivered, $handled handled; see: $me log)"
      ;;
    *) die "the simulation's control program answered '$answer'" ;;
  esac
}

# wires_changed [--no-wait]: tells the simulated network list that a change
# of the wires is complete, then (unless --no-wait) waits until the service
# has handled what it announced. Prints a note when no network list took it.
wires_changed() {
  sim_running || return 0
  control 20 wire || die "the simulation's control program does not answer (see $state/control.log)"
  case $answer in
    "wire "*" seen "*) ;;
    "wire "*" unseen") echo "$verb: no simulated network list took the change (is $service running?)"; return 0 ;;
    *) die "the simulation's control program answered '$answer'" ;;
  esac
  [ "${1-}" = --no-wait ] || wait_idle "$idle_bound"
}

# ---- verbs -----------------------------------------------------------------

verb_up() {
  local no_build=0 with_sim=1
  while [ $# -gt 0 ]; do
    case $1 in
      --no-build) no_build=1 ;;
      --no-sim) with_sim=0 ;;
      *) die "up: unknown option '$1' (usage: $me up [--no-build] [--no-sim])" ;;
    esac
    shift
  done
  need_tools wine wineserver setsid timeout sha1sum
  ((no_build)) || need_tools cmake
  if [ -d "$state" ]; then
    [ -f "$state/ready" ] && die "the laptop is already up (namespace $ns); run '$me down' first"
    die "an earlier up did not finish; run '$me down' first"
  fi

  local started=$SECONDS targets=(Tessarine) target
  if ((!no_build)); then
    (cd "$root" && cmake --preset default >/dev/null) || die "cmake --preset default failed"
    # The simulated devices' DLLs, when the tree has them (the Wi-Fi's
    # target is sim_wlanapi; "wlanapi" would be the system library's name).
    for target in wlanapi sim_wlanapi sim_comserver sim_control; do
      grep -q "^build $target: phony" "$build/build.ninja" 2>/dev/null && targets+=("$target")
    done
    (cd "$root" && cmake --build "$build" --target "${targets[@]}" >/dev/null) ||
      die "building ${targets[*]} failed (cmake --build $build --target ${targets[*]})"
  fi
  [ -f "$build/Tessarine.exe" ] || die "no $build/Tessarine.exe (build it, or run up without --no-build)"

  # From here on a failure takes down what was made.
  mkdir -p "$state"
  trap 'echo "$me: up failed; cleaning up" >&2; teardown >/dev/null 2>&1' EXIT
  echo "$ns" >"$state/namespace"
  : >"$state/wires"

  # A session of this prefix left by a killed run ran elsewhere: end it.
  teardown_session
  ip netns add "$ns" || die "could not create network namespace $ns"
  ip netns add "$peers" || die "could not create network namespace $peers"
  ip -n "$ns" link set lo up
  ip -n "$peers" link set lo up

  # The prefix is created (first time, about 10 s) inside the namespace too.
  in_ns bash "$root/scripts/wine-run.sh" "$prefix" </dev/null >"$state/prefix.log" 2>&1 ||
    die "could not create the Wine prefix $prefix: $(tail -n 1 "$state/prefix.log")"
  # Detached from our output: the server outlives this verb.
  in_ns wineserver -p </dev/null >/dev/null 2>&1 || die "wineserver -p failed"
  setsid ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 9>&- || true

  # A service left installed in the prefix by an unfinished run goes first.
  if [ "$(service_state)" != "not installed" ]; then
    wine_do 90 "$program_dir_win\\Tessarine.exe" -remove >/dev/null || true
  fi

  # The simulation's defaults: both radios on, a modem, both directions
  # allowed; no network list's counters (an earlier run's would name a
  # process id that this session may give to another program).
  reg_import "" "[$sim_key]" '"WifiRadio"="on"' '"MobileBroadbandRadio"="on"' \
    '"ModemPresent"=dword:00000001' '"FirmwareLanWlanSwitching"="Enable"' \
    '"FirmwareLanWwanSwitching"="Enable"' "" "[-$sim_key\\Network List]" "" \
    "[$airplane_key]" '@=dword:00000000'

  # The program, and the simulated Wi-Fi beside it when it is built (Wine
  # loads a wlanapi.dll from the program's folder instead of its own).
  mkdir -p "$program_dir"
  cp "$build/Tessarine.exe" "$program_dir/"
  rm -f "$program_dir"/*.dll "$program_dir/$sim_control_exe"
  local dlls=() dll name control_exe=""
  if ((with_sim)) && [ -d "$build/sim" ]; then
    for name in wlanapi.dll "$sim_com_dll"; do
      dll=$(find "$build/sim" -name "$name" -not -path '*/CMakeFiles/*' | head -n 1)
      [ -n "$dll" ] && dlls+=("$dll")
    done
    control_exe=$(find "$build/sim" -name "$sim_control_exe" -not -path '*/CMakeFiles/*' | head -n 1)
  fi
  for dll in "${dlls[@]}"; do cp "$dll" "$program_dir/"; done
  if [ -f "$program_dir/$sim_com_dll" ]; then
    # The COM server's network list takes the wire changes from the control
    # program: one without the other is no simulated laptop.
    [ -n "$control_exe" ] || die "up: $sim_com_dll is built but $sim_control_exe is not (target sim_control)"
    cp "$control_exe" "$program_dir/"
    start_control
  fi
  # The COM classes: Wine's own, put back from an earlier run that did not
  # come down, or kept before the simulated COM server takes them.
  if [ -f "$wine_classes" ]; then
    restore_wine_classes
  fi
  if [ -f "$program_dir/$sim_com_dll" ]; then
    save_wine_classes
    register_sim_classes
  fi
  # Each up is a fresh boot: the log starts empty.
  rm -f "$prefix"/drive_c/users/*/AppData/Roaming/zvrLog/Tessarine*.log

  local out
  out=$(wine_do 60 "$program_dir_win\\Tessarine.exe" -install) || true
  grep -q "is installed" <<<"$out" || die "Tessarine.exe -install: $(grep . <<<"$out" | head -n 1)"
  start_service
  wait_for_worker 0

  touch "$state/ready"
  trap - EXIT
  echo "up: $service RUNNING in namespace $ns (prefix $prefix) after $((SECONDS - started)) s"
  if ((${#dlls[@]})); then
    echo "up: simulated devices beside the program: ${dlls[*]##*/}"
    [ -f "$program_dir/$sim_com_dll" ] &&
      echo "up: $sim_com_dll serves the network list manager, the MBN interface manager and the WMI locator;" \
        "$sim_control_exe tells its network list when a wire change is complete"
  else
    echo "up: no simulated devices (not built, or --no-sim): the service runs against Wine's own platform"
  fi
}

verb_plug() {
  local dhcp=0 name=eth0
  while [ $# -gt 0 ]; do
    case $1 in
      --dhcp) [ $# -ge 2 ] || die "plug: --dhcp needs SECONDS"; dhcp=$2; shift ;;
      --name) [ $# -ge 2 ] || die "plug: --name needs IFNAME"; name=$2; shift ;;
      *) die "plug: unknown argument '$1' (usage: $me plug [--dhcp SECONDS] [--name IFNAME])" ;;
    esac
    shift
  done
  [[ $dhcp =~ ^[0-9]+([.][0-9]+)?$ ]] || die "plug: --dhcp takes seconds, not '$dhcp'"
  valid_ifname "$name" || die "plug: '$name' is no interface name (1 to 15 of A-Z a-z 0-9 _ . -)"
  require_up
  wait_idle "$idle_bound"

  local number made="" ready
  number=$(wire_number "$name")
  if [ -z "$number" ]; then
    number=$(wc -l <"$state/wires")
    echo "$name $number" >>"$state/wires"
  fi
  local address
  address=$(wire_address "$number")
  if ! wire_exists "$name"; then
    ip -n "$peers" link add "peer$number" type veth peer name "$name" netns "$ns" ||
      die "plug: could not create the wire $name"
    ip -n "$peers" addr add "192.168.$((77 + number)).1/24" dev "peer$number"
    ip -n "$peers" link set "peer$number" up
    made="new wire, "
  elif ip -n "$ns" -o link show dev "$name" | grep -q '<[^>]*\bUP\b' &&
    [ -n "$(ip -n "$ns" -4 -o addr show dev "$name")" ]; then
    die "plug: $name is already plugged"
  fi
  # The moment each change is complete is taken before the network list is
  # told: the service's reaction is timed from it (scripts/reaction.awk).
  if [ "$dhcp" != 0 ]; then
    ip -n "$ns" link set "$name" up
    # The link alone is a change of its own: the service sees a connection
    # without an address and waits for it (not for the service here).
    wires_changed --no-wait
    echo "plug: $name link up (${made}no address yet: 0.0.0.0); DHCP in $dhcp s"
    sleep "$dhcp"
    wire_exists "$name" || die "plug: $name disappeared during the DHCP delay"
    ip -n "$ns" -batch - <<<"addr flush dev $name
addr add $address dev $name" || die "plug: could not give $name its address"
    ready=$EPOCHREALTIME
    wires_changed
    echo "plug: $name got $address at $(stamp_of "$ready")"
  else
    # One ip program for both: a DHCP that answers at once.
    ip -n "$ns" -batch - <<<"link set $name up
addr flush dev $name
addr add $address dev $name" || die "plug: could not bring $name up with its address"
    ready=$EPOCHREALTIME
    wires_changed
    echo "plug: $name link up (${made}address $address at once) at $(stamp_of "$ready")"
  fi
}

verb_pull() {
  local name=eth0
  while [ $# -gt 0 ]; do
    case $1 in
      --name) [ $# -ge 2 ] || die "pull: --name needs IFNAME"; name=$2; shift ;;
      *) die "pull: unknown argument '$1' (usage: $me pull [--name IFNAME])" ;;
    esac
    shift
  done
  valid_ifname "$name" || die "pull: '$name' is no interface name"
  require_up
  wait_idle "$idle_bound"
  if ! wire_exists "$name"; then
    [ -n "$(wire_number "$name")" ] && die "pull: $name is gone (deleted outside the controller)"
    die "pull: there is no wire $name (plug it first)"
  fi
  # Wine keeps an assigned address after the carrier is lost and its link
  # state follows the administrative state: addresses first, then the link.
  # The network list is told once both are done.
  ip -n "$ns" -batch - <<<"addr flush dev $name
link set $name down" || die "pull: could not take $name down"
  local ready=$EPOCHREALTIME
  wires_changed
  echo "pull: $name addresses flushed, link down at $(stamp_of "$ready")"
}

on_off() {
  case ${2-} in
    on | off) ;;
    *) die "$1: say on or off, not '${2-}'" ;;
  esac
  [ $# -le 2 ] || die "$1: one argument only (on or off)"
}

verb_radio() { # wifi|wwan on|off
  local verb=$1 value=${2-} name
  on_off "$@"
  require_up
  [ "$verb" = wifi ] && name=WifiRadio || name=MobileBroadbandRadio
  wait_idle "$idle_bound"
  reg_import "[$sim_key]" "\"$name\"=\"$value\""
  echo "$verb: $name = $value"
}

verb_airplane() {
  local value=${2-}
  on_off "$@"
  require_up
  wait_idle "$idle_bound"
  if [ "$value" = on ]; then
    # The flag the service watches first, then the radios off: the service
    # takes a Wi-Fi notification that finds airplane mode off for the
    # user's own switch and keeps it as the choice to restore, so radios
    # that went off before the flag was set could stay off after airplane
    # mode (whether the notification or the flag came first was a race).
    reg_import "[$airplane_key]" '@=dword:00000001' "" \
      "[$sim_key]" '"WifiRadio"="off"' '"MobileBroadbandRadio"="off"'
    echo "airplane: on (airplane value 1, WifiRadio and MobileBroadbandRadio off)"
  else
    reg_import "[$airplane_key]" '@=dword:00000000'
    echo "airplane: off (airplane value 0; the radios stay as they are)"
  fi
}

verb_firmware() {
  local which=${2-} what=${3-} name data
  case $which in
    wlan) name=FirmwareLanWlanSwitching ;;
    wwan) name=FirmwareLanWwanSwitching ;;
    *) die "firmware: say wlan or wwan, not '$which' (usage: $me firmware wlan|wwan allow|forbid)" ;;
  esac
  case $what in
    allow) data=Enable ;;
    forbid) data='*Disable' ;;
    *) die "firmware: say allow or forbid, not '$what' (usage: $me firmware wlan|wwan allow|forbid)" ;;
  esac
  [ $# -le 3 ] || die "firmware: two arguments only"
  require_up
  reg_import "[$sim_key]" "\"$name\"=\"$data\""
  # The service reads the firmware settings when it starts.
  restart_service
  echo "firmware: $name = $data; $service restarted (RUNNING)"
}

restart_service() {
  local before
  # A stop cuts off a network event the service is handling.
  wait_idle "$idle_bound"
  before=$(worker_starts)
  stop_service
  start_service
  wait_for_worker "$before"
}

verb_restart() {
  [ $# -eq 0 ] || die "restart: no arguments"
  require_up
  restart_service
  echo "restart: $service stopped and started again (RUNNING)"
}

verb_modem() {
  local data
  case ${1-} in
    present) data=dword:00000001 ;;
    absent) data=dword:00000000 ;;
    *) die "modem: say present or absent, not '${1-}'" ;;
  esac
  [ $# -eq 1 ] || die "modem: one argument only (present or absent)"
  require_up
  wait_idle "$idle_bound"
  reg_import "[$sim_key]" "\"ModemPresent\"=$data"
  echo "modem: ModemPresent = ${data#dword:0000000} ($1; the service sees it at its next start)"
}

# reg_value OUTPUT NAME: the data of value NAME in reg query's OUTPUT, as it
# is; <none> when missing, "" when empty.
reg_value() {
  local line rest
  while IFS= read -r line; do
    [[ $line == "    $2    REG_"* ]] || continue
    rest=${line#"    $2    "}
    [[ $rest == *"    "* ]] || { echo '""'; return; }
    echo "${rest#*    }"
    return
  done <<<"$1"
  echo "<none>"
}

verb_state() {
  [ $# -eq 0 ] || die "state: no arguments"
  require_up
  # The queries run side by side: each Wine program takes most of a second
  # on a busy machine. One that fails for another reason than a missing key
  # or value (a Wine program killed by the bound) is asked once more, alone.
  local dir=$state/query name
  rm -rf "$dir"
  mkdir -p "$dir"
  query() {
    local rc=0
    wine_do 30 "${@:2}" >"$dir/$1" || rc=$?
    echo "$rc" >"$dir/$1.rc"
  }
  answered() { [ "$(cat "$dir/$1.rc")" = 0 ] || grep -q "Unable to find" "$dir/$1"; }
  query sim reg query "$sim_key" &
  query netlist reg query "$sim_key\\Network List" &
  query wlanpower reg query "$wlan_power_key" /v PowerOnOff &
  query wwanpower reg query "$wwan_power_key" /v PowerOnOff &
  query airplane reg query "$airplane_key" /ve &
  query service sc query "$service" &
  wait
  answered sim || query sim reg query "$sim_key"
  answered netlist || query netlist reg query "$sim_key\\Network List"
  answered wlanpower || query wlanpower reg query "$wlan_power_key" /v PowerOnOff
  answered wwanpower || query wwanpower reg query "$wwan_power_key" /v PowerOnOff
  answered airplane || query airplane reg query "$airplane_key" /ve
  # sc query fails for a service that is not installed: that is an answer too.
  # value NAME VALUE: VALUE's data as query NAME found it.
  value() {
    if answered "$1"; then
      reg_value "$(cat "$dir/$1")" "$2"
    else
      echo "<unreadable: reg query exit $(cat "$dir/$1.rc")>"
    fi
  }
  local wifi mobile modem fw_wlan fw_wwan wlanp wwanp svc airplane
  wifi=$(value sim WifiRadio)
  mobile=$(value sim MobileBroadbandRadio)
  modem=$(value sim ModemPresent)
  fw_wlan=$(value sim FirmwareLanWlanSwitching)
  fw_wwan=$(value sim FirmwareLanWwanSwitching)
  wlanp=$(value wlanpower PowerOnOff)
  wwanp=$(value wwanpower PowerOnOff)
  airplane=$(value airplane '(Default)')
  local wire_change wire_seen delivered handled
  wire_change=$(value sim WireChange)
  wire_seen=$(value netlist WireChangeSeen)
  delivered=$(value netlist EventsDelivered)
  handled=$(value netlist EventsHandled)
  svc=$(sed -n 's/^ *STATE *: *[0-9]* *\([A-Z_]*\).*/\1/p' "$dir/service" | head -n 1)
  local sim_missing=0
  grep -q "Unable to find" "$dir/sim" && sim_missing=1
  rm -rf "$dir"
  case $airplane in
    0x1) airplane="on ($airplane)" ;;
    0x0) airplane="off ($airplane)" ;;
  esac
  # What the simulated devices make of values edited by hand
  # (sim/SimulationState.h reads them).
  wifi=$(radio_note "$wifi")
  mobile=$(radio_note "$mobile")
  case $modem in
    0x1) modem="$modem (present)" ;;
    0x0) modem="$modem (absent)" ;;
    "<none>") modem="<none> (read as present)" ;;
    *) modem="$modem  <- not 0 or 1: read as present" ;;
  esac
  [ "$fw_wlan" = "<none>" ] && fw_wlan="<none> (served as Enable)"
  [ "$fw_wwan" = "<none>" ] && fw_wwan="<none> (served as Enable)"

  echo "laptop $ns   service $service: ${svc:-not installed}"
  if ((sim_missing)); then
    echo "  the simulation's key $sim_key is missing (deleted by hand?): the simulated"
    echo "  devices keep their radios; wifi, wwan, modem and firmware write it again"
  fi
  printf '  %-22s %s\n' \
    "Wi-Fi radio" "$wifi" \
    "mobile radio" "$mobile" \
    "modem present" "$modem" \
    "firmware LAN/WLAN" "$fw_wlan" \
    "firmware LAN/WWAN" "$fw_wwan" \
    "airplane mode" "$airplane" \
    "WLAN PowerOnOff" "$wlanp" \
    "WWAN PowerOnOff" "$wwanp"
  # The simulated network list's counters, once it has written them.
  if [[ $delivered =~ ^0x[0-9a-fA-F]+$ && $handled =~ ^0x[0-9a-fA-F]+$ ]]; then
    local words="$((delivered)) delivered, $((handled)) handled"
    [[ $wire_change =~ ^0x[0-9a-fA-F]+$ ]] && words+="; wire changes $((wire_change))"
    [[ $wire_seen =~ ^0x[0-9a-fA-F]+$ ]] && words+=" (seen $((wire_seen)))"
    printf '  %-22s %s\n' "network events" "$words"
  fi
  echo "  wires:"
  local name number shown=" " any=0
  while read -r name number; do
    [ -n "$name" ] || continue
    shown+="$name "
    any=1
    if ! wire_exists "$name"; then
      printf '    %-15s gone (deleted outside the controller)\n' "$name"
      continue
    fi
    wire_line "$name"
  done <"$state/wires"
  # Interfaces made in the namespace by someone else show too.
  for name in $(ip -n "$ns" -o link show | awk -F': ' '{ sub(/@.*/, "", $2); print $2 }'); do
    [ "$name" = lo ] && continue
    [[ $shown == *" $name "* ]] && continue
    any=1
    wire_line "$name" " (not made by the controller)"
  done
  ((any)) || echo "    (none)"
}

# radio_note VALUE: a radio's value as state shows it, with what the
# simulated device makes of one that is neither on nor off.
radio_note() {
  local lower
  lower=$(tr '[:upper:]' '[:lower:]' <<<"$1")
  case $lower in
    on | off) echo "$1" ;;
    "<none>") echo "<none>  <- missing: the simulated radio keeps its state" ;;
    "<unreadable"*) echo "$1" ;;
    *) echo "$1  <- not on or off: the simulated radio keeps its state" ;;
  esac
}

wire_line() {
  local link address
  if ip -n "$ns" -o link show dev "$1" | grep -q '<[^>]*\bUP\b'; then link=up; else link=down; fi
  address=$(ip -n "$ns" -4 -o addr show dev "$1" | awk '{ printf "%s%s", sep, $4; sep = " " }')
  printf '    %-15s link %-4s address %s%s\n' "$1" "$link" "${address:-none (0.0.0.0)}" "${2-}"
}

# wait WHAT VALUE [WHAT VALUE...] [SECONDS]: polls until each WHAT reads its
# VALUE. A poll is one reg query per key involved (the simulation's key for
# wifi and wwan, the power status keys for wlanpower and wwanpower), side by
# side: one Wine program costs 0.3 to 1 s, so a poll is as cheap as a look
# can be, and its cost is the resolution of the time printed (the time from
# the verb's start to the end of the poll that saw every value).
verb_wait() {
  local bound=30 whats=() values=() what value
  while [ $# -gt 0 ]; do
    what=$1
    case $what in
      wifi | wwan)
        [ $# -ge 2 ] || die "wait: $what needs on or off"
        [[ $2 == on || $2 == off ]] || die "wait: $what is on or off, not '$2'"
        ;;
      wlanpower | wwanpower)
        [ $# -ge 2 ] || die "wait: $what needs True or False"
        [[ $2 == True || $2 == False ]] || die "wait: $what is True or False, not '$2'"
        ;;
      *)
        if ! [[ $what =~ ^[0-9]+([.][0-9]+)?$ ]] || [ $# -ne 1 ]; then
          die "wait: say wifi|wwan on|off or wlanpower|wwanpower True|False, then SECONDS, not '$what'"
        fi
        bound=$what
        shift
        continue
        ;;
    esac
    whats+=("$what")
    values+=("$2")
    shift 2
  done
  ((${#whats[@]})) || die "wait: what? (usage: $me wait wifi|wwan on|off ... [SECONDS])"
  require_up

  local need_sim=0 need_wlan=0 need_wwan=0
  for what in "${whats[@]}"; do
    case $what in
      wifi | wwan) need_sim=1 ;;
      wlanpower) need_wlan=1 ;;
      wwanpower) need_wwan=1 ;;
    esac
  done
  local dir=$state/wait.$$ start now polls=0 i seen missing
  rm -rf "$dir"
  mkdir -p "$dir"
  start=$(date +%s.%N)
  local deadline
  deadline=$(awk -v s="$start" -v b="$bound" 'BEGIN { printf "%.3f", s + b }')
  while :; do
    polls=$((polls + 1))
    ((need_sim)) && { wine_do 30 reg query "$sim_key" >"$dir/sim" || true; } &
    ((need_wlan)) && { wine_do 30 reg query "$wlan_power_key" /v PowerOnOff >"$dir/wlanpower" || true; } &
    ((need_wwan)) && { wine_do 30 reg query "$wwan_power_key" /v PowerOnOff >"$dir/wwanpower" || true; } &
    wait
    now=$(date +%s.%N)
    missing=""
    seen=""
    for i in "${!whats[@]}"; do
      case ${whats[$i]} in
        wifi) value=$(reg_value "$(cat "$dir/sim")" WifiRadio) ;;
        wwan) value=$(reg_value "$(cat "$dir/sim")" MobileBroadbandRadio) ;;
        *) value=$(reg_value "$(cat "$dir/${whats[$i]}")" PowerOnOff) ;;
      esac
      seen+=" ${whats[$i]} $value"
      [ "$value" = "${values[$i]}" ] || missing+=" ${whats[$i]} ${values[$i]}"
    done
    if [ -z "$missing" ]; then
      rm -rf "$dir"
      printf 'wait:%s after %.1f s (%d polls)\n' "$seen" "$(awk -v a="$start" -v b="$now" 'BEGIN { print b - a }')" "$polls"
      return 0
    fi
    if awk -v n="$now" -v d="$deadline" 'BEGIN { exit !(n >= d) }'; then
      rm -rf "$dir"
      echo "wait: not yet$missing after $bound s ($polls polls); last seen:$seen" >&2
      exit 1
    fi
    sleep 0.05
  done
}

verb_idle() {
  local bound=${1-$idle_bound} delivered handled
  [ $# -le 1 ] || die "idle: one argument only (SECONDS)"
  [[ $bound =~ ^[0-9]+$ ]] && ((bound <= 600)) || die "idle: SECONDS is a whole number up to 600, not '$bound'"
  require_up
  if ! sim_running; then
    echo "idle: no simulated network list (no network event can come)"
    return 0
  fi
  local start=$EPOCHREALTIME
  wait_idle "$bound"
  control 10 idle 0 || die "the simulation's control program does not answer"
  read -r _ _ delivered handled <<<"$answer"
  printf 'idle: %d network events delivered, %d handled (waited %.3f s)\n' "$delivered" "$handled" \
    "$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { print b - a }')"
}

# The service's process (the Wine process of the simulation's copy of the
# program); nothing when it is not running.
service_pid() {
  local pid
  for pid in $(prefix_pids); do
    tr '\0' '\n' 2>/dev/null <"/proc/$pid/cmdline" | head -n 1 | grep -qixF "$program_dir_win\\Tessarine.exe" &&
      echo "$pid" && return 0
  done
  return 0
}

# thread_switches PID: one line per thread of the process, "TID COUNT": its
# voluntary and involuntary context switches so far (each is a wake-up).
thread_switches() {
  local task
  for task in "/proc/$1"/task/*; do
    awk -v t="${task##*/}" '/^(voluntary|nonvoluntary)_ctxt_switches:/ { sum += $2 } END { if (NR) print t, sum + 0 }' \
      "$task/status" 2>/dev/null
  done
}

verb_wakeups() {
  local seconds=${1-10}
  [ $# -le 1 ] || die "wakeups: one argument only (SECONDS)"
  [[ $seconds =~ ^[0-9]+$ ]] && ((seconds >= 1 && seconds <= 600)) ||
    die "wakeups: SECONDS is a whole number from 1 to 600, not '$seconds'"
  require_up
  local pid before after start end
  pid=$(service_pid)
  [ -n "$pid" ] || die "wakeups: $service's process is not running"
  before=$(thread_switches "$pid")
  start=$EPOCHREALTIME
  sleep "$seconds"
  after=$(thread_switches "$pid")
  end=$EPOCHREALTIME
  [ -d "/proc/$pid" ] || die "wakeups: $service's process ended during the count"
  # Per thread: what it did in the count (all of it for a thread that came);
  # a thread that ended took its count with it, and the line says so.
  awk -v a="$start" -v b="$end" '
    FNR == NR { before[$1] = $2; next }
    { n += $2 - ($1 in before ? before[$1] : 0); threads++; if (!($1 in before)) came++; seen[$1] = 1 }
    END {
      for (t in before) if (!(t in seen)) went++
      note = ""
      if (came || went) note = sprintf("; %d thread(s) came and %d went during the count", came, went)
      printf "wakeups: %.1f per second (%d context switches of the service process'"'"'s %d threads in %.1f s%s)\n", n / (b - a), n, threads, b - a, note
    }' <(echo "$before") <(echo "$after")
}

verb_log() {
  local lines=${1-20}
  [ $# -le 1 ] || die "log: one argument only (N)"
  [[ $lines =~ ^[0-9]+$ ]] || die "log: N is a number of lines, not '$lines'"
  require_up
  local file
  file=$(log_file)
  [ -n "$file" ] || die "log: the service has written no log yet"
  tail -n "$lines" "$file" | tr -d '\r'
}

# Ends the prefix's session, wherever it runs, and every program of it.
teardown_session() {
  [ -d "$prefix" ] || return 0
  wineserver -k 2>/dev/null || true
  local tries
  for ((tries = 0; tries < 50; tries++)); do
    [ -z "$(prefix_pids)" ] && return 0
    sleep 0.1
  done
  local left
  left=$(prefix_pids)
  # shellcheck disable=SC2086 # a list of process ids
  [ -n "$left" ] && kill -KILL $left 2>/dev/null
  return 0
}

# Everything up made, whatever exists of it.
# Sets removed=1 when it removed an installed service.
teardown() {
  removed=0
  if ip netns list | grep -qE "^$ns( |$)" && session_alive && [ "$(service_state)" != "not installed" ]; then
    wine_do 90 net stop "$service" >/dev/null || true
    wine_do 90 "$program_dir_win\\Tessarine.exe" -remove >/dev/null || true
    removed=1
  fi
  # Wine's own COM classes back (the session is needed; without one they
  # are put back by the next up).
  if [ -f "$wine_classes" ] && ip netns list | grep -qE "^$ns( |$)" && session_alive; then
    (restore_wine_classes) || true
  fi
  teardown_session
  local name left
  for name in "$ns" "$peers"; do
    ip netns list | grep -qE "^$name( |$)" || continue
    left=$(ip netns pids "$name" 2>/dev/null || true)
    # shellcheck disable=SC2086 # a list of process ids
    [ -n "$left" ] && kill -KILL $left 2>/dev/null
    ip netns del "$name"
  done
  rm -rf "$state"
}

verb_down() {
  [ $# -eq 0 ] || die "down: no arguments"
  local was=0 started=$SECONDS removed=0
  { [ -d "$state" ] || ip netns list | grep -qE "^($ns|$peers)( |$)" || session_alive; } && was=1
  teardown
  if ((was)); then
    local what="session ended, namespaces $ns and $peers removed"
    ((removed)) && what="$service stopped and removed; $what"
    echo "down: $what ($((SECONDS - started)) s)"
  else
    echo "down: nothing was up"
  fi
}

# ---- main ------------------------------------------------------------------

verb=${1-}
[ $# -gt 0 ] && shift
case $verb in
  "" | -h | --help | help)
    usage
    [ -n "$verb" ] || exit 2
    exit 0
    ;;
  up | plug | pull | wifi | wwan | airplane | firmware | modem | restart | state | wait | idle | wakeups | log | down) ;;
  *) die "unknown verb '$verb' (up, plug, pull, wifi, wwan, airplane, firmware, modem, restart, state, wait, idle, wakeups, log, down)" ;;
esac
[ "$(id -u)" -eq 0 ] || die "needs root (ip netns); run as root"
need_tools ip flock wine wineserver timeout setsid
# wait and wakeups only read, and must look while another verb runs (a plug
# in its DHCP delay): they take no lock. idle talks to the control program,
# one verb at a time.
[ "$verb" = wait ] || [ "$verb" = wakeups ] || take_lock
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
  down) verb_down "$@" ;;
esac
