#include "radio/MbnSinks.h"

#include "logging/OperationLog.h"
#include "network/EthernetCheck.h"
#include "radio/PowerStatus.h"
#include "radio/WwanRadio.h"
#include "state/SwitchingState.h"

using namespace QX::Shared;

namespace {

// The radio of the last completion, with a reference of its own; the
// previous one is released when a new one arrives. Not used otherwise.
// Written under the sink lock. Raw on purpose: its last reference is kept
// to the end of the process and never given back, since a static owner
// would release it after COM has been uninitialised.
IMbnRadio* MbnRadioCompleted = nullptr;

// Puts `radio` (with a reference of its own, when there is one) in the place
// of the kept radio, and gives back the reference on the one it replaces.
void KeepCompletedRadio(IMbnRadio* radio)
{
    if (radio != nullptr)
        radio->AddRef();
    IMbnRadio* previous = MbnRadioCompleted;
    MbnRadioCompleted = radio;
    if (previous != nullptr)
        previous->Release();
}

}  // namespace

IMbnRadio* MbnRadioCompletedForTesting() { return MbnRadioCompleted; }

void ReleaseMbnRadioCompletedForTesting() { KeepCompletedRadio(nullptr); }

CMbnSinks::CMbnSinks()
{
    OperationLog op("CMbnSinks::CMbnSinks");
    op.Exit();
}

CMbnSinks::~CMbnSinks()
{
    OperationLog op("CMbnSinks::~CMbnSinks");
    op.Exit();
}

HRESULT STDMETHODCALLTYPE CMbnSinks::QueryInterface(REFIID iid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IMbnRadioEvents)) {
        *object = static_cast<IMbnRadioEvents*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CMbnSinks::AddRef() { return ++m_references; }

ULONG STDMETHODCALLTYPE CMbnSinks::Release()
{
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

HRESULT STDMETHODCALLTYPE CMbnSinks::OnRadioStateChange(IMbnRadio*)
{
    OperationLog op("CMbnSinks::OnRadioStateChange");
    op.Exit();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CMbnSinks::OnSetSoftwareRadioStateComplete(IMbnRadio* radio, ULONG requestId, HRESULT status)
{
    OperationLog op("CMbnSinks::OnSetSoftwareRadioStateComplete", L"RequestID = %d, Status = 0x%x", requestId, status);
    try {
        std::lock_guard<std::mutex> lock(m_lock);
        KeepCompletedRadio(radio);
        op.Log(LevelInformation, L"NetworkChangedForSetRadio Status = %d",
               ServiceUtils::NetworkChangedForSetRadio.Get());
        op.Log(LevelInformation, L"LAN-WWAN Auto Switching Status = %d", LanWwanSwitchingEnabled.Get());
        int ethernetStatus = 0;
        const int checked = EthernetCheck::CheckEthernetConnectionStatusEx(&ethernetStatus, nullptr);
        if (checked == 0 || on_resumeflag) {
            op.Log(LevelInformation, L"Resume Flag : %d", on_resumeflag.Get());
            op.Log(LevelError, L"CheckEthernetConnectionStatusEx failed or system in Hibernate");
            return S_OK;
        }
        op.Log(LevelInformation, L"Ethernet Connection Status = %d", ethernetStatus);
        // The flag is the only way to tell the service's own requests from
        // others: the request identifier is not compared.
        if (ServiceUtils::NetworkChangedForSetRadio || ServiceUtils::CheckAirplaneMode()) {
            op.Log(LevelInformation, L"Not Processing OnSetSoftwareRadioStateComplete");
            return S_OK;
        }
        const int state = ServiceUtils::CheckWwanStatus();
        op.Log(LevelInformation, L"WWAN Status = %d", state);
        if (LanWwanSwitchingEnabled && ethernetStatus != 0) {
            if (state == 1) {
                ServiceUtils::WwanServiceTurnOff = true;
                op.Log(LevelInformation, L"Ethernet is present, switching OFF WWAN");
                bool off = false;
                int retryCount = 5;
                // The persisted value keeps what the last wired-link decision wrote.
                ServiceUtils::SwitchWwanStatusWithRetry(off, retryCount);
                return S_OK;
            }
        } else {
            op.Log(LevelInformation, L"Writing WWAN status %d to registry", state);
            ServiceUtils::SetWwanPowerStatusInRegistry(state == 1);
        }
        op.Log(LevelInformation, L"Received OnSetSoftwareRadioStateComplete Event for requestID = %d", requestId);
    } catch (...) {
        op.Log(LevelError, L"Exception in OnSetSoftwareRadioStateComplete()");
    }
    return S_OK;
}
