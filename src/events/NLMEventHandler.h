// NLMEventHandler: the network event sink, a COM object of one identity
// behind three interfaces that share one reference count. The Network List
// Manager calls it on COM threads of the multithreaded apartment;
// connectivity callbacks are serialised by connectivityCallbackMutex
// (state/), which is always taken before the Ethernet test's own mutex. It
// neither owns the network list manager (the main service object keeps it
// alive, so no reference is taken) nor the set of Ethernet connections.
//
// The machine-wide Ethernet test lives in network/EthernetCheck.h, below
// the radio control that calls it; the static members here keep it callable
// by the names it has always had and logs under.
#pragma once

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"

#include <netlistmgr.h>

#include <set>
#include <string>

class NLMEventHandler : public INetworkListManagerEvents, public INetworkEvents, public INetworkConnectionEvents {
public:
    // Creating the object does not count as a reference: the count starts at 0.
    NLMEventHandler(INetworkListManager* networkListManager, std::set<std::wstring>* ethernetConnections);
    // Frees the Ethernet test's adapter list once more.
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

    // The machine-wide Ethernet test (EthernetCheck) by its old names.
    static int InitialiseAdapter() { return EthernetCheck::InitialiseAdapter(); }
    static int CheckEthernetConnectionStatus(int* ethernetStatus, int* ipNotAssigned)
    {
        return EthernetCheck::CheckEthernetConnectionStatus(ethernetStatus, ipNotAssigned);
    }
    static int CheckEthernetConnectionStatusEx(int* ethernetStatus, int* ipNotAssigned)
    {
        return EthernetCheck::CheckEthernetConnectionStatusEx(ethernetStatus, ipNotAssigned);
    }
    template <typename Mutex>
    static int CheckEthernetConnectionStatusUnder(Mutex& mutex, int* ethernetStatus, int* ipNotAssigned)
    {
        return EthernetCheck::CheckEthernetConnectionStatusUnder(mutex, ethernetStatus, ipNotAssigned);
    }

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
