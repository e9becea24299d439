// FakeMbnInterface: a mobile-broadband interface whose get_InterfaceID
// gives its GUID text (as a BSTR counted by FakeComTexts, when one is
// installed) or fails; every other method is not implemented. MakeInterfaceArray
// puts interfaces into a real one-dimensional SAFEARRAY of VT_UNKNOWN, as
// IMbnInterfaceManager::GetInterfaces hands it out.
#pragma once

#include "models/CountedCom.h"
#include "platform/MbnApi.h"

#include <string>
#include <vector>

namespace fakes {

class FakeMbnInterface : public CountedObject<IMbnInterface> {
public:
    FakeMbnInterface(ComLedger& ledger, std::wstring interfaceId, HRESULT idFailure = S_OK);

    HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interfaceId) override;
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
    std::wstring m_interfaceId;
    HRESULT m_idFailure;
};

// A SAFEARRAY of the interfaces with lower bound `lowerBound`; the array
// holds its own reference to each (the callers' stay theirs). Destroy it
// with SafeArrayDestroy.
SAFEARRAY* MakeInterfaceArray(const std::vector<IMbnInterface*>& interfaces, LONG lowerBound = 0);

} // namespace fakes
