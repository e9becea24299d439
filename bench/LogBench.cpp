// log_bench: the logging benchmark.
//
// Measures, in several runs, the front end's cost per call (a filtered call,
// an accepted call to a listener that discards the record, the formatting of
// a record's line), the file listener's throughput, direct and queued,
// against fwrite to one open FILE, and the records a queued listener loses
// when its process ends right after logging. Prints the median of the runs
// of each figure beside its target, and the range of the runs.
//
// Every file goes to the log folder under a name of its own (bench_*.log)
// and is deleted before and after its measurement.
//
//   log_bench                      run the benchmark
//   log_bench --exit-after-queue   (started by the benchmark itself) log the
//                                  records of the exit figure and return
#include "BenchClock.h"
#include "BenchFiles.h"
#include "BenchTable.h"
#include "fakes/LogFiles.h"

#include "logging/LogLevels.h"
#include "logging/LogListener.h"
#include "logging/LogListenerFile.h"
#include "logging/Logger.h"
#include "platform/Console.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;
using QX::Shared::CqxLogListenerFile;
using LogData = CqxLogListener::LogData;

constexpr int kRuns = 7;
constexpr int kFilteredCalls = 20000000;
constexpr int kAcceptedCalls = 200000;
constexpr int kGetLineRecords = 100000;
constexpr int kFileRecords = 100000;
constexpr DWORD kChildWaitMilliseconds = 10 * 60 * 1000;
constexpr DWORD kDrainWaitMilliseconds = 5 * 60 * 1000;

constexpr wchar_t kExitAfterQueue[] = L"--exit-after-queue";

// The benchmark's log files (stems; the files are "<stem>.log" and the
// older "<stem>_NNNN.log").
constexpr wchar_t kDirectStem[] = L"bench_direct";
constexpr wchar_t kQueuedStem[] = L"bench_queued";
constexpr wchar_t kExitStem[] = L"bench_exit";
constexpr wchar_t kFwriteStem[] = L"bench_fwrite";

std::wstring FileName(const wchar_t* stem) { return std::wstring(stem) + L".log"; }

// A message of exactly `length` characters, made of plain words.
std::wstring Message(size_t length)
{
    static const std::wstring kWords = L"wired link up on adapter 2, radios wlan off wwan off, airplane mode off; ";
    std::wstring text;
    while (text.size() < length)
        text += kWords;
    text.resize(length);
    return text;
}

const std::wstring kMessage60 = Message(60);
const std::wstring kMessage100 = Message(100);

// A listener with a fixed range (it never reads the policy) that drops every
// record; it only counts them, so that a run can check they arrived.
class DiscardingListener : public CqxLogListener {
public:
    DiscardingListener(int32_t minLevel, int32_t maxLevel)
        : CqxLogListener(minLevel, nullptr, nullptr, /*fixedLevels=*/true)
    {
        SetMaxLevel(maxLevel);
    }

    void Write(const LogData&) override { m_written.fetch_add(1, std::memory_order_relaxed); }
    int32_t GetType() const override { return TypeConsole; }

    size_t Written() const { return m_written.load(std::memory_order_relaxed); }

private:
    std::atomic<size_t> m_written{0};
};

std::unique_ptr<CqxLogger> LoggerWith(std::unique_ptr<CqxLogListener> listener)
{
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(listener));
    return CqxLogger::Assemble(std::move(listeners));
}

// What went wrong in a run; printed under the table.
std::vector<std::wstring> g_notes;

void Note(const std::wstring& text)
{
    for (const std::wstring& note : g_notes)
        if (note == text)
            return;
    g_notes.push_back(text);
}

void CheckLines(const wchar_t* figure, const wchar_t* stem, size_t expected)
{
    const size_t found = bench::CountLinesOf(stem);
    if (found != expected)
        Note(os::FormatString(L"%s: %Iu lines in the files, %Iu expected", figure, found, expected));
}

// 1. A call whose level is outside the logger's range.
double FilteredCallNanoseconds()
{
    auto listener = std::make_unique<DiscardingListener>(QX::Shared::LevelError, QX::Shared::LevelError);
    DiscardingListener* discarding = listener.get();
    auto logger = LoggerWith(std::move(listener));
    if (logger->Accepts(QX::Shared::LevelTraceIn))
        Note(L"filtered call: the logger accepts TraceIn");

    const int64_t start = bench::Ticks();
    for (int i = 0; i < kFilteredCalls; ++i)
        QX::Shared::Log(logger.get(), QX::Shared::LevelTraceIn, "Bench::Filtered", L"value %d", i);
    const int64_t elapsed = bench::Ticks() - start;

    if (discarding->Written() != 0)
        Note(L"filtered call: records reached the listener");
    return bench::TicksToNanoseconds(elapsed) / kFilteredCalls;
}

