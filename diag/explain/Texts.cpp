#include "explain/Texts.h"

#include "platform/Format.h"

#include <windows.h>

#include <cstdarg>

namespace diag {

std::string Utf8(std::wstring_view text)
{
    if (text.empty())
        return {};
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &result[0], size, nullptr, nullptr);
    return result;
}

std::wstring Wide(std::string_view utf8)
{
    if (utf8.empty())
        return {};
    const int size = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring result(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &result[0], size);
    return result;
}

std::string Printf(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    const std::wstring text = os::FormatStringV(format, args);
    va_end(args);
    return Utf8(text);
}

std::string ClockText(Millis time)
{
    const CivilTime t = ToCivil(time);
    return Printf(L"%02d:%02d:%02d.%03d", t.hour, t.minute, t.second, t.millisecond);
}

std::string DateText(Millis time)
{
    const CivilTime t = ToCivil(time);
    return Printf(L"%04d/%02d/%02d", t.year, t.month, t.day);
}

std::string IsoText(Millis time)
{
    const CivilTime t = ToCivil(time);
    return Printf(L"%04d-%02d-%02dT%02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour, t.minute, t.second,
                  t.millisecond);
}

std::string DurationText(Millis duration)
{
    if (duration < 0)
        duration = 0;
    if (duration < 1000)
        return Printf(L"%d ms", static_cast<int>(duration));
    if (duration < 60000)
        return Printf(L"%d.%d s", static_cast<int>(duration / 1000), static_cast<int>(duration / 100 % 10));
    const int64_t seconds = duration / 1000;
    if (seconds < 3600)
        return Printf(L"%d min %d s", static_cast<int>(seconds / 60), static_cast<int>(seconds % 60));
    if (seconds < 86400)
        return Printf(L"%d h %d min", static_cast<int>(seconds / 3600), static_cast<int>(seconds / 60 % 60));
    return Printf(L"%d d %d h", static_cast<int>(seconds / 86400), static_cast<int>(seconds / 3600 % 24));
}

}  // namespace diag
