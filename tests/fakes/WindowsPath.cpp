#include "fakes/WindowsPath.h"

namespace fakes {

std::wstring WindowsPathOf(const char* linuxPath)
{
    std::wstring path = L"Z:";
    for (const char* c = linuxPath; *c != '\0'; ++c)
        path.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(static_cast<unsigned char>(*c)));
    return path;
}

}  // namespace fakes
