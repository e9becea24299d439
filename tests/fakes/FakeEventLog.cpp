#include "fakes/FakeEventLog.h"

#include <cstdint>

namespace fakes {

namespace {

// Handles handed out: 0x5150, 0x5154, ... (never null, never reused).
HANDLE SourceHandle(size_t number) { return reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x5150 + 4 * number)); }

}  // namespace

FakeEventLog* FakeEventLog::s_current = nullptr;

FakeEventLog::FakeEventLog()
{
    s_current = this;
    m_seam->RegisterEventSourceW = &FakeEventLog::RegisterEventSourceW;
    m_seam->ReportEventW = &FakeEventLog::ReportEventW;
    m_seam->DeregisterEventSource = &FakeEventLog::DeregisterEventSource;
}

FakeEventLog::~FakeEventLog() { s_current = nullptr; }

void FakeEventLog::Fail(Failure point, DWORD error)
{
    m_failure = point;
    m_error = error;
}

HANDLE WINAPI FakeEventLog::RegisterEventSourceW(LPCWSTR server, LPCWSTR source)
{
    FakeEventLog& log = *s_current;
    Registration registration{server != nullptr, source != nullptr ? source : L"", nullptr};
    if (log.m_failure == Failure::RegisterEventSource) {
        log.registrations.push_back(registration);
        SetLastError(log.m_error);
        return nullptr;
    }
    registration.handle = SourceHandle(log.m_handedOut++);
    log.registrations.push_back(registration);
    log.m_open.emplace(registration.handle, registration.name);
    ++log.openSources;
    return registration.handle;
}

BOOL WINAPI FakeEventLog::ReportEventW(HANDLE source, WORD type, WORD category, DWORD id, PSID, WORD count,
                                       DWORD dataSize, LPCWSTR* strings, LPVOID data)
{
    FakeEventLog& log = *s_current;
    const auto found = log.m_open.find(source);
    if (found == log.m_open.end()) {
        ++log.failedReports;
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (log.m_failure == Failure::ReportEvent) {
        ++log.failedReports;
        SetLastError(log.m_error);
        return FALSE;
    }
    Report report{found->second, type, category, id, {}, dataSize != 0 || data != nullptr, source};
    for (WORD i = 0; i < count; ++i)
        report.strings.push_back(strings[i]);
    log.reports.push_back(report);
    return TRUE;
}

BOOL WINAPI FakeEventLog::DeregisterEventSource(HANDLE source)
{
    FakeEventLog& log = *s_current;
    log.deregistered.push_back(source);
    if (log.m_open.erase(source) == 0) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    --log.openSources;
    return TRUE;
}

}  // namespace fakes