// 2. A call with a 60-character message to a listener that discards it.
double AcceptedCallNanoseconds()
{
    auto listener = std::make_unique<DiscardingListener>(QX::Shared::LevelTraceIn, QX::Shared::LevelError);
    DiscardingListener* discarding = listener.get();
    auto logger = LoggerWith(std::move(listener));

    const int64_t start = bench::Ticks();
    for (int i = 0; i < kAcceptedCalls; ++i)
        QX::Shared::Log(logger.get(), QX::Shared::LevelInformation, "Bench::Accepted", L"%s", kMessage60.c_str());
    const int64_t elapsed = bench::Ticks() - start;

    if (discarding->Written() != static_cast<size_t>(kAcceptedCalls))
        Note(os::FormatString(L"accepted call: %Iu of %d records reached the listener", discarding->Written(),
                              kAcceptedCalls));
    return bench::TicksToNanoseconds(elapsed) / kAcceptedCalls;
}

// 3. GetLine of records that have not formatted their line yet; only the
// GetLine calls are timed. Two ways: records made and destroyed in small
// batches, so that the heap reuses its memory as it does in steady logging;
// and all records held at once, so that every line lands in memory the
// process touches for the first time.
size_t TimeGetLines(const std::vector<LogData>& records, int64_t& ticks)
{
    size_t characters = 0;
    const int64_t start = bench::Ticks();
    for (const LogData& record : records)
        characters += record.GetLine().size();
    ticks += bench::Ticks() - start;
    return characters;
}

void CheckCharacters(size_t characters, const std::vector<LogData>& records, size_t batches)
{
    const size_t expected = records.front().GetLine().size() * records.size() * batches;
    if (characters != expected)
        Note(os::FormatString(L"GetLine: %Iu characters in the lines, %Iu expected", characters, expected));
}

double GetLineRecycledNanoseconds()
{
    constexpr int kBatch = 100;
    constexpr int kBatches = kGetLineRecords / kBatch;
    std::vector<LogData> records;
    records.reserve(kBatch);
    int64_t ticks = 0;
    size_t characters = 0;
    for (int batch = 0; batch < kBatches; ++batch) {
        records.clear();
        for (int i = 0; i < kBatch; ++i)
            records.emplace_back("Bench::GetLine", kMessage100, QX::Shared::LevelInformation);
        characters += TimeGetLines(records, ticks);
    }
    CheckCharacters(characters, records, kBatches);
    return bench::TicksToNanoseconds(ticks) / (kBatch * kBatches);
}

double GetLineHeldNanoseconds()
{
    std::vector<LogData> records;
    records.reserve(kGetLineRecords);
    for (int i = 0; i < kGetLineRecords; ++i)
        records.emplace_back("Bench::GetLine", kMessage100, QX::Shared::LevelInformation);
    int64_t ticks = 0;
    const size_t characters = TimeGetLines(records, ticks);
    CheckCharacters(characters, records, 1);
    return bench::TicksToNanoseconds(ticks) / kGetLineRecords;
}

// 4. The direct file listener: lines per second.
double DirectLinesPerSecond()
{
    bench::DeleteLogFilesOf(kDirectStem);
    auto logger =
        LoggerWith(CqxLogListenerFile::CreateForTesting(false, QX::Shared::LevelTraceIn, FileName(kDirectStem)));
    if (logger->FileListener() == nullptr || logger->FileListener()->GetType() != CqxLogListener::TypeFileDirect)
        Note(L"direct file listener: the listener does not write directly (policy?)");

    const int64_t start = bench::Ticks();
    for (int i = 0; i < kFileRecords; ++i)
        QX::Shared::Log(logger.get(), QX::Shared::LevelInformation, "Bench::Direct", L"%s", kMessage100.c_str());
    const int64_t elapsed = bench::Ticks() - start;

    logger.reset();
    CheckLines(L"direct file listener", kDirectStem, kFileRecords);
    bench::DeleteLogFilesOf(kDirectStem);
    return kFileRecords / bench::TicksToSeconds(elapsed);
}

