# shellcheck shell=bash
# The simulation's control program (TessarineSimControl.exe), which up
# starts in the laptop's session when the simulated COM server is there:
# its input and output are two FIFOs of state/, so a request costs a
# fraction of a millisecond where a `reg` program costs most of a second.
# When plug or pull has finished a change of the wires, the control program
# raises WireChange in the simulation's key, and the simulated network list
# reads the adapters once and announces the change as one transition; it
# counts the events it delivers and those the service has handled, so the
# controller can wait until the service is idle.

idle_bound=30 # seconds the service gets to handle a network event

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
  if ! control 60 ping || [ "$answer" != pong ]; then
    die "up: the simulation's control program did not start (see $state/control.log)"
  fi
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
# has handled what it announced. Prints a note, under the verb's name, when
# no network list took it.
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
