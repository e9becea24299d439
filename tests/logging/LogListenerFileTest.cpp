// The file listener against the real file system, mutexes and threads of the
// Wine prefix. Each test uses a log file name of its own.
#include "Waits.h"
#include "fakes/LogFiles.h"
#include "fakes/LoggingPolicy.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "logging/LogListenerFile.h"
#include "platform/Api.h"
#include "platform/Format.h"
#include "platform/UniqueHandle.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using fakes::LoggingPolicy;
using fakes::LogPath;
using fakes::ReadLines;
using logging_tests::DrainedWithin;
using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListener;
using QX::Shared::CqxLogListenerFile;
using Key = LoggingPolicy::Key;

constexpr char kSeedLine[] = "2026/11/22 10:00:00.000|00000001|Information|Test::Seed|seed\r\n";

CqxLogListener::LogData Record(int number)
{
    SYSTEMTIME time{};
    time.wYear = 2026;
    time.wMonth = 11;
    time.wDay = 22;
    time.wHour = 12;
    return CqxLogListener::LogData("FileTest::Write", os::FormatString(L"record %05d", number), 3, time, 0x2A);
}

std::wstring Line(int number) { return Record(number).GetLine(); }

class LogListenerFileTest : public ::testing::Test {
protected:
    explicit LogListenerFileTest(std::wstring stem = L"filetest")
        : m_stem(std::move(stem)), m_name(m_stem + L".log"), m_path(LogPath(m_name))
    {
        fakes::DeleteLogFiles(m_stem);
    }
    ~LogListenerFileTest() override { fakes::DeleteLogFiles(m_stem); }

    std::unique_ptr<CqxLogListenerFile> Listener(bool queued = false)
    {
        return CqxLogListenerFile::CreateForTesting(queued, 0, m_name);
    }
    std::wstring Older(int number) const { return LogPath(os::FormatString(L"%s_%04d.log", m_stem.c_str(), number)); }
    // A file that begins with a line of this system, `size` bytes long.
    void SeedCurrentFile(size_t size) const
    {
        std::string bytes = kSeedLine;
        bytes.resize(size, 'x');
        fakes::WriteBytes(m_path, bytes);
    }
    void MakeOlderFiles(int count) const
    {
        for (int number = 1; number <= count; ++number) {
            fakes::WriteBytes(Older(number), "older " + std::to_string(number) + "\r\n");
            fakes::SetWriteTime(Older(number), number);  // a higher number is older
        }
    }

    LoggingPolicy policy;
    std::wstring m_stem;
    std::wstring m_name;
    std::wstring m_path;
};

TEST(FileListenerMutexName, DrivePartRemovedAndBackslashesTurnedIntoDots)
{
    EXPECT_EQ(CqxLogListenerFile::MutexNameForPath(L"C:\\A\\zvrLog\\N.log"), L"Global\\.A.zvrLog.N.log");
}

TEST(FileListenerMutexName, ColonAsFirstCharacterIsKept)
{
    EXPECT_EQ(CqxLogListenerFile::MutexNameForPath(L":\\A\\N.log"), L"Global\\:.A.N.log");
}

TEST(FileListenerMutexName, PathWithoutColon)
{
    EXPECT_EQ(CqxLogListenerFile::MutexNameForPath(L"N.log"), L"Global\\N.log");
}

TEST_F(LogListenerFileTest, PathIsInTheLogFolderOfAppData)
{
    auto listener = Listener();
    EXPECT_EQ(listener->Path(), m_path);
    EXPECT_NE(m_path.find(L"\\zvrLog\\filetest.log"), std::wstring::npos);
}

TEST_F(LogListenerFileTest, DirectWritesLinesInUtf8WithCrLf)
{
    auto listener = Listener();
    EXPECT_EQ(listener->GetType(), 8);
    listener->Write(Record(1));
    listener->Write(CqxLogListener::LogData("F::G", L"caf\u00e9", 5, SYSTEMTIME{2026, 1, 0, 2, 3, 4, 5, 6}, 7));
    const std::string bytes = fakes::ReadBytes(m_path);
    EXPECT_EQ(bytes.substr(0, 3), "\xEF\xBB\xBF");
    EXPECT_EQ(bytes.substr(3), "2026/11/22 12:00:00.000|0000002A|Information|FileTest::Write|record 00001\r\n"
                               "2026/01/02 03:04:05.006|00000007|Error      |F::G|caf\xC3\xA9\r\n");
}

