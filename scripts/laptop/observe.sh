# shellcheck shell=bash
# Looking at the laptop while it runs: wait (until radios and power status
# read given values), idle (until the service handles no network event),
# wakeups (the service process's context switches), log, and diag
# (TessarineDiag.exe in the laptop's session).

# wait WHAT VALUE [WHAT VALUE...] [SECONDS]: polls until each WHAT reads its
# VALUE, and prints how long it took: the time from the verb's start to the
# end of the poll that saw every value.
verb_wait() {
  local bound=30 wants=()
  while [ $# -gt 0 ]; do
    if [ $# -eq 1 ] && [[ $1 =~ ^[0-9]+([.][0-9]+)?$ ]]; then
      bound=$1
      break
    fi
    check_want "$@"
    wants+=("$1 $2")
    shift 2
  done
  ((${#wants[@]})) || die "wait: what? (usage: $me wait wifi|wwan on|off ... [SECONDS])"
  require_up
  poll "$bound" "${wants[@]}"
}

# check_want WHAT VALUE...: WHAT is one wait knows and VALUE one it takes.
check_want() {
  case $1 in
    wifi | wwan)
      [ $# -ge 2 ] || die "wait: $1 needs on or off"
      [[ $2 == on || $2 == off ]] || die "wait: $1 is on or off, not '$2'"
      ;;
    wlanpower | wwanpower)
      [ $# -ge 2 ] || die "wait: $1 needs True or False"
      [[ $2 == True || $2 == False ]] || die "wait: $1 is True or False, not '$2'"
      ;;
    *) die "wait: say wifi|wwan on|off or wlanpower|wwanpower True|False, then SECONDS, not '$1'" ;;
  esac
}

# poll BOUND WANT...: looks until every WANT ("WHAT VALUE") is seen; exit 1
# after BOUND seconds.
poll() {
  local bound=$1 dir=$state/wait.$$ start deadline now polls=0 unread=0 seen missing
  shift
  rm -rf "$dir"
  mkdir -p "$dir"
  start=$(date +%s.%N)
  deadline=$(awk -v s="$start" -v b="$bound" 'BEGIN { printf "%.3f", s + b }')
  while :; do
    polls=$((polls + 1))
    look "$dir" "$@"
    now=$(date +%s.%N)
    seen=$(seen_values "$dir" "$@")
    missing=$(missing_values "$dir" "$@")
    if [ -z "$missing" ]; then
      rm -rf "$dir"
      printf 'wait:%s after %.1f s (%d polls)\n' "$seen" "$(awk -v a="$start" -v b="$now" 'BEGIN { print b - a }')" "$polls"
      return 0
    fi
    # A look that read nothing (Wine's reg, on a busy machine, now and then
    # answers a query with no output) is no answer: look again, a few times
    # at most, even past the bound, so "now" means the state, not the reader.
    if [[ $seen == *"<none>"* ]] && ((unread < 5)); then
      unread=$((unread + 1))
      sleep 0.2
      continue
    fi
    if awk -v n="$now" -v d="$deadline" 'BEGIN { exit !(n >= d) }'; then
      rm -rf "$dir"
      echo "wait: not yet$missing after $bound s ($polls polls); last seen:$seen" >&2
      exit 1
    fi
    sleep 0.05
  done
}

# look DIR WANT...: one reg query per key the WANTs involve (the
# simulation's key for wifi and wwan, the power status keys for wlanpower
# and wwanpower), side by side: one Wine program costs 0.3 to 1 s, so a
# look is as cheap as it can be, and its cost is the resolution of the
# time wait prints.
look() {
  local dir=$1 asked=" ${*:2} "
  [[ $asked == *" wifi "* || $asked == *" wwan "* ]] && { wine_do 30 reg query "$sim_key" >"$dir/sim" || true; } &
  [[ $asked == *" wlanpower "* ]] && { wine_do 30 reg query "$wlan_power_key" /v PowerOnOff >"$dir/wlanpower" || true; } &
  [[ $asked == *" wwanpower "* ]] && { wine_do 30 reg query "$wwan_power_key" /v PowerOnOff >"$dir/wwanpower" || true; } &
  wait
}

# looked DIR WHAT: WHAT's value in the last look.
looked() {
  case $2 in
    wifi) reg_value "$(cat "$1/sim")" WifiRadio ;;
    wwan) reg_value "$(cat "$1/sim")" MobileBroadbandRadio ;;
    *) reg_value "$(cat "$1/$2")" PowerOnOff ;;
  esac
}

# seen_values DIR WANT...: " WHAT VALUE" for each WANT, as the last look saw it.
seen_values() {
  local dir=$1 want
  shift
  for want in "$@"; do
    printf ' %s %s' "${want% *}" "$(looked "$dir" "${want% *}")"
  done
}

# missing_values DIR WANT...: " WANT" for each WANT the last look did not see.
missing_values() {
  local dir=$1 want
  shift
  for want in "$@"; do
    if [ "$(looked "$dir" "${want% *}")" != "${want#* }" ]; then printf ' %s' "$want"; fi
  done
}

verb_idle() {
  local bound=${1-$idle_bound} delivered handled
  [ $# -le 1 ] || die "idle: one argument only (SECONDS)"
  if ! { [[ $bound =~ ^[0-9]+$ ]] && ((bound <= 600)); }; then
    die "idle: SECONDS is a whole number up to 600, not '$bound'"
  fi
  require_up
  if ! sim_running; then
    echo "idle: no simulated network list (no network event can come)"
    return 0
  fi
  local start=$EPOCHREALTIME
  wait_idle "$bound"
  control 10 idle 0 || die "the simulation's control program does not answer"
  read -r _ _ delivered handled <<<"$answer"
  printf 'idle: %d network events delivered, %d handled (waited %.3f s)\n' "$delivered" "$handled" \
    "$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { print b - a }')"
}

verb_wakeups() {
  local seconds=${1-10}
  [ $# -le 1 ] || die "wakeups: one argument only (SECONDS)"
  if ! { [[ $seconds =~ ^[0-9]+$ ]] && ((seconds >= 1 && seconds <= 600)); }; then
    die "wakeups: SECONDS is a whole number from 1 to 600, not '$seconds'"
  fi
  require_up
  local pid before after start end
  pid=$(service_pid)
  [ -n "$pid" ] || die "wakeups: $service's process is not running"
  before=$(thread_switches "$pid")
  start=$EPOCHREALTIME
  sleep "$seconds"
  after=$(thread_switches "$pid")
  end=$EPOCHREALTIME
  [ -d "/proc/$pid" ] || die "wakeups: $service's process ended during the count"
  say_wakeups "$start" "$end" "$before" "$after"
}

# thread_switches PID: one line per thread of the process, "TID COUNT": its
# voluntary and involuntary context switches so far (each is a wake-up).
thread_switches() {
  local task
  for task in "/proc/$1"/task/*; do
    awk -v t="${task##*/}" '/^(voluntary|nonvoluntary)_ctxt_switches:/ { sum += $2 } END { if (NR) print t, sum + 0 }' \
      "$task/status" 2>/dev/null
  done
}

# say_wakeups START END BEFORE AFTER: the count's line. Per thread: what it
# did in the count (all of it for a thread that came); a thread that ended
# took its count with it, and the line says so.
say_wakeups() {
  awk -v a="$1" -v b="$2" '
    FNR == NR { before[$1] = $2; next }
    { n += $2 - ($1 in before ? before[$1] : 0); threads++; if (!($1 in before)) came++; seen[$1] = 1 }
    END {
      for (t in before) if (!(t in seen)) went++
      note = ""
      if (came || went) note = sprintf("; %d thread(s) came and %d went during the count", came, went)
      printf "wakeups: %.1f per second (%d context switches of the service process'"'"'s %d threads in %.1f s%s)\n", n / (b - a), n, threads, b - a, note
    }' <(echo "$3") <(echo "$4")
}

verb_log() {
  local lines=${1-20}
  [ $# -le 1 ] || die "log: one argument only (N)"
  [[ $lines =~ ^[0-9]+$ ]] || die "log: N is a number of lines, not '$lines'"
  require_up
  local file
  file=$(log_file)
  [ -n "$file" ] || die "log: the service has written no log yet"
  tail -n "$lines" "$file" | tr -d '\r'
}

# diag ARGS...: TessarineDiag.exe, beside the program, in the laptop's
# session (so it reads the simulated devices as the service does); its
# output, and its exit code as the verb's.
verb_diag() {
  require_up
  [ -f "$program_dir/$diag_exe" ] || die "diag: $diag_exe is not on the laptop (build the target TessarineDiag, then up)"
  local rc=0
  wine_do 60 "$program_dir_win\\$diag_exe" "$@" || rc=$?
  return "$rc"
}
