#include "fakes/FakeEventLog.h"

namespace fakes {

FakeEventLog* FakeEventLog::current_ = nullptr;

FakeEventLog::FakeEventLog()
{
    current_ = this;
    seam_->RegisterEventSourceW = &FakeEventLog::RegisterEventSourceW;
    seam_->ReportEventW = &FakeEventLog::ReportEventW;
    seam_->DeregisterEventSource = &FakeEventLog::DeregisterEventSource;
}

FakeEventLog::~FakeEventLog() { current_ = nullptr; }

HANDLE WINAPI FakeEventLog::RegisterEventSourceW(LPCWSTR, LPCWSTR source)
{
    if (current_->registrationFails) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    current_->sources_.push_back(source ? source : L"");
    ++current_->openSources;
    return reinterpret_cast<HANDLE>(current_->sources_.size());
}

BOOL WINAPI FakeEventLog::ReportEventW(HANDLE source, WORD type, WORD category, DWORD id, PSID, WORD count,
                                       DWORD dataSize, LPCWSTR* strings, LPVOID data)
{
    Report report{current_->sources_.at(reinterpret_cast<size_t>(source) - 1), type, category, id, {},
                  dataSize != 0 || data != nullptr};
    for (WORD i = 0; i < count; ++i)
        report.strings.push_back(strings[i]);
    current_->reports.push_back(report);
    return TRUE;
}

BOOL WINAPI FakeEventLog::DeregisterEventSource(HANDLE)
{
    --current_->openSources;
    return TRUE;
}

} // namespace fakes
