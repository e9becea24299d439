// FakeDebugOutput: records what the product sends to a debugger through the
// seam's OutputDebugStringW, for the life of the object (Wine keeps none of
// it). Single-threaded use.
#pragma once

#include "platform/Api.h"

#include <string>
#include <vector>

namespace fakes {

class FakeDebugOutput {
public:
    FakeDebugOutput();
    ~FakeDebugOutput();
    FakeDebugOutput(const FakeDebugOutput&) = delete;
    FakeDebugOutput& operator=(const FakeDebugOutput&) = delete;

    std::vector<std::wstring> texts;  // every text sent, in order

private:
    static void WINAPI OutputDebugStringW(LPCWSTR text);

    static FakeDebugOutput* s_current;
    os::ScopedApiOverride m_seam;
};

}  // namespace fakes
