# shellcheck shell=bash
# The simulated laptop's names, and the looks into it that the controller
# (scripts/laptop.sh and the verbs in this folder) and the laptop's tests
# (tests/laptop/) share. Sourcing it names the laptop after
# TESSARINE_BUILD_DIR and TESSARINE_LAPTOP_HOME and sets the Wine
# environment of its prefix; it starts no program of the laptop.
#
# The laptop is a namespace pair with the prefix's Wine session inside one
# of them (scripts/netns-lib.sh): the laptop's end of each wire lives in
# the laptop's namespace, the other end in the peer namespace.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/wine-env.sh
source "$root/scripts/wine-env.sh"
# shellcheck source=scripts/netns-lib.sh
source "$root/scripts/netns-lib.sh"

build=$(realpath -m "${TESSARINE_BUILD_DIR:-$root/build}")
home=$(realpath -m "${TESSARINE_LAPTOP_HOME:-$build/laptop}")
prefix=$home/prefix
state=$home/state
# Wine's own registration of sim_classes, as a .reg file that restores it;
# outside state/ so that it survives a killed run.
wine_classes=$home/wine-classes.reg
# Named after the home, so that two homes make two independent laptops.
tag=$(printf '%s' "$home" | sha1sum | cut -c1-8)
ns=tessarine-laptop-$tag
peers=tessarine-laptop-$tag-peer

service=Tessarine
# The simulation's copy of the program, in the prefix's drive C.
program_dir=$prefix/drive_c/TessarineLaptop
program_dir_win='C:\TessarineLaptop'
# The administrators' companion, beside the program when built.
diag_exe=TessarineDiag.exe
sim_com_dll=TessarineSimDevices.dll
sim_control_exe=TessarineSimControl.exe
# The classes the simulated COM server serves (CLSID_NetworkListManager,
# CLSID_MbnInterfaceManager, CLSID_WbemLocator).
sim_classes=('{DCB00C01-570F-4A9B-8D69-199FDBA5723B}' '{BDFEE05B-4418-11DD-90ED-001C257CCFF1}'
  '{4590F811-1D3A-11D0-891F-00AA004B2E24}')
classes_key='HKEY_LOCAL_MACHINE\Software\Classes\CLSID'
sim_key='HKEY_LOCAL_MACHINE\SOFTWARE\Tessarine Simulation'
# src/state/RegistryPaths.h: kAirplaneModeKey, kWlanPowerStatusKey, kWwanPowerStatusKey.
airplane_key='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\RadioManagement\SystemRadioState'
wlan_power_key='HKEY_LOCAL_MACHINE\SOFTWARE\QX\QX Brisa UWP\WlanPowerStatus'
wwan_power_key='HKEY_LOCAL_MACHINE\SOFTWARE\QX\QX Brisa UWP\WwanPowerStatus'

wine_env "$prefix"

# wine_do SECONDS PROGRAM ARGS...: a Windows program in the laptop's session,
# bounded, its output without carriage returns, its exit code kept.
wine_do() {
  local limit=$1
  shift
  ip netns exec "$ns" timeout "$limit" wine "$@" </dev/null 2>&1 9>&- | tr -d '\r'
  return "${PIPESTATUS[0]}"
}

# The service's log file (the newest, should the prefix hold more than one
# user's); nothing before the service has written one.
log_file() {
  find "$prefix"/drive_c/users -path '*/AppData/Roaming/zvrLog/Tessarine.log' -printf '%T@ %p\n' 2>/dev/null |
    sort -rn | head -n 1 | cut -d' ' -f2-
}
