// The queued file listener when its file cannot be written: the records it
// keeps for a later writer are bounded (the latest ones are kept), and a
// writer thread that meets an exception ends cleanly and leaves the records
// it had not taken to the next writer.
#include "Waits.h"
#include "fakes/LogFiles.h"
#include "logging/LogListenerFile.h"
#include "logging/LogQueue.h"
#include "platform/Api.h"
#include "platform/Format.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using fakes::ReadLines;
using logging_tests::DrainedWithin;
using QX::Shared::CqxLogListener;
using QX::Shared::CqxLogListenerFile;
using QX::Shared::CqxLogQueue;

CqxLogListener::LogData Record(int number)
{
    SYSTEMTIME time{};
    time.wYear = 2026;
    time.wMonth = 11;
    time.wDay = 23;
    time.wHour = 9;
    return CqxLogListener::LogData("QueueBound::Write", os::FormatString(L"record %05d", number), 3, time, 0x2A);
}

std::wstring Line(int number) { return Record(number).GetLine(); }

// Whether no writer is at work within the bound. A record pushed while a
// writer that cannot open the file is still at work waits for the writer of
// the record after it; the tests push theirs once the writers have ended.
bool IdleWithin(const CqxLogListenerFile& listener)
{
    const ULONGLONG start = GetTickCount64();
    while (!listener.QueueIdle()) {
        if (GetTickCount64() - start >= logging_tests::kWaitBoundMilliseconds)
            return false;
        Sleep(5);
    }
    return true;
}

// An application-data folder of the test's own. Break turns its "zvrLog"
// folder into a file, so that the log file can no longer be opened; Repair
// makes it a folder again. Everything goes, pass or fail.
class OwnAppData {
public:
    OwnAppData()
    {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        s_appData = std::wstring(temp) + L"tessarine-queue-bound";
        CreateDirectoryW(s_appData.c_str(), nullptr);
        m_seam->SHGetFolderPathW = &OwnAppData::AppData;
    }
    ~OwnAppData()
    {
        DeleteFileW(Path().c_str());
        RemoveDirectoryW(Folder().c_str());
        DeleteFileW(Folder().c_str());
        RemoveDirectoryW(s_appData.c_str());
    }
    void Break() const
    {
        DeleteFileW(Path().c_str());
        RemoveDirectoryW(Folder().c_str());
        fakes::WriteBytes(Folder(), "not a folder");
    }
    void Repair() const
    {
        DeleteFileW(Folder().c_str());
        CreateDirectoryW(Folder().c_str(), nullptr);
    }
    static std::wstring Folder() { return s_appData + L"\\zvrLog"; }
    static std::wstring Path() { return Folder() + L"\\queuebound.log"; }

private:
    static HRESULT WINAPI AppData(HWND, int, HANDLE, DWORD, LPWSTR path)
    {
        wcscpy(path, s_appData.c_str());
        return S_OK;
    }
    static inline std::wstring s_appData;
    os::ScopedApiOverride m_seam;
};

TEST(LogQueueBoundTest, WithTheLogFolderAFileTheQueueKeepsTheLatestRecordsUpToItsBound)
{
    OwnAppData appData;
    auto listener = CqxLogListenerFile::CreateForTesting(/*queuedDefault=*/true, 0, L"queuebound.log");
    ASSERT_EQ(listener->Path(), OwnAppData::Path());
    ASSERT_EQ(listener->GetType(), CqxLogListener::TypeFileQueued);
    appData.Break();

    constexpr int kBound = static_cast<int>(CqxLogQueue::kMaxQueuedRecords);
    const int written = kBound + 904;
    // The first record's writer finds the file cannot be opened; from then
    // on the queue holds its bound.
    listener->Write(Record(1));
    ASSERT_TRUE(IdleWithin(*listener)) << "the first writer did not end within the bound";
    for (int number = 2; number <= written; ++number)
        listener->Write(Record(number));
    // The writers of those records have given up too.
    ASSERT_TRUE(IdleWithin(*listener)) << "the last writer did not end within the bound";
    // Every writer gave up at the file: nothing is written, and the queue
    // holds no more than its bound.
    EXPECT_EQ(listener->QueuedRecords(), CqxLogQueue::kMaxQueuedRecords);
    EXPECT_EQ(listener->DroppedRecords(), 904u);
    EXPECT_FALSE(fakes::FileExists(OwnAppData::Path()));

    // Once the folder can hold the file, the next record's writer writes
    // the latest records, in order, the oldest ones dropped.
    appData.Repair();
    listener->Write(Record(written + 1));
    ASSERT_TRUE(DrainedWithin(*listener));
    EXPECT_EQ(listener->DroppedRecords(), 905u);
    const std::vector<std::wstring> lines = ReadLines(OwnAppData::Path());
    ASSERT_EQ(lines.size(), CqxLogQueue::kMaxQueuedRecords);
    EXPECT_EQ(lines.front(), Line(906));
    EXPECT_EQ(lines.back(), Line(written + 1));
    listener.reset();
}

// The first opening of the file throws, as a runtime out of memory would.
class ThrowingOpen {
public:
    ThrowingOpen()
    {
        s_throwsLeft = 1;
        m_seam->_wfopen = &ThrowingOpen::Open;
    }

private:
    static FILE* __cdecl Open(const wchar_t* path, const wchar_t* mode)
    {
        if (s_throwsLeft > 0) {
            --s_throwsLeft;
            throw std::runtime_error("no memory for the stream");
        }
        return _wfopen(path, mode);
    }
    static inline int s_throwsLeft = 0;
    os::ScopedApiOverride m_seam;
};

TEST(LogQueueBoundTest, AWriterThatMeetsAnExceptionEndsAndTheNextWriterWritesEverything)
{
    fakes::DeleteLogFiles(L"queuethrow");
    {
        auto listener = CqxLogListenerFile::CreateForTesting(/*queuedDefault=*/true, 0, L"queuethrow.log");
        {
            ThrowingOpen throwing;
            listener->Write(Record(1));
            // The writer caught it and ended: the record waits for the next one.
            ASSERT_TRUE(IdleWithin(*listener)) << "the writer did not end within the bound";
        }
        EXPECT_EQ(listener->QueuedRecords(), 1u);
        listener->Write(Record(2));
        ASSERT_TRUE(DrainedWithin(*listener));
        EXPECT_EQ(ReadLines(fakes::LogPath(L"queuethrow.log")), (std::vector<std::wstring>{Line(1), Line(2)}));
    }
    fakes::DeleteLogFiles(L"queuethrow");
}

}  // namespace
