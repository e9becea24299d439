#include "status/JsonWriter.h"

#include "platform/Format.h"

namespace diag {

std::wstring JsonString(const std::wstring& text)
{
    std::wstring out = L"\"";
    for (const wchar_t c : text) {
        switch (c) {
        case L'"': out += L"\\\""; break;
        case L'\\': out += L"\\\\"; break;
        case L'\n': out += L"\\n"; break;
        case L'\r': out += L"\\r"; break;
        case L'\t': out += L"\\t"; break;
        default:
            if (c < 0x20 || c > 0x7E)
                out += os::FormatString(L"\\u%04x", static_cast<unsigned>(c));
            else
                out += c;
        }
    }
    return out + L"\"";
}

void JsonWriter::NewLine()
{
    m_text += L'\n';
    m_text.append(m_hasMembers.size() * 2, L' ');
}

void JsonWriter::BeforeValue()
{
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    // An array element.
    if (!m_hasMembers.empty()) {
        if (m_hasMembers.back())
            m_text += L',';
        m_hasMembers.back() = true;
        NewLine();
    }
}

JsonWriter& JsonWriter::Key(const std::wstring& name)
{
    if (m_hasMembers.back())
        m_text += L',';
    m_hasMembers.back() = true;
    NewLine();
    m_text += JsonString(name) + L": ";
    m_afterKey = true;
    return *this;
}

void JsonWriter::Open(wchar_t bracket)
{
    BeforeValue();
    m_text += bracket;
    m_hasMembers.push_back(false);
}

void JsonWriter::Close(wchar_t bracket)
{
    const bool hadMembers = m_hasMembers.back();
    m_hasMembers.pop_back();
    if (hadMembers)
        NewLine();
    m_text += bracket;
    if (m_hasMembers.empty())
        m_text += L'\n';
}

void JsonWriter::BeginObject() { Open(L'{'); }
void JsonWriter::EndObject() { Close(L'}'); }
void JsonWriter::BeginArray() { Open(L'['); }
void JsonWriter::EndArray() { Close(L']'); }

void JsonWriter::String(const std::wstring& text)
{
    BeforeValue();
    m_text += JsonString(text);
}

void JsonWriter::Number(int64_t number)
{
    BeforeValue();
    m_text += std::to_wstring(number);
}

void JsonWriter::Bool(bool value)
{
    BeforeValue();
    m_text += value ? L"true" : L"false";
}

void JsonWriter::Null()
{
    BeforeValue();
    m_text += L"null";
}

}  // namespace diag
