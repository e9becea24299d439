#include "fakes/MobileBroadbandModel.h"

#include "fakes/FakeComTexts.h"

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

class ModelInterface : public CountedObject<IMbnInterface> {
public:
    ModelInterface(MobileBroadbandModel& model, std::wstring id)
        : CountedObject(model.Ledger()), m_model(model), m_id(std::move(id))
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
        return CountedObject::QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* id) override
    {
        *id = FakeComTexts::MakeBstr(m_id);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetInterfaceCapability(MBN_INTERFACE_CAPS*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSubscriberInformation(IMbnSubscriberInformation**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetReadyState(MBN_READY_STATE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InEmergencyMode(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHomeProvider(MBN_PROVIDER*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPreferredProviders(SAFEARRAY**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPreferredProviders(SAFEARRAY*, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVisibleProviders(ULONG*, SAFEARRAY**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ScanNetwork(ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnection(IMbnConnection**) override { return E_NOTIMPL; }

private:
    MobileBroadbandModel& m_model;
    std::wstring m_id;
};

class ModelManager : public CountedObject<IMbnInterfaceManager> {
public:
    explicit ModelManager(MobileBroadbandModel& model) : CountedObject(model.Ledger()), m_model(model) {}
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
        const std::vector<std::wstring> ids = m_model.Interfaces();
        SAFEARRAYBOUND bound = {static_cast<ULONG>(ids.size()), 0};
        SAFEARRAY* array = SafeArrayCreate(VT_UNKNOWN, 1, &bound);
        for (size_t i = 0; i < ids.size(); ++i) {
            LONG index = static_cast<LONG>(i);
            IMbnInterface* element = new ModelInterface(m_model, ids[i]);
            SafeArrayPutElement(array, &index, static_cast<IUnknown*>(element));  // the array's own reference
            element->Release();
        }
        *interfaces = array;
        return S_OK;
    }

private:
    MobileBroadbandModel& m_model;
};

} // namespace

MobileBroadbandModel::MobileBroadbandModel() = default;

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

IMbnInterfaceManager* MobileBroadbandModel::NewManager() { return new ModelManager(*this); }

void MobileBroadbandModel::Advise(IMbnRadioEvents* sink)
{
    sink->AddRef();
    std::lock_guard<std::mutex> lock(m_lock);
    m_sinks.push_back(sink);
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

void MobileBroadbandModel::WaitForCompletions()
{
    // A completion may lead to a set, whose completion starts another
    // delivery: wait until none is left.
    for (;;) {
        std::vector<std::thread> deliveries;
        {
            std::lock_guard<std::mutex> lock(m_lock);
            deliveries.swap(m_deliveries);
        }
        if (deliveries.empty())
            return;
        for (std::thread& delivery : deliveries)
            delivery.join();
    }
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
            }
        }
    }
    *requestId = request;
    Deliver(request, S_OK);
    bool wait = false;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        wait = m_waitForDelivery;
    }
    if (wait)
        WaitForCompletions();
    return S_OK;
}

void MobileBroadbandModel::Deliver(ULONG requestId, HRESULT status)
{
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_deliver || m_sinks.empty())
        return;
    std::vector<IMbnRadioEvents*> sinks = m_sinks;
    m_deliveries.emplace_back([this, sinks, requestId, status] {
        ModelRadio* radio = new ModelRadio(*this);
        for (IMbnRadioEvents* sink : sinks)
            sink->OnSetSoftwareRadioStateComplete(radio, requestId, status);
        radio->Release();
    });
}

} // namespace fakes
