// The machine-wide Ethernet test over IP Helper's legacy adapter list.
#include "network/EthernetCheck.h"

#include "network/AdapterWalks.h"

#include "logging/OperationLog.h"
#include "platform/Api.h"
#include "platform/UniqueHandle.h"

using namespace QX::Shared;

namespace EthernetCheck {
namespace {

// The adapter list, a process-heap block that InitialiseAdapter rebuilds on
// every test; kept across tests (not a local) so that the network event
// sink frees it at its end as it always has. Guarded by ethernetCheckMutex
// like the walk over it. Null at start.
os::UniqueProcessHeapBlock pAdapterInfo;
// Serialises the machine-wide test; lives for the whole process.
std::mutex ethernetCheckMutex;

// The address wait: a second a try, eight tries at most.
constexpr int kAddressTries = 8;
constexpr DWORD kAddressPauseMilliseconds = 1000;

// One IP_ADAPTER_INFO: enough for the common machine without a sizing call.
constexpr ULONG kFirstAdapterInfoLength = sizeof(IP_ADAPTER_INFO);
static_assert(kFirstAdapterInfoLength == 704, "the first buffer holds exactly one adapter record");

IP_ADAPTER_INFO* AdapterInfo() { return static_cast<IP_ADAPTER_INFO*>(pAdapterInfo.get()); }

}  // namespace

int InitialiseAdapter()
{
    OperationLog op("NLMEventHandler::InitialiseAdapter");
    pAdapterInfo.reset();
    ULONG length = kFirstAdapterInfoLength;
    pAdapterInfo.reset(os::AllocateFromProcessHeap(length));
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
            pAdapterInfo.reset(os::AllocateFromProcessHeap(length));
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

int CheckEthernetConnectionStatus(int* ethernetStatus, int* ipNotAssigned)
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

int CheckEthernetConnectionStatusEx(int* ethernetStatus, int* ipNotAssigned)
{
    return CheckEthernetConnectionStatusUnder(ethernetCheckMutex, ethernetStatus, ipNotAssigned);
}

int WaitForEthernetAddress(const FunctionLog& log)
{
    int ethernetStatus = 0;
    int ipNotAssigned = 0;
    int tries = 0;
    for (;;) {
        const int result = CheckEthernetConnectionStatusEx(&ethernetStatus, &ipNotAssigned);
        if (result == 1 && ethernetStatus == 1 && ipNotAssigned == 0)
            break;
        log.Log(LevelWarning, L"CheckEthernetConnectionStatus failed in try %d", tries);
        os::api().Sleep(kAddressPauseMilliseconds);
        ++tries;
        if (ethernetStatus != 0 || tries >= kAddressTries || ipNotAssigned != 1)
            break;
    }
    return ethernetStatus;
}

void ReleaseAdapterList()
{
    try {
        const std::lock_guard<std::mutex> lock(ethernetCheckMutex);
        pAdapterInfo.reset();
    } catch (const std::system_error&) {
        // The lock failed: the list stays, and the next test frees it first.
    }
}

const IP_ADAPTER_INFO* AdapterListForTesting() { return AdapterInfo(); }

std::mutex& EthernetCheckMutexForTesting() { return ethernetCheckMutex; }

}  // namespace EthernetCheck
