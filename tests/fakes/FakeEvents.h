// FakeEvents: creating and signalling events through the seam, for the life
// of the object. Both pass through to the real calls (the events are real)
// unless a failure point says otherwise; every creation is kept with its
// arguments and every signal is journalled.
#pragma once

#include "models/Journal.h"
#include "platform/Api.h"

#include <string>
#include <vector>

namespace fakes {

class FakeEvents {
public:
    enum class Failure { None, CreateEvent, SetEvent };

    explicit FakeEvents(Journal* journal = nullptr);
    ~FakeEvents();
    FakeEvents(const FakeEvents&) = delete;
    FakeEvents& operator=(const FakeEvents&) = delete;

    struct Creation {
        bool manualReset;
        bool initiallySignalled;
        std::wstring name;  // empty for an unnamed event
    };

    // The failing call returns null or FALSE with `error` as the last error.
    void Fail(Failure point, DWORD error);

    std::vector<Creation> creations;  // failed ones too

private:
    static HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                                      LPCWSTR name);
    static BOOL WINAPI SetEvent(HANDLE event);

    static FakeEvents* s_current;
    os::ScopedApiOverride m_seam;
    Journal* m_journal;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
};

}  // namespace fakes
