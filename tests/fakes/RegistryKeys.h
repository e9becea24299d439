// Registry checks shared by the tests.
#pragma once

#include <windows.h>

namespace fakes {

// Whether HKLM\<path> exists in the default view.
bool MachineKeyExists(const wchar_t* path);

}  // namespace fakes
