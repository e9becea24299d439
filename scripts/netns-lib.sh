# shellcheck shell=bash disable=SC2154 # ns, peers and prefix are the caller's
# A network namespace with a Wine session of a prefix started inside it, so
# that Wine's IP Helper sees exactly the interfaces made there: it answers
# from a helper program that the session's first program starts, and the
# namespace that helper runs in is the one every program of the session
# sees. Shared by the simulated laptop (scripts/laptop/) and the runs of
# netns-test.sh and bench-ethernet.sh (netns-run.sh). Sourcing it runs
# nothing.
#
# The caller sets ns (where Wine runs and the interfaces live), peers (the
# namespace of the interfaces' other ends) and prefix. Descriptor 9 is the
# caller's lock: it is closed in every program that may outlive the caller,
# so that a session left by a killed run never holds it.
#
# Each interface is one end of a veth pair whose other end lives in peers:
# inside ns it would be a second Ethernet adapter, and in the machine's own
# namespace it would show up to everything else that runs there.

in_ns() { ip netns exec "$ns" "$@" 9>&-; }

ns_exists() { ip netns list | grep -qE "^$1( |$)"; }

# add_namespace NAME: a new namespace with its loopback up.
add_namespace() { ip netns add "$1" && ip -n "$1" link set lo up; }

# remove_namespace NAME: the namespace, if it is there, and whatever still
# runs in it (a process left there would keep it alive).
remove_namespace() {
  ns_exists "$1" || return 0
  local left
  left=$(ip netns pids "$1" 2>/dev/null || true)
  # shellcheck disable=SC2086 # a list of process ids
  [ -z "$left" ] || kill -KILL $left 2>/dev/null || true
  ip netns del "$1"
}

# add_veth NAME OUTSIDE: a veth pair, its end NAME in ns (still down), its
# end OUTSIDE in peers, up.
add_veth() {
  ip -n "$peers" link add "$2" type veth peer name "$1" netns "$ns" &&
    ip -n "$peers" link set "$2" up
}

# Starts the prefix's persistent session inside ns. Its first program
# starts the background programs, IP Helper's answerer among them: detached
# from our output, whose pipe they would keep open.
start_session() {
  in_ns wineserver -p </dev/null >/dev/null 2>&1 || return 1
  setsid ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 9>&- || true
}

# Every process of the prefix, wherever it runs: the Wine binaries (the
# server and the programs) whose environment names the prefix. The
# caller's own shells carry WINEPREFIX too, so the binary counts.
prefix_pids() {
  local exe pid
  while IFS= read -r exe; do
    pid=${exe#/proc/}
    pid=${pid%/exe}
    tr '\0' '\n' 2>/dev/null <"/proc/$pid/environ" | grep -qxF "WINEPREFIX=$prefix" && echo "$pid"
  done < <(find /proc -mindepth 2 -maxdepth 2 -name exe -lname '*/wine*' 2>/dev/null)
  return 0
}

# Ends the prefix's session, wherever it runs, and every program of it:
# those still there after 5 s are killed.
end_session() {
  [ -d "$prefix" ] || return 0
  wineserver -k 2>/dev/null || true
  local tries left
  for ((tries = 0; tries < 50; tries++)); do
    [ -z "$(prefix_pids)" ] && return 0
    sleep 0.1
  done
  left=$(prefix_pids)
  # shellcheck disable=SC2086 # a list of process ids
  [ -z "$left" ] || kill -KILL $left 2>/dev/null || true
  return 0
}
