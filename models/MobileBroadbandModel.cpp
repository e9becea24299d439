#include "models/MobileBroadbandModel.h"

#include "models/FakeComTexts.h"
#include "models/FakeMbnInterface.h"

#include <oleauto.h>

namespace fakes {
namespace {

using Failure = MobileBroadbandModel::Failure;

class ModelRadio : public CountedObject<IMbnRadio> {
public:
    explicit ModelRadio(MobileBroadbandModel& model) : CountedObject(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE get_SoftwareRadioState(MBN_RADIO* state) override { return m_model.ReadState(state); }
    HRESULT STDMETHODCALLTYPE get_HardwareRadioState(MBN_RADIO* state) override
    {
        *state = MBN_RADIO_ON;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSoftwareRadioState(MBN_RADIO state, ULONG* requestId) override
    {
        return m_model.SetState(state, requestId);
    }

private:
    MobileBroadbandModel& m_model;
};

// The modem's interface: its id as any interface gives it, and its radio.
class ModelInterface : public FakeMbnInterface {
public:
    ModelInterface(MobileBroadbandModel& model, std::wstring id)
        : FakeMbnInterface(model.Ledger(), std::move(id)), m_model(model)
    {
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (IsEqualIID(iid, IID_IMbnRadio)) {
            m_model.Note("QueryInterface IMbnRadio");
            if (const HRESULT failure = m_model.Failing(Failure::QueryRadio)) {
                *object = nullptr;
                return failure;
            }
            *object = static_cast<IMbnRadio*>(new ModelRadio(m_model));
            return S_OK;
        }
        return FakeMbnInterface::QueryInterface(iid, object);
    }

private:
    MobileBroadbandModel& m_model;
};

class ModelRadioEventsPoint : public CountedObject<IConnectionPoint> {
public:
    explicit ModelRadioEventsPoint(MobileBroadbandModel& model) : CountedObject(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override
    {
        *iid = IID_IMbnRadioEvents;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override { return m_model.AdviseSink(sink, cookie); }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override { return m_model.UnadviseSink(cookie); }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    MobileBroadbandModel& m_model;
};

class ModelContainer : public CountedObject<IConnectionPointContainer> {
public:
    explicit ModelContainer(MobileBroadbandModel& model) : CountedObject(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override
    {
        *point = nullptr;
        const bool radioEvents = IsEqualIID(iid, IID_IMbnRadioEvents);
        m_model.Note(radioEvents ? "FindConnectionPoint IMbnRadioEvents" : "FindConnectionPoint ?");
        if (const HRESULT failure = m_model.Failing(Failure::FindConnectionPoint))
            return failure;
        if (!radioEvents)
            return CONNECT_E_NOCONNECTION;
        *point = new ModelRadioEventsPoint(m_model);
        return S_OK;
    }

private:
    MobileBroadbandModel& m_model;
};

class ModelManager : public CountedObject<IMbnInterfaceManager> {
public:
    explicit ModelManager(MobileBroadbandModel& model) : CountedObject(model.Ledger()), m_model(model) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (IsEqualIID(iid, IID_IConnectionPointContainer)) {
            *object = nullptr;
            m_model.Note("QueryInterface IConnectionPointContainer");
            if (const HRESULT failure = m_model.Failing(Failure::QueryContainer))
                return failure;
            *object = static_cast<IConnectionPointContainer*>(new ModelContainer(m_model));
            return S_OK;
        }
        return CountedObject::QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR id, IMbnInterface** mbnInterface) override
    {
        m_model.Note("GetInterface " + std::string(id, id + wcslen(id)));
        *mbnInterface = nullptr;
        if (const HRESULT failure = m_model.Failing(Failure::GetInterface))
            return failure;
        for (const std::wstring& known : m_model.Interfaces()) {
            if (known == id) {
                *mbnInterface = new ModelInterface(m_model, known);
                return S_OK;
            }
        }
        return E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** interfaces) override
    {
        m_model.Note("GetInterfaces");
        *interfaces = nullptr;
        if (const HRESULT failure = m_model.Failing(Failure::GetInterfaces))
            return failure;
        std::vector<IMbnInterface*> elements;
        for (const std::wstring& id : m_model.Interfaces())
            elements.push_back(new ModelInterface(m_model, id));
        *interfaces = MakeInterfaceArray(elements, 0);  // the array holds its own references
        for (IMbnInterface* element : elements)
            element->Release();
        return S_OK;
    }

private:
    MobileBroadbandModel& m_model;
};

} // namespace

MobileBroadbandModel::MobileBroadbandModel(Journal* journal)
    : m_journal(journal),
      m_class(CLSID_MbnInterfaceManager, [this](IUnknown** created) {
          fakes::Note(m_journal, "CoCreateInstance MbnInterfaceManager");
          if (const HRESULT failure = Failing(Failure::CreateManager))
              return failure;
          *created = NewManager();
          return S_OK;
      })
{
}

MobileBroadbandModel::~MobileBroadbandModel()
{
    WaitForCompletions();
    for (IMbnRadioEvents* sink : m_sinks)
        sink->Release();
}

void MobileBroadbandModel::Fail(Failure point, HRESULT result, int times)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failures[point] = {result, times};
}

void MobileBroadbandModel::SetInterfaces(std::vector<std::wstring> interfaceIds)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_interfaces = std::move(interfaceIds);
}

void MobileBroadbandModel::SetRadioState(MBN_RADIO state)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_state = state;
    m_hasPending = false;
}

MBN_RADIO MobileBroadbandModel::RadioState() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_state;
}

void MobileBroadbandModel::SetEffectAfterReads(int reads)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_effectAfterReads = reads;
    m_never = false;
}