struct QueuedFigures {
    double medianCallNanoseconds = 0;
    double p99CallNanoseconds = 0;
    double linesPerSecond = 0;
};

// 5. The queued file listener: each call's cost on the caller's side, and
// the lines per second from the first call until every record is written.
QueuedFigures Queued()
{
    bench::DeleteLogFilesOf(kQueuedStem);
    std::unique_ptr<CqxLogListenerFile> owned =
        CqxLogListenerFile::CreateForTesting(true, QX::Shared::LevelTraceIn, FileName(kQueuedStem));
    const CqxLogListenerFile* listener = owned.get();
    if (listener->GetType() != CqxLogListener::TypeFileQueued)
        Note(L"queued file listener: the listener is not queued (policy?)");
    auto logger = LoggerWith(std::move(owned));

    std::vector<int64_t> callTicks(kFileRecords);
    const int64_t start = bench::Ticks();
    for (int i = 0; i < kFileRecords; ++i) {
        const int64_t before = bench::Ticks();
        QX::Shared::Log(logger.get(), QX::Shared::LevelInformation, "Bench::Queued", L"%s", kMessage100.c_str());
        callTicks[static_cast<size_t>(i)] = bench::Ticks() - before;
    }
    const int64_t deadline = start + static_cast<int64_t>(kDrainWaitMilliseconds) * bench::TicksPerSecond() / 1000;
    bool drained = false;
    while (!(drained = listener->QueueDrained()) && bench::Ticks() < deadline)
        Sleep(1);
    const int64_t elapsed = bench::Ticks() - start;
    if (!drained)
        Note(L"queued file listener: the queue was not drained within five minutes");

    logger.reset();
    CheckLines(L"queued file listener", kQueuedStem, kFileRecords);
    bench::DeleteLogFilesOf(kQueuedStem);

    std::vector<double> callNanoseconds;
    callNanoseconds.reserve(callTicks.size());
    for (int64_t ticks : callTicks)
        callNanoseconds.push_back(bench::TicksToNanoseconds(ticks));
    QueuedFigures figures;
    figures.medianCallNanoseconds = bench::Median(callNanoseconds);
    figures.p99CallNanoseconds = bench::Quantile(callNanoseconds, 0.99);
    figures.linesPerSecond = kFileRecords / bench::TicksToSeconds(elapsed);
    return figures;
}

std::string Utf8(const std::wstring& text)
{
    const int length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &bytes[0], length, nullptr, nullptr);
    return bytes;
}

// 6. The baseline: the file listener's line, as the bytes it writes, written
// with fwrite to one FILE kept open.
double FwriteLinesPerSecond()
{
    const std::string line =
        Utf8(LogData("Bench::Direct", kMessage100, QX::Shared::LevelInformation).GetLine()) + "\r\n";
    const std::wstring path = fakes::LogPath(FileName(kFwriteStem));
    bench::DeleteLogFilesOf(kFwriteStem);

    const int64_t start = bench::Ticks();
    FILE* file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr) {
        Note(L"fwrite baseline: the file does not open");
        return 0;
    }
    for (int i = 0; i < kFileRecords; ++i)
        fwrite(line.data(), 1, line.size(), file);
    fclose(file);
    const int64_t elapsed = bench::Ticks() - start;

    CheckLines(L"fwrite baseline", kFwriteStem, kFileRecords);
    bench::DeleteLogFilesOf(kFwriteStem);
    return kFileRecords / bench::TicksToSeconds(elapsed);
}

// The child's part of figure 7: queue the records, then return from main at
// once; the logger's destructor gives the queued writer its bounded wait.
int ExitAfterQueue()
{
    auto logger = LoggerWith(CqxLogListenerFile::CreateForTesting(true, QX::Shared::LevelTraceIn, FileName(kExitStem)));
    for (int i = 0; i < kFileRecords; ++i)
        QX::Shared::Log(logger.get(), QX::Shared::LevelInformation, "Bench::Exit", L"%s", kMessage100.c_str());
    return 0;
}

