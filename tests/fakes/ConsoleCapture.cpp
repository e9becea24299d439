#include "fakes/ConsoleCapture.h"

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
    s_current->m_text += text;
    s_current->m_writes.push_back(text);
    return 0;
}

} // namespace fakes
