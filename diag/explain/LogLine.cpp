#include "explain/LogLine.h"

#include "logging/LogLevels.h"

#include <array>
#include <string>

namespace diag {

namespace {

// The head before the function: "YYYY/MM/DD HH:MM:SS.mmm|TTTTTTTT|Level      |".
constexpr size_t kHeadLength = 45;
constexpr size_t kLevelColumns = 11;

bool Digits(std::string_view text, size_t at, size_t count, int& value)
{
    value = 0;
    for (size_t i = at; i < at + count; ++i) {
        const char c = text[i];
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

bool HexThread(std::string_view text, size_t at, uint32_t& value)
{
    value = 0;
    for (size_t i = at; i < at + 8; ++i) {
        const char c = text[i];
        uint32_t digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return false;
        value = value << 4 | digit;
    }
    return true;
}

// The level names as the record formatting pads them, taken from the
// logging library so that the two cannot drift apart.
struct PaddedLevel {
    std::string name;
    int level;
};

const std::array<PaddedLevel, 8>& PaddedLevels()
{
    static const std::array<PaddedLevel, 8> levels = [] {
        std::array<PaddedLevel, 8> made{};
        size_t next = 0;
        for (int32_t level : QX::Shared::kNamedLevels) {
            if (level == QX::Shared::LevelNever)
                continue;  // a configuration value only: no record carries it
            std::string name;
            for (const wchar_t* c = QX::Shared::LevelName(level); *c != L'\0'; ++c)
                name.push_back(static_cast<char>(*c));
            name.resize(kLevelColumns, ' ');
            made[next++] = {name, level};
        }
        made[next] = {"Undefined  ", -1};
        return made;
    }();
    return levels;
}

bool Level(std::string_view text, int& level)
{
    for (const PaddedLevel& padded : PaddedLevels()) {
        if (!padded.name.empty() && text == padded.name) {
            level = padded.level;
            return true;
        }
    }
    return false;
}

int64_t DaysFromCivil(int year, int month, int day)
{
    // Howard Hinnant's days_from_civil: days since 1970-01-01 of a proleptic
    // Gregorian date.
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

int DaysInMonth(int year, int month)
{
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

}  // namespace

bool ToMillis(int year, int month, int day, int hour, int minute, int second, int millisecond, Millis& time)
{
    if (month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month) || hour > 23 || minute > 59 ||
        second > 59 || millisecond > 999 || hour < 0 || minute < 0 || second < 0 || millisecond < 0)
        return false;
    time = ((DaysFromCivil(year, month, day) * 24 + hour) * 60 + minute) * 60000 + second * 1000 + millisecond;
    return true;
}

CivilTime ToCivil(Millis time)
{
    int64_t days = time >= 0 ? time / 86400000 : (time - 86399999) / 86400000;
    const int64_t ofDay = time - days * 86400000;
    // Howard Hinnant's civil_from_days.
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    const int day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    const int month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2));
    return {year,
            month,
            day,
            static_cast<int>(ofDay / 3600000),
            static_cast<int>(ofDay / 60000 % 60),
            static_cast<int>(ofDay / 1000 % 60),
            static_cast<int>(ofDay % 1000)};
}

bool ParseLogLine(std::string_view line, LogRecord& record)
{
    if (line.size() < kHeadLength + 1)  // the head and a bar after the function at least
        return false;
    if (line[4] != '/' || line[7] != '/' || line[10] != ' ' || line[13] != ':' || line[16] != ':' || line[19] != '.' ||
        line[23] != '|' || line[32] != '|' || line[44] != '|')
        return false;
    int year, month, day, hour, minute, second, millisecond;
    if (!Digits(line, 0, 4, year) || !Digits(line, 5, 2, month) || !Digits(line, 8, 2, day) ||
        !Digits(line, 11, 2, hour) || !Digits(line, 14, 2, minute) || !Digits(line, 17, 2, second) ||
        !Digits(line, 20, 3, millisecond))
        return false;
    if (!ToMillis(year, month, day, hour, minute, second, millisecond, record.time))
        return false;
    if (!HexThread(line, 24, record.thread) || !Level(line.substr(33, kLevelColumns), record.level))
        return false;
    // Function names hold no bar; the message is the rest, bars and all.
    const size_t bar = line.find('|', kHeadLength);
    if (bar == std::string_view::npos || bar == kHeadLength)
        return false;
    record.function = line.substr(kHeadLength, bar - kHeadLength);
    record.message = line.substr(bar + 1);
    return true;
}

}  // namespace diag
