// Windows' connection manager policy (Group Policy "Windows Connection
// Manager"): every value under its machine key, for the reasoning to judge.
#include "status/Readings.h"

#include "platform/UniqueHandle.h"
#include "status/RegistryValues.h"

namespace diag {

ConnectionManagerPolicy ReadConnectionManagerPolicy(HKEY root, const std::wstring& path)
{
    ConnectionManagerPolicy policy;
    policy.key = path;
    os::UniqueRegKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return policy;
    policy.keyFound = true;
    policy.values = ReadValues(key.get());
    return policy;
}

}  // namespace diag
