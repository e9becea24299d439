#!/usr/bin/env bash
# The network library's Ethernet tests against real Linux interfaces, seen
# through Wine's IP Helper (tests/netns).
#   netns-test.sh PROBE.exe PREFIX
# PROBE.exe is netns_probe; PREFIX is a Wine prefix of this test's own
# (created on first use), never the one the other tests share.
#
# Wine's IP Helper answers from a helper that the session's first program
# starts, in the network namespace the session started in. So the script
# builds a network namespace of its own, starts PREFIX's session inside it,
# and then, scenario by scenario, changes the namespace's interfaces and
# runs the probe's matching tests (the session sees each change at its next
# call; two sessions in all, see below). Each interface is one end of a veth
# pair whose other end lives in a second namespace of the run: inside the
# tested namespace it would be a second Ethernet adapter, and in the
# machine's own namespace it would show up to everything else that runs
# there.
#
# Needs root (ip netns): without it the test fails, it is not skipped.
# Removes both namespaces, their interfaces and PREFIX's Wine session at the
# end, whatever happened. Exits 0 only when every scenario passed.
set -euo pipefail

if [ $# -ne 2 ]; then
  echo "usage: $0 PROBE.exe PREFIX" >&2
  exit 2
fi
probe=$(realpath -m "$1")
prefix=$(realpath -m "$2")
here=$(cd "$(dirname "$0")" && pwd)

fail() {
  echo "netns-test: FAILED: $*" >&2
  exit 1
}

[ -f "$probe" ] || fail "no probe program at $probe"

# shellcheck source=scripts/netns-run.sh
. "$here/netns-run.sh"

ethernet=eth0
vpn=VPN0
export TESSARINE_NETNS=1 TESSARINE_NETNS_ETHERNET=$ethernet TESSARINE_NETNS_VPN=$vpn

failed=()
passed=0

# Runs the probe's tests matching FILTER, which must be COUNT tests, all
# passing. Under Wine a probe that dies of a fault exits 0, so its output
# must also be free of failed tests and of Wine's crash reports. A failure
# is recorded, with the probe's output and the namespace's interfaces as
# evidence, and the run goes on.
scenario() {
  local label=$1 filter=$2 count=$3 output rc=0
  output=$(in_ns wine "$probe" --gtest_filter="$filter" --gtest_color=no </dev/null 2>&1) || rc=$?
  output=${output//$'\r'/}
  if ((rc == 0)) && grep -qE "^\[  PASSED  \] $count tests?\.$" <<<"$output" &&
    ! grep -qE '^\[  FAILED  \]|Unhandled exception: |wine: Unhandled|terminate called' <<<"$output"; then
    echo "netns-test: ok    $label ($filter)"
    passed=$((passed + 1))
  else
    echo "netns-test: FAIL  $label ($filter): exit code $rc, expected $count passing test(s)"
    echo "$output" | sed 's/^/    /'
    echo "    interfaces in $ns:"
    ip -n "$ns" -br addr show | sed 's/^/      /'
    echo "    adapters as Wine lists them:"
    in_ns wine "$probe" --gtest_filter=NetnsDump.Adapters </dev/null 2>&1 | tr -d '\r' |
      grep -E '^(Get|  index)' | sed 's/^/      /' || true
    failed+=("$label")
  fi
}

started=$SECONDS

# A session sees interfaces appear and their links and addresses change, but
# keeps every interface it has once seen, under the name it had then (a
# deleted one stays listed, down, as "0.0.0.0", or with the address of a
# newer interface of that name). So the scenarios come in two sessions, each
# of which only adds: a to c, then d to f after the first interface is gone.
start_session

# a. Nothing but loopback.
scenario "a. loopback only" NetnsProbe.NoEthernet 1

# b. One Ethernet interface, up, without an address.
add_interface "$ethernet" "tse$$"
scenario "b. $ethernet up without an address" NetnsProbe.EthernetWithoutAddress 1

# c. The same interface with an address.
ip -n "$ns" addr add 10.213.1.2/24 dev "$ethernet"
scenario "c. $ethernet with 10.213.1.2/24" NetnsProbe.EthernetWithAddress 1

# d. Only the VPN-looking interface, with an address, in a new session.
# Deleting one end of a pair deletes both.
end_session
ip -n "$ns" link del "$ethernet"
start_session
add_interface "$vpn" "tsv$$"
ip -n "$ns" addr add 10.213.2.2/24 dev "$vpn"
scenario "d. only $vpn with 10.213.2.2/24" NetnsProbe.VpnOnly 1

# e. The ordinary interface again, created after the VPN one: Wine lists
# adapters by interface index, so the VPN one comes first.
add_interface "$ethernet" "tse$$"
ip -n "$ns" addr add 10.213.1.2/24 dev "$ethernet"
vpn_index=$(interface_index "$vpn")
ethernet_index=$(interface_index "$ethernet")
((vpn_index < ethernet_index)) ||
  fail "$vpn has index $vpn_index, not below $ethernet's $ethernet_index: Wine would list it second"
scenario "e. $vpn then $ethernet, both with addresses" NetnsProbe.VpnThenEthernet 1

# f. The per-connection lookup by adapter name, in the same namespace.
TESSARINE_NETNS_ETHERNET_GUID=$(adapter_guid "$ethernet")
TESSARINE_NETNS_VPN_GUID=$(adapter_guid "$vpn")
export TESSARINE_NETNS_ETHERNET_GUID TESSARINE_NETNS_VPN_GUID
scenario "f. lookup of $ethernet $TESSARINE_NETNS_ETHERNET_GUID and $vpn $TESSARINE_NETNS_VPN_GUID" \
  'NetnsProbe.Lookup*' 3

echo "netns-test: $passed scenario(s) passed, ${#failed[@]} failed, in $((SECONDS - started)) s after setup"
if ((${#failed[@]})); then
  printf 'netns-test: failed: %s\n' "${failed[@]}" >&2
  exit 1
fi
