// The exports of the simulation's COM server: DllGetClassObject hands out
// one class factory per class it serves (the network list manager, the MBN
// interface manager, the WMI locator). A factory readies the device of its
// class, whose model serves the class through this DLL's copy of the
// platform seam, and makes the object there, as the in-process tests do.
// The devices, their models and their threads are made by the first object,
// never under the loader lock, and live until the process ends; the objects
// live as long as their holders keep them. DllCanUnloadNow always answers
// S_FALSE: the models' threads run this DLL's code.
//
// No exception leaves an export or a factory: the callers are COM's.
#include "SimulatedFirmware.h"
#include "SimulatedModem.h"
#include "SimulatedNetworkList.h"

#include "platform/Api.h"
#include "platform/MbnApi.h"

#include <netlistmgr.h>
#include <wbemcli.h>

namespace {

// Readies the device of a class (made on first use).
using Ready = void (*)();

void ReadyNetworkList() { sim::SimulatedNetworkList::Get(); }
void ReadyModem() { sim::SimulatedModem::Get(); }
void ReadyFirmware() { sim::SimulatedFirmware::Get().ReadSettings(); }

// A class factory of one class: static, so its references are not counted.
class ClassFactory : public IClassFactory {
public:
    constexpr ClassFactory(const CLSID& clsid, Ready ready) : m_clsid(clsid), m_ready(ready) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IClassFactory)) {
            *object = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        try {
            m_ready();
            return os::api().CoCreateInstance(m_clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object);
        } catch (...) {
            return E_UNEXPECTED;
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    const CLSID& m_clsid;
    Ready m_ready;
};

ClassFactory s_networkListFactory(CLSID_NetworkListManager, &ReadyNetworkList);
ClassFactory s_mbnFactory(CLSID_MbnInterfaceManager, &ReadyModem);
ClassFactory s_wbemFactory(CLSID_WbemLocator, &ReadyFirmware);

} // namespace

// Nothing to do at attach or detach (see the file's comment).
BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

extern "C" {

HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    ClassFactory* factory = nullptr;
    if (IsEqualCLSID(clsid, CLSID_NetworkListManager))
        factory = &s_networkListFactory;
    else if (IsEqualCLSID(clsid, CLSID_MbnInterfaceManager))
        factory = &s_mbnFactory;
    else if (IsEqualCLSID(clsid, CLSID_WbemLocator))
        factory = &s_wbemFactory;
    if (factory == nullptr)
        return CLASS_E_CLASSNOTAVAILABLE;
    return factory->QueryInterface(iid, object);
}

HRESULT WINAPI DllCanUnloadNow() { return S_FALSE; }

// Tests: the list reads the adapters from `source` from its next pass on
// (nullptr: the real GetAdaptersAddresses again). Makes the network list if
// there is none yet.
void WINAPI SetAdapterSourceForTesting(sim::AdapterSource source)
{
    try {
        sim::SimulatedNetworkList::Get().SetAdapterSource(source);
    } catch (...) {
    }
}

// Tests: the settled poll reads the adapters every `interval` ms and counts
// a difference that lasted `settle` ms. Makes the network list if there is
// none yet.
void WINAPI SetSettledPollForTesting(DWORD interval, DWORD settle)
{
    try {
        sim::SimulatedNetworkList::Get().SetSettledPoll(std::chrono::milliseconds(interval),
                                                        std::chrono::milliseconds(settle));
    } catch (...) {
    }
}

} // extern "C"
