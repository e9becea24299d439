#include "fakes/ExpectedLines.h"

#include <algorithm>
#include <iterator>

namespace fakes {

std::wstring Line(std::wstring_view level, std::string_view function, std::wstring_view message)
{
    std::wstring line(level);
    line += L'|';
    line.append(function.begin(), function.end());
    line += L'|';
    line += message;
    return line;
}

std::vector<std::wstring> Matching(const std::vector<std::wstring>& lines, std::wstring_view text)
{
    std::vector<std::wstring> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&](const std::wstring& line) { return line.find(text) != std::wstring::npos; });
    return found;
}

}  // namespace fakes
