#include "models/FakeComTexts.h"

namespace fakes {

FakeComTexts* FakeComTexts::s_current = nullptr;

FakeComTexts::FakeComTexts()
{
    s_current = this;
    m_seam->StringFromCLSID = &FakeComTexts::StringFromCLSID;
    m_seam->IIDFromString = &FakeComTexts::IIDFromString;
    m_seam->StringFromIID = &FakeComTexts::StringFromIID;
    m_seam->CoTaskMemFree = &FakeComTexts::CoTaskMemFree;
    m_seam->SysFreeString = &FakeComTexts::SysFreeString;
}

FakeComTexts::~FakeComTexts() { s_current = nullptr; }

void FakeComTexts::Fail(Failure point, HRESULT result, int n)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failure = point;
    m_failureResult = result;
    const int calls = point == Failure::StringFromCLSID ? m_stringCalls
                      : point == Failure::StringFromIID ? m_iidTextCalls
                                                        : m_iidCalls;
    m_failAt = n == 0 ? 0 : calls + n;
}

BSTR FakeComTexts::MakeBstr(const std::wstring& text)
{
    BSTR bstr = ::SysAllocString(text.c_str());
    if (s_current != nullptr) {
        std::lock_guard<std::mutex> lock(s_current->m_lock);
        s_current->m_bstrs.insert(bstr);
    }
    return bstr;
}

size_t FakeComTexts::LiveTexts() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_texts.size();
}

size_t FakeComTexts::LiveBstrs() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_bstrs.size();
}

bool FakeComTexts::Fails(Failure point, int& calls)
{
    ++calls;
    return m_failure == point && (m_failAt == 0 || calls == m_failAt);
}

HRESULT WINAPI FakeComTexts::StringFromCLSID(REFCLSID id, LPOLESTR* text)
{
    FakeComTexts& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    if (self.Fails(Failure::StringFromCLSID, self.m_stringCalls)) {
        *text = nullptr;
        return self.m_failureResult;
    }
    const HRESULT hr = ::StringFromCLSID(id, text);
    if (SUCCEEDED(hr))
        self.m_texts.insert(*text);
    return hr;
}

HRESULT WINAPI FakeComTexts::StringFromIID(REFIID id, LPOLESTR* text)
{
    FakeComTexts& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    if (self.Fails(Failure::StringFromIID, self.m_iidTextCalls)) {
        *text = nullptr;
        return self.m_failureResult;
    }
    const HRESULT hr = ::StringFromIID(id, text);
    if (SUCCEEDED(hr))
        self.m_texts.insert(*text);
    return hr;
}

HRESULT WINAPI FakeComTexts::IIDFromString(LPCOLESTR text, LPIID id)
{
    FakeComTexts& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    if (self.Fails(Failure::IIDFromString, self.m_iidCalls))
        return self.m_failureResult;
    return ::IIDFromString(text, id);
}

void WINAPI FakeComTexts::CoTaskMemFree(LPVOID block)
{
    FakeComTexts& self = *s_current;
    {
        std::lock_guard<std::mutex> lock(self.m_lock);
        self.m_texts.erase(block);
    }
    ::CoTaskMemFree(block);
}

void WINAPI FakeComTexts::SysFreeString(BSTR text)
{
    FakeComTexts& self = *s_current;
    {
        std::lock_guard<std::mutex> lock(self.m_lock);
        self.m_bstrs.erase(text);
    }
    ::SysFreeString(text);
}

} // namespace fakes
