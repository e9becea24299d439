// Two processes writing into one log file at once, through the machine-wide
// mutex of the file listener, while the file rotates many times.
//
// The test starts two log_writer.exe (built next to this executable, see
// tests/log_writer) in the same Wine prefix; both create their listeners,
// report ready and start writing together. Each writes 20,000 numbered
// records into the same file, rotated above 32 KB (about 130 rotations; the
// temporary names of a rotation repeat beyond 256 older files, so the test
// stays well below that). Ten older files exist before they start, so
// rotation deletes none and the numbering goes on upwards. Afterwards the
// older files are numbered without a gap, every record of both writers is
// found exactly once, whole, in the record format and in its writer's order,
// and every file begins with a byte-order mark and a head of this system.
#include "fakes/LogFiles.h"
#include "fakes/LoggingPolicy.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using fakes::LoggingPolicy;
using fakes::LogPath;
using Key = LoggingPolicy::Key;

constexpr int kRecords = 20000;
constexpr DWORD kMaxLogSizeKilobytes = 32;
constexpr int kSeedFiles = 10;
constexpr DWORD kWriterTimeoutMilliseconds = 180000;
constexpr wchar_t kWriterModule[] = L"log_writer";
constexpr wchar_t kWriterFunction[] = L"LogWriter::Run";
// As in tests/log_writer/LogWriter.cpp.
constexpr wchar_t kPayload[] = L"payload-0123456789-abcdefghijklmnopqrstuvwxyz-ABCDEFGHIJKLMNOPQR";
constexpr wchar_t kWriters[] = {L'A', L'B'};

// The line of a writer's record after the head (which holds the time and
// thread of the writer, not known here).
std::wstring Tail(wchar_t writer, int number)
{
    return os::FormatString(L"%s|writer %c record %06d %s", kWriterFunction, writer, number, kPayload);
}

std::wstring SeedLine(int number)
{
    return os::FormatString(L"2026/11/22 10:00:%02d.000|00000001|Information|Test::Seed|older file %02d", number,
                            number);
}

// The check the listener makes on a file's first line (and one that every
// record of this system passes).
bool HasHead(const std::wstring& line)
{
    return line.size() >= 24 && line[4] == L'/' && line[7] == L'/' && line[10] == L' ' && line[13] == L':' &&
           line[16] == L':' && line[19] == L'.' && line[23] == L'|';
}

bool IsDigits(const std::wstring& text, size_t from, size_t count)
{
    for (size_t i = from; i < from + count; ++i)
        if (i >= text.size() || text[i] < L'0' || text[i] > L'9')
            return false;
    return true;
}

// "yyyy/mm/dd hh:mm:ss.mmm|TTTTTTTT|Information|": 45 characters.
bool IsInformationHead(const std::wstring& line)
{
    if (line.size() < 45 || !HasHead(line))
        return false;
    if (!IsDigits(line, 0, 4) || !IsDigits(line, 5, 2) || !IsDigits(line, 8, 2) || !IsDigits(line, 11, 2) ||
        !IsDigits(line, 14, 2) || !IsDigits(line, 17, 2) || !IsDigits(line, 20, 3))
        return false;
    for (size_t i = 24; i < 32; ++i)
        if (!((line[i] >= L'0' && line[i] <= L'9') || (line[i] >= L'A' && line[i] <= L'F')))
            return false;
    return line.compare(32, 13, L"|Information|") == 0;
}

struct Found {
    int count = 0;
    size_t order = 0;  // position among all lines read, oldest file first
    std::wstring thread;
    std::wstring time;  // "yyyy/mm/dd hh:mm:ss.mmm", when the record was made
};

class LogFileTwoProcessTest : public ::testing::Test {
protected:
    LogFileTwoProcessTest() : m_policy(kWriterModule) {}
    ~LogFileTwoProcessTest() override
    {
        if (!m_stem.empty())
            fakes::DeleteLogFiles(m_stem);
        fakes::DeleteLogFiles(L"_log_");
    }

