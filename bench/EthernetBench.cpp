// ethernet_bench: the cost of one machine-wide Ethernet test
// (EthernetCheck::CheckEthernetConnectionStatusEx), logging through the
// process logger as the service does (by default, to the queued log file).
//
//   ethernet_bench          against the adapter-list model with 1 and 8
//                           adapters: the service's own share, without the
//                           operating system's call
//   ethernet_bench --real   against the system's IP Helper (run it where
//                           the adapters to measure are, e.g. in a network
//                           namespace: scripts/bench-ethernet.sh)
//
// Each figure is the median over the runs of a per-run median or 99th
// percentile of single calls, in microseconds. Beside each test the same
// run measures its two parts: the test with a logger that has no listener
// (the service's own work), and the test's own log records written alone
// through the process logger (the floor that the prescribed records set).
#include "BenchClock.h"
#include "BenchLog.h"
#include "BenchTable.h"

#include "fakes/RecordingListener.h"
#include "logging/Logger.h"
#include "logging/LoggerSlot.h"
#include "models/FakeIpHelper.h"
#include "network/EthernetCheck.h"
#include "platform/Format.h"

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 7;
// IP Helper's real answers come from another process and take far longer
// than the model's: fewer calls keep the run short.
constexpr int kModelCallsPerRun = 5000;
constexpr int kSystemCallsPerRun = 200;
int g_callsPerRun = kModelCallsPerRun;
constexpr double kModelTargetMicroseconds = 20.0;

std::vector<fakes::AdapterDescription> Adapters(int count)
{
    std::vector<fakes::AdapterDescription> adapters;
    for (int i = 0; i < count; ++i) {
        fakes::AdapterDescription adapter;
        adapter.name = "{0000000" + std::to_string(i + 1) + "-0000-0000-0000-4E6574446576}";
        // Only the last one qualifies, so every test walks the whole list.
        adapter.description = i + 1 < count ? "Contoso VPN " + std::to_string(i) : "Intel(R) Ethernet";
        adapter.address = "10.0." + std::to_string(i) + ".2";
        adapters.push_back(adapter);
    }
    return adapters;
}

struct RunFigures {
    std::vector<double> medians;
    std::vector<double> percentiles;
    int failures = 0;
};

// Times g_callsPerRun calls of `call` in each of the runs.
template <typename Call>
RunFigures Measure(Call call)
{
    RunFigures figures;
    std::vector<double> calls(static_cast<size_t>(g_callsPerRun));
    for (int run = 0; run < kRuns; ++run) {
        for (int i = 0; i < g_callsPerRun; ++i) {
            const int64_t start = bench::Ticks();
            const bool ok = call();
            calls[static_cast<size_t>(i)] = bench::TicksToNanoseconds(bench::Ticks() - start) / 1000.0;
            if (!ok)
                ++figures.failures;
        }
        figures.medians.push_back(bench::Median(calls));
        figures.percentiles.push_back(bench::Quantile(calls, 0.99));
    }
    return figures;
}

bool CheckOnce()
{
    int status = 0;
    int notAssigned = 0;
    return EthernetCheck::CheckEthernetConnectionStatusEx(&status, &notAssigned) == 1;
}

// The records one test writes, as the process logger would receive them.
std::vector<QX::Shared::CqxLogListener::LogData> RecordsOfOneCheck()
{
    fakes::RecordingLog log;
    CheckOnce();
    return log.Records();
}

void AddFigures(std::vector<bench::Figure>& table, const std::wstring& name, const RunFigures& figures, bool target)
{
    bench::Figure median{name + L", median", L"us", figures.medians, 1};
    if (target) {
        median.goal = bench::Figure::Goal::AtMost;
        median.target = kModelTargetMicroseconds;
    }
    table.push_back(median);
    table.push_back(bench::Figure{name + L", 99th percentile", L"us", figures.percentiles, 1});
    if (figures.failures != 0)
        std::fputws(os::FormatString(L"%s: %d tests failed\n", name.c_str(), figures.failures).c_str(), stdout);
}

} // namespace

int wmain(int argc, wchar_t* argv[])
{
    const bool real = argc > 1 && std::wstring(argv[1]) == L"--real";
    QX::Shared::GetLogger();  // created before the first timing
    std::vector<bench::Figure> table;
    const auto measureAll = [&table](const std::wstring& name, bool target) {
        AddFigures(table, name, Measure(&CheckOnce), target);
        bench::DrainLog();
        {
            QX::Shared::ScopedLoggerForTesting silent(QX::Shared::CqxLogger::Assemble({}));
            AddFigures(table, name + L", without logging", Measure(&CheckOnce), false);
        }
        const auto records = RecordsOfOneCheck();
        AddFigures(table, os::FormatString(L"%s, its %Iu records alone", name.c_str(), records.size()),
                   Measure([&records] {
                       for (const auto& record : records)
                           QX::Shared::Log(QX::Shared::GetLogger(), record.Level(), record.Function().c_str(), L"%s",
                                           record.Message().c_str());
                       return true;
                   }),
                   false);
        bench::DrainLog();
    };
    if (real) {
        g_callsPerRun = kSystemCallsPerRun;
        std::fputws(L"Ethernet test against the system's IP Helper\n", stdout);
        measureAll(L"system adapters", false);
    } else {
        std::fputws(L"Ethernet test against the adapter-list model (the service's own share)\n", stdout);
        for (int count : {1, 8}) {
            fakes::FakeIpHelper model(Adapters(count));
            measureAll(os::FormatString(L"model, %d adapter%s", count, count == 1 ? L"" : L"s"), true);
        }
    }
    bench::PrintTable(table);
    return 0;
}
