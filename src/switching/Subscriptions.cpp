// The event subscriptions of the service: the network event sink on the
// network list manager's three connection points and the radio event sink
// on the mobile-broadband interface manager's radio events. OnStop
// (MainService.cpp) detaches them.
//
// The interface pointers queried from the sinks for their advise are never
// released: each keeps one reference on its sink for the life of the
// process, so the sinks outlive the detach in OnStop on purpose. The worker
// calls both under m_stopLock, after it has found the service running.
#include "switching/MainService.h"

#include "logging/OperationLog.h"

#include <new>

using namespace QX::Shared;

NLMEventHandler* CMainService::NewNetworkEventSink()
{
    return new (std::nothrow) NLMEventHandler(m_pNetworkListManager.Get(), &m_ethernetConnections);
}

CMbnSinks* CMainService::NewRadioEventSink() { return new (std::nothrow) CMbnSinks(); }

void CMainService::ListenForWlanEvents()
{
    OperationLog op("CMainService::ListenForWlanEvents");
    os::ComPtr<IConnectionPointContainer> container;
    // Each step runs only when the ones before it succeeded; the first
    // failure is logged and the container released.
    [&] {
        HRESULT hr = m_pNetworkListManager->QueryInterface(IID_IConnectionPointContainer,
                                                          reinterpret_cast<void**>(container.Put()));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_IConnectionPointContainer QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = container->FindConnectionPoint(IID_INetworkListManagerEvents, m_pNlmEventsConnectionPoint.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"FindConnectionPoint Failed with error: 0x%08X", hr);
            return;
        }
        // The count starts at 0 and the member takes no reference.
        m_pNetworkEventSink = NewNetworkEventSink();
        if (m_pNetworkEventSink == nullptr) {
            op.Log(LevelError, L"NLMEventHandler creation failed with error: 0x%08X", hr);
            return;
        }

        // Kept for ever: each holds one reference on the sink.
        INetworkListManagerEvents* managerEvents = nullptr;
        hr = m_pNetworkEventSink->QueryInterface(IID_INetworkListManagerEvents,
                                                 reinterpret_cast<void**>(&managerEvents));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_INetworkListManagerEvents QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = m_pNlmEventsConnectionPoint->Advise(managerEvents, &m_nlmEventsCookie);
        if (FAILED(hr)) {
            op.Log(LevelError, L"Advise failed with error: 0x%08X", hr);
            return;
        }

        hr = container->FindConnectionPoint(IID_INetworkConnectionEvents, m_pConnectionEventsConnectionPoint.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"FindConnectionPoint failed with error: 0x%08X", hr);
            return;
        }
        INetworkConnectionEvents* connectionEvents = nullptr;  // kept for ever
        hr = m_pNetworkEventSink->QueryInterface(IID_INetworkConnectionEvents,
                                                 reinterpret_cast<void**>(&connectionEvents));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_INetworkConnectionEvents QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = m_pConnectionEventsConnectionPoint->Advise(connectionEvents, &m_connectionEventsCookie);
        if (FAILED(hr)) {
            op.Log(LevelError, L"Advise failed with error: 0x%08X", hr);
            return;
        }

        hr = container->FindConnectionPoint(IID_INetworkEvents, m_pNetworkEventsConnectionPoint.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"FindConnectionPoint failed with error: 0x%08X", hr);
            return;
        }
        INetworkEvents* networkEvents = nullptr;  // kept for ever
        hr = m_pNetworkEventSink->QueryInterface(IID_INetworkEvents, reinterpret_cast<void**>(&networkEvents));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_INetworkEvents QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = m_pNetworkEventsConnectionPoint->Advise(networkEvents, &m_networkEventsCookie);
        if (FAILED(hr))
            op.Log(LevelError, L"Advise failed with error: 0x%08X", hr);
    }();
    container.Reset();
    op.Exit();
}

void CMainService::ListenForWwanEvents()
{
    OperationLog op("CMainService::ListenForWwanEvents");
    os::ComPtr<IConnectionPointContainer> container;
    [&] {
        HRESULT hr = m_pMbnInterfaceManager->QueryInterface(IID_IConnectionPointContainer,
                                                           reinterpret_cast<void**>(container.Put()));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_IConnectionPointContainer QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = container->FindConnectionPoint(IID_IMbnRadioEvents, m_pRadioEventsConnectionPoint.Put());
        if (FAILED(hr)) {
            op.Log(LevelError, L"FindConnectionPoint failed with error: 0x%08X", hr);
            return;
        }
        m_pRadioEventSink = NewRadioEventSink();
        if (m_pRadioEventSink == nullptr) {
            op.Log(LevelError, L"CMbnSinks allocation Failed");
            return;
        }
        // Unlike the network sink, which three kept queries hold, this one
        // has a single kept reference, and the advise's own is given back by
        // the unadvise: without a reference of the member's own, OnStop's
        // release would destroy the sink while a completion may still run
        // in it. The member's is the one OnStop gives back.
        m_pRadioEventSink->AddRef();
        // Its IUnknown, not its event interface: the advise asks for that
        // itself. Kept for ever: it holds one reference on the sink.
        IUnknown* sinkUnknown = nullptr;
        hr = m_pRadioEventSink->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&sinkUnknown));
        if (FAILED(hr)) {
            op.Log(LevelError, L"IID_IMbnRadioEvents QueryInterface failed with error: 0x%08X", hr);
            return;
        }
        hr = m_pRadioEventsConnectionPoint->Advise(sinkUnknown, &m_radioEventsCookie);
        if (FAILED(hr))
            op.Log(LevelError, L"Advise failed with error: 0x%08X", hr);
    }();
    container.Reset();
    op.Exit();
}
