# shellcheck shell=bash
# The switches a person flips, written into the simulation's key: the
# user's Wi-Fi and mobile-broadband switches, airplane mode, the firmware's
# settings (read by the service at its start, so the service is restarted)
# and whether a modem is there.

# on_off VERB VALUE: VALUE must be on or off, and the only argument.
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
