#include "fakes/FakeDebugOutput.h"

namespace fakes {

FakeDebugOutput* FakeDebugOutput::s_current = nullptr;

FakeDebugOutput::FakeDebugOutput()
{
    s_current = this;
    m_seam->OutputDebugStringW = &FakeDebugOutput::OutputDebugStringW;
}

FakeDebugOutput::~FakeDebugOutput() { s_current = nullptr; }

void WINAPI FakeDebugOutput::OutputDebugStringW(LPCWSTR text)
{
    s_current->texts.push_back(text != nullptr ? text : L"");
}

}  // namespace fakes
