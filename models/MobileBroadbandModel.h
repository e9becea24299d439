// MobileBroadbandModel: the simulated laptop's mobile-broadband device: an
// interface manager whose GetInterfaces answers a real SAFEARRAY of the
// device's interfaces, each interface's radio, and the radio events. A set
// of the software radio state takes effect after a number of state reads
// (or never), and its completion is delivered on a thread of its own to
// the sinks advised on the model, as the platform's callback pool does.
// Every call can be made to fail k times; every object is counted until
// released; every call is journalled. Safe for calls from several threads.
//
// The model serves CLSID_MbnInterfaceManager through CoCreateInstance of the
// seam for its life (ComClass); each request is journalled ("CoCreateInstance
// MbnInterfaceManager") in the journal given, if any, beside the model's own
// journal of the objects' calls.
#pragma once

#include "models/ComClass.h"
#include "models/CountedCom.h"
#include "models/Journal.h"
#include "models/OwnThreads.h"
#include "platform/MbnApi.h"

#include <olectl.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fakes {

class MobileBroadbandModel {
public:
    enum class Failure {
        CreateManager,  // CoCreateInstance of the class returns the result
        GetInterfaces,
        GetInterface,
        QueryRadio,
        GetSoftwareRadioState,
        SetSoftwareRadioState,
        // The events side: the manager's IConnectionPointContainer, its
        // FindConnectionPoint, and Advise and Unadvise on the radio events
        // point.
        QueryContainer,
        FindConnectionPoint,
        Advise,
        Unadvise
    };

    explicit MobileBroadbandModel(Journal* journal = nullptr);
    // Waits for the completions still being delivered.
    ~MobileBroadbandModel();
    MobileBroadbandModel(const MobileBroadbandModel&) = delete;
    MobileBroadbandModel& operator=(const MobileBroadbandModel&) = delete;

    // The next `times` calls of `point` fail with `result`; times < 0: all.
    void Fail(Failure point, HRESULT result, int times = -1);
    // The interface identifiers GetInterfaces lists, in order.
    void SetInterfaces(std::vector<std::wstring> interfaceIds);
    void SetRadioState(MBN_RADIO state);
    MBN_RADIO RadioState() const;
    // A set takes effect after this many reads of the state (0: at once);
    // never: it never takes effect.
    void SetEffectAfterReads(int reads);
    void SetNeverTakesEffect();
    // Whether completions reach the sinks (on their own thread) at all.
    void SetDeliverCompletions(bool deliver);
    // A set returns only after its completion was delivered (still on a
    // thread of its own), so a test sees it handled while the setter runs.
    void SetWaitForDelivery(bool wait);
    // Called on the setter's thread after every set that took effect at
    // once, with the state set, before its completion is delivered (the
    // simulation under the real executable stores it).
    void SetSetObserver(std::function<void(MBN_RADIO)> observer);

    // A new manager; the caller owns the reference.
    IMbnInterfaceManager* NewManager();
    // Completions go to `sink` (a reference is kept until the model ends).
    void Advise(IMbnRadioEvents* sink);
    // The same through the manager's radio events connection point: the
    // sink is queried for IMbnRadioEvents and kept until its cookie is
    // unadvised (or the model ends).
    HRESULT AdviseSink(IUnknown* sink, DWORD* cookie);
    HRESULT UnadviseSink(DWORD cookie);
    // Sinks that completions reach now.
    size_t AdvisedCount() const;
    // The user (or another program) switches the radio: the state changes
    // and a completion with `requestId` is delivered.
    void SwitchByUser(MBN_RADIO state, ULONG requestId);
    // Waits until every completion started so far was delivered.
    // Whether they were, within the bound.
    bool WaitForCompletions(std::chrono::milliseconds bound = OwnThreads::kBound);
    size_t CompletionsStarted() const { return m_deliveries.Started(); }

    Journal Calls() const;
    int LiveObjects() const { return m_ledger.Live(); }

    // For the model's objects.
    HRESULT Failing(Failure point);
    void Note(std::string call);
    ComLedger& Ledger() { return m_ledger; }
    std::vector<std::wstring> Interfaces() const;
    HRESULT ReadState(MBN_RADIO* state);
    HRESULT SetState(MBN_RADIO state, ULONG* requestId);

private:
    static constexpr size_t kNoDelivery = static_cast<size_t>(-1);
    // The delivery's thread number, or kNoDelivery when nobody listens.
    size_t Deliver(ULONG requestId, HRESULT status);

    Journal* m_journal;
    mutable std::mutex m_lock;
    ComLedger m_ledger;
    Journal m_calls;
    std::map<Failure, std::pair<HRESULT, int>> m_failures;
    std::vector<std::wstring> m_interfaces{L"{5A5A5A5A-0000-1111-2222-333344445555}"};
    MBN_RADIO m_state = MBN_RADIO_ON;
    MBN_RADIO m_pending = MBN_RADIO_ON;
    bool m_hasPending = false;
    int m_effectAfterReads = 0;
    int m_readsLeft = 0;
    bool m_never = false;
    bool m_deliver = true;
    bool m_waitForDelivery = false;
    ULONG m_nextRequest = 1;
    std::vector<IMbnRadioEvents*> m_sinks;
    std::function<void(MBN_RADIO)> m_setObserver;
    std::map<DWORD, IMbnRadioEvents*> m_cookies;  // of the sinks advised through the point
    DWORD m_nextCookie = 1;
    // The deliveries end before the model's state goes.
    OwnThreads m_deliveries;
    // Last: the class is served once the model is whole, and ends first.
    ComClass m_class;
};

} // namespace fakes
