// switch_bench: the service's own time per wired event on the simulated
// laptop (tests/fakes/Laptop), pauses in virtual time, logging through the
// process logger as the service does (by default, to the queued log file).
//
// 1,000 plug and pull pairs are delivered to the service's network event
// sink; each figure is the wall time from the event's delivery to the
// sink's return, by which the last radio call the event causes has been
// made (the radio sets happen inside it; the notifications they cause
// switch nothing). Measured three ways in one run:
//   laptop      the Wi-Fi notifications and the modem's completions come on
//               threads of their own while the sink works, as on a machine;
//   sink alone  those deliveries held back, so only the service's own work
//               for the event runs (what the event costs the service);
//   silent      the sink alone with a logger without listeners (so the
//               difference is the logging).
// Beside them: the log records of one plug and one pull written alone
// through the process logger, and the registry accesses an event makes
// times the cost of one access (CheckAirplaneMode's open, query and close)
// - together the floor the prescribed records and reads set.
#include "BenchClock.h"
#include "BenchLog.h"
#include "BenchTable.h"

#include "fakes/Laptop.h"
#include "fakes/RecordingListener.h"
#include "logging/Logger.h"
#include "logging/LoggerSlot.h"
#include "platform/Api.h"
#include "platform/Format.h"
#include "radio/PowerStatus.h"

#include <process.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 5;
constexpr int kPairsPerRun = 200;  // 1,000 pairs in all
constexpr double kTargetMicroseconds = 1000.0;

// Registry keys opened or created through the seam, counted.
std::atomic<long> g_registryAccesses{0};
decltype(&::RegOpenKeyExW) g_open = nullptr;
decltype(&::RegCreateKeyExW) g_create = nullptr;

LSTATUS WINAPI CountedOpen(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY result)
{
    ++g_registryAccesses;
    return g_open(key, subKey, options, access, result);
}

LSTATUS WINAPI CountedCreate(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className, DWORD options, REGSAM access,
                             LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition)
{
    ++g_registryAccesses;
    return g_create(key, subKey, reserved, className, options, access, security, result, disposition);
}

struct EventTimes {
    std::vector<double> plugMedians, plugPercentiles, pullMedians, pullPercentiles;
    double accessesPerPlug = 0, accessesPerPull = 0;
    int failures = 0;
};

double Microseconds(std::chrono::nanoseconds time) { return static_cast<double>(time.count()) / 1000.0; }

// Plugs and pulls on a booted laptop; the delivery times of each run.
EventTimes MeasureEvents(fakes::Laptop& laptop)
{
    EventTimes times;
    long plugAccesses = 0, pullAccesses = 0;
    for (int run = 0; run < kRuns; ++run) {
        std::vector<double> plugs, pulls;
        for (int pair = 0; pair < kPairsPerRun; ++pair) {
            long before = g_registryAccesses;
            if (!laptop.Plug() || laptop.WifiOn())
                ++times.failures;
            plugs.push_back(Microseconds(laptop.NetworkList().LastDeliveryTime()));
            plugAccesses += g_registryAccesses - before;
            before = g_registryAccesses;
            if (!laptop.Pull() || !laptop.WifiOn())
                ++times.failures;
            pulls.push_back(Microseconds(laptop.NetworkList().LastDeliveryTime()));
            pullAccesses += g_registryAccesses - before;
        }
        times.plugMedians.push_back(bench::Median(plugs));
        times.plugPercentiles.push_back(bench::Quantile(plugs, 0.99));
        times.pullMedians.push_back(bench::Median(pulls));
        times.pullPercentiles.push_back(bench::Quantile(pulls, 0.99));
    }
    times.accessesPerPlug = static_cast<double>(plugAccesses) / (kRuns * kPairsPerRun);
    times.accessesPerPull = static_cast<double>(pullAccesses) / (kRuns * kPairsPerRun);
    return times;
}

