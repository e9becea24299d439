// Minimal COM objects for tests of the objects that hold and release them:
// each counts its references and writes "<name> Release" (and its other
// calls) into a shared journal, so a test can assert the order of releases
// across objects. Heap objects; they delete themselves at the last Release.
#pragma once

#include "fakes/Journal.h"
#include "network/NLMEventHandler.h"
#include "platform/MbnApi.h"

#include <netlistmgr.h>
#include <ocidl.h>

#include <functional>
#include <set>
#include <string>

namespace fakes {

template <typename Interface>
class FakeUnknown : public Interface {
public:
    FakeUnknown(std::string name, Journal& journal) : m_name(std::move(name)), m_journal(journal) {}
    virtual ~FakeUnknown() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    // Runs at the start of every Release (a test looks at other objects
    // at that moment).
    void BeforeRelease(std::function<void()> hook) { m_beforeRelease = std::move(hook); }

    ULONG STDMETHODCALLTYPE Release() override
    {
        if (m_beforeRelease)
            m_beforeRelease();
        m_journal.push_back(m_name + " Release");
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    void Record(const std::string& call) { m_journal.push_back(m_name + " " + call); }

private:
    std::string m_name;
    Journal& m_journal;
    ULONG m_references = 1;
    std::function<void()> m_beforeRelease;
};

class FakeConnectionPoint : public FakeUnknown<IConnectionPoint> {
public:
    using FakeUnknown::FakeUnknown;
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override
    {
        Record("Unadvise " + std::to_string(cookie));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }
};

class FakeNetworkListManager : public FakeUnknown<INetworkListManager> {
public:
    using FakeUnknown::FakeUnknown;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNetworks(NLM_ENUM_NETWORK, IEnumNetworks**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetwork(GUID, INetwork**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetworkConnections(IEnumNetworkConnections**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNetworkConnection(GUID, INetworkConnection**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsConnectedToInternet(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsConnected(VARIANT_BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectivity(NLM_CONNECTIVITY*) override { return E_NOTIMPL; }
};

class FakeMbnInterfaceManager : public FakeUnknown<IMbnInterfaceManager> {
public:
    using FakeUnknown::FakeUnknown;
    HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR, IMbnInterface**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY**) override { return E_NOTIMPL; }
};

// A sink as the service keeps it: only its IUnknown matters.
using FakeSink = FakeUnknown<IUnknown>;

// The real network event sink that also writes "<name> Release" into the
// journal at every Release (only the programs that link the sink use it).
class JournalledNetworkSink : public NLMEventHandler {
public:
    JournalledNetworkSink(std::string name, Journal& journal, INetworkListManager* manager = nullptr,
                          std::set<std::wstring>* ethernetConnections = nullptr)
        : NLMEventHandler(manager, ethernetConnections), m_name(std::move(name)), m_journal(journal)
    {
    }
    ULONG STDMETHODCALLTYPE Release() override
    {
        m_journal.push_back(m_name + " Release");
        return NLMEventHandler::Release();
    }

private:
    std::string m_name;
    Journal& m_journal;
};

// The references an object holds now.
inline ULONG ReferencesOf(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

} // namespace fakes
