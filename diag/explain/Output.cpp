#include "explain/Output.h"

#include "explain/Texts.h"

#include <windows.h>
#include <io.h>

namespace diag {

void Output::Write(std::string_view utf8)
{
    m_buffer.append(utf8);
    if (m_buffer.size() >= kBuffer)
        Flush();
}

void Output::Flush()
{
    if (m_buffer.empty())
        return;
    if (!m_failed && !Send(m_buffer))
        m_failed = true;
    m_buffer.clear();
}

bool StringOutput::Send(std::string_view utf8)
{
    m_text.append(utf8);
    return true;
}

bool StandardOutput::Send(std::string_view utf8)
{
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(m_stream)));
    DWORD mode = 0;
    if (handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode)) {
        const std::wstring text = Wide(utf8);
        DWORD written = 0;
        return WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
    }
    const bool sent = std::fwrite(utf8.data(), 1, utf8.size(), m_stream) == utf8.size();
    return std::fflush(m_stream) == 0 && sent;
}

FileOutput::FileOutput(const std::wstring& path) : m_file(_wfopen(path.c_str(), L"wb")) {}

FileOutput::~FileOutput() { Close(); }

bool FileOutput::Close()
{
    if (m_file == nullptr)
        return !Failed();
    Flush();
    const bool closed = std::fclose(m_file) == 0;
    m_file = nullptr;
    return closed && !Failed();
}

bool FileOutput::Send(std::string_view utf8)
{
    return m_file != nullptr && std::fwrite(utf8.data(), 1, utf8.size(), m_file) == utf8.size();
}

}  // namespace diag