// 7. The records lost when a process ends right after queueing: runs this
// program again as that process and counts the lines it left.
double RecordsLostAtExit()
{
    bench::DeleteLogFilesOf(kExitStem);

    std::vector<wchar_t> self(32768);
    const DWORD length = GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size()));
    if (length == 0 || length >= self.size()) {
        Note(L"exit: the program's own path is unknown");
        return kFileRecords;
    }
    std::wstring commandLine = L"\"" + std::wstring(self.data(), length) + L"\" " + kExitAfterQueue;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(self.data(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
        Note(os::FormatString(L"exit: CreateProcessW failed with %lu", GetLastError()));
        return kFileRecords;
    }
    const os::UniqueHandle child(process.hProcess);
    const os::UniqueHandle childThread(process.hThread);
    if (WaitForSingleObject(child.get(), kChildWaitMilliseconds) != WAIT_OBJECT_0) {
        TerminateProcess(child.get(), 1);
        WaitForSingleObject(child.get(), INFINITE);
        Note(L"exit: the child did not end within ten minutes");
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(child.get(), &exitCode);
    if (exitCode != 0)
        Note(os::FormatString(L"exit: the child ended with code 0x%08lX", exitCode));

    const size_t found = bench::CountLinesOf(kExitStem);
    bench::DeleteLogFilesOf(kExitStem);
    return static_cast<double>(kFileRecords) - static_cast<double>(found);
}

std::vector<double> Ratios(const std::vector<double>& values, const std::vector<double>& bases)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < values.size() && i < bases.size(); ++i)
        ratios.push_back(bases[i] > 0 ? 100.0 * values[i] / bases[i] : 0.0);
    return ratios;
}

int RunBenchmark()
{
    os::Print(L"Logging benchmark: median of %d runs; file figures over %d records of a %Iu-character message\n", kRuns,
              kFileRecords, kMessage100.size());
    os::Print(L"log folder %s, performance counter %I64d ticks/s\n\n", fakes::LogFolder().c_str(),
              bench::TicksPerSecond());

    std::vector<double> filtered, accepted, getLine, getLineHeld, direct, queuedMedian, queuedP99, queuedRate,
        fwriteRate, lost;
    for (int run = 1; run <= kRuns; ++run) {
        os::Print(L"run %d of %d ...", run, kRuns);
        filtered.push_back(FilteredCallNanoseconds());
        accepted.push_back(AcceptedCallNanoseconds());
        getLine.push_back(GetLineRecycledNanoseconds());
        getLineHeld.push_back(GetLineHeldNanoseconds());
        direct.push_back(DirectLinesPerSecond());
        const QueuedFigures queued = Queued();
        queuedMedian.push_back(queued.medianCallNanoseconds);
        queuedP99.push_back(queued.p99CallNanoseconds);
        queuedRate.push_back(queued.linesPerSecond);
        fwriteRate.push_back(FwriteLinesPerSecond());
        lost.push_back(RecordsLostAtExit());
        os::Print(L" done\n");
    }
    os::Print(L"\n");

    using Goal = bench::Figure::Goal;
    std::vector<bench::Figure> figures = {
        {L"1. filtered call (level outside the range)", L"ns", filtered, 2, Goal::AtMost, 5},
        {L"2. accepted call, 60 characters, discarded", L"ns", accepted, 0, Goal::AtMost, 1000},
        {L"3. GetLine of a fresh record (100 characters)", L"ns", getLine, 0, Goal::None, 0},
        {L"   the same, 100,000 records held at once", L"ns", getLineHeld, 0, Goal::None, 0},
        {L"4. direct file listener", L"lines/s", direct, 0, Goal::AtLeast, 10000},
        {L"5. queued file listener, call, median", L"ns", queuedMedian, 0, Goal::AtMost, 2000},
        {L"   queued file listener, call, 99th percentile", L"ns", queuedP99, 0, Goal::None, 0},
        {L"   queued file listener, sustained until written", L"lines/s", queuedRate, 0, Goal::AtLeast, 250000},
        {L"6. baseline: fwrite to one open FILE", L"lines/s", fwriteRate, 0, Goal::None, 0},
        {L"   direct file listener / baseline", L"%", Ratios(direct, fwriteRate), 2, Goal::None, 0},
        {L"   queued sustained / baseline", L"%", Ratios(queuedRate, fwriteRate), 2, Goal::None, 0},
        {L"7. records lost at exit after queueing", L"records", lost, 0, Goal::None, 0},
    };
    bench::PrintTable(figures);

    if (!g_notes.empty()) {
        os::Print(L"\nnotes:\n");
        for (const std::wstring& note : g_notes)
            os::Print(L"  %s\n", note.c_str());
    }
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t* argv[])
{
    if (argc > 1 && std::wstring(argv[1]) == kExitAfterQueue)
        return ExitAfterQueue();
    return RunBenchmark();
}
