// Reads one log file line by line with a buffer of fixed size, so that the
// memory it takes does not grow with the file. The file's UTF-8 byte-order
// mark is dropped, and so are the line ends (LF or CR LF).
//
// A last line without a line end is not handed out: the writer adds the line
// end with the line, so such a line was cut short (a crash, or a file read
// while it is written); truncated() says it was there. A line longer than the
// buffer is not handed out either; it is counted as an overlong line.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace diag {

class LogReader {
public:
    static constexpr size_t kDefaultBuffer = 1 << 20;

    // Reads `file` (opened in binary mode, not owned) from its current position.
    explicit LogReader(FILE* file, size_t bufferSize = kDefaultBuffer);

    // The next line, valid until the next call; false at the end of the file.
    bool Next(std::string_view& line);

    // The number of the line last handed out, from 1.
    size_t LineNumber() const { return m_lineNumber; }
    // After the end: the last line had no line end (it was not handed out).
    bool Truncated() const { return m_truncated; }
    size_t OverlongLines() const { return m_overlong; }
    // A read error ended the file early.
    bool ReadError() const { return m_readError; }

private:
    bool Fill();

    FILE* m_file;
    std::string m_buffer;
    size_t m_begin = 0;  // the unread bytes are m_buffer[m_begin, m_end)
    size_t m_end = 0;
    bool m_atEnd = false;
    bool m_first = true;
    bool m_skipping = false;  // inside an overlong line, until its line end
    size_t m_lineNumber = 0;
    bool m_truncated = false;
    size_t m_overlong = 0;
    bool m_readError = false;
};

}  // namespace diag
