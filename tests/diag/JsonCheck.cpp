#include "JsonCheck.h"

#include <cstring>

namespace diagtest {

namespace {

class Checker {
public:
    explicit Checker(const std::string& text) : m_text(text) {}

    bool Document(std::string& error)
    {
        const bool valid = Value() && (Space(), m_at == m_text.size());
        if (!valid)
            error = "not JSON at byte " + std::to_string(m_at) + ": " + m_text.substr(m_at, 40);
        return valid;
    }

private:
    void Space()
    {
        while (m_at < m_text.size() && std::strchr(" \t\r\n", m_text[m_at]) != nullptr)
            ++m_at;
    }
    bool Take(char c)
    {
        Space();
        if (m_at < m_text.size() && m_text[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }
    bool Word(const char* word)
    {
        const size_t length = std::strlen(word);
        if (m_text.compare(m_at, length, word) != 0)
            return false;
        m_at += length;
        return true;
    }
    bool String()
    {
        if (!Take('"'))
            return false;
        while (m_at < m_text.size()) {
            const unsigned char c = static_cast<unsigned char>(m_text[m_at++]);
            if (c == '"')
                return true;
            if (c < 0x20)
                return false;
            if (c == '\\') {
                if (m_at >= m_text.size())
                    return false;
                const char escaped = m_text[m_at++];
                if (escaped == 'u') {
                    for (int i = 0; i < 4; ++i, ++m_at)
                        if (m_at >= m_text.size() || std::strchr("0123456789abcdefABCDEF", m_text[m_at]) == nullptr)
                            return false;
                } else if (std::strchr("\"\\/bfnrt", escaped) == nullptr) {
                    return false;
                }
            }
        }
        return false;
    }
    bool Number()
    {
        const size_t start = m_at;
        if (m_at < m_text.size() && m_text[m_at] == '-')
            ++m_at;
        const size_t digits = m_at;
        while (m_at < m_text.size() && m_text[m_at] >= '0' && m_text[m_at] <= '9')
            ++m_at;
        if (m_at == digits || (m_text[digits] == '0' && m_at - digits > 1))
            return false;
        if (m_at < m_text.size() && m_text[m_at] == '.') {
            const size_t fraction = ++m_at;
            while (m_at < m_text.size() && m_text[m_at] >= '0' && m_text[m_at] <= '9')
                ++m_at;
            if (m_at == fraction)
                return false;
        }
        return m_at > start;
    }
    bool Value()
    {
        Space();
        if (m_at >= m_text.size())
            return false;
        switch (m_text[m_at]) {
        case '{': {
            ++m_at;
            if (Take('}'))
                return true;
            do {
                Space();
                if (!String() || !Take(':') || !Value())
                    return false;
            } while (Take(','));
            return Take('}');
        }
        case '[': {
            ++m_at;
            if (Take(']'))
                return true;
            do {
                if (!Value())
                    return false;
            } while (Take(','));
            return Take(']');
        }
        case '"': return String();
        case 't': return Word("true");
        case 'f': return Word("false");
        case 'n': return Word("null");
        default: return Number();
        }
    }

    const std::string& m_text;
    size_t m_at = 0;
};

}  // namespace

bool JsonIsValid(const std::string& text, std::string& error)
{
    Checker checker(text);
    return checker.Document(error);
}

}  // namespace diagtest