    void Run(const wchar_t* mode)
    {
        m_stem = std::wstring(L"twoprocess_") + mode;
        fakes::DeleteLogFiles(m_stem);
        fakes::DeleteLogFiles(L"_log_");
        m_policy.SetNumber(Key::Module, L"MaxLogSize", kMaxLogSizeKilobytes);
        MakeSeedFiles();

        const std::wstring writer = WriterPath();
        ASSERT_TRUE(fakes::FileExists(writer)) << "missing helper program: " << Narrow(writer);

        // Both writers create their listeners, report ready, then start together.
        const std::wstring gate = os::FormatString(L"twoprocess_%s_%lu", mode, GetCurrentProcessId());
        const os::UniqueHandle ready(CreateSemaphoreW(nullptr, 0, 2, (gate + L"_ready").c_str()));
        const os::UniqueHandle go(CreateEventW(nullptr, TRUE, FALSE, (gate + L"_start").c_str()));
        ASSERT_TRUE(ready && go);

        const auto start = std::chrono::steady_clock::now();
        os::UniqueHandle processes[2];
        for (int i = 0; i < 2; ++i) {
            std::wstring commandLine = os::FormatString(L"\"%s\" %s %c %d %s.log %s", writer.c_str(), mode, kWriters[i],
                                                        kRecords, m_stem.c_str(), gate.c_str());
            STARTUPINFOW startup{};
            startup.cb = sizeof(startup);
            PROCESS_INFORMATION started{};
            if (!CreateProcessW(writer.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                &started)) {
                const DWORD error = GetLastError();
                if (processes[0])
                    TerminateProcess(processes[0].get(), 99);
                FAIL() << "CreateProcessW failed: " << error;
            }
            CloseHandle(started.hThread);
            processes[i].reset(started.hProcess);
        }
        const HANDLE handles[2] = {processes[0].get(), processes[1].get()};
        int readyCount = 0;
        while (readyCount < 2) {
            // A writer that ends before it is ready ends the wait too.
            const HANDLE waitFor[3] = {ready.get(), handles[0], handles[1]};
            if (WaitForMultipleObjects(3, waitFor, FALSE, kWriterTimeoutMilliseconds) != WAIT_OBJECT_0)
                break;
            ++readyCount;
        }
        SetEvent(go.get());
        const auto started = std::chrono::steady_clock::now();
        const DWORD waited = WaitForMultipleObjects(2, handles, TRUE, kWriterTimeoutMilliseconds);
        if (waited == WAIT_TIMEOUT) {
            for (HANDLE process : handles)
                TerminateProcess(process, 99);
            WaitForMultipleObjects(2, handles, TRUE, 10000);
        }
        const auto ended = std::chrono::steady_clock::now();
        DWORD exitCodes[2] = {};
        for (int i = 0; i < 2; ++i)
            GetExitCodeProcess(handles[i], &exitCodes[i]);
        ASSERT_EQ(readyCount, 2) << "the writers did not both get ready";
        ASSERT_NE(waited, static_cast<DWORD>(WAIT_TIMEOUT)) << "the writers did not end in time";
        EXPECT_EQ(exitCodes[0], 0u) << "writer A";
        EXPECT_EQ(exitCodes[1], 0u) << "writer B";
        using std::chrono::duration_cast;
        using std::chrono::milliseconds;
        RecordProperty("start_milliseconds", static_cast<int>(duration_cast<milliseconds>(started - start).count()));
        RecordProperty("write_milliseconds", static_cast<int>(duration_cast<milliseconds>(ended - started).count()));

        CheckFiles();
    }

private:
    std::wstring Older(int number) const { return LogPath(os::FormatString(L"%s_%04d.log", m_stem.c_str(), number)); }

