#include "fakes/ConsoleCapture.h"

#include <cwchar>

namespace fakes {

ConsoleCapture* ConsoleCapture::s_current = nullptr;

ConsoleCapture::ConsoleCapture()
{
    s_current = this;
    m_seam->fputws = &ConsoleCapture::Write;
}

ConsoleCapture::~ConsoleCapture() { s_current = nullptr; }

int __cdecl ConsoleCapture::Write(const wchar_t* text, FILE* stream)
{
    if (stream != stdout)
        return fputws(text, stream);
    if (s_current->m_failingWrites > 0) {
        --s_current->m_failingWrites;
        s_current->m_failedWrites.push_back(text);
        return WEOF;
    }
    s_current->m_text += text;
    s_current->m_writes.push_back(text);
    return 0;
}

}  // namespace fakes