TEST_F(LogListenerFileTest, FileIsClosedAndMutexFreeBetweenRecords)
{
    auto listener = Listener();
    listener->Write(Record(1));
    // Another writer could now rename the file: nothing holds it open.
    ASSERT_TRUE(MoveFileW(m_path.c_str(), Older(1).c_str()));
    const os::UniqueHandle mutex(CreateMutexW(nullptr, FALSE, CqxLogListenerFile::MutexNameForPath(m_path).c_str()));
    ASSERT_TRUE(mutex);
    std::thread other([&] {
        EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0);
        ReleaseMutex(mutex.get());
    });
    other.join();
}

TEST_F(LogListenerFileTest, ForeignFormatFileIsMovedAsideAtStart)
{
    fakes::WriteBytes(m_path, "this is not a log line of ours\r\nsecond line\r\n");
    auto listener = Listener();
    EXPECT_EQ(fakes::ReadBytes(Older(1)), "this is not a log line of ours\r\nsecond line\r\n");
    listener->Write(Record(1));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
}

TEST_F(LogListenerFileTest, FileShorterThanAHeadIsMovedAside)
{
    fakes::WriteBytes(m_path, "2026/11/22 10:00\r\n");
    auto listener = Listener();
    EXPECT_TRUE(fakes::FileExists(Older(1)));
}

TEST_F(LogListenerFileTest, EmptyExistingFileIsKept)
{
    fakes::WriteBytes(m_path, "");
    auto listener = Listener();
    EXPECT_FALSE(fakes::FileExists(Older(1)));
    listener->Write(Record(1));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
}

TEST_F(LogListenerFileTest, FileOfOurFormatIsKeptAndAppendedTo)
{
    fakes::WriteBytes(m_path, std::string("\xEF\xBB\xBF") + kSeedLine);
    auto listener = Listener();
    listener->Write(Record(2));
    EXPECT_FALSE(fakes::FileExists(Older(1)));
    const auto lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], Line(2));
}

TEST_F(LogListenerFileTest, FileOfExactlyTheLimitIsKept)
{
    SeedCurrentFile(2097152);
    auto listener = Listener();
    listener->Write(Record(1));
    EXPECT_FALSE(fakes::FileExists(Older(1)));
}

TEST_F(LogListenerFileTest, FirstRecordAfterStartRotatesAFileAboveTheLimit)
{
    SeedCurrentFile(2097153);
    auto listener = Listener();
    listener->Write(Record(1));
    ASSERT_TRUE(fakes::FileExists(Older(1)));
    EXPECT_EQ(fakes::ReadBytes(Older(1)).size(), 2097153u);
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
}

TEST_F(LogListenerFileTest, SizeLimitComesFromThePolicy)
{
    policy.SetNumber(Key::Module, L"MaxLogSize", 1);
    SeedCurrentFile(1025);
    auto listener = Listener();
    listener->Write(Record(1));
    EXPECT_TRUE(fakes::FileExists(Older(1)));
}

TEST_F(LogListenerFileTest, NegativeLimitDisablesRotationBySize)
{
    policy.SetNumber(Key::Module, L"MaxLogSize", 0xFFFFFFFFu);
    SeedCurrentFile(3000000);
    auto listener = Listener();
    listener->Write(Record(1));
    EXPECT_FALSE(fakes::FileExists(Older(1)));
}

TEST_F(LogListenerFileTest, SizeIsCheckedAtRecord1ThenEverySixthWithALimitOf1Kilobyte)
{
    // The counter starts at 11 (limit x 10 + 1); a check happens when it is
    // above 10 and halves it, so checks fall on records 1, 7, 13, 19, ...
    policy.SetNumber(Key::Module, L"MaxLogSize", 1);
    auto listener = Listener();
    const size_t lineBytes = Line(1).size() + 2;
    size_t size = 3;  // the byte-order mark
    int record = 1;
    for (;; ++record) {
        const bool check = record % 6 == 1;
        if (check && size > 1024)
            break;
        listener->Write(Record(record));
        size += lineBytes;
        ASSERT_FALSE(fakes::FileExists(Older(1))) << record;
    }
    listener->Write(Record(record));
    ASSERT_TRUE(fakes::FileExists(Older(1)));
    EXPECT_EQ(ReadLines(Older(1)).size(), static_cast<size_t>(record - 1));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(record)}));
}

