// The machine-wide Ethernet test over IP Helper's legacy adapter list.
#include "network/AdapterWalks.h"
#include "network/NLMEventHandler.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"


using namespace QX::Shared;

os::UniqueProcessHeapBlock pAdapterInfo;
std::mutex ethernetCheckMutex;

namespace {

// One IP_ADAPTER_INFO: enough for the common machine without a sizing call.
constexpr ULONG kFirstAdapterInfoLength = sizeof(IP_ADAPTER_INFO);
static_assert(kFirstAdapterInfoLength == 704, "the first buffer holds exactly one adapter record");

void* AllocateFromProcessHeap(ULONG length) { return os::api().HeapAlloc(GetProcessHeap(), 0, length); }

IP_ADAPTER_INFO* AdapterInfo() { return static_cast<IP_ADAPTER_INFO*>(pAdapterInfo.get()); }

} // namespace

int NLMEventHandler::InitialiseAdapter()
{
    OperationLog op("NLMEventHandler::InitialiseAdapter");
    pAdapterInfo.reset();
    ULONG length = kFirstAdapterInfoLength;
    pAdapterInfo.reset(AllocateFromProcessHeap(length));
    if (!pAdapterInfo) {
        op.Log(LevelError, L"Error allocating memory needed to call GetAdaptersinfo\n");
        return 1;
    }
    int result = 0;
    try {
        if (os::api().GetAdaptersInfo(AdapterInfo(), &length) == ERROR_BUFFER_OVERFLOW) {
            op.Log(LevelInformation,
                   L"GetAdaptersInfo() returns ERROR_BUFFER_OVERFLOW: Re-allocating with new buffer size = %u", length);
            pAdapterInfo.reset();
            pAdapterInfo.reset(AllocateFromProcessHeap(length));
            if (!pAdapterInfo) {
                op.Log(LevelError, L"Error allocating memory needed to call GetAdaptersinfo.Error = 0x%08lx",
                       GetLastError());
                return 1;
            }
        }
        // Called a second time whatever the first returned: after a first
        // call that succeeded the list is simply filled in again.
        const DWORD status = os::api().GetAdaptersInfo(AdapterInfo(), &length);
        if (status != ERROR_SUCCESS) {
            // The thread's last error, not the returned code, as this line
            // has always shown.
            op.Log(LevelError, L"GetAdaptersInfo() failed.Error = 0x%08lx", GetLastError());
            result = static_cast<int>(status);
        } else {
            op.Log(LevelInformation, L"GetAdaptersInfo() success: ulOutBufLen = %u.", length);
        }
    } catch (...) {
        op.Log(LevelInformation, L"Exception in GetAdaptersInfo()");
        result = 1;
    }
    op.Exit(L"Return = %d", result);
    return result;
}

int NLMEventHandler::CheckEthernetConnectionStatus(int* ethernetStatus, int* ipNotAssigned)
{
    OperationLog op("NLMEventHandler::CheckEthernetConnectionStatus");
    try {
        if (InitialiseAdapter() != 0) {
            op.Log(LevelError, L"InitialiseAdapter failed");
            return 0;
        }
        if (!pAdapterInfo) {
            op.Log(LevelError, L"PIP_ADAPTER_INFO is NULL!!");
            return 0;
        }
        NLMUtils::WalkAdapterInfo(AdapterInfo(), ethernetStatus, ipNotAssigned, op);
        op.Exit(L"Ethernet Status = %d", *ethernetStatus);
        return 1;
    } catch (...) {
        op.Log(LevelError, L"Exception in CheckEthernetConnectionStatus()");
        return 0;
    }
}

int NLMEventHandler::CheckEthernetConnectionStatusEx(int* ethernetStatus, int* ipNotAssigned)
{
    return CheckEthernetConnectionStatusUnder(ethernetCheckMutex, ethernetStatus, ipNotAssigned);
}
