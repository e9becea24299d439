// Logging benchmark: the front end's cost per call (filtered, accepted,
// line formatting) and the file listener's throughput, direct and queued,
// against a plain fwrite baseline; and the records lost when a process exits
// right after queueing. Each figure is the median of several runs.
#include "fakes/LogFiles.h"
#include "logging/LogListenerFile.h"
#include "logging/Logger.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace QX::Shared;

namespace {

constexpr int kRuns = 5;
constexpr int kFileRecords = 100000;
constexpr wchar_t kDirectFile[] = L"bench_direct.log";
constexpr wchar_t kQueuedFile[] = L"bench_queued.log";
constexpr wchar_t kExitFile[] = L"bench_exit.log";
constexpr wchar_t kBaselineFile[] = L"bench_fwrite.log";

// 60 and 100 characters of message.
const std::wstring kMessage60(60, L'm');
const std::wstring kMessage100(100, L'r');

class DiscardingListener : public CqxLogListener {
public:
    DiscardingListener(int32_t minLevel, int32_t maxLevel) : CqxLogListener(minLevel, nullptr, nullptr, true)
    {
        SetMaxLevel(maxLevel);
    }
    void Write(const LogData&) override {}
    int32_t GetType() const override { return TypeConsole; }
};

double Seconds()
{
    static const double frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<double>(f.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / frequency;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double Percentile(std::vector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(fraction * values.size()))];
}

std::unique_ptr<CqxLogger> LoggerWith(std::unique_ptr<CqxLogListener> listener)
{
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(listener));
    return CqxLogger::Assemble(std::move(listeners));
}

void Row(const char* figure, double value, const char* unit, const char* target, bool met)
{
    std::printf("%-52s %14.1f %-8s %-14s %s\n", figure, value, unit, target, met ? "met" : "MISSED");
}

void Row(const char* figure, double value, const char* unit) { std::printf("%-52s %14.1f %-8s\n", figure, value, unit); }

double FilteredCallNanoseconds()
{
    auto logger = LoggerWith(std::make_unique<DiscardingListener>(LevelInformation, LevelError));
    constexpr int kCalls = 20000000;
    const double start = Seconds();
    for (int i = 0; i < kCalls; ++i)
        Log(logger.get(), LevelTraceIn, "Bench::Filtered", L"value %d", i);
    return (Seconds() - start) * 1e9 / kCalls;
}

double AcceptedCallNanoseconds()
{
    auto logger = LoggerWith(std::make_unique<DiscardingListener>(LevelTraceIn, LevelError));
    constexpr int kCalls = 300000;
    const double start = Seconds();
    for (int i = 0; i < kCalls; ++i)
        Log(logger.get(), LevelInformation, "Bench::Accepted", L"%s", kMessage60.c_str());
    return (Seconds() - start) * 1e9 / kCalls;
}

double GetLineNanoseconds()
{
    constexpr int kRecords = 200000;
    std::vector<CqxLogListener::LogData> records;
    records.reserve(kRecords);
    for (int i = 0; i < kRecords; ++i)
        records.emplace_back("Bench::GetLine", kMessage60, LevelInformation);
    const double start = Seconds();
    size_t total = 0;
    for (const auto& record : records)
        total += record.GetLine().size();
    const double elapsed = Seconds() - start;
    if (total == 0)
        std::printf("no lines\n");
    return elapsed * 1e9 / kRecords;
}

size_t LinesIn(const std::wstring& fileName)
{
    const std::wstring stem = fileName.substr(0, fileName.size() - 4);
    size_t lines = 0;
    for (const std::wstring& name : fakes::LogFileNames(stem))
        lines += fakes::ReadLines(fakes::LogPath(name)).size();
    return lines;
}

void DeleteFiles(const std::wstring& fileName) { fakes::DeleteLogFiles(fileName.substr(0, fileName.size() - 4)); }

double DirectLinesPerSecond()
{
    DeleteFiles(kDirectFile);
    auto logger = LoggerWith(CqxLogListenerFile::CreateForTesting(false, LevelTraceIn, kDirectFile));
    const double start = Seconds();
    for (int i = 0; i < kFileRecords; ++i)
        Log(logger.get(), LevelInformation, "Bench::Direct", L"%s", kMessage100.c_str());
    const double elapsed = Seconds() - start;
    logger.reset();
    if (LinesIn(kDirectFile) != kFileRecords)
        std::printf("direct: %zu lines in the files, expected %d\n", LinesIn(kDirectFile), kFileRecords);
    DeleteFiles(kDirectFile);
    return kFileRecords / elapsed;
}

struct QueuedFigures {
    double medianNanoseconds;
    double p99Nanoseconds;
    double linesPerSecond;
};

