#include "radio/PowerStatus.h"

#include "logging/Logger.h"
#include "logging/OperationLog.h"
#include "service/Registry.h"

#include <cstring>

using namespace QX::Shared;

namespace ServiceUtils {

const wchar_t* PowerStatusText(bool status)
{
    // Compared as a byte: a status that is neither 0 nor 1 is not "True".
    unsigned char byte;
    std::memcpy(&byte, &status, 1);
    return byte == 1 ? L"True" : L"False";
}

LSTATUS SetPowerStatusInRegistry(const wchar_t* keyPath, bool status)
{
    constexpr char kFunction[] = "ServiceUtils::SetPowerStatusInRegistry";
    LSTATUS result = ERROR_SUCCESS;
    try {
        unsigned char byte;
        std::memcpy(&byte, &status, 1);
        OperationLog op(kFunction, L"Setting = %s,  Status = %d", keyPath, byte);
        const wchar_t* text = PowerStatusText(status);
        Log(GetLogger(), LevelInformation, kFunction, L"Writing Power Status in registry. Value = %s", text);
        result = Registry::SetValue(HKEY_LOCAL_MACHINE, keyPath, kPowerStatusValue, text, Registry::kDefaultView);
        if (result != ERROR_SUCCESS) {
            // The thread's last error, not the returned code: administrators'
            // tools already parse this line as it is.
            Log(GetLogger(), LevelError, kFunction, L"Registry::SetValue failed with error %d", GetLastError());
        }
        op.Exit(L"Return Status = %d", result);
    } catch (...) {
        Log(GetLogger(), LevelError, kFunction, L"Exception in SetPowerStatusInRegistry()");
    }
    return result;
}

namespace {

LSTATUS SetRadioPowerStatus(const char* function, const wchar_t* entryFormat, const wchar_t* valueFormat,
                            const wchar_t* keyPath, bool status)
{
    unsigned char byte;
    std::memcpy(&byte, &status, 1);
    OperationLog op(function, entryFormat, byte);
    Log(GetLogger(), LevelInformation, function, valueFormat, PowerStatusText(status));
    const LSTATUS result = SetPowerStatusInRegistry(keyPath, status);
    op.Exit(L"Return Status = %d", result);
    return result;
}

} // namespace

LSTATUS SetWlanPowerStatusInRegistry(bool status)
{
    return SetRadioPowerStatus("ServiceUtils::SetWlanPowerStatusInRegistry", L"WLAN status to write = %d",
                               L"SetWlanPowerStatusInRegistry. Value = %s", kWlanPowerStatusKey, status);
}

LSTATUS SetWwanPowerStatusInRegistry(bool status)
{
    return SetRadioPowerStatus("ServiceUtils::SetWwanPowerStatusInRegistry", L"WWAN status to write = %d",
                               L"SetWwanPowerStatusInRegistry. Value = %s", kWwanPowerStatusKey, status);
}

bool CheckAirplaneMode()
{
    constexpr char kFunction[] = "ServiceUtils::CheckAirplaneMode";
    bool airplaneMode = false;
    try {
        OperationLog op(kFunction);
        HKEY key = nullptr;
        LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, KEY_READ, &key);
        if (status != ERROR_SUCCESS) {
            Log(GetLogger(), LevelError, kFunction, L"RegOpenKeyEx (BrisaAirplaneModeRegistry) failed with error: %u",
                status);
            return false;
        }
        // The type is not checked: the first four bytes of the default value count.
        DWORD value = 0;
        DWORD size = sizeof(value);
        status = RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        if (status != ERROR_SUCCESS)
            Log(GetLogger(), LevelError, kFunction,
                L"RegQueryValueEx (BrisaAirplaneModeRegistry) failed with error: %u", status);
        else
            airplaneMode = value == 1;
        status = RegCloseKey(key);
        if (status != ERROR_SUCCESS)
            Log(GetLogger(), LevelError, kFunction, L"RegCloseKey (BrisaAirplaneModeRegistry) failed with error: %u",
                status);
        op.Exit(L"Airplane Mode Status: %u ", airplaneMode);
    } catch (...) {
        Log(GetLogger(), LevelError, kFunction, L"Exception in CheckAirplaneMode()");
        return false;
    }
    return airplaneMode;
}

} // namespace ServiceUtils
