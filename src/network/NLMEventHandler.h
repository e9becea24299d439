// NLMEventHandler: the network event sink. This layer holds its static
// machine-wide Ethernet test, which every thread of the service may call
// (always through CheckEthernetConnectionStatusEx); the sink's COM side
// (src/events/) lives in a layer above the radio control it calls, and only
// that layer constructs the object.
//
// The COM object: one identity behind three interfaces that share one
// reference count. The Network List Manager calls it on COM threads of the
// multithreaded apartment; connectivity callbacks are serialised by
// connectivityCallbackMutex, which is always taken before ethernetCheckMutex.
// It neither owns the network list manager (the main service object keeps it
// alive, so no reference is taken) nor the set of Ethernet connections.
#pragma once

#include "logging/OperationLog.h"
#include "platform/UniqueHandle.h"

#include <winsock2.h>
#include <iphlpapi.h>
#include <netlistmgr.h>

#include <mutex>
#include <set>
#include <string>
#include <system_error>

class NLMEventHandler : public INetworkListManagerEvents, public INetworkEvents, public INetworkConnectionEvents {
public:
    // Creating the object does not count as a reference: the count starts at 0.
    NLMEventHandler(INetworkListManager* networkListManager, std::set<std::wstring>* ethernetConnections);
    // Frees pAdapterInfo once more.
    virtual ~NLMEventHandler();
    NLMEventHandler(const NLMEventHandler&) = delete;
    NLMEventHandler& operator=(const NLMEventHandler&) = delete;

    // IUnknown, shared by the three interfaces. The count is a plain
    // increment and decrement, not an interlocked one.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // INetworkListManagerEvents
    HRESULT STDMETHODCALLTYPE ConnectivityChanged(NLM_CONNECTIVITY connectivity) override;

    // INetworkEvents
    HRESULT STDMETHODCALLTYPE NetworkAdded(GUID networkId) override;
    HRESULT STDMETHODCALLTYPE NetworkDeleted(GUID networkId) override;
    HRESULT STDMETHODCALLTYPE NetworkConnectivityChanged(GUID networkId, NLM_CONNECTIVITY connectivity) override;
    HRESULT STDMETHODCALLTYPE NetworkPropertyChanged(GUID networkId, NLM_NETWORK_PROPERTY_CHANGE change) override;

    // INetworkConnectionEvents: switches the radios off when an Ethernet
    // connection comes up and on when the last one goes.
    HRESULT STDMETHODCALLTYPE NetworkConnectionConnectivityChanged(GUID connectionId,
                                                                   NLM_CONNECTIVITY connectivity) override;
    HRESULT STDMETHODCALLTYPE NetworkConnectionPropertyChanged(GUID connectionId,
                                                               NLM_CONNECTION_PROPERTY_CHANGE change) override;

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

private:
    // The connect and disconnect halves of NetworkConnectionConnectivityChanged,
    // run under connectivityCallbackMutex.
    void OnConnected(GUID connectionId, const std::wstring& identifier, NLM_CONNECTIVITY connectivity,
                     const QX::Shared::FunctionLog& log);
    void OnDisconnected(const std::wstring& identifier, const QX::Shared::FunctionLog& log);

    ULONG m_refCount = 0;
    // Not AddRef'd and never released here: the main service object owns it.
    INetworkListManager* m_networkListManager;
    // The main service object's m_ethernetConnections; may be null.
    std::set<std::wstring>* m_ethernetConnections;
};

// The legacy adapter list, a process-heap block that InitialiseAdapter
// rebuilds on every machine-wide test; kept process-wide (not a local of the
// test) so that the sink frees it at its end as it always has, and guarded by
// ethernetCheckMutex like the walk over it. Null at start.
extern os::UniqueProcessHeapBlock pAdapterInfo;
// Serialises the machine-wide test; lives for the whole process.
extern std::mutex ethernetCheckMutex;
// Serialises the sink's connectivity callbacks; taken before
// ethernetCheckMutex. Defined with the sink's COM side.
extern std::mutex connectivityCallbackMutex;

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
