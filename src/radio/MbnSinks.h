// CMbnSinks: the service's sink for mobile-broadband radio events. When a
// software radio set completes, whoever asked for it, it either switches
// the radio off again (a wired link is up and the firmware allows
// switching) or records the user's new choice as the persisted status.
//
// Runs on the mobile-broadband service's callback threads; the sink lock
// admits one completion at a time and is always taken before
// WwanSwitchMutex, never after.
#pragma once

#include "platform/ComPtr.h"
#include "platform/MbnApi.h"

#include <atomic>
#include <mutex>

class CMbnSinks : public IMbnRadioEvents {
public:
    CMbnSinks();
    CMbnSinks(const CMbnSinks&) = delete;
    CMbnSinks& operator=(const CMbnSinks&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE OnRadioStateChange(IMbnRadio* radio) override;
    HRESULT STDMETHODCALLTYPE OnSetSoftwareRadioStateComplete(IMbnRadio* radio, ULONG requestId,
                                                              HRESULT status) override;

private:
    // Only the last Release destroys it.
    virtual ~CMbnSinks();

    std::atomic<ULONG> m_references{0};
    std::mutex m_lock;
};

// The radio of the last completion that the sink keeps (see MbnSinks.cpp).
IMbnRadio* MbnRadioCompletedForTesting();
// Gives back the kept reference (the simulated laptop's power-off, tests).
void ReleaseMbnRadioCompletedForTesting();
