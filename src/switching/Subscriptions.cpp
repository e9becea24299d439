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

namespace {

// The manager's connection point container; false after a failure, which it
// logs.
bool QueryContainer(const FunctionLog& log, IUnknown* manager, os::ComPtr<IConnectionPointContainer>& container)
{
    const HRESULT hr =
        manager->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(container.Put()));
    if (FAILED(hr)) {
        log.Log(LevelError, L"IID_IConnectionPointContainer QueryInterface failed with error: 0x%08X", hr);
        return false;
    }
    return true;
}

// Finds the connection point of the events `iid` on the container; false
// after a failure, which it logs with `failedFormat`.
bool FindPoint(const FunctionLog& log, IConnectionPointContainer* container, REFIID iid,
               os::ComPtr<IConnectionPoint>& point, const wchar_t* failedFormat)
{
    const HRESULT hr = container->FindConnectionPoint(iid, point.Put());
    if (FAILED(hr)) {
        log.Log(LevelError, failedFormat, hr);
        return false;
    }
    return true;
}

// Queries the network sink for the events `iid` and advises the point with
// it. The queried pointer is kept for ever: it holds one reference on the
// sink. False after a failure, which it logs.
bool AdviseNetworkSink(const FunctionLog& log, NLMEventHandler* sink, REFIID iid, IConnectionPoint* point,
                       DWORD& cookie, const wchar_t* queryFailedFormat)
{
    void* events = nullptr;
    HRESULT hr = sink->QueryInterface(iid, &events);
    if (FAILED(hr)) {
        log.Log(LevelError, queryFailedFormat, hr);
        return false;
    }
    hr = point->Advise(static_cast<IUnknown*>(events), &cookie);
    if (FAILED(hr)) {
        log.Log(LevelError, L"Advise failed with error: 0x%08X", hr);
        return false;
    }
    return true;
}

}  // namespace

void CMainService::ListenForWlanEvents()
{
    OperationLog op("CMainService::ListenForWlanEvents");
    os::ComPtr<IConnectionPointContainer> container;
    // Each step runs only when the ones before it succeeded; the first
    // failure is logged and the container released.
    [&] {
        if (!QueryContainer(op, m_pNetworkListManager.Get(), container))
            return;
        if (!FindPoint(op, container.Get(), IID_INetworkListManagerEvents, m_pNlmEventsConnectionPoint,
                       L"FindConnectionPoint Failed with error: 0x%08X"))
            return;
        // The count starts at 0 and the member takes no reference.
        m_pNetworkEventSink = NewNetworkEventSink();
        if (m_pNetworkEventSink == nullptr) {
            // The code of the last call, a success, as the line has always shown.
            op.Log(LevelError, L"NLMEventHandler creation failed with error: 0x%08X", S_OK);
            return;
        }
        if (!AdviseNetworkSink(op, m_pNetworkEventSink, IID_INetworkListManagerEvents,
                               m_pNlmEventsConnectionPoint.Get(), m_nlmEventsCookie,
                               L"IID_INetworkListManagerEvents QueryInterface failed with error: 0x%08X"))
            return;
        if (!FindPoint(op, container.Get(), IID_INetworkConnectionEvents, m_pConnectionEventsConnectionPoint,
                       L"FindConnectionPoint failed with error: 0x%08X"))
            return;
        if (!AdviseNetworkSink(op, m_pNetworkEventSink, IID_INetworkConnectionEvents,
                               m_pConnectionEventsConnectionPoint.Get(), m_connectionEventsCookie,
                               L"IID_INetworkConnectionEvents QueryInterface failed with error: 0x%08X"))
            return;
        if (!FindPoint(op, container.Get(), IID_INetworkEvents, m_pNetworkEventsConnectionPoint,
                       L"FindConnectionPoint failed with error: 0x%08X"))
            return;
        AdviseNetworkSink(op, m_pNetworkEventSink, IID_INetworkEvents, m_pNetworkEventsConnectionPoint.Get(),
                          m_networkEventsCookie, L"IID_INetworkEvents QueryInterface failed with error: 0x%08X");
    }();
    container.Reset();
    op.Exit();
}

void CMainService::ListenForWwanEvents()
{
    OperationLog op("CMainService::ListenForWwanEvents");
    os::ComPtr<IConnectionPointContainer> container;
    [&] {
        if (!QueryContainer(op, m_pMbnInterfaceManager.Get(), container))
            return;
        if (!FindPoint(op, container.Get(), IID_IMbnRadioEvents, m_pRadioEventsConnectionPoint,
                       L"FindConnectionPoint failed with error: 0x%08X"))
            return;
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
        HRESULT hr = m_pRadioEventSink->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&sinkUnknown));
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