// `sinkAlone`: the laptop's other deliveries are held back.
EventTimes MeasureOnALaptop(bool sinkAlone)
{
    fakes::Laptop::Options options;
    options.recordLog = false;
    fakes::Laptop laptop(options);
    EventTimes times;
    if (!laptop.Boot()) {
        times.failures = 1;
        return times;
    }
    if (sinkAlone) {
        laptop.Wlan().NotifyChanges(false);
        laptop.Broadband().SetDeliverCompletions(false);
    }
    times = MeasureEvents(laptop);
    bench::DrainLog();
    return times;
}

using Records = std::vector<QX::Shared::CqxLogListener::LogData>;

// The log records of the sink's own work for one plug and one pull.
std::pair<Records, Records> RecordsPerEvent()
{
    fakes::Laptop laptop;
    if (!laptop.Boot())
        return {};
    laptop.Wlan().NotifyChanges(false);
    laptop.Broadband().SetDeliverCompletions(false);
    fakes::RecordingLog plugLog;
    (void)laptop.Plug();
    Records plug = plugLog.Records();
    fakes::RecordingLog pullLog;
    (void)laptop.Pull();
    return {plug, pullLog.Records()};
}

// The records written alone through the process logger, per event.
std::vector<double> RecordsAloneMicroseconds(const Records& records)
{
    std::vector<double> medians;
    for (int run = 0; run < kRuns; ++run) {
        std::vector<double> events;
        for (int i = 0; i < kPairsPerRun; ++i) {
            const int64_t start = bench::Ticks();
            for (const auto& record : records)
                QX::Shared::Log(QX::Shared::GetLogger(), record.Level(), record.Function().c_str(), L"%s",
                                record.Message().c_str());
            events.push_back(bench::TicksToNanoseconds(bench::Ticks() - start) / 1000.0);
        }
        medians.push_back(bench::Median(events));
        bench::DrainLog();
    }
    return medians;
}

// One registry access as the service makes it, alone: open, query, close.
std::vector<double> RegistryAccessMicroseconds()
{
    QX::Shared::ScopedLoggerForTesting silent(QX::Shared::CqxLogger::Assemble({}));
    std::vector<double> medians;
    for (int run = 0; run < kRuns; ++run) {
        std::vector<double> calls;
        for (int i = 0; i < kPairsPerRun; ++i) {
            const int64_t start = bench::Ticks();
            (void)ServiceUtils::CheckAirplaneMode();
            calls.push_back(bench::TicksToNanoseconds(bench::Ticks() - start) / 1000.0);
        }
        medians.push_back(bench::Median(calls));
    }
    return medians;
}

unsigned __stdcall EmptyThread(void*) { return 0; }

// What the queued listener pays whenever a record finds no writer running:
// the runtime's thread start, here with the wait for the empty thread's end.
std::vector<double> ThreadStartMicroseconds()
{
    std::vector<double> medians;
    for (int run = 0; run < kRuns; ++run) {
        std::vector<double> starts;
        for (int i = 0; i < kPairsPerRun; ++i) {
            const int64_t start = bench::Ticks();
            const auto thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &EmptyThread, nullptr, 0, nullptr));
            if (thread != nullptr) {
                WaitForSingleObject(thread, INFINITE);
                CloseHandle(thread);
            }
            starts.push_back(bench::TicksToNanoseconds(bench::Ticks() - start) / 1000.0);
        }
        medians.push_back(bench::Median(starts));
    }
    return medians;
}

void Add(std::vector<bench::Figure>& table, const std::wstring& name, const std::vector<double>& samples,
         bool target = false)
{
    bench::Figure figure{name, L"us", samples, 1};
    if (target) {
        figure.goal = bench::Figure::Goal::AtMost;
        figure.target = kTargetMicroseconds;
    }
    table.push_back(figure);
}

