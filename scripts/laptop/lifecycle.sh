# shellcheck shell=bash
# The laptop's life: up (build, namespaces, the Wine session, the program
# and the simulated devices, the service installed and started), restart
# (the service stopped and started), and down (everything up made, gone).

verb_up() {
  local no_build=0 with_sim=1 started=$SECONDS
  while [ $# -gt 0 ]; do
    case $1 in
      --no-build) no_build=1 ;;
      --no-sim) with_sim=0 ;;
      *) die "up: unknown option '$1' (usage: $me up [--no-build] [--no-sim])" ;;
    esac
    shift
  done
  up_possible "$no_build"
  ((no_build)) || build_laptop
  [ -f "$build/Tessarine.exe" ] || die "no $build/Tessarine.exe (build it, or run up without --no-build)"

  # From here on a failure takes down what was made.
  mkdir -p "$state"
  trap 'echo "$me: up failed; cleaning up" >&2; teardown >/dev/null 2>&1' EXIT
  echo "$ns" >"$state/namespace"
  : >"$state/wires"
  boot_laptop
  place_program "$with_sim"
  take_classes
  boot_service
  touch "$state/ready"
  trap - EXIT
  say_up "$started"
}

# up_possible NO_BUILD: the tools are there and no laptop of this home is
# up, nor half up.
up_possible() {
  need_tools wine wineserver setsid timeout sha1sum
  (($1)) || need_tools cmake
  if [ -d "$state" ]; then
    [ -f "$state/ready" ] && die "the laptop is already up (namespace $ns); run '$me down' first"
    die "an earlier up did not finish; run '$me down' first"
  fi
}

# The program, the administrators' companion and the simulated devices'
# targets, when the tree has them (the Wi-Fi's target is sim_wlanapi;
# "wlanapi" would be the system library's name).
build_laptop() {
  local targets=(Tessarine) target
  (cd "$root" && cmake --preset default >/dev/null) || die "cmake --preset default failed"
  for target in TessarineDiag wlanapi sim_wlanapi sim_comserver sim_control; do
    if grep -q "^build $target: phony" "$build/build.ninja" 2>/dev/null; then targets+=("$target"); fi
  done
  (cd "$root" && cmake --build "$build" --target "${targets[@]}" >/dev/null) ||
    die "building ${targets[*]} failed (cmake --build $build --target ${targets[*]})"
}

# The namespaces, the prefix's session inside the laptop's, and the
# simulation's defaults in its registry.
boot_laptop() {
  # A session of this prefix left by a killed run ran elsewhere: end it.
  end_session
  add_namespace "$ns" || die "could not create network namespace $ns"
  add_namespace "$peers" || die "could not create network namespace $peers"
  # The prefix is created (first time, about 10 s) inside the namespace too.
  in_ns bash "$root/scripts/wine-run.sh" "$prefix" </dev/null >"$state/prefix.log" 2>&1 ||
    die "could not create the Wine prefix $prefix: $(tail -n 1 "$state/prefix.log")"
  start_session || die "wineserver -p failed"
  # A service left installed in the prefix by an unfinished run goes first.
  if [ "$(service_state)" != "not installed" ]; then
    remove_service
  fi
  # Both radios on, a modem, both directions allowed; no network list's
  # counters (an earlier run's would name a process id that this session
  # may give to another program).
  reg_import "" "[$sim_key]" '"WifiRadio"="on"' '"MobileBroadbandRadio"="on"' \
    '"ModemPresent"=dword:00000001' '"FirmwareLanWlanSwitching"="Enable"' \
    '"FirmwareLanWwanSwitching"="Enable"' "" "[-$sim_key\\Network List]" "" \
    "[$airplane_key]" '@=dword:00000000'
}

# sim_built NAME: the simulation's built file NAME, or nothing.
sim_built() { find "$build/sim" -name "$1" -not -path '*/CMakeFiles/*' | head -n 1; }

