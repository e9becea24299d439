// FakeWlanClient: the simulated laptop's Wi-Fi adapter behind the Native
// Wi-Fi calls of the seam, for the life of the object.
//
// The model: interfaces (description, interface state), each with PHYs that
// carry a software radio state; a PHY may refuse sets for its first k passes
// or for ever. Calls: open and close client handles, register for
// notifications, enumerate interfaces, query the radio state, read the
// capability, set a PHY's radio state, free memory. Every buffer handed out
// is counted until WlanFreeMemory gives it back, every client handle until it
// is closed; each call is journalled ("WlanOpenHandle 2") in the order made,
// and also kept with the calling thread's id. One failure point at a time
// (an enum) fails with a given Win32 code, or throws.
//
// On the simulated laptop the adapter also notifies (NotifyChanges): every
// change of a PHY's software radio state, by a set or by hand, is delivered
// as a radio-state-change notification to the registered callback on a
// thread of its own, as the Native Wi-Fi service does; a network coming into
// range is delivered the same way.
//
// Plain C++ without a test framework, so that the same model can stand behind
// a packaged wlanapi.dll. Safe for calls from several threads: one lock
// guards the model, its counters and the journal.
#pragma once

#include "models/Journal.h"
#include "models/OwnThreads.h"
#include "platform/Api.h"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace fakes {

class FakeWlanClient {
public:
    enum class Failure {
        None,
        OpenHandle,
        RegisterNotification,
        CloseHandle,
        EnumInterfaces,
        NullInterfaceList,  // WlanEnumInterfaces succeeds without a list
        QueryInterface,
        QueryNoData,  // WlanQueryInterface succeeds without data
        GetInterfaceCapability,
        CapabilityNoData,  // WlanGetInterfaceCapability succeeds without data
        SetInterface,      // every set fails, whatever the PHYs say
    };

    // Software radio states as numbers, so tests can hand out values outside
    // the platform's enumeration.
    static constexpr DWORD kUnknown = dot11_radio_state_unknown;
    static constexpr DWORD kOn = dot11_radio_state_on;
    static constexpr DWORD kOff = dot11_radio_state_off;
    static constexpr int kForEver = -1;

    struct Phy {
        DWORD softwareState = kOn;
        // Sets refused before the PHY takes one; kForEver refuses all.
        int refusals = 0;
        DWORD refusalError = ERROR_GEN_FAILURE;
    };

    struct Interface {
        GUID guid = {};
        std::wstring description;
        WLAN_INTERFACE_STATE state = wlan_interface_state_disconnected;
        std::vector<Phy> phys;
        // The number of PHYs reported by the query and the capability, when
        // it is to differ from the PHYs modelled (bad input).
        int reportedPhys = -1;
    };

    // A journalled call with the thread that made it.
    struct Call {
        DWORD threadId;
        std::string text;
    };

    // The handle of the first open; later opens hand out other values.
    static const HANDLE kClientHandle;

    // Starts with no interface: tests add the adapter they want.
    explicit FakeWlanClient(Journal* journal = nullptr);
    ~FakeWlanClient();
    FakeWlanClient(const FakeWlanClient&) = delete;
    FakeWlanClient& operator=(const FakeWlanClient&) = delete;

    // The failing call returns `error`; for a registration it also leaves
    // `lastError` as the thread's last error. The first `passes` calls of
    // that point still succeed; after `times` failures (kForEver: never) the
    // point heals.
    void Fail(Failure point, DWORD error, DWORD lastError = 0, int passes = 0, int times = kForEver);
    // The call at `point` throws std::runtime_error.
    void Throw(Failure point);
    void Heal() { Fail(Failure::None, 0); }

    // A laptop's adapter: one interface with `phys` PHYs in `state`.
    // Returns the interface's index.
    size_t AddInterface(const std::wstring& description, size_t phys, DWORD state = kOn,
                        WLAN_INTERFACE_STATE interfaceState = wlan_interface_state_disconnected);
    size_t AddInterface(const Interface& adapter);
    // Interfaces reported by WlanEnumInterfaces without entries (bad input):
    // a list whose count is 0.
    void ReportEmptyList(bool empty);