TEST_F(LogListenerFileTest, RotationShiftsOlderFilesUp)
{
    MakeOlderFiles(3);
    SeedCurrentFile(2097153);
    auto listener = Listener();
    listener->Write(Record(1));
    EXPECT_EQ(fakes::ReadBytes(Older(2)), "older 1\r\n");
    EXPECT_EQ(fakes::ReadBytes(Older(3)), "older 2\r\n");
    EXPECT_EQ(fakes::ReadBytes(Older(4)), "older 3\r\n");
    EXPECT_EQ(fakes::ReadBytes(Older(1)).size(), 2097153u);
    EXPECT_FALSE(fakes::FileExists(Older(5)));
    EXPECT_EQ(fakes::LogFileNames(L"_log_"), std::vector<std::wstring>{});
}

TEST_F(LogListenerFileTest, NineOlderFilesLoseTheOldestAndStayNine)
{
    MakeOlderFiles(9);
    fakes::WriteBytes(m_path, "foreign\r\n");
    auto listener = Listener();
    EXPECT_EQ(fakes::ReadBytes(Older(1)), "foreign\r\n");
    for (int number = 2; number <= 9; ++number)
        EXPECT_EQ(fakes::ReadBytes(Older(number)), "older " + std::to_string(number - 1) + "\r\n");
    EXPECT_FALSE(fakes::FileExists(Older(10)));
    EXPECT_EQ(fakes::LogFileNames(m_stem + L"_").size(), 9u);
}

TEST_F(LogListenerFileTest, TenOlderFilesAreAllKeptAndNumberingGoesAboveNine)
{
    MakeOlderFiles(10);
    fakes::WriteBytes(m_path, "foreign\r\n");
    auto listener = Listener();
    EXPECT_EQ(fakes::ReadBytes(Older(1)), "foreign\r\n");
    for (int number = 2; number <= 11; ++number)
        EXPECT_EQ(fakes::ReadBytes(Older(number)), "older " + std::to_string(number - 1) + "\r\n");
    EXPECT_EQ(fakes::LogFileNames(m_stem + L"_").size(), 11u);
}

TEST_F(LogListenerFileTest, RotateAlwaysReturnsFalse)
{
    auto listener = Listener();
    listener->Write(Record(1));
    EXPECT_FALSE(listener->Rotate(true));
    EXPECT_TRUE(fakes::FileExists(Older(1)));
    EXPECT_FALSE(listener->Rotate(true));  // no current file now: nothing happens
    EXPECT_FALSE(fakes::FileExists(Older(2)));
}

TEST_F(LogListenerFileTest, QueuedWritesArriveInOrder)
{
    auto listener = Listener(/*queued=*/true);
    EXPECT_EQ(listener->GetType(), 4);
    for (int i = 0; i < 500; ++i)
        listener->Write(Record(i));
    ASSERT_TRUE(DrainedWithin(*listener));
    const auto lines = ReadLines(m_path);
    ASSERT_EQ(lines.size(), 500u);
    for (int i = 0; i < 500; ++i)
        ASSERT_EQ(lines[static_cast<size_t>(i)], Line(i));
}

TEST_F(LogListenerFileTest, QueuedWritesPolicyTurnsAQueuedDefaultDirect)
{
    policy.SetNumber(Key::Module, L"QueuedWrites", 0);
    EXPECT_EQ(Listener(/*queued=*/true)->GetType(), 8);
}

TEST_F(LogListenerFileTest, QueuedWritesPolicyTurnsADirectDefaultQueued)
{
    policy.SetNumber(Key::Product, L"QueuedWrites", 7);
    EXPECT_EQ(Listener(/*queued=*/false)->GetType(), 4);
}

TEST_F(LogListenerFileTest, RecordsAreDroppedWhileAnotherHolderKeepsTheFileOpen)
{
    auto listener = Listener();
    listener->Write(Record(1));
    os::UniqueFileHandle exclusive(CreateFileW(m_path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(exclusive);
    listener->Write(Record(2));
    exclusive.reset();
    listener->Write(Record(3));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1), Line(3)}));
}