    void MakeSeedFiles() const
    {
        for (int number = 1; number <= kSeedFiles; ++number) {
            const std::wstring line = SeedLine(number) + L"\r\n";
            fakes::WriteBytes(Older(number), "\xEF\xBB\xBF" + std::string(line.begin(), line.end()));
            fakes::SetWriteTime(Older(number), number);  // a higher number is older
        }
    }

    static std::wstring WriterPath()
    {
        wchar_t self[MAX_PATH] = {};
        const DWORD length = GetModuleFileNameW(nullptr, self, MAX_PATH);
        std::wstring path(self, length);
        path.resize(path.rfind(L'\\') + 1);
        return path + kWriterModule + L".exe";
    }

    void CheckFiles()
    {
        // The older files must be numbered 1..N without a gap; they are read
        // from the oldest (highest number) to the current file.
        const std::vector<std::wstring> olderNames = fakes::LogFileNames(m_stem + L"_");
        const int olderCount = static_cast<int>(olderNames.size());
        ASSERT_GT(olderCount, kSeedFiles + 20) << "the file should have rotated many times";
        for (int number = 1; number <= olderCount; ++number)
            ASSERT_TRUE(fakes::FileExists(Older(number))) << "older file " << number << " of " << olderCount;
        EXPECT_EQ(fakes::LogFileNames(L"_log_"), std::vector<std::wstring>{}) << "files left under temporary names";
        std::vector<std::wstring> paths;
        for (int number = olderCount; number >= 1; --number)
            paths.push_back(Older(number));
        paths.push_back(LogPath(m_stem + L".log"));

        std::vector<Found> found[2] = {std::vector<Found>(kRecords), std::vector<Found>(kRecords)};
        std::vector<int> seeds(kSeedFiles + 1, 0);
        size_t position = 0;
        int badLines = 0;
        int badHeads = 0;
        int badStarts = 0;
        int badEnds = 0;
        size_t writerSwitches = 0;
        int lastWriter = -1;
        for (const std::wstring& path : paths) {
            const std::string bytes = fakes::ReadBytes(path);
            const std::string name(path.begin() + static_cast<std::ptrdiff_t>(path.rfind(L'\\') + 1), path.end());
            if (bytes.compare(0, 3, "\xEF\xBB\xBF") != 0 && ++badStarts <= 5)
                ADD_FAILURE() << name << " does not begin with a byte-order mark";
            if ((bytes.size() < 2 || bytes.compare(bytes.size() - 2, 2, "\r\n") != 0) && ++badEnds <= 5)
                ADD_FAILURE() << name << " does not end with a line end";
            const std::vector<std::wstring> lines = fakes::ReadLines(path);
            if (lines.empty() || !HasHead(lines[0])) {
                if (++badHeads <= 5)
                    ADD_FAILURE() << name << " does not begin with a head";
            }
            for (const std::wstring& line : lines) {
                ++position;
                const int seed = SeedNumber(line);
                if (seed > 0) {
                    ++seeds[static_cast<size_t>(seed)];
                    continue;
                }
                int writer = -1;
                int number = -1;
                if (!ParseRecord(line, writer, number)) {
                    if (++badLines <= 10)
                        ADD_FAILURE() << name << ": not a whole record line: " << Narrow(line);
                    continue;
                }
                Found& entry = found[writer][static_cast<size_t>(number)];
                if (++entry.count == 1) {
                    entry.order = position;
                    entry.thread = line.substr(24, 8);
                    entry.time = line.substr(0, 23);
                }
                if (lastWriter != -1 && lastWriter != writer)
                    ++writerSwitches;
                lastWriter = writer;
            }
        }
        EXPECT_EQ(badLines, 0) << "lines that are not whole records";
        EXPECT_EQ(badHeads, 0) << "files without a head";
        EXPECT_EQ(badStarts, 0) << "files without a byte-order mark";
        EXPECT_EQ(badEnds, 0) << "files that end inside a line";
        for (int number = 1; number <= kSeedFiles; ++number)
            EXPECT_EQ(seeds[static_cast<size_t>(number)], 1) << "older file " << number << " made by the test";

        for (int writer = 0; writer < 2; ++writer) {
            int missing = 0, duplicated = 0, outOfOrder = 0, otherThread = 0;
            const std::vector<Found>& records = found[writer];
            for (size_t number = 0; number < records.size(); ++number) {
                const Found& entry = records[number];
                if (entry.count == 0) {
                    if (++missing <= 5)
                        ADD_FAILURE() << "writer " << static_cast<char>(kWriters[writer]) << " record " << number
                                      << " is missing";
                    continue;
                }
                if (entry.count > 1 && ++duplicated <= 5)
                    ADD_FAILURE() << "writer " << static_cast<char>(kWriters[writer]) << " record " << number
                                  << " appears " << entry.count << " times";
                if (number > 0 && records[number - 1].count > 0 && records[number - 1].order > entry.order &&
                    ++outOfOrder <= 5)
                    ADD_FAILURE() << "writer " << static_cast<char>(kWriters[writer]) << " record " << number
                                  << " comes before record " << number - 1;
                if (entry.thread != records[0].thread)
                    ++otherThread;
            }
            EXPECT_EQ(missing, 0) << "writer " << static_cast<char>(kWriters[writer]);
            EXPECT_EQ(duplicated, 0) << "writer " << static_cast<char>(kWriters[writer]);
            EXPECT_EQ(outOfOrder, 0) << "writer " << static_cast<char>(kWriters[writer]);
            EXPECT_EQ(otherThread, 0) << "writer " << static_cast<char>(kWriters[writer])
                                      << ": records from another thread";
        }
        // The two writers really wrote at the same time: the times their
        // records were made overlap.
        const std::vector<Found>& a = found[0];
        const std::vector<Found>& b = found[1];
        if (a.front().count > 0 && a.back().count > 0 && b.front().count > 0 && b.back().count > 0) {
            EXPECT_TRUE(a.front().time <= b.back().time && b.front().time <= a.back().time)
                << "writer A from " << Narrow(a.front().time) << " to " << Narrow(a.back().time) << ", writer B from "
                << Narrow(b.front().time) << " to " << Narrow(b.back().time);
        }
        RecordProperty("older_files", olderCount);
        RecordProperty("writer_switches", static_cast<int>(writerSwitches));
    }