    void SetInterfaceState(size_t interfaceIndex, WLAN_INTERFACE_STATE state);
    void SetPhyState(size_t interfaceIndex, size_t phy, DWORD state);
    DWORD PhyState(size_t interfaceIndex, size_t phy) const;
    // The PHY refuses its next `refusals` sets (kForEver: every set).
    void RefuseSets(size_t interfaceIndex, size_t phy, int refusals, DWORD error = ERROR_GEN_FAILURE);
    void SetReportedPhys(size_t interfaceIndex, int phys);
    // The user's hand on the radio: every PHY of the interface on or off.
    void SwitchByHand(size_t interfaceIndex, bool on);
    bool RadioOn(size_t interfaceIndex = 0) const;

    // From now on, radio state changes are (or, with false, are no longer)
    // delivered to the registered callback, each on a thread of its own.
    void NotifyChanges(bool notify = true)
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_notify = notify;
    }
    // A network comes into range: the network-available notification, on a
    // thread of its own, when a callback is registered.
    void NetworkAvailable(size_t interfaceIndex = 0);
    // Whether every notification started so far has been handled within the
    // bound.
    bool WaitForNotifications(std::chrono::milliseconds bound = OwnThreads::kBound);
    size_t NotificationsDelivered() const { return m_notifications.Started(); }

    // Buffers handed out and not yet freed, and frees of unknown buffers.
    size_t OutstandingBuffers() const;
    size_t StrayFrees() const;
    // Client handles opened and not yet closed, and closes of handles that
    // this model never handed out (tests may plant one).
    size_t OpenClientHandles() const;
    size_t StrayCloses() const;
    size_t SetCalls() const;
    std::vector<Call> Calls() const;

    WLAN_NOTIFICATION_CALLBACK registeredCallback = nullptr;
    HANDLE registeredHandle = nullptr;  // the client handle of the last registration

private:
    static DWORD WINAPI WlanOpenHandle(DWORD version, PVOID reserved, PDWORD negotiated, PHANDLE client);
    static DWORD WINAPI WlanRegisterNotification(HANDLE client, DWORD sources, BOOL ignoreDuplicate,
                                                 WLAN_NOTIFICATION_CALLBACK callback, PVOID context, PVOID reserved,
                                                 PDWORD previous);
    static DWORD WINAPI WlanCloseHandle(HANDLE client, PVOID reserved);
    static DWORD WINAPI WlanEnumInterfaces(HANDLE client, PVOID reserved, PWLAN_INTERFACE_INFO_LIST* list);
    static DWORD WINAPI WlanQueryInterface(HANDLE client, const GUID* guid, WLAN_INTF_OPCODE opcode, PVOID reserved,
                                           PDWORD dataSize, PVOID* data, PWLAN_OPCODE_VALUE_TYPE valueType);
    static DWORD WINAPI WlanGetInterfaceCapability(HANDLE client, const GUID* guid, PVOID reserved,
                                                   PWLAN_INTERFACE_CAPABILITY* capability);
    static DWORD WINAPI WlanSetInterface(HANDLE client, const GUID* guid, WLAN_INTF_OPCODE opcode, DWORD dataSize,
                                         const PVOID data, PVOID reserved);
    static VOID WINAPI WlanFreeMemory(PVOID memory);

    // Under m_lock: journals the call; the failure of `point` for this call
    // (throws when the point throws).
    void NoteLocked(std::string call);
    bool StrikesLocked(Failure point);
    DWORD FailureLocked(Failure point);
    void* AllocateLocked(size_t size, const char* kind);
    Interface* FindLocked(const GUID* guid);
    DWORD ReportedPhysLocked(const Interface& adapter) const;
    // Under m_lock: delivers the notification to the registered callback on
    // a thread of its own (when notifying and a callback is registered).
    void NotifyLocked(const Interface& adapter, DWORD source, DWORD code, const WLAN_PHY_RADIO_STATE* radioState);

    static FakeWlanClient* s_current;
    os::ScopedApiOverride m_seam;
    mutable std::mutex m_lock;
    Journal* m_journal;
    std::vector<Call> m_calls;
    std::vector<Interface> m_interfaces;
    bool m_reportEmptyList = false;
    Failure m_failure = Failure::None;
    DWORD m_error = 0;
    DWORD m_lastError = 0;
    int m_passes = 0;
    int m_times = kForEver;
    bool m_throw = false;
    std::map<void*, const char*> m_buffers;
    std::map<HANDLE, int> m_openHandles;
    uintptr_t m_opens = 0;
    size_t m_strayFrees = 0;
    size_t m_strayCloses = 0;
    size_t m_setCalls = 0;
    bool m_notify = false;
    // Last: the notification threads end before the model's state goes.
    OwnThreads m_notifications;
};

}  // namespace fakes