// Windows refuses to open a read-only file for writing; Wine running as root
// does not, so the open applies that check itself here.
FILE* __cdecl OpenUnlessReadOnly(const wchar_t* path, const wchar_t* mode)
{
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)) {
        errno = EACCES;
        return nullptr;
    }
    return _wfopen(path, mode);
}

TEST_F(LogListenerFileTest, ReadOnlyFileDropsDirectRecords)
{
    os::ScopedApiOverride seam;
    seam->_wfopen = &OpenUnlessReadOnly;
    auto listener = Listener();
    listener->Write(Record(1));
    SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY);
    listener->Write(Record(2));
    SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_NORMAL);
    listener->Write(Record(3));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1), Line(3)}));
}

// Opens as OpenUnlessReadOnly does and keeps the thread of the first writer
// whose open it refused, so that a test can wait until that writer has ended.
class RefusedWriter {
public:
    RefusedWriter() : m_refused(CreateEventW(nullptr, TRUE, FALSE, nullptr)) { s_current = this; }
    ~RefusedWriter() { s_current = nullptr; }
    RefusedWriter(const RefusedWriter&) = delete;
    RefusedWriter& operator=(const RefusedWriter&) = delete;

    static FILE* __cdecl Open(const wchar_t* path, const wchar_t* mode)
    {
        FILE* file = OpenUnlessReadOnly(path, mode);
        RefusedWriter* refused = s_current;
        if (file == nullptr && refused != nullptr && WaitForSingleObject(refused->m_refused.get(), 0) == WAIT_TIMEOUT) {
            HANDLE thread = nullptr;
            DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, SYNCHRONIZE, FALSE,
                            0);
            refused->m_thread.reset(thread);
            SetEvent(refused->m_refused.get());
        }
        return file;
    }

    // An open was refused and the writer that asked for it has ended, each
    // within the bound.
    bool EndedWithin(DWORD milliseconds) const
    {
        return WaitForSingleObject(m_refused.get(), milliseconds) == WAIT_OBJECT_0 && m_thread &&
               WaitForSingleObject(m_thread.get(), milliseconds) == WAIT_OBJECT_0;
    }

private:
    static RefusedWriter* s_current;
    os::UniqueHandle m_refused;
    os::UniqueHandle m_thread;
};
RefusedWriter* RefusedWriter::s_current = nullptr;

TEST_F(LogListenerFileTest, ReadOnlyFileKeepsQueuedRecordsForTheNextWriter)
{
    RefusedWriter refused;
    os::ScopedApiOverride seam;
    seam->_wfopen = &RefusedWriter::Open;
    auto listener = Listener(/*queued=*/true);
    listener->Write(Record(1));
    ASSERT_TRUE(DrainedWithin(*listener));
    SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_READONLY);
    listener->Write(Record(2));
    const bool ended = refused.EndedWithin(logging_tests::kWaitBoundMilliseconds);
    SetFileAttributesW(m_path.c_str(), FILE_ATTRIBUTE_NORMAL);
    ASSERT_TRUE(ended) << "no writer met the read-only file in time";
    // That writer has given up: record 2 waits in the queue.
    EXPECT_FALSE(listener->QueueDrained());
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
    listener->Write(Record(3));
    ASSERT_TRUE(DrainedWithin(*listener));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1), Line(2), Line(3)}));
}

HRESULT WINAPI NoAppData(HWND, int, HANDLE, DWORD, LPWSTR) { return E_FAIL; }

std::wstring CurrentFolder()
{
    wchar_t folder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, folder);
    return folder;
}

