# Sourced by netns-test.sh and bench-ethernet.sh: a network namespace of
# the run's own with a Wine session of PREFIX started inside it, so that
# Wine's IP Helper sees exactly the interfaces made there.
#
# Before sourcing, set: prefix (a Wine prefix of the caller's own), here
# (the scripts folder), and a function fail MESSAGE. After sourcing: ns, the
# namespace; in_ns COMMAND...; start_session / end_session; add_interface
# NAME OUTSIDE-NAME; interface_index NAME; adapter_guid NAME. An EXIT trap
# ends the session and removes both namespaces, whatever happened.
#
# Each interface is one end of a veth pair whose other end lives in a second
# namespace of the run: inside the tested namespace it would be a second
# Ethernet adapter, and in the machine's own namespace it would show up to
# everything else that runs there.

[ "$(id -u)" -eq 0 ] || fail "ip netns needs root; run as root"
command -v ip >/dev/null || fail "ip (iproute2) is not installed; run scripts/setup.sh"
command -v wine >/dev/null || fail "wine is not installed; run scripts/setup.sh"

export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY

# One run at a time per prefix: a second would end the first one's session.
# Every program the run starts gets the lock's descriptor closed (in_ns and
# the session's first program), so that a session left by a killed run
# does not hold the lock.
mkdir -p "$(dirname "$prefix")"
exec 8>"$prefix.netns.lock"
flock -w 120 8 || fail "another run still holds $prefix.netns.lock after 120 s"

# A run killed outright (a ctest timeout) leaves its namespaces behind:
# remove those whose run has ended. Then end any session of this prefix
# left by such a run, wherever it started.
for stale in $(ip netns list 2>/dev/null | awk '{print $1}' | grep -E '^tessarine-netns-[0-9]+(-peer)?$' || true); do
  pid=${stale#tessarine-netns-}
  pid=${pid%-peer}
  if ! kill -0 "$pid" 2>/dev/null; then
    ip netns del "$stale" 2>/dev/null || true
  fi
done
wineserver -k 2>/dev/null || true
wineserver -w 2>/dev/null || true

ns=tessarine-netns-$$         # where Wine runs and the tested interfaces live
peers=tessarine-netns-$$-peer # the other ends of the veth pairs
session=0

cleanup() {
  local status=$?
  set +e
  ((session)) && end_session
  # Anything of the run still in the namespace would keep it alive.
  local left
  left=$(ip netns pids "$ns" 2>/dev/null)
  if [ -n "$left" ]; then
    echo "netns: ending processes left in $ns: $left" >&2
    # shellcheck disable=SC2086
    kill -KILL $left 2>/dev/null
  fi
  ip netns del "$ns" 2>/dev/null
  ip netns del "$peers" 2>/dev/null
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

ip netns add "$ns" || fail "could not create network namespace $ns (ip netns needs root)"
ip netns add "$peers" || fail "could not create network namespace $peers (ip netns needs root)"
ip -n "$ns" link set lo up
ip -n "$peers" link set lo up

in_ns() { ip netns exec "$ns" "$@" 8>&-; }

# The prefix is created, if missing, inside the namespace too; wine-run.sh
# waits for that first session to end.
in_ns bash "$here/wine-run.sh" "$prefix"

# Starts the prefix's persistent session inside the namespace. Its first
# program starts the background programs, IP Helper's answerer among them:
# detached from our output, whose pipe they would keep open.
start_session() {
  session=1
  in_ns wineserver -p
  setsid ip netns exec "$ns" wine cmd /c exit </dev/null >/dev/null 2>&1 8>&- || true
}

end_session() {
  wineserver -k 2>/dev/null || true
  wineserver -w 2>/dev/null || true
  session=0
}

# An interface NAME inside the namespace, up, as one end of a veth pair whose
# other end (named after the run) stays in the peers' namespace.
add_interface() {
  local name=$1 outside=$2
  ip -n "$peers" link add "$outside" type veth peer name "$name" netns "$ns"
  ip -n "$peers" link set "$outside" up
  ip -n "$ns" link set "$name" up
}

interface_index() { ip -n "$ns" -o link show dev "$1" | cut -d: -f1; }

# The adapter name Wine gives the interface: its index in upper-case hex.
adapter_guid() { printf '{%08X-0000-0000-0000-4E6574446576}' "$(interface_index "$1")"; }

