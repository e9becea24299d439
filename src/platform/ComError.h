// ComError: the exception that carries a failed COM call's HRESULT, and the
// two small COM value helpers that raise it. The toolchain has no COM
// support library, so this stands in its role: code that reads COM values
// catches ComError, takes its Error() as the result and logs it; the BSTR
// and VARIANT helpers below throw it when the platform refuses them. Header
// only; any thread.
#pragma once

#include "platform/Api.h"
#include "platform/UniqueHandle.h"

#include <oleauto.h>

#include <exception>
#include <string>

namespace os {

class ComError : public std::exception {
public:
    explicit ComError(HRESULT error) noexcept : m_error(error) {}
    HRESULT Error() const noexcept { return m_error; }
    const char* what() const noexcept override { return "COM error"; }

private:
    HRESULT m_error;
};

// A BSTR copy of `text` of `length` code units; E_OUTOFMEMORY when the
// allocation is refused.
inline UniqueBstr MakeBstr(const wchar_t* text, UINT length)
{
    UniqueBstr copy(api().SysAllocStringLen(text, length));
    if (!copy)
        throw ComError(E_OUTOFMEMORY);
    return copy;
}

inline UniqueBstr MakeBstr(const std::wstring& text) { return MakeBstr(text.c_str(), static_cast<UINT>(text.size())); }

// Owns one VARIANT: initialised empty, cleared at the end of its life.
class Variant {
public:
    Variant() { ::VariantInit(&m_value); }
    ~Variant() { ::VariantClear(&m_value); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* Put()
    {
        Clear();
        return &m_value;
    }
    const VARIANT& Get() const { return m_value; }
    VARTYPE Type() const { return m_value.vt; }

    // Throws when the value cannot be cleared (a type the platform does not
    // know, for one).
    void Clear()
    {
        const HRESULT result = ::VariantClear(&m_value);
        if (FAILED(result))
            throw ComError(result);
    }

    // The value as text: a BSTR as it is (a null BSTR is empty), any other
    // type through the platform's own conversion, which throws when it fails.
    std::wstring Text() const
    {
        if (m_value.vt == VT_BSTR)
            return m_value.bstrVal ? std::wstring(m_value.bstrVal, ::SysStringLen(m_value.bstrVal)) : std::wstring();
        VARIANT converted;
        ::VariantInit(&converted);
        const HRESULT result = ::VariantChangeType(&converted, const_cast<VARIANT*>(&m_value), 0, VT_BSTR);
        if (FAILED(result))
            throw ComError(result);
        std::wstring text =
            converted.bstrVal ? std::wstring(converted.bstrVal, ::SysStringLen(converted.bstrVal)) : std::wstring();
        ::VariantClear(&converted);
        return text;
    }

private:
    VARIANT m_value;
};

}  // namespace os