TEST_F(LogListenerFileTest, WithoutAnAppDataFolderNothingIsWrittenAndLoggingGoesOn)
{
    // Where the file would go: the log folder, or the current folder for a
    // bare file name.
    const std::wstring inCurrentFolder = CurrentFolder() + L"\\" + m_name;
    ASSERT_FALSE(fakes::FileExists(inCurrentFolder));
    {
        os::ScopedApiOverride seam;
        seam->SHGetFolderPathW = &NoAppData;

        auto direct = Listener();
        CqxLogListenerFile& directListener = *direct;
        EXPECT_EQ(directListener.Path(), L"");
        EXPECT_NO_THROW(directListener.Write(Record(1)));
        const bool acquired = directListener.AcquireFile();
        if (acquired)
            directListener.ReleaseFile();
        EXPECT_FALSE(acquired);

        auto queued = Listener(/*queued=*/true);
        CqxLogListenerFile& queuedListener = *queued;
        EXPECT_EQ(queuedListener.Path(), L"");
        EXPECT_NO_THROW(queuedListener.Write(Record(2)));
        // The record is dropped, not kept for a writer.
        EXPECT_TRUE(DrainedWithin(queuedListener));

        // In a logger, the records still reach the listener after them.
        auto recorder = std::make_unique<fakes::RecordingListener>();
        fakes::RecordingListener& recorded = *recorder;
        CqxLogger::Listeners listeners;
        listeners.push_back(std::move(direct));
        listeners.push_back(std::move(queued));
        listeners.push_back(std::move(recorder));
        auto logger = CqxLogger::Assemble(std::move(listeners));
        QX::Shared::Log(logger.get(), 3, "FileTest::Write", L"record %05d", 3);
        EXPECT_TRUE(DrainedWithin(queuedListener));
        EXPECT_EQ(recorded.Lines(), (std::vector<std::wstring>{L"Information|FileTest::Write|record 00003"}));
    }
    const std::vector<std::wstring> written = fakes::LogFileNames(m_stem);
    const bool inCurrent = fakes::FileExists(inCurrentFolder);
    DeleteFileW(inCurrentFolder.c_str());
    EXPECT_EQ(written, std::vector<std::wstring>{});
    EXPECT_FALSE(inCurrent);
}

TEST_F(LogListenerFileTest, AbandonedMutexIsWaitedForAgainAndStaysWithTheWriter)
{
    const std::wstring mutexName = CqxLogListenerFile::MutexNameForPath(m_path);
    auto listener = Listener();
    std::thread([&] {
        const os::UniqueHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, mutexName.c_str()));
        WaitForSingleObject(mutex.get(), INFINITE);
    }).join();  // the thread ends owning it: the mutex is abandoned
    listener->Write(Record(1));
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
    DWORD fromAnotherThread = 0;
    std::thread([&] {
        const os::UniqueHandle mutex(OpenMutexW(SYNCHRONIZE, FALSE, mutexName.c_str()));
        fromAnotherThread = WaitForSingleObject(mutex.get(), 0);
    }).join();
    EXPECT_EQ(fromAnotherThread, static_cast<DWORD>(WAIT_TIMEOUT));
    // This thread owns it once more than it released; give it back.
    const os::UniqueHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, mutexName.c_str()));
    ReleaseMutex(mutex.get());
}

std::vector<DWORD>* g_timedWaits = nullptr;
DWORD WINAPI TimedWaitTimesOut(HANDLE handle, DWORD milliseconds)
{
    if (milliseconds == INFINITE)
        return WaitForSingleObject(handle, INFINITE);
    g_timedWaits->push_back(milliseconds);
    return WAIT_TIMEOUT;
}

// A writer blocked for good on the file's mutex while its listener is
// destroyed: the listener gives it two rounds of a 100 ms pause and a 500 ms
// wait. The writer then outlives its queue, as it does in a process that is
// ending, so the scenario runs in a child process that ends right after it.
void StopWithAStuckWriter()
{
    const std::wstring name = L"stuckwriter.log";
    auto listener = CqxLogListenerFile::CreateForTesting(/*queued=*/true, 0, name);
    const std::wstring mutexName = CqxLogListenerFile::MutexNameForPath(listener->Path());
    const os::UniqueHandle held(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread([mutexName, held = held.get()] {
        // Takes the mutex and keeps it (and its handle) until the process ends.
        HANDLE mutex = OpenMutexW(SYNCHRONIZE, FALSE, mutexName.c_str());
        WaitForSingleObject(mutex, INFINITE);
        SetEvent(held);
        Sleep(INFINITE);
    }).detach();
    if (WaitForSingleObject(held.get(), logging_tests::kWaitBoundMilliseconds) != WAIT_OBJECT_0) {
        fputs("the mutex was not taken in time\n", stderr);
        ExitProcess(2);
    }

    fakes::VirtualClock clock;
    std::vector<DWORD> timedWaits;
    g_timedWaits = &timedWaits;
    os::ScopedApiOverride seam;
    seam->WaitForSingleObject = &TimedWaitTimesOut;
    listener->Write(Record(1));
    listener.reset();

    std::string pauses = "[";
    for (DWORD pause : clock.Pauses())
        pauses += std::to_string(pause) + " ";
    for (DWORD wait : timedWaits)
        pauses += "wait " + std::to_string(wait) + " ";
    pauses += "]\n";
    fputs(pauses.c_str(), stderr);
    fflush(stderr);
    fakes::DeleteLogFiles(L"stuckwriter");
    ExitProcess(0);
}

TEST(StuckWriterDeathTest, StoppingWaitsTwoRoundsOf100MsPauseAnd500MsWait)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(StopWithAStuckWriter(), ::testing::ExitedWithCode(0), "\\[100 100 wait 500 wait 500 \\]");
}

