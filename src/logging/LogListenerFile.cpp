#include "logging/LogListenerFile.h"

#include "logging/LogFile.h"
#include "logging/LogQueue.h"
#include "platform/Api.h"

#include <shlobj.h>

#include <cstdint>

namespace QX::Shared {

namespace {

constexpr size_t kPathCapacity = MAX_PATH;  // characters, terminator included
constexpr int32_t kDefaultMaxLogSize = 2048;

std::wstring Bounded(std::wstring text)
{
    if (text.size() > kPathCapacity - 1)
        text.resize(kPathCapacity - 1);
    return text;
}

// A line of this system begins "yyyy/mm/dd hh:mm:ss.mmm|".
bool LooksLikeOurHead(const std::wstring& head)
{
    if (head.size() < 24)
        return false;
    return head[4] == L'/' && head[7] == L'/' && head[10] == L' ' && head[13] == L':' && head[16] == L':' &&
           head[19] == L'.' && head[23] == L'|';
}

}  // namespace

CqxLogListenerFile::CqxLogListenerFile(bool queuedDefault, int32_t defaultMinLevel)
    : CqxLogListenerFile(queuedDefault, defaultMinLevel, ExecutableBaseName() + L".log")
{
}

CqxLogListenerFile::CqxLogListenerFile(bool queuedDefault, int32_t defaultMinLevel, const std::wstring& fileName)
    : CqxLogListener(defaultMinLevel, nullptr, nullptr, false), m_queued(queuedDefault),
      m_file(std::make_shared<CqxLogFile>())
{
    PolicyKeys keys;
    OpenPolicyKeys(nullptr, keys);
    Initialize(fileName, keys, kMaxLogSizeValue);
}

std::unique_ptr<CqxLogListenerFile> CqxLogListenerFile::CreateForTesting(bool queuedDefault, int32_t defaultMinLevel,
                                                                         const std::wstring& fileName)
{
    return std::unique_ptr<CqxLogListenerFile>(new CqxLogListenerFile(queuedDefault, defaultMinLevel, fileName));
}

CqxLogListenerFile::~CqxLogListenerFile()
{
    // The queue gives its writer the bounded wait; a writer still running
    // after it keeps the file (and closes it) until it ends.
    m_queue.reset();
    m_file.reset();
}

void CqxLogListenerFile::Initialize(const std::wstring& fileName, const PolicyKeys& keys, const wchar_t* valueName)
{
    m_file->SetPath(L"");
    m_file->SetMaxSize(GetMaxLogSize(keys, valueName));  // the first record written checks the size

    bool haveFolder = false;
    wchar_t appData[kPathCapacity] = {};
    if (SUCCEEDED(os::api().SHGetFolderPathW(nullptr, CSIDL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT,
                                             appData))) {
        const std::wstring folder = Bounded(std::wstring(appData) + L"\\zvrLog");
        if (CreateDirectoryW(folder.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS) {
            m_file->SetPath(Bounded(folder + L"\\" + fileName));
            haveFolder = true;
        }
    }

    const std::wstring& path = m_file->Path();
    m_file->SetMutex(CreateMutexW(nullptr, FALSE, MutexNameForPath(path.empty() ? fileName : path).c_str()));

    // Without a folder the listener exists but writes nothing.
    if (!haveFolder)
        return;
    if (!AcquireFile())
        return;

    // A file that does not begin like a line of this system is moved aside.
    std::wstring head;
    wint_t c = 0;
    while (head.size() < 24 && (c = fgetwc(m_file->Stream())) != WEOF) {
        if (head.empty() && c == 0xFEFF)
            continue;  // a byte-order mark the runtime did not skip
        head.push_back(static_cast<wchar_t>(c));
    }
    if (head.empty()) {
        if (ferror(m_file->Stream()))
            Rotate(true);
    } else if (!LooksLikeOurHead(head)) {
        Rotate(true);
    }

    DWORD queued = 0;
    if (ReadPolicyNumber(keys, kQueuedWritesValue, /*zeroIsAbsent=*/false, queued))
        m_queued = queued != 0;
    if (m_queued)
        m_queue = std::make_unique<CqxLogQueue>(m_file);
    ReleaseFile();
}

int32_t CqxLogListenerFile::GetMaxLogSize(const PolicyKeys& keys, const wchar_t* valueName)
{
    if (m_file->MaxSize() != -1)
        return m_file->MaxSize();
    DWORD kilobytes = 0;
    const wchar_t* name = (valueName != nullptr && valueName[0] != L'\0') ? valueName : kMaxLogSizeValue;
    m_file->SetMaxSize(ReadPolicyNumber(keys, name, /*zeroIsAbsent=*/true, kilobytes) ? static_cast<int32_t>(kilobytes)
                                                                                      : kDefaultMaxLogSize);
    return m_file->MaxSize();
}

std::wstring CqxLogListenerFile::MutexNameForPath(const std::wstring& path)
{
    std::wstring name = path;
    const size_t colon = name.find(L':');
    if (colon != std::wstring::npos && colon != 0)
        name.erase(0, colon + 1);
    for (wchar_t& c : name)
        if (c == L'\\')
            c = L'.';
    return L"Global\\" + name;
}

void CqxLogListenerFile::Write(const LogData& record)
{
    if (m_file->Path().empty())
        return;
    if (m_queued && m_queue) {
        m_queue->Push(record);
        return;
    }
    if (!AcquireFile())
        return;  // the record is dropped
    WriteRecord(record);
    ReleaseFile();
}

const std::wstring& CqxLogListenerFile::Path() const { return m_file->Path(); }

bool CqxLogListenerFile::AcquireFile() { return m_file->Acquire(); }

void CqxLogListenerFile::ReleaseFile() { m_file->Release(); }

size_t CqxLogListenerFile::WriteRecord(const LogData& record) { return m_file->WriteRecord(record); }

bool CqxLogListenerFile::Rotate(bool force) { return m_file->Rotate(force); }

bool CqxLogListenerFile::QueueDrained() const { return !m_queue || m_queue->Drained(); }

bool CqxLogListenerFile::QueueIdle() const { return !m_queue || m_queue->Idle(); }

size_t CqxLogListenerFile::QueuedRecords() const { return m_queue ? m_queue->Queued() : 0; }

size_t CqxLogListenerFile::DroppedRecords() const { return m_queue ? m_queue->Dropped() : 0; }

void CqxLogListenerFile::Flush()
{
    if (m_queue)
        m_queue->Flush();
}

}  // namespace QX::Shared
