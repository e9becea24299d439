// The exports of the simulation's wlanapi.dll, the Native Wi-Fi calls that
// Tessarine.exe imports, each with the platform's own signature. Each makes
// sure the simulated adapter exists, then forwards to this DLL's copy of
// the platform seam, where the adapter's model is installed; sets go through
// the adapter, which keeps the simulation state in step.
//
// No exception leaves an export: the caller is C code's calling convention.
#include "SimulatedAdapter.h"

#include "platform/Api.h"

namespace {

template <typename Call>
DWORD Guarded(Call call)
{
    try {
        return call();
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

os::Api& Model()
{
    sim::SimulatedAdapter::Get();
    return os::api();
}

}  // namespace

// Nothing to do at attach or detach: the adapter and its threads are made on
// first use, never under the loader lock, and live until the process ends
// (see SimulatedAdapter::Get).
BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

extern "C" {

DWORD WINAPI WlanOpenHandle(DWORD dwClientVersion, PVOID pReserved, PDWORD pdwNegotiatedVersion, PHANDLE phClientHandle)
{
    return Guarded(
        [&] { return Model().WlanOpenHandle(dwClientVersion, pReserved, pdwNegotiatedVersion, phClientHandle); });
}

DWORD WINAPI WlanCloseHandle(HANDLE hClientHandle, PVOID pReserved)
{
    return Guarded([&] { return Model().WlanCloseHandle(hClientHandle, pReserved); });
}

DWORD WINAPI WlanRegisterNotification(HANDLE hClientHandle, DWORD dwNotifSource, WINBOOL bIgnoreDuplicate,
                                      WLAN_NOTIFICATION_CALLBACK funcCallback, PVOID pCallbackContext, PVOID pReserved,
                                      PDWORD pdwPrevNotifSource)
{
    return Guarded([&] {
        return Model().WlanRegisterNotification(hClientHandle, dwNotifSource, bIgnoreDuplicate, funcCallback,
                                                pCallbackContext, pReserved, pdwPrevNotifSource);
    });
}

DWORD WINAPI WlanEnumInterfaces(HANDLE hClientHandle, PVOID pReserved, PWLAN_INTERFACE_INFO_LIST* ppInterfaceList)
{
    return Guarded([&] { return Model().WlanEnumInterfaces(hClientHandle, pReserved, ppInterfaceList); });
}

DWORD WINAPI WlanQueryInterface(HANDLE hClientHandle, const GUID* pInterfaceGuid, WLAN_INTF_OPCODE OpCode,
                                PVOID pReserved, PDWORD pdwDataSize, PVOID* ppData,
                                PWLAN_OPCODE_VALUE_TYPE pWlanOpcodeValueType)
{
    return Guarded([&] {
        return Model().WlanQueryInterface(hClientHandle, pInterfaceGuid, OpCode, pReserved, pdwDataSize, ppData,
                                          pWlanOpcodeValueType);
    });
}

DWORD WINAPI WlanGetInterfaceCapability(HANDLE hClientHandle, const GUID* pInterfaceGuid, PVOID pReserved,
                                        PWLAN_INTERFACE_CAPABILITY* ppCapability)
{
    return Guarded(
        [&] { return Model().WlanGetInterfaceCapability(hClientHandle, pInterfaceGuid, pReserved, ppCapability); });
}

DWORD WINAPI WlanSetInterface(HANDLE hClientHandle, const GUID* pInterfaceGuid, WLAN_INTF_OPCODE OpCode,
                              DWORD dwDataSize, const PVOID pData, PVOID pReserved)
{
    return Guarded([&] {
        return sim::SimulatedAdapter::Get().SetInterface(hClientHandle, pInterfaceGuid, OpCode, dwDataSize, pData,
                                                         pReserved);
    });
}

VOID WINAPI WlanFreeMemory(PVOID pMemory)
{
    Guarded([&] {
        Model().WlanFreeMemory(pMemory);
        return DWORD{ERROR_SUCCESS};
    });
}

}  // extern "C"
