# shellcheck shell=bash disable=SC2154 # prefix and here are the caller's
# Sourced by netns-test.sh and bench-ethernet.sh: a network namespace of
# the run's own with a Wine session of PREFIX started inside it
# (netns-lib.sh), so that Wine's IP Helper sees exactly the interfaces made
# there.
#
# Before sourcing, set: prefix (a Wine prefix of the caller's own), here
# (the scripts folder), and a function fail MESSAGE. After sourcing: ns, the
# namespace; the functions of netns-lib.sh (in_ns, start_session,
# end_session...); add_interface NAME OUTSIDE-NAME; interface_index NAME;
# adapter_guid NAME. An EXIT trap ends the session and removes both
# namespaces, whatever happened.

[ "$(id -u)" -eq 0 ] || fail "ip netns needs root; run as root"
command -v ip >/dev/null || fail "ip (iproute2) is not installed; run scripts/setup.sh"
command -v wine >/dev/null || fail "wine is not installed; run scripts/setup.sh"

# shellcheck source=scripts/wine-env.sh
. "$here/wine-env.sh"
# shellcheck source=scripts/netns-lib.sh
. "$here/netns-lib.sh"
wine_env "$prefix"

# One run at a time per prefix: a second would end the first one's session.
mkdir -p "$(dirname "$prefix")"
exec 9>"$prefix.netns.lock"
flock -w 120 9 || fail "another run still holds $prefix.netns.lock after 120 s"

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
end_session

ns=tessarine-netns-$$         # where Wine runs and the tested interfaces live
peers=tessarine-netns-$$-peer # the other ends of the veth pairs

cleanup() {
  local status=$?
  set +e
  end_session
  local left
  left=$(ip netns pids "$ns" 2>/dev/null)
  [ -z "$left" ] || echo "netns: ending processes left in $ns: $left" >&2
  remove_namespace "$ns"
  remove_namespace "$peers"
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

add_namespace "$ns" || fail "could not create network namespace $ns (ip netns needs root)"
add_namespace "$peers" || fail "could not create network namespace $peers (ip netns needs root)"

# The prefix is created, if missing, inside the namespace too; wine-run.sh
# waits for that first session to end.
in_ns bash "$here/wine-run.sh" "$prefix"

# An interface NAME inside the namespace, up, as one end of a veth pair whose
# other end (named after the run) stays in the peers' namespace.
add_interface() {
  add_veth "$1" "$2"
  ip -n "$ns" link set "$1" up
}

interface_index() { ip -n "$ns" -o link show dev "$1" | cut -d: -f1; }

# The adapter name Wine gives the interface: its index in upper-case hex.
adapter_guid() { printf '{%08X-0000-0000-0000-4E6574446576}' "$(interface_index "$1")"; }
