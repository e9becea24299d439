// ExpectedLines: the log lines tests expect, in the form the recording
// listener gives them ("Level|Class::Method|message", see
// RecordingListener.h), and the one way tests pick lines out of a log by a
// piece of their text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fakes {

// "level|function|message". The logger's function names are ASCII.
std::wstring Line(std::wstring_view level, std::string_view function, std::wstring_view message);

// The lines of one function, so that a test file names its function once:
//   const fakes::FunctionLines Line{"CMainService::ServiceWorkerThread"};
//   Line(L"Error", L"...")  gives  L"Error|CMainService::ServiceWorkerThread|..."
// Constant-initialised, so other namespace-scope constants may use it.
class FunctionLines {
public:
    constexpr explicit FunctionLines(const char* function) : m_function(function) {}

    std::wstring operator()(std::wstring_view level, std::wstring_view message) const
    {
        return Line(level, m_function, message);
    }

private:
    const char* m_function;
};

// The lines that contain `text`, in order (their size() is the count).
std::vector<std::wstring> Matching(const std::vector<std::wstring>& lines, std::wstring_view text);

}  // namespace fakes