// Holds the writer in its open of the file (the mutex already taken) until
// the test lets it go.
HANDLE g_opening = nullptr;
HANDLE g_proceed = nullptr;
FILE* __cdecl OpenWhenLetGo(const wchar_t* path, const wchar_t* mode)
{
    SetEvent(g_opening);
    WaitForSingleObject(g_proceed, logging_tests::kWaitBoundMilliseconds);
    return _wfopen(path, mode);
}

// A writer still opening the file when its listener is destroyed (the
// bounded waits over, the queue's records discarded) outlives the listener.
// It goes on with the file it shares with the listener: finds nothing left
// to write, closes the file and releases the mutex, which is then free, not
// abandoned.
TEST_F(LogListenerFileTest, AWriterThatOutlivesItsListenerReleasesTheFileAndItsMutex)
{
    auto listener = Listener(/*queued=*/true);
    // A handle of the test's own keeps the mutex in existence whoever else
    // closes theirs.
    const os::UniqueHandle mutex(
        OpenMutexW(SYNCHRONIZE, FALSE, CqxLogListenerFile::MutexNameForPath(listener->Path()).c_str()));
    ASSERT_TRUE(mutex);
    const os::UniqueHandle opening(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const os::UniqueHandle proceed(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    g_opening = opening.get();
    g_proceed = proceed.get();
    fakes::VirtualClock clock;
    std::vector<DWORD> timedWaits;
    g_timedWaits = &timedWaits;
    os::ScopedApiOverride seam;
    seam->WaitForSingleObject = &TimedWaitTimesOut;
    seam->_wfopen = &OpenWhenLetGo;

    listener->Write(Record(1));
    ASSERT_EQ(WaitForSingleObject(opening.get(), logging_tests::kWaitBoundMilliseconds), WAIT_OBJECT_0);
    listener.reset();
    EXPECT_EQ(clock.Pauses(), (std::vector<DWORD>{100, 100}));
    EXPECT_EQ(timedWaits, (std::vector<DWORD>{500, 500}));

    SetEvent(proceed.get());
    // The writer holds the mutex until it has closed the file.
    DWORD taken = WAIT_TIMEOUT;
    for (int look = 0; look < 250 && taken == WAIT_TIMEOUT; ++look) {
        taken = WaitForSingleObject(mutex.get(), 0);
        if (taken == WAIT_TIMEOUT)
            Sleep(20);
    }
    if (taken == WAIT_OBJECT_0 || taken == WAIT_ABANDONED)
        ReleaseMutex(mutex.get());
    g_timedWaits = nullptr;
    EXPECT_EQ(taken, static_cast<DWORD>(WAIT_OBJECT_0)) << "the mutex was left abandoned or held";
    EXPECT_TRUE(ReadLines(m_path).empty());
}

TEST_F(LogListenerFileTest, StoppingAfterTheWriterEndedDoesNotWait)
{
    auto listener = Listener(/*queued=*/true);
    listener->Write(Record(1));
    ASSERT_TRUE(DrainedWithin(*listener));
    fakes::VirtualClock clock;
    listener.reset();
    EXPECT_TRUE(clock.Pauses().empty());
    EXPECT_EQ(ReadLines(m_path), (std::vector<std::wstring>{Line(1)}));
}

}  // namespace