QueuedFigures Queued()
{
    DeleteFiles(kQueuedFile);
    std::unique_ptr<CqxLogListenerFile> owned = CqxLogListenerFile::CreateForTesting(true, LevelTraceIn, kQueuedFile);
    CqxLogListenerFile* listener = owned.get();
    auto logger = LoggerWith(std::move(owned));
    std::vector<double> calls(kFileRecords);
    const double start = Seconds();
    for (int i = 0; i < kFileRecords; ++i) {
        const double before = Seconds();
        Log(logger.get(), LevelInformation, "Bench::Queued", L"%s", kMessage100.c_str());
        calls[i] = (Seconds() - before) * 1e9;
    }
    while (!listener->QueueDrained())
        Sleep(1);
    const double elapsed = Seconds() - start;
    logger.reset();
    if (LinesIn(kQueuedFile) != kFileRecords)
        std::printf("queued: %zu lines in the files, expected %d\n", LinesIn(kQueuedFile), kFileRecords);
    DeleteFiles(kQueuedFile);
    return {Median(calls), Percentile(calls, 0.99), kFileRecords / elapsed};
}

double FwriteLinesPerSecond()
{
    // The same lines as the listener writes, to one FILE kept open.
    const std::wstring line = CqxLogListener::LogData("Bench::Direct", kMessage100, LevelInformation).GetLine() + L"\n";
    const std::wstring path = fakes::LogPath(kBaselineFile);
    FILE* file = _wfopen(path.c_str(), L"w,ccs=UTF-8");
    const double start = Seconds();
    for (int i = 0; i < kFileRecords; ++i)
        fputws(line.c_str(), file);
    fclose(file);
    const double elapsed = Seconds() - start;
    DeleteFileW(path.c_str());
    return kFileRecords / elapsed;
}

// The child's part of the exit figure: queue the records and leave at once.
int QueueAndExit()
{
    auto logger = LoggerWith(CqxLogListenerFile::CreateForTesting(true, LevelTraceIn, kExitFile));
    for (int i = 0; i < kFileRecords; ++i)
        Log(logger.get(), LevelInformation, "Bench::Exit", L"%s", kMessage100.c_str());
    logger.reset();  // the listener's bounded wait for its writer, as at process exit
    return 0;
}

double RecordsLostAtExit()
{
    DeleteFiles(kExitFile);
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring commandLine = L"\"" + std::wstring(self) + L"\" --queue-and-exit";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return -1;
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    const size_t found = LinesIn(kExitFile);
    DeleteFiles(kExitFile);
    return static_cast<double>(kFileRecords) - static_cast<double>(found);
}

} // namespace

int wmain(int argc, wchar_t* argv[])
{
    if (argc > 1 && std::wstring(argv[1]) == L"--queue-and-exit")
        return QueueAndExit();

    std::vector<double> filtered, accepted, getLine, direct, queuedMedian, queuedP99, queuedRate, baseline, lost;
    for (int run = 0; run < kRuns; ++run) {
        filtered.push_back(FilteredCallNanoseconds());
        accepted.push_back(AcceptedCallNanoseconds());
        getLine.push_back(GetLineNanoseconds());
        direct.push_back(DirectLinesPerSecond());
        const QueuedFigures queued = Queued();
        queuedMedian.push_back(queued.medianNanoseconds);
        queuedP99.push_back(queued.p99Nanoseconds);
        queuedRate.push_back(queued.linesPerSecond);
        baseline.push_back(FwriteLinesPerSecond());
        lost.push_back(RecordsLostAtExit());
    }

    std::printf("Logging benchmark, median of %d runs; file figures over %d records of 100 characters\n\n", kRuns,
                kFileRecords);
    std::printf("%-52s %14s %-8s %-14s %s\n", "figure", "value", "unit", "target", "");
    Row("filtered call (level outside the range)", Median(filtered), "ns", "<= 5 ns", Median(filtered) <= 5);
    Row("accepted call, 60 characters, discarding listener", Median(accepted), "ns", "<= 1000 ns",
        Median(accepted) <= 1000);
    Row("GetLine of a fresh record", Median(getLine), "ns");
    const double fwriteRate = Median(baseline);
    Row("direct file listener", Median(direct), "lines/s", ">= 10000", Median(direct) >= 10000);
    Row("queued listener, caller side, median", Median(queuedMedian), "ns", "<= 2000 ns", Median(queuedMedian) <= 2000);
    Row("queued listener, caller side, 99th percentile", Median(queuedP99), "ns");
    Row("queued listener, sustained until all are in the file", Median(queuedRate), "lines/s", ">= 250000",
        Median(queuedRate) >= 250000);
    Row("baseline: fwrite to one open FILE", fwriteRate, "lines/s");
    Row("direct / baseline", 100.0 * Median(direct) / fwriteRate, "%");
    Row("queued sustained / baseline", 100.0 * Median(queuedRate) / fwriteRate, "%");
    Row("records lost when the process exits after queueing", Median(lost), "records");
    return 0;
}
