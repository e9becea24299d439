#include "fakes/RegistryKeys.h"

namespace fakes {

bool MachineKeyExists(const wchar_t* path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

}  // namespace fakes
