// log_writer MODE ID COUNT FILE [GATE]
//
//   MODE   direct | queued   how the file listener writes
//   ID     A | B             the writer's name in every message
//   COUNT  1 to 1000000      records to write
//   FILE   the log file's name in the log folder (e.g. "twoprocess.log")
//   GATE   optional: once its listener exists, the writer releases the
//          semaphore "<GATE>_ready" once and waits (at most a minute) for the
//          event "<GATE>_start", so that several writers begin at once
//
// Writes COUNT Information records through a logger whose one listener is a
// file listener for FILE, each with the message
//   "writer <ID> record <000000-based number, 6 digits> <fixed payload>"
// from the function "LogWriter::Run". A queued writer waits (at most two
// minutes) until its queue is drained, so that no record is lost when the
// logger ends. The policy of this executable (module key "log_writer") applies.
//
// Exit codes: 0 every record handed over and written out, 1 bad arguments,
// 2 no log file path, 3 the queue was not drained in time, 4 the gate failed.
#include "logging/LogLevels.h"
#include "logging/LogListenerFile.h"
#include "logging/Logger.h"
#include "platform/UniqueHandle.h"

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <memory>
#include <string>
#include <utility>

namespace {

using QX::Shared::CqxLogger;
using QX::Shared::CqxLogListenerFile;

// The same 64 characters after every record number; the test knows them too.
constexpr wchar_t kPayload[] = L"payload-0123456789-abcdefghijklmnopqrstuvwxyz-ABCDEFGHIJKLMNOPQR";
constexpr DWORD kDrainWaitMilliseconds = 120000;
constexpr DWORD kDrainPollMilliseconds = 5;
constexpr DWORD kGateWaitMilliseconds = 60000;

int Usage()
{
    fputws(L"usage: log_writer direct|queued A|B COUNT FILE [GATE]\n", stderr);
    return 1;
}

// Reports this writer ready and waits for the start.
bool PassGate(const std::wstring& gate)
{
    const os::UniqueHandle ready(OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (gate + L"_ready").c_str()));
    const os::UniqueHandle start(OpenEventW(SYNCHRONIZE, FALSE, (gate + L"_start").c_str()));
    return ready && start && ReleaseSemaphore(ready.get(), 1, nullptr) &&
           WaitForSingleObject(start.get(), kGateWaitMilliseconds) == WAIT_OBJECT_0;
}

}  // namespace

int wmain(int argc, wchar_t* argv[])
{
    if (argc != 5 && argc != 6)
        return Usage();
    const std::wstring mode = argv[1];
    const std::wstring id = argv[2];
    wchar_t* end = nullptr;
    const unsigned long count = wcstoul(argv[3], &end, 10);
    const std::wstring fileName = argv[4];
    if ((mode != L"direct" && mode != L"queued") || (id != L"A" && id != L"B") || end == argv[3] || *end != L'\0' ||
        count == 0 || count > 1000000 || fileName.empty())
        return Usage();
    const bool queued = mode == L"queued";

    auto file = CqxLogListenerFile::CreateForTesting(queued, QX::Shared::LevelTraceIn, fileName);
    if (file->Path().empty()) {
        fputws(L"log_writer: no log folder\n", stderr);
        return 2;
    }
    CqxLogListenerFile* listener = file.get();
    CqxLogger::Listeners listeners;
    listeners.push_back(std::move(file));
    std::unique_ptr<CqxLogger> logger = CqxLogger::Assemble(std::move(listeners));

    if (argc == 6 && !PassGate(argv[5])) {
        fputws(L"log_writer: the start gate failed\n", stderr);
        return 4;
    }

    for (unsigned long number = 0; number < count; ++number)
        QX::Shared::Log(logger.get(), QX::Shared::LevelInformation, "LogWriter::Run", L"writer %s record %06lu %s",
                        id.c_str(), number, kPayload);

    // A queued listener's writer may still hold records; the logger's end
    // would give it only a bounded time.
    const ULONGLONG start = GetTickCount64();
    while (!listener->QueueDrained()) {
        if (GetTickCount64() - start > kDrainWaitMilliseconds) {
            fputws(L"log_writer: the queue was not drained in time\n", stderr);
            return 3;
        }
        Sleep(kDrainPollMilliseconds);
    }
    logger.reset();
    return 0;
}
