# How long Tessarine took to switch the Wi-Fi radio after a wire became ready
# or was pulled, from the service's log (timestamps to the millisecond).
#
#   awk -v ready="2026/11/23 06:18:44.021" -v wifi=off -f scripts/reaction.awk Tessarine.log
#
# ready is the moment the wire was ready (plugged: link up with an address)
# or pulled, in the log's own clock format (`laptop.sh plug` and `pull` print
# it); wifi is the radio state the service sets (off after a plug, on after a
# pull), or "none" where the service sets no Wi-Fi (the user had it off):
# then the service's time runs to the end of its handling of the event.
# Prints one line:
#   detection MS service MS platform MS own MS
# detection: from ready to the network event reaching the service (the
# controller's word to the simulated network list, its read of the
# adapters, the delivery); service: from that event to the Wi-Fi radio set
# (the line after the last PHY set), or to the handler's exit line; platform:
# the part of the service's time spent inside platform calls (adapter
# listings, Wi-Fi queries and sets, the airplane-mode read), bracketed by the
# lines the service writes around them; own: service minus platform.
# Prints "none" when the log has no such event followed by the set (or the
# exit).

function stamp_ms(line,    y, m, d, era, yoe, doy, doe, days) {
    y = substr(line, 1, 4) + 0
    m = substr(line, 6, 2) + 0
    d = substr(line, 9, 2) + 0
    # Days since 1970-01-01 of the civil date (proleptic Gregorian).
    if (m <= 2) y -= 1
    era = int(y / 400)
    yoe = y - era * 400
    doy = int((153 * (m > 2 ? m - 3 : m + 9) + 2) / 5) + d - 1
    doe = yoe * 365 + int(yoe / 4) - int(yoe / 100) + doy
    days = era * 146097 + doe - 719468
    return ((days * 24 + substr(line, 12, 2)) * 60 + substr(line, 15, 2)) * 60000 + substr(line, 18, 6) * 1000
}

# segment_start(THREAD, NAME): a platform segment starts on THREAD.
function segment_start(thread, name) { start[thread, name] = now }
# segment_end(THREAD, NAME): it ends; its time counts for THREAD's event.
function segment_end(thread, name) {
    if ((thread, name) in start) {
        platform[thread] += now - start[thread, name]
        delete start[thread, name]
    }
}

BEGIN {
    FS = "|"
    if (ready == "" || (wifi != "on" && wifi != "off" && wifi != "none")) {
        print "usage: awk -v ready=STAMP -v wifi=on|off|none -f reaction.awk LOG" > "/dev/stderr"
        bad = 1
        exit 2
    }
    ready_ms = stamp_ms(ready)
    set_line = "New WIFI state : " (wifi == "on" ? 1 : 0)
    found = 0
}

# Once found, the rest is read but not looked at: leaving early would break
# the pipe of whoever writes the log into this program.
found { next }
{ sub(/\r$/, "") }
substr($0, 1, 23) < ready { next }

{
    now = stamp_ms($0)
    thread = $2
    where = $4
    text = $5
}

# The event: its handler's first line. A later event on the same thread is a
# later handler (the Wi-Fi set belongs to the last one before it).
$3 ~ /^TraceIn/ && where == "NLMEventHandler::NetworkConnectionConnectivityChanged" {
    event[thread] = now
    platform[thread] = 0
    next
}
!(thread in event) { next }

$3 ~ /^TraceIn/ && where == "NLMUtils::PrintAdapterInfo" { segment_start(thread, "addresses"); next }
where == "NLMUtils::PrintAdapterInfo" && (text ~ /^Memory allocation success/ || $3 ~ /^TraceOut/) {
    segment_end(thread, "addresses")
    next
}
$3 ~ /^TraceIn/ && (where == "NLMEventHandler::InitialiseAdapter" || where == "ServiceUtils::CheckWlanStatus" ||
                    where == "ServiceUtils::CheckAirplaneMode") { segment_start(thread, where); next }
$3 ~ /^TraceOut/ && (where == "NLMEventHandler::InitialiseAdapter" || where == "ServiceUtils::CheckWlanStatus" ||
                     where == "ServiceUtils::CheckAirplaneMode") { segment_end(thread, where); next }
# The PHY sets: from the count of PHYs to the last set's line.
where == "ServiceUtils::SwitchWlanStatus" && text ~ /^The number of supported PHY types/ { segment_start(thread, "sets"); next }
where == "ServiceUtils::SwitchWlanStatus" && text ~ /^Set WLAN state .* for PHY / {
    segment_end(thread, "sets")
    segment_start(thread, "sets")
    next
}
function report(thread) {
    printf "detection %d service %d platform %d own %d\n", event[thread] - ready_ms, now - event[thread],
        platform[thread], now - event[thread] - platform[thread]
    found = 1
}
wifi != "none" && where == "ServiceUtils::SwitchWlanStatus" && index(text, set_line) == 1 {
    delete start[thread, "sets"]
    report(thread)
    next
}
wifi == "none" && $3 ~ /^TraceOut/ && where == "NLMEventHandler::NetworkConnectionConnectivityChanged" {
    report(thread)
    next
}

END {
    if (!found && !bad)
        print "none"
}