    static int SeedNumber(const std::wstring& line)
    {
        for (int number = 1; number <= kSeedFiles; ++number)
            if (line == SeedLine(number))
                return number;
        return 0;
    }

    // A whole line of a writer's record: the head, then exactly the tail.
    static bool ParseRecord(const std::wstring& line, int& writer, int& number)
    {
        if (!IsInformationHead(line))
            return false;
        // "LogWriter::Run|writer X record NNNNNN "
        const size_t function = 45;
        const size_t id = function + 15 + 7;
        const size_t digits = id + 9;
        if (line.size() <= digits + 6 || !IsDigits(line, digits, 6))
            return false;
        const wchar_t name = line[id];
        writer = name == kWriters[0] ? 0 : name == kWriters[1] ? 1 : -1;
        number = std::stoi(line.substr(digits, 6));
        if (writer < 0 || number >= kRecords)
            return false;
        return line.compare(function, std::wstring::npos, Tail(name, number)) == 0;
    }

    static std::string Narrow(const std::wstring& text)
    {
        std::string narrow;
        for (wchar_t c : text)
            narrow += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '?';
        return narrow;
    }

    LoggingPolicy m_policy;  // the module key of log_writer
    std::wstring m_stem;
};

TEST_F(LogFileTwoProcessTest, TwoDirectWritersKeepEveryRecordOnceAndWholeThroughRotation) { Run(L"direct"); }

TEST_F(LogFileTwoProcessTest, TwoQueuedWritersKeepEveryRecordOnceAndWholeThroughRotation) { Run(L"queued"); }

}  // namespace
