// The machine-wide Ethernet test: whether a wired, non-VPN Ethernet adapter
// with an address is up, over IP Helper's legacy adapter list. Every thread
// of the service may call it (the worker, the airplane watcher, the
// Wi-Fi notification thread, the COM threads of the network and radio
// sinks, resume handling), always through CheckEthernetConnectionStatusEx,
// which serialises it under the test's own mutex. The adapter list and that
// mutex are private to the test.
//
// It logs under the network event sink's names, as the service always has
// (the sink's class keeps these names callable, in events/).
#pragma once

#include "logging/OperationLog.h"

#include <winsock2.h>
#include <iphlpapi.h>

#include <mutex>
#include <system_error>

namespace EthernetCheck {

// Rebuilds the adapter list with GetAdaptersInfo: 0 on success, the call's
// code when it failed, or 1 after a failed allocation or an exception.
int InitialiseAdapter();
// Whether a wired, non-VPN Ethernet adapter with an address is up: 1 when
// the adapter list was examined (ethernetStatus is then 1 or 0;
// ipNotAssigned, if not null, set to 1 when an Ethernet adapter without an
// address was seen, never cleared), 0 on failure with both out-values
// untouched. Callers use the Ex form.
int CheckEthernetConnectionStatus(int* ethernetStatus, int* ipNotAssigned);
// The same, serialised under the test's mutex.
int CheckEthernetConnectionStatusEx(int* ethernetStatus, int* ipNotAssigned);

// The body of the Ex form, under any lockable (tests hand in one whose lock
// fails): a lock that throws std::system_error is logged with its code and
// gives 0.
template <typename Mutex>
int CheckEthernetConnectionStatusUnder(Mutex& mutex, int* ethernetStatus, int* ipNotAssigned);

// The wait for a wired link's address (DHCP may still be working on the
// adapter): tests the machine, and while an Ethernet adapter without an
// address is there and no Ethernet is up, logs the failed try under `log`
// and pauses a second, eight tries at most. ipNotAssigned is never cleared
// between tries, so once set the wait ends only through Ethernet found or
// the count: the try that finds the address still logs and pauses. Gives
// the last Ethernet status (1 or 0; 0 after a failed test).
int WaitForEthernetAddress(const QX::Shared::FunctionLog& log);

// Frees the adapter list, under the test's mutex (the network event sink's
// destructor frees it at the latest).
void ReleaseAdapterList();

// The adapter list as the last test left it, and the test's mutex.
const IP_ADAPTER_INFO* AdapterListForTesting();
std::mutex& EthernetCheckMutexForTesting();

}  // namespace EthernetCheck

template <typename Mutex>
int EthernetCheck::CheckEthernetConnectionStatusUnder(Mutex& mutex, int* ethernetStatus, int* ipNotAssigned)
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
