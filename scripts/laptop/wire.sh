# shellcheck shell=bash
# The wires: plug (link up, then the address, at once or after a DHCP delay)
# and pull (addresses flushed, then link down), each told to the simulated
# network list once complete. state/wires: one line per wire ever plugged
# in this run, "NAME NUMBER"; the number gives the peer's name and the
# subnet 192.168.(77+NUMBER).0/24.

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
  local number made=""
  number=$(wire_number_or_new "$name")
  if ! wire_exists "$name"; then
    make_wire "$name" "$number"
    made="new wire, "
  elif link_up "$name" && [ -n "$(ip -n "$ns" -4 -o addr show dev "$name")" ]; then
    die "plug: $name is already plugged"
  fi
  # The moment each change is complete is taken before the network list is
  # told: the service's reaction is timed from it (scripts/reaction.awk).
  if [ "$dhcp" != 0 ]; then
    plug_after_dhcp "$name" "$(wire_address "$number")" "$dhcp" "$made"
  else
    plug_at_once "$name" "$(wire_address "$number")" "$made"
  fi
}

# plug_after_dhcp NAME ADDRESS SECONDS MADE: the link up, then the address
# after SECONDS.
plug_after_dhcp() {
  local name=$1 address=$2 dhcp=$3 made=$4 ready
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
}

# plug_at_once NAME ADDRESS MADE: one ip program for both, a DHCP that
# answers at once.
plug_at_once() {
  local name=$1 address=$2 made=$3 ready
  ip -n "$ns" -batch - <<<"link set $name up
addr flush dev $name
addr add $address dev $name" || die "plug: could not bring $name up with its address"
  ready=$EPOCHREALTIME
  wires_changed
  echo "plug: $name link up (${made}address $address at once) at $(stamp_of "$ready")"
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

wire_number() { awk -v n="$1" '$1 == n { print $2 }' "$state/wires" 2>/dev/null; }

# wire_number_or_new NAME: the wire's number, given it (the next) when it
# has none yet.
wire_number_or_new() {
  local number
  number=$(wire_number "$1")
  if [ -z "$number" ]; then
    number=$(wc -l <"$state/wires")
    echo "$1 $number" >>"$state/wires"
  fi
  echo "$number"
}

# make_wire NAME NUMBER: a new wire whose peer end has the subnet's first
# address.
make_wire() {
  add_veth "$1" "peer$2" || die "plug: could not create the wire $1"
  ip -n "$peers" addr add "192.168.$((77 + $2)).1/24" dev "peer$2"
}

wire_exists() { ip -n "$ns" link show dev "$1" >/dev/null 2>&1; }

link_up() { ip -n "$ns" -o link show dev "$1" | grep -q '<[^>]*\bUP\b'; }

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
