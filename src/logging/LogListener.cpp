#include "logging/LogListener.h"

#include "logging/LogConfiguration.h"
#include "logging/LogLevels.h"
#include "logging/PolicyKeys.h"

#include <memory>
#include <new>

namespace QX::Shared {

CqxLogListener::LogData::LogData(const char* function, std::wstring message, int32_t level)
    : m_function(function != nullptr ? function : ""), m_message(std::move(message)), m_level(level),
      m_threadId(GetCurrentThreadId())
{
    GetLocalTime(&m_time);
}

CqxLogListener::LogData::LogData(std::string function, std::wstring message, int32_t level, const SYSTEMTIME& time,
                                 DWORD threadId)
    : m_function(std::move(function)), m_message(std::move(message)), m_level(level), m_time(time), m_threadId(threadId)
{
}

namespace {

// Appends `value` in decimal, zero-padded to `width` digits (more when it
// needs more), as "%0<width>d" prints a non-negative number.
void AppendDecimal(std::wstring& text, unsigned value, size_t width)
{
    wchar_t digits[10];
    size_t count = 0;
    do {
        digits[count++] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    for (size_t i = count; i < width; ++i)
        text.push_back(L'0');
    while (count > 0)
        text.push_back(digits[--count]);
}

}  // namespace

void CqxLogListener::LogData::AppendHead(std::wstring& text) const
{
    AppendDecimal(text, m_time.wYear, 4);
    text.push_back(L'/');
    AppendDecimal(text, m_time.wMonth, 2);
    text.push_back(L'/');
    AppendDecimal(text, m_time.wDay, 2);
    text.push_back(L' ');
    AppendDecimal(text, m_time.wHour, 2);
    text.push_back(L':');
    AppendDecimal(text, m_time.wMinute, 2);
    text.push_back(L':');
    AppendDecimal(text, m_time.wSecond, 2);
    text.push_back(L'.');
    AppendDecimal(text, m_time.wMilliseconds, 3);
    text.push_back(L'|');
    static const wchar_t kHex[] = L"0123456789ABCDEF";
    for (int shift = 28; shift >= 0; shift -= 4)
        text.push_back(kHex[(m_threadId >> shift) & 0xF]);
    text.push_back(L'|');
    text += m_levelName;
    for (size_t i = m_levelName.size(); i < 11; ++i)
        text.push_back(L' ');
    text.push_back(L'|');
}

const std::wstring& CqxLogListener::LogData::GetLine() const
{
    if (!m_line.empty())
        return m_line;

    if (m_levelName.empty()) {
        const wchar_t* name = LevelName(m_level);
        m_levelName = name != nullptr ? name : L"Undefined";
    }

    // The head "yyyy/mm/dd hh:mm:ss.mmm|TTTTTTTT|Level      |" is built by
    // hand rather than through the formatter, as every line written to a file
    // is made here. It is the same text that
    // "%04d/%02d/%02d %02d:%02d:%02d.%03d|%08X|%-11s|" gives for every value a
    // SYSTEMTIME holds.
    m_line.clear();
    m_line.reserve(45 + m_function.size() + 1 + m_message.size());
    AppendHead(m_line);
    for (char c : m_function)
        m_line.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    m_line.push_back(L'|');
    m_line += m_message;
    return m_line;
}

CqxLogListener::CqxLogListener(int32_t defaultMinLevel, const wchar_t* productName, const wchar_t* minLevelValueName,
                               bool fixedLevels)
    : m_minLevel(defaultMinLevel), m_maxLevel(LevelError), m_fixedLevels(fixedLevels)
{
    PolicyKeys keys;
    OpenPolicyKeys(productName, keys);
    if (keys.product && !m_fixedLevels)
        ReadLevels(*this, keys, minLevelValueName);
}

}  // namespace QX::Shared
