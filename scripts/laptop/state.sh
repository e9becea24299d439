# shellcheck shell=bash
# The state verb: one screen of the laptop: the simulation's radios, modem
# and firmware, airplane mode, the persisted power status, the simulated
# network list's counters, the wires, the service. Values edited by hand
# show as they are, with what the simulated devices make of them
# (sim/SimulationState.h reads them).

verb_state() {
  [ $# -eq 0 ] || die "state: no arguments"
  require_up
  local dir=$state/query
  ask_all "$dir"
  echo "laptop $ns   service $service: $(service_in "$dir")"
  if grep -q "Unable to find" "$dir/sim"; then
    echo "  the simulation's key $sim_key is missing (deleted by hand?): the simulated"
    echo "  devices keep their radios; wifi, wwan, modem and firmware write it again"
  fi
  show_switches "$dir"
  show_network_events "$dir"
  rm -rf "$dir"
  show_wires
}

# ask_all DIR: every query of the screen, side by side: each Wine program
# takes most of a second on a busy machine. One that fails for another
# reason than a missing key or value (a Wine program killed by the bound) is
# asked once more, alone; sc query fails for a service that is not
# installed: that is an answer too.
ask_all() {
  local dir=$1 name
  rm -rf "$dir"
  mkdir -p "$dir"
  for name in sim netlist wlanpower wwanpower airplane service; do
    ask "$dir" "$name" &
  done
  wait
  for name in sim netlist wlanpower wwanpower airplane; do
    answered "$dir" "$name" || ask "$dir" "$name"
  done
}

# ask DIR NAME: query NAME, its output in DIR/NAME, its exit code in
# DIR/NAME.rc.
ask() {
  local dir=$1 name=$2 rc=0
  case $name in
    sim) wine_do 30 reg query "$sim_key" ;;
    netlist) wine_do 30 reg query "$sim_key\\Network List" ;;
    wlanpower) wine_do 30 reg query "$wlan_power_key" /v PowerOnOff ;;
    wwanpower) wine_do 30 reg query "$wwan_power_key" /v PowerOnOff ;;
    airplane) wine_do 30 reg query "$airplane_key" /ve ;;
    service) wine_do 30 sc query "$service" ;;
  esac >"$dir/$name" || rc=$?
  echo "$rc" >"$dir/$name.rc"
}

answered() { [ "$(cat "$1/$2.rc")" = 0 ] || grep -q "Unable to find" "$1/$2"; }

# queried DIR NAME VALUE: VALUE's data as query NAME found it.
queried() {
  if answered "$1" "$2"; then
    reg_value "$(cat "$1/$2")" "$3"
  else
    echo "<unreadable: reg query exit $(cat "$1/$2.rc")>"
  fi
}

service_in() {
  local svc
  svc=$(sed -n 's/^ *STATE *: *[0-9]* *\([A-Z_]*\).*/\1/p' "$1/service" | head -n 1)
  echo "${svc:-not installed}"
}

show_switches() {
  local dir=$1
  printf '  %-22s %s\n' \
    "Wi-Fi radio" "$(radio_note "$(queried "$dir" sim WifiRadio)")" \
    "mobile radio" "$(radio_note "$(queried "$dir" sim MobileBroadbandRadio)")" \
    "modem present" "$(modem_note "$(queried "$dir" sim ModemPresent)")" \
    "firmware LAN/WLAN" "$(firmware_note "$(queried "$dir" sim FirmwareLanWlanSwitching)")" \
    "firmware LAN/WWAN" "$(firmware_note "$(queried "$dir" sim FirmwareLanWwanSwitching)")" \
    "airplane mode" "$(airplane_note "$(queried "$dir" airplane '(Default)')")" \
    "WLAN PowerOnOff" "$(queried "$dir" wlanpower PowerOnOff)" \
    "WWAN PowerOnOff" "$(queried "$dir" wwanpower PowerOnOff)"
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

modem_note() {
  case $1 in
    0x1) echo "$1 (present)" ;;
    0x0) echo "$1 (absent)" ;;
    "<none>") echo "<none> (read as present)" ;;
    *) echo "$1  <- not 0 or 1: read as present" ;;
  esac
}

firmware_note() {
  if [ "$1" = "<none>" ]; then echo "<none> (served as Enable)"; else echo "$1"; fi
}

airplane_note() {
  case $1 in
    0x1) echo "on ($1)" ;;
    0x0) echo "off ($1)" ;;
    *) echo "$1" ;;
  esac
}

# The simulated network list's counters, once it has written them.
show_network_events() {
  local dir=$1 delivered handled wire_change wire_seen words hex='^0x[0-9a-fA-F]+$'
  delivered=$(queried "$dir" netlist EventsDelivered)
  handled=$(queried "$dir" netlist EventsHandled)
  wire_change=$(queried "$dir" sim WireChange)
  wire_seen=$(queried "$dir" netlist WireChangeSeen)
  [[ $delivered =~ $hex && $handled =~ $hex ]] || return 0
  words="$((delivered)) delivered, $((handled)) handled"
  if [[ $wire_change =~ $hex ]]; then words+="; wire changes $((wire_change))"; fi
  if [[ $wire_seen =~ $hex ]]; then words+=" (seen $((wire_seen)))"; fi
  printf '  %-22s %s\n' "network events" "$words"
}

# The wires the controller made, then interfaces made in the namespace by
# someone else.
show_wires() {
  local name number shown=" " any=0
  echo "  wires:"
  while read -r name number; do
    [ -n "$name" ] || continue
    shown+="$name "
    any=1
    if wire_exists "$name"; then
      wire_line "$name"
    else
      printf '    %-15s gone (deleted outside the controller)\n' "$name"
    fi
  done <"$state/wires"
  for name in $(ip -n "$ns" -o link show | awk -F': ' '{ sub(/@.*/, "", $2); print $2 }'); do
    [ "$name" = lo ] && continue
    [[ $shown == *" $name "* ]] && continue
    any=1
    wire_line "$name" " (not made by the controller)"
  done
  ((any)) || echo "    (none)"
}

# wire_line NAME [NOTE]: one wire: its link and addresses.
wire_line() {
  local link=down address
  if link_up "$1"; then link=up; fi
  address=$(ip -n "$ns" -4 -o addr show dev "$1" | awk '{ printf "%s%s", sep, $4; sep = " " }')
  printf '    %-15s link %-4s address %s%s\n' "$1" "$link" "${address:-none (0.0.0.0)}" "${2-}"
}
