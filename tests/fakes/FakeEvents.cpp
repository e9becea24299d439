#include "fakes/FakeEvents.h"

namespace fakes {

FakeEvents* FakeEvents::s_current = nullptr;

FakeEvents::FakeEvents(Journal* journal) : m_journal(journal)
{
    s_current = this;
    m_seam->CreateEventW = &FakeEvents::CreateEventW;
    m_seam->SetEvent = &FakeEvents::SetEvent;
}

FakeEvents::~FakeEvents() { s_current = nullptr; }

void FakeEvents::Fail(Failure point, DWORD error)
{
    m_failure = point;
    m_error = error;
}

HANDLE WINAPI FakeEvents::CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                                       LPCWSTR name)
{
    s_current->creations.push_back({manualReset != FALSE, initialState != FALSE, name ? name : L""});
    if (s_current->m_failure == Failure::CreateEvent) {
        SetLastError(s_current->m_error);
        return nullptr;
    }
    return ::CreateEventW(attributes, manualReset, initialState, name);
}

BOOL WINAPI FakeEvents::SetEvent(HANDLE event)
{
    Note(s_current->m_journal, "SetEvent");
    if (s_current->m_failure == Failure::SetEvent) {
        SetLastError(s_current->m_error);
        return FALSE;
    }
    return ::SetEvent(event);
}

}  // namespace fakes
