// Minimal COM objects for tests of the objects that hold and release them:
// each counts its references and writes "<name> Release" (and its other
// calls) into a shared journal, so a test can assert the order of releases
// across objects. Heap objects; they delete themselves at the last Release.
#pragma once

#include "models/Journal.h"
#include "events/NLMEventHandler.h"
#include "platform/MbnApi.h"

#include <netlistmgr.h>
#include <ocidl.h>
#include <olectl.h>

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

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

    // A release that is neither journalled nor hooked: an owner's that the
    // platform's objects would not show.
    ULONG ReleaseUnjournalled()
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    void Record(const std::string& call) { m_journal.push_back(m_name + " " + call); }
    Journal& JournalOf() { return m_journal; }

private:
    std::string m_name;
    Journal& m_journal;
    ULONG m_references = 1;
    std::function<void()> m_beforeRelease;
};

// A connection point that counts as the platform's does: Advise keeps a
// reference on the sink's event interface (`iid`), Unadvise gives it back,
// and so does the point's end for a sink still advised. Cookies count up
// from `firstCookie`.
class FakeConnectionPoint : public FakeUnknown<IConnectionPoint> {
public:
    FakeConnectionPoint(std::string name, Journal& journal, const IID& iid, DWORD firstCookie)
        : FakeUnknown(std::move(name), journal), m_iid(iid), m_nextCookie(firstCookie)
    {
    }
    ~FakeConnectionPoint() override
    {
        for (auto& advised : m_sinks)
            advised.second->Release();
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override
    {
        *iid = m_iid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override
    {
        IUnknown* events = nullptr;
        if (sink == nullptr || FAILED(sink->QueryInterface(m_iid, reinterpret_cast<void**>(&events))))
            return CONNECT_E_CANNOTCONNECT;
        *cookie = m_nextCookie++;
        m_sinks.emplace_back(*cookie, events);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override
    {
        Record("Unadvise " + std::to_string(cookie));
        for (auto advised = m_sinks.begin(); advised != m_sinks.end(); ++advised) {
            if (advised->first == cookie) {
                IUnknown* sink = advised->second;
                m_sinks.erase(advised);
                sink->Release();
                return S_OK;
            }
        }
        return CONNECT_E_NOCONNECTION;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }
    const IID& Iid() const { return m_iid; }

private:
    IID m_iid;
    DWORD m_nextCookie;
    std::vector<std::pair<DWORD, IUnknown*>> m_sinks;
};

// A manager's connection points, behind the container its QueryInterface
// gives. The manager owns its points (their first reference); the container
// holds a reference on the manager, as the platform's one object would.
template <typename Interface>
class FakeManager : public FakeUnknown<Interface> {
public:
    using FakeUnknown<Interface>::FakeUnknown;
    ~FakeManager() override
    {
        for (FakeConnectionPoint* point : m_points)
            point->ReleaseUnjournalled();
    }
    // Takes the point's first reference.
    void AddPoint(FakeConnectionPoint* point) { m_points.push_back(point); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (!IsEqualIID(iid, IID_IConnectionPointContainer)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = static_cast<IConnectionPointContainer*>(new Container(*this));
        return S_OK;
    }

private:
    class Container : public FakeUnknown<IConnectionPointContainer> {
    public:
        explicit Container(FakeManager& manager) : FakeUnknown("container", manager.JournalOf()), m_manager(manager)
        {
            m_manager.AddRef();
        }
        ~Container() override { m_manager.ReleaseUnjournalled(); }
        HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
        HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override
        {
            for (FakeConnectionPoint* candidate : m_manager.m_points) {
                if (IsEqualIID(candidate->Iid(), iid)) {
                    candidate->AddRef();
                    *point = candidate;
                    return S_OK;
                }
            }
            *point = nullptr;
            return CONNECT_E_NOCONNECTION;
        }

    private:
        FakeManager& m_manager;
    };

    std::vector<FakeConnectionPoint*> m_points;
};

class FakeNetworkListManager : public FakeManager<INetworkListManager> {
public:
    using FakeManager::FakeManager;
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

class FakeMbnInterfaceManager : public FakeManager<IMbnInterfaceManager> {
public:
    using FakeManager::FakeManager;
    HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR, IMbnInterface**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY**) override { return E_NOTIMPL; }
};

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
