// Where a writer's UTF-8 text goes: standard output, a file, or (in tests) a
// string. Writes are buffered; Flush sends them on.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace diag {

class Output {
public:
    virtual ~Output() = default;
    void Write(std::string_view utf8);
    void Flush();
    // A write failed (a full disk, a closed pipe).
    bool Failed() const { return m_failed; }

protected:
    virtual bool Send(std::string_view utf8) = 0;

private:
    static constexpr size_t kBuffer = 1 << 16;
    std::string m_buffer;
    bool m_failed = false;
};

class StringOutput : public Output {
public:
    const std::string& Text()
    {
        Flush();
        return m_text;
    }

protected:
    bool Send(std::string_view utf8) override;

private:
    std::string m_text;
};

// Standard output or standard error: a console gets UTF-16 (WriteConsoleW), a
// pipe or a file the UTF-8 bytes (in text mode: CR LF line ends).
class StandardOutput : public Output {
public:
    explicit StandardOutput(FILE* stream) : m_stream(stream) {}
    ~StandardOutput() override { Flush(); }

protected:
    bool Send(std::string_view utf8) override;

private:
    FILE* m_stream;
};

// A file the writer creates (the HTML page): its UTF-8 bytes as they are.
class FileOutput : public Output {
public:
    // Creates (or replaces) the file; IsOpen says whether that worked.
    explicit FileOutput(const std::wstring& path);
    ~FileOutput() override;
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    bool IsOpen() const { return m_file != nullptr; }
    // Flushes and closes; false when a write or the close failed.
    bool Close();

protected:
    bool Send(std::string_view utf8) override;

private:
    FILE* m_file = nullptr;
};

}  // namespace diag
