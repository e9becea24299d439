// NLMEventHandler: the network event sink. This layer holds its static
// machine-wide Ethernet test, which every thread of the service may call
// (always through CheckEthernetConnectionStatusEx); the sink's COM side
// lives in a layer above the radio control it calls.
#pragma once

#include "logging/OperationLog.h"
#include "platform/UniqueHandle.h"

#include <mutex>
#include <system_error>

class NLMEventHandler {
public:
    // Rebuilds pAdapterInfo with GetAdaptersInfo: 0 on success, the call's
    // code when it failed, or 1 after a failed allocation or an exception.
    static int InitialiseAdapter();
    // Whether a wired, non-VPN Ethernet adapter with an address is up:
    // 1 when the adapter list was examined (ethernetStatus is then 1 or 0;
    // ipNotAssigned, if not null, set to 1 when an Ethernet adapter without
    // an address was seen, never cleared), 0 on failure with both out-values
    // untouched. Callers use the Ex form.
    static int CheckEthernetConnectionStatus(int* ethernetStatus, int* ipNotAssigned);
    // The same, serialised under ethernetCheckMutex.
    static int CheckEthernetConnectionStatusEx(int* ethernetStatus, int* ipNotAssigned);

    // The body of the Ex form, under any lockable (tests hand in one whose
    // lock fails): a lock that throws std::system_error is logged with its
    // code and gives 0.
    template <typename Mutex>
    static int CheckEthernetConnectionStatusUnder(Mutex& mutex, int* ethernetStatus, int* ipNotAssigned);
};

// The legacy adapter list, a process-heap block that InitialiseAdapter
// rebuilds on every machine-wide test; kept process-wide (not a local of the
// test) so that the sink frees it at its end as it always has, and guarded by
// ethernetCheckMutex like the walk over it. Null at start.
extern os::UniqueProcessHeapBlock pAdapterInfo;
// Serialises the machine-wide test; lives for the whole process.
extern std::mutex ethernetCheckMutex;

template <typename Mutex>
int NLMEventHandler::CheckEthernetConnectionStatusUnder(Mutex& mutex, int* ethernetStatus, int* ipNotAssigned)
{
    using namespace QX::Shared;
    OperationLog op("NLMEventHandler::CheckEthernetConnectionStatusEx");
    int result = 0;
    try {
        std::lock_guard<Mutex> lock(mutex);
        result = CheckEthernetConnectionStatus(ethernetStatus, ipNotAssigned);
    } catch (const std::system_error& error) {
        op.Log(LevelError, L"Exception in CheckEthernetConnectionStatusEx() : Code = %d", error.code().value());
    }
    op.Exit(L"Return Value = %d", result);
    return result;
}
