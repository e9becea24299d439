#include "radio/PowerStatus.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"
#include "service/Registry.h"

#include <cstring>

using namespace QX::Shared;

namespace ServiceUtils {

const wchar_t* PowerStatusText(unsigned char statusByte) { return statusByte == 1 ? L"True" : L"False"; }

unsigned char StatusByte(bool status)
{
    unsigned char byte;
    std::memcpy(&byte, &status, 1);
    return byte;
}

LSTATUS SetPowerStatusInRegistry(const wchar_t* keyPath, bool status)
{
    const unsigned char byte = StatusByte(status);
    OperationLog op("ServiceUtils::SetPowerStatusInRegistry", L"Setting = %s,  Status = %d", keyPath, byte);
    LSTATUS result = ERROR_SUCCESS;
    try {
        const wchar_t* text = PowerStatusText(byte);
        op.Log(LevelInformation, L"Writing Power Status in registry. Value = %s", text);
        result = Registry::SetValue(HKEY_LOCAL_MACHINE, keyPath, kPowerStatusValue, text, Registry::kDefaultView);
        // The thread's last error, not the returned code, as this line has
        // always carried.
        if (result != ERROR_SUCCESS)
            op.Log(LevelError, L"Registry::SetValue failed with error %d", GetLastError());
        op.Exit(L"Return Status = %d", result);
    } catch (...) {
        op.Log(LevelError, L"Exception in SetPowerStatusInRegistry()");
    }
    return result;
}

namespace {

LSTATUS SetRadioPowerStatus(const char* function, const wchar_t* entryFormat, const wchar_t* valueFormat,
                            const wchar_t* keyPath, bool status)
{
    const unsigned char byte = StatusByte(status);
    OperationLog op(function, entryFormat, byte);
    op.Log(LevelInformation, valueFormat, PowerStatusText(byte));
    const LSTATUS result = SetPowerStatusInRegistry(keyPath, status);
    op.Exit(L"Return Status = %d", result);
    return result;
}

}  // namespace

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

namespace {

StoredPowerStatus ReadPowerStatus(const wchar_t* keyPath)
{
    StoredPowerStatus stored;
    stored.text = Registry::GetValue(HKEY_LOCAL_MACHINE, keyPath, kPowerStatusValue, Registry::kDefaultView);
    if (stored.text.empty()) {
        stored.wasEmpty = true;
        stored.text = L"True";
    }
    return stored;
}

}  // namespace

StoredPowerStatus ReadWlanPowerStatus() { return ReadPowerStatus(kWlanPowerStatusKey); }

StoredPowerStatus ReadWwanPowerStatus() { return ReadPowerStatus(kWwanPowerStatusKey); }

bool CheckAirplaneMode()
{
    OperationLog op("ServiceUtils::CheckAirplaneMode");
    try {
        os::UniqueRegKey key;
        LSTATUS status = os::api().RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAirplaneModeKey, 0, KEY_READ, key.put());
        if (status != ERROR_SUCCESS) {
            op.Log(LevelError, L"RegOpenKeyEx (BrisaAirplaneModeRegistry) failed with error: %u", status);
            return false;
        }
        // The type is not checked: the first four bytes of the default value count.
        bool airplaneMode = false;
        DWORD value = 0;
        DWORD size = sizeof(value);
        status = RegQueryValueExW(key.get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        if (status != ERROR_SUCCESS)
            op.Log(LevelError, L"RegQueryValueEx (BrisaAirplaneModeRegistry) failed with error: %u", status);
        else
            airplaneMode = value == 1;
        status = RegCloseKey(key.release());
        if (status != ERROR_SUCCESS)
            op.Log(LevelError, L"RegCloseKey (BrisaAirplaneModeRegistry) failed with error: %u", status);
        op.Exit(L"Airplane Mode Status: %u ", airplaneMode);
        return airplaneMode;
    } catch (...) {
        op.Log(LevelError, L"Exception in CheckAirplaneMode()");
        return false;
    }
}

}  // namespace ServiceUtils