void MobileBroadbandModel::SetNeverTakesEffect()
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_never = true;
}

void MobileBroadbandModel::SetDeliverCompletions(bool deliver)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_deliver = deliver;
}

void MobileBroadbandModel::SetWaitForDelivery(bool wait)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_waitForDelivery = wait;
}

void MobileBroadbandModel::SetSetObserver(std::function<void(MBN_RADIO)> observer)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_setObserver = std::move(observer);
}

IMbnInterfaceManager* MobileBroadbandModel::NewManager() { return new ModelManager(*this); }

void MobileBroadbandModel::Advise(IMbnRadioEvents* sink)
{
    sink->AddRef();
    std::lock_guard<std::mutex> lock(m_lock);
    m_sinks.push_back(sink);
}

HRESULT MobileBroadbandModel::AdviseSink(IUnknown* sink, DWORD* cookie)
{
    Note("Advise");
    *cookie = 0;
    if (const HRESULT failure = Failing(Failure::Advise))
        return failure;
    if (sink == nullptr)
        return E_POINTER;
    IMbnRadioEvents* events = nullptr;
    if (FAILED(sink->QueryInterface(IID_IMbnRadioEvents, reinterpret_cast<void**>(&events))))
        return CONNECT_E_CANNOTCONNECT;
    std::lock_guard<std::mutex> lock(m_lock);
    *cookie = m_nextCookie++;
    m_cookies[*cookie] = events;
    m_sinks.push_back(events);  // the reference of the query
    return S_OK;
}

HRESULT MobileBroadbandModel::UnadviseSink(DWORD cookie)
{
    Note("Unadvise " + std::to_string(cookie));
    if (const HRESULT failure = Failing(Failure::Unadvise))
        return failure;
    IMbnRadioEvents* sink = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        auto found = m_cookies.find(cookie);
        if (found == m_cookies.end())
            return CONNECT_E_NOCONNECTION;
        sink = found->second;
        m_cookies.erase(found);
        for (auto it = m_sinks.begin(); it != m_sinks.end(); ++it) {
            if (*it == sink) {
                m_sinks.erase(it);
                break;
            }
        }
    }
    sink->Release();
    return S_OK;
}

size_t MobileBroadbandModel::AdvisedCount() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_sinks.size();
}

void MobileBroadbandModel::SwitchByUser(MBN_RADIO state, ULONG requestId)
{
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_state = state;
        m_hasPending = false;
    }
    Deliver(requestId, S_OK);
}

bool MobileBroadbandModel::WaitForCompletions(std::chrono::milliseconds bound)
{
    // Also the deliveries that completions start meanwhile.
    return m_deliveries.WaitForAll(bound);
}

Journal MobileBroadbandModel::Calls() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_calls;
}

HRESULT MobileBroadbandModel::Failing(Failure point)
{
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_failures.find(point);
    if (found == m_failures.end() || found->second.second == 0)
        return S_OK;
    if (found->second.second > 0)
        --found->second.second;
    return found->second.first;
}

void MobileBroadbandModel::Note(std::string call)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_calls.push_back(std::move(call));
}

std::vector<std::wstring> MobileBroadbandModel::Interfaces() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_interfaces;
}

HRESULT MobileBroadbandModel::ReadState(MBN_RADIO* state)
{
    Note("get_SoftwareRadioState");
    if (const HRESULT failure = Failing(Failure::GetSoftwareRadioState))
        return failure;
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_hasPending && !m_never && m_readsLeft-- <= 0) {
        m_state = m_pending;
        m_hasPending = false;
    }
    *state = m_state;
    return S_OK;
}

HRESULT MobileBroadbandModel::SetState(MBN_RADIO state, ULONG* requestId)
{
    Note("SetSoftwareRadioState " + std::to_string(state));
    if (const HRESULT failure = Failing(Failure::SetSoftwareRadioState))
        return failure;
    ULONG request = 0;
    std::function<void(MBN_RADIO)> observer;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        request = m_nextRequest++;
        if (!m_never) {
            m_pending = state;
            m_hasPending = true;
            m_readsLeft = m_effectAfterReads;
            if (m_effectAfterReads == 0) {
                m_state = state;
                m_hasPending = false;
                observer = m_setObserver;
            }
        }
    }
    *requestId = request;
    // Outside the lock: the observer may call back into the model.
    if (observer)
        observer(state);
    const size_t delivery = Deliver(request, S_OK);
    bool wait = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        wait = m_waitForDelivery;
    }
    // Only this set's own delivery: the setter may itself be running in a
    // delivery.
    if (wait && delivery != kNoDelivery)
        m_deliveries.WaitFor(delivery);
    return S_OK;
}

size_t MobileBroadbandModel::Deliver(ULONG requestId, HRESULT status)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_deliver || m_sinks.empty())
        return kNoDelivery;
    std::vector<IMbnRadioEvents*> sinks = m_sinks;
    // Each delivery holds the sinks it calls, so an unadvise meanwhile
    // cannot free one under it.
    for (IMbnRadioEvents* sink : sinks)
        sink->AddRef();
    return m_deliveries.Start([this, sinks, requestId, status] {
        ModelRadio* radio = new ModelRadio(*this);
        for (IMbnRadioEvents* sink : sinks) {
            sink->OnSetSoftwareRadioStateComplete(radio, requestId, status);
            sink->Release();
        }
        radio->Release();
    });
}

} // namespace fakes
