#include "explain/TextPattern.h"

namespace diag {

namespace {

enum class Conversion { Decimal, Unsigned, Hexadecimal, Text, Percent, Invalid };

// Reads the conversion at format[at] (just after the '%'); `at` moves past it.
Conversion ReadConversion(std::string_view format, size_t& at)
{
    while (at < format.size() && (format[at] == '0' || format[at] == '-' || format[at] == '+' || format[at] == ' '))
        ++at;
    while (at < format.size() && format[at] >= '0' && format[at] <= '9')
        ++at;
    while (at < format.size() && (format[at] == 'l' || format[at] == 'h' || format[at] == 'w'))
        ++at;
    if (at >= format.size())
        return Conversion::Invalid;
    switch (format[at++]) {
    case 'd':
    case 'i': return Conversion::Decimal;
    case 'u': return Conversion::Unsigned;
    case 'x':
    case 'X': return Conversion::Hexadecimal;
    case 's':
    case 'S': return Conversion::Text;
    case '%': return Conversion::Percent;
    default: return Conversion::Invalid;
    }
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool Match(std::string_view format, size_t f, std::string_view message, size_t m, PatternCaptures& captures)
{
    while (f < format.size()) {
        if (format[f] != '%') {
            if (m >= message.size() || message[m] != format[f])
                return false;
            ++f;
            ++m;
            continue;
        }
        size_t next = f + 1;
        const Conversion conversion = ReadConversion(format, next);
        switch (conversion) {
        case Conversion::Invalid: return false;
        case Conversion::Percent:
            if (m >= message.size() || message[m] != '%')
                return false;
            ++m;
            break;
        case Conversion::Decimal:
        case Conversion::Unsigned: {
            bool negative = false;
            if (conversion == Conversion::Decimal && m < message.size() && message[m] == '-') {
                negative = true;
                ++m;
            }
            const size_t digits = m;
            int64_t value = 0;
            while (m < message.size() && message[m] >= '0' && message[m] <= '9')
                value = value * 10 + (message[m++] - '0');
            if (m == digits)
                return false;
            if (captures.numberCount < PatternCaptures::kMax)
                captures.numbers[captures.numberCount++] = negative ? -value : value;
            break;
        }
        case Conversion::Hexadecimal: {
            const size_t digits = m;
            int64_t value = 0;
            while (m < message.size() && HexDigit(message[m]) >= 0)
                value = value * 16 + HexDigit(message[m++]);
            if (m == digits)
                return false;
            if (captures.numberCount < PatternCaptures::kMax)
                captures.numbers[captures.numberCount++] = value;
            break;
        }
        case Conversion::Text: {
            // As little text as lets the rest match: try each length in turn.
            const int slot = captures.textCount++;
            const bool last = next == format.size();
            const bool literalNext = !last && format[next] != '%';
            for (size_t end = last ? message.size() : m; end <= message.size(); ++end) {
                if (literalNext && (end == message.size() || message[end] != format[next]))
                    continue;  // the literal after the text must come next
                PatternCaptures attempt = captures;
                if (Match(format, next, message, end, attempt)) {
                    if (slot < PatternCaptures::kMax)
                        attempt.texts[slot] = message.substr(m, end - m);
                    captures = attempt;
                    return true;
                }
            }
            return false;
        }
        }
        f = next;
    }
    return m == message.size();
}

}  // namespace

bool MatchPattern(std::string_view format, std::string_view message, PatternCaptures& captures)
{
    captures = PatternCaptures();
    return Match(format, 0, message, 0, captures);
}

}  // namespace diag