std::vector<double> Difference(const std::vector<double>& minuend, const std::vector<double>& subtrahend)
{
    std::vector<double> result;
    for (size_t i = 0; i < minuend.size() && i < subtrahend.size(); ++i)
        result.push_back(minuend[i] - subtrahend[i]);
    return result;
}

std::vector<double> Scaled(const std::vector<double>& samples, double factor)
{
    std::vector<double> result;
    for (double sample : samples)
        result.push_back(sample * factor);
    return result;
}

}  // namespace

int wmain()
{
    QX::Shared::GetLogger();  // created before the first timing
    os::ScopedApiOverride counting;
    g_open = os::api().RegOpenKeyExW;
    g_create = os::api().RegCreateKeyExW;
    counting->RegOpenKeyExW = &CountedOpen;
    counting->RegCreateKeyExW = &CountedCreate;

    const auto [plugRecords, pullRecords] = RecordsPerEvent();
    const EventTimes laptop = MeasureOnALaptop(false);
    const EventTimes logged = MeasureOnALaptop(true);
    EventTimes silent;
    {
        QX::Shared::ScopedLoggerForTesting noListeners(QX::Shared::CqxLogger::Assemble({}));
        silent = MeasureOnALaptop(true);
    }
    const std::vector<double> access = RegistryAccessMicroseconds();
    const std::vector<double> plugRecordsAlone = RecordsAloneMicroseconds(plugRecords);
    const std::vector<double> pullRecordsAlone = RecordsAloneMicroseconds(pullRecords);
    const std::vector<double> threadStart = ThreadStartMicroseconds();

    std::fputws(os::FormatString(L"Wired events at the network event sink on the simulated laptop: %d plug and pull "
                                 L"pairs, default logging\n",
                                 kRuns * kPairsPerRun)
                    .c_str(),
                stdout);
    std::fputws(os::FormatString(L"Log records: %Iu per plug, %Iu per pull; registry accesses: %.1f per plug, %.1f "
                                 L"per pull\n",
                                 plugRecords.size(), pullRecords.size(), logged.accessesPerPlug, logged.accessesPerPull)
                    .c_str(),
                stdout);
    const int failures = laptop.failures + logged.failures + silent.failures;
    if (failures != 0)
        std::fputws(os::FormatString(L"%d events did not switch as expected\n", failures).c_str(), stdout);

    std::vector<bench::Figure> table;
    Add(table, L"laptop: plug, median", laptop.plugMedians);
    Add(table, L"laptop: plug, 99th percentile", laptop.plugPercentiles);
    Add(table, L"laptop: pull, median", laptop.pullMedians);
    Add(table, L"laptop: pull, 99th percentile", laptop.pullPercentiles);
    Add(table, L"sink alone: plug, median", logged.plugMedians, true);
    Add(table, L"sink alone: plug, 99th percentile", logged.plugPercentiles);
    Add(table, L"sink alone: pull, median", logged.pullMedians, true);
    Add(table, L"sink alone: pull, 99th percentile", logged.pullPercentiles);
    Add(table, L"silent: plug, median", silent.plugMedians);
    Add(table, L"silent: pull, median", silent.pullMedians);
    Add(table, L"plug, logging's share (sink alone - silent)", Difference(logged.plugMedians, silent.plugMedians));
    Add(table, L"pull, logging's share (sink alone - silent)", Difference(logged.pullMedians, silent.pullMedians));
    Add(table, os::FormatString(L"plug's %Iu records alone", plugRecords.size()), plugRecordsAlone);
    Add(table, os::FormatString(L"pull's %Iu records alone", pullRecords.size()), pullRecordsAlone);
    Add(table, L"one writer thread started and ended (empty)", threadStart);
    Add(table, L"one registry access (open, query, close)", access);
    Add(table, L"plug, registry's share (accesses x access)", Scaled(access, logged.accessesPerPlug));
    Add(table, L"pull, registry's share (accesses x access)", Scaled(access, logged.accessesPerPull));
    bench::PrintTable(table);
    return 0;
}
