# shellcheck shell=bash
# For the scripts that drive the simulated laptop from outside, as a person
# would (the demo, the benchmark, the laptop's tests): the controller, a
# laptop of their own that is down before and after them, and the
# service's reaction to a plug or a pull timed from its log.

scripts_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
controller=$scripts_dir/laptop.sh

laptop() { bash "$controller" "$@"; }

# own_laptop NAME: the laptop of the home build/NAME, unless
# TESSARINE_LAPTOP_HOME names another: never the one a person's laptop.sh
# uses.
own_laptop() {
  export TESSARINE_BUILD_DIR TESSARINE_LAPTOP_HOME
  TESSARINE_BUILD_DIR=$(realpath -m "${TESSARINE_BUILD_DIR:-$scripts_dir/../build}")
  TESSARINE_LAPTOP_HOME=${TESSARINE_LAPTOP_HOME:-$TESSARINE_BUILD_DIR/$1}
}

# Down now (a run killed outright may have left its laptop up) and at exit,
# whatever happens.
down_now_and_at_exit() {
  trap 'laptop down >/dev/null 2>&1 || true' EXIT
  laptop down >/dev/null
}

# reaction READY WIFI...: how the service reacted to the wire ready (or
# pulled) at READY, as the log times it (scripts/reaction.awk): "WIFI
# detection D service S platform P own O" for the first WIFI (on, off, or
# none: to the end of its handling) the log times, or "none". The log's
# queued writer may lag the service by a moment: it looks again, for 10 s
# at most. Fails when the log cannot be read.
reaction() {
  local ready=$1 tries log wifi figures
  shift
  for ((tries = 0; tries < 100; tries++)); do
    log=$(laptop log 5000) || return 1
    for wifi in "$@"; do
      figures=$(awk -v ready="$ready" -v wifi="$wifi" -f "$scripts_dir/reaction.awk" <<<"$log") ||
        return 1
      [ "$figures" = none ] || { echo "$wifi $figures"; return 0; }
    done
    sleep 0.1
  done
  echo none
}
