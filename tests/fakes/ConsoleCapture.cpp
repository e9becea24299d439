#include "fakes/ConsoleCapture.h"

namespace fakes {

ConsoleCapture* ConsoleCapture::current_ = nullptr;

ConsoleCapture::ConsoleCapture()
{
    current_ = this;
    seam_->fputws = &ConsoleCapture::Write;
}

ConsoleCapture::~ConsoleCapture() { current_ = nullptr; }

int __cdecl ConsoleCapture::Write(const wchar_t* text, FILE* stream)
{
    if (stream != stdout)
        return fputws(text, stream);
    current_->text_ += text;
    current_->writes_.push_back(text);
    return 0;
}

} // namespace fakes
