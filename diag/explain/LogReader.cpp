#include "explain/LogReader.h"

#include <cstring>

namespace diag {

LogReader::LogReader(FILE* file, size_t bufferSize) : m_file(file), m_buffer(bufferSize, '\0') {}

bool LogReader::Fill()
{
    if (m_atEnd)
        return false;
    // Keep the unread part and fill the rest of the buffer behind it.
    if (m_begin > 0) {
        std::memmove(&m_buffer[0], &m_buffer[m_begin], m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_end == m_buffer.size())
        return false;  // full: the caller handles an overlong line
    const size_t read = std::fread(&m_buffer[m_end], 1, m_buffer.size() - m_end, m_file);
    if (read == 0) {
        m_atEnd = true;
        m_readError = std::ferror(m_file) != 0;
        return false;
    }
    m_end += read;
    if (m_first) {
        m_first = false;
        if (m_end >= 3 && std::memcmp(&m_buffer[0], "\xEF\xBB\xBF", 3) == 0)
            m_begin = 3;
    }
    return true;
}

bool LogReader::Next(std::string_view& line)
{
    for (;;) {
        const char* begin = m_buffer.data() + m_begin;
        const void* found = std::memchr(begin, '\n', m_end - m_begin);
        if (found != nullptr) {
            const char* lineEnd = static_cast<const char*>(found);
            size_t length = static_cast<size_t>(lineEnd - begin);
            m_begin += length + 1;
            ++m_lineNumber;
            if (m_skipping) {
                m_skipping = false;
                continue;
            }
            if (length > 0 && begin[length - 1] == '\r')
                --length;
            line = std::string_view(begin, length);
            return true;
        }
        if (Fill())
            continue;
        if (m_atEnd) {
            if (m_end > m_begin && !m_skipping) {
                m_truncated = true;
                m_begin = m_end;
            }
            return false;
        }
        // A full buffer without a line end: drop what is there and the rest
        // of the line up to its end.
        if (!m_skipping)
            ++m_overlong;
        m_skipping = true;
        m_begin = m_end = 0;
    }
}

}  // namespace diag
