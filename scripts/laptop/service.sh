# shellcheck shell=bash
# The service under Wine's Service Control Manager in the laptop's session:
# its state, install, start, stop and removal, and its worker's start
# decisions read from its log.

running_bound=60 # seconds to wait for RUNNING or STOPPED

# The service's state from sc query: RUNNING, STOPPED, ... or "not installed".
service_state() {
  local out
  out=$(wine_do 30 sc query "$service") || true
  sed -n 's/^ *STATE *: *[0-9]* *\([A-Z_]*\).*/\1/p' <<<"$out" | head -n 1 | grep . || echo "not installed"
}

wait_for_service() {
  local want=$1 deadline=$((SECONDS + running_bound)) now
  while :; do
    now=$(service_state)
    [ "$now" = "$want" ] && return 0
    ((SECONDS < deadline)) || die "the service is $now, not $want, after $running_bound s"
    sleep 0.3
  done
}

install_service() {
  local out
  out=$(wine_do 60 "$program_dir_win\\Tessarine.exe" -install) || true
  grep -q "is installed" <<<"$out" || die "Tessarine.exe -install: $(grep . <<<"$out" | head -n 1)"
}

remove_service() { wine_do 90 "$program_dir_win\\Tessarine.exe" -remove >/dev/null || true; }

start_service() {
  local out
  out=$(wine_do 90 net start "$service") || true
  wait_for_service RUNNING || die "net start: $(grep . <<<"$out" | tail -n 1)"
}

stop_service() {
  wine_do 90 net stop "$service" >/dev/null || true
  wait_for_service STOPPED
}

restart_service() {
  local before
  # A stop cuts off a network event the service is handling.
  wait_idle "$idle_bound"
  before=$(worker_starts)
  stop_service
  start_service
  wait_for_worker "$before"
}

# The lines with which the service's worker ends its start: the decisions
# made at start are taken once one of them is in the log.
worker_done='|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit
|CMainService::ServiceWorkerThread|WWAN Device enumeration failed
|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_MbnInterfaceManager) failed
|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) failed
|CMainService::ServiceWorkerThread|Exception in ServiceWorkerThread'

# How many times the worker has ended its start, by the log.
worker_starts() {
  local file
  file=$(log_file)
  [ -n "$file" ] || { echo 0; return; }
  grep -cF "$worker_done" "$file" || true
}

# wait_for_worker COUNT: until the log shows more than COUNT worker starts
# ended (bounded; the log is a file: each look costs no Wine program). Says
# so on stdout when the bound passes.
wait_for_worker() {
  local before=$1 deadline=$((SECONDS + running_bound))
  while (($(worker_starts) <= before)); do
    if ((SECONDS >= deadline)); then
      echo "$me: the service's worker had not ended its start after $running_bound s (see: $me log)"
      return 0
    fi
    sleep 0.1
  done
}

# The service's process (the Wine process of the simulation's copy of the
# program); nothing when it is not running.
service_pid() {
  local pid
  for pid in $(prefix_pids); do
    tr '\0' '\n' 2>/dev/null <"/proc/$pid/cmdline" | head -n 1 | grep -qixF "$program_dir_win\\Tessarine.exe" &&
      echo "$pid" && return 0
  done
  return 0
}
