// FakeComTexts: the texts COM hands out, through the seam, for the life of
// the object: GUID texts (StringFromCLSID and StringFromIID, freed with
// CoTaskMemFree), GUIDs
// read back from texts (IIDFromString) and BSTRs (freed with SysFreeString).
// The conversions run for real unless a failure point says otherwise; the
// fake counts what was handed out and what was freed, so a test sees a
// leak. BSTRs that fakes make count when they are made with MakeBstr.
#pragma once

#include "platform/Api.h"

#include <mutex>
#include <set>
#include <string>

namespace fakes {

class FakeComTexts {
public:
    enum class Failure { None, StringFromCLSID, StringFromIID, IIDFromString };

    FakeComTexts();
    ~FakeComTexts();
    FakeComTexts(const FakeComTexts&) = delete;
    FakeComTexts& operator=(const FakeComTexts&) = delete;

    // The n-th call of `point` from now (1 is the next) fails with `result`;
    // n = 0: every call.
    void Fail(Failure point, HRESULT result, int n = 0);

    // A BSTR that counts as handed out until SysFreeString frees it.
    static BSTR MakeBstr(const std::wstring& text);

    // Texts and BSTRs handed out and not yet freed.
    size_t LiveTexts() const;
    size_t LiveBstrs() const;

private:
    static HRESULT WINAPI StringFromCLSID(REFCLSID id, LPOLESTR* text);
    static HRESULT WINAPI StringFromIID(REFIID id, LPOLESTR* text);
    static HRESULT WINAPI IIDFromString(LPCOLESTR text, LPIID id);
    static void WINAPI CoTaskMemFree(LPVOID block);
    static void WINAPI SysFreeString(BSTR text);
    bool Fails(Failure point, int& calls);

    static FakeComTexts* s_current;
    os::ScopedApiOverride m_seam;
    mutable std::mutex m_lock;
    std::set<void*> m_texts;
    std::set<void*> m_bstrs;
    Failure m_failure = Failure::None;
    HRESULT m_failureResult = S_OK;
    int m_failAt = 0;
    int m_stringCalls = 0;
    int m_iidCalls = 0;
    int m_iidTextCalls = 0;
};

} // namespace fakes