# place_program WITH_SIM: the program, TessarineDiag.exe when built (beside
# the program, so that it reads the same simulated devices), and the
# simulated devices when they are built and WITH_SIM is 1 (Wine loads a
# wlanapi.dll from the program's folder instead of its own); the control
# program started with the COM server.
place_program() {
  local name file
  mkdir -p "$program_dir"
  cp "$build/Tessarine.exe" "$program_dir/"
  rm -f "$program_dir"/*.dll "$program_dir/$sim_control_exe" "$program_dir/$diag_exe"
  if [ -f "$build/diag/$diag_exe" ]; then cp "$build/diag/$diag_exe" "$program_dir/"; fi
  if (($1 == 0)) || [ ! -d "$build/sim" ]; then return 0; fi
  for name in wlanapi.dll "$sim_com_dll"; do
    file=$(sim_built "$name")
    if [ -n "$file" ]; then cp "$file" "$program_dir/"; fi
  done
  [ -f "$program_dir/$sim_com_dll" ] || return 0
  # The COM server's network list takes the wire changes from the control
  # program: one without the other is no simulated laptop.
  file=$(sim_built "$sim_control_exe")
  [ -n "$file" ] || die "up: $sim_com_dll is built but $sim_control_exe is not (target sim_control)"
  cp "$file" "$program_dir/"
  start_control
}

# The service installed and started on an empty log (each up is a fresh
# boot), until its worker has made its start decisions.
boot_service() {
  rm -f "$prefix"/drive_c/users/*/AppData/Roaming/zvrLog/Tessarine*.log
  install_service
  start_service
  wait_for_worker 0
}

# say_up STARTED: what up made, and how long it took since STARTED.
say_up() {
  local dlls=() name
  for name in wlanapi.dll "$sim_com_dll"; do
    if [ -f "$program_dir/$name" ]; then dlls+=("$name"); fi
  done
  echo "up: $service RUNNING in namespace $ns (prefix $prefix) after $((SECONDS - $1)) s"
  if ((${#dlls[@]} == 0)); then
    echo "up: no simulated devices (not built, or --no-sim): the service runs against Wine's own platform"
    return 0
  fi
  echo "up: simulated devices beside the program: ${dlls[*]}"
  if [ -f "$program_dir/$sim_com_dll" ]; then
    echo "up: $sim_com_dll serves the network list manager, the MBN interface manager and the WMI locator;" \
      "$sim_control_exe tells its network list when a wire change is complete"
  fi
}

verb_restart() {
  [ $# -eq 0 ] || die "restart: no arguments"
  require_up
  restart_service
  echo "restart: $service stopped and started again (RUNNING)"
}

verb_down() {
  [ $# -eq 0 ] || die "down: no arguments"
  local was=0 started=$SECONDS removed=0
  if [ -d "$state" ] || ns_exists "$ns" || ns_exists "$peers" || session_alive; then was=1; fi
  teardown
  if ((was)); then
    local what="session ended, namespaces $ns and $peers removed"
    ((removed)) && what="$service stopped and removed; $what"
    echo "down: $what ($((SECONDS - started)) s)"
  else
    echo "down: nothing was up"
  fi
}

# Everything up made, whatever exists of it.
# Sets removed=1 when it removed an installed service.
teardown() {
  removed=0
  if session_in_laptop && [ "$(service_state)" != "not installed" ]; then
    wine_do 90 net stop "$service" >/dev/null || true
    remove_service
    removed=1
  fi
  # Wine's own COM classes back (the session is needed; without one they
  # are put back by the next up).
  if [ -f "$wine_classes" ] && session_in_laptop; then
    (restore_wine_classes) || true
  fi
  end_session
  remove_namespace "$ns"
  remove_namespace "$peers"
  rm -rf "$state"
}

session_alive() { [ -n "$(prefix_pids)" ]; }

# Whether the laptop's namespace is there with a session of the prefix.
session_in_laptop() { ns_exists "$ns" && session_alive; }
