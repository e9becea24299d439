// Laptop: the simulated laptop in process, in virtual time. It installs the
// device models (the wired and wireless adapters behind IP Helper, the
// network list manager, the Wi-Fi adapter, the mobile-broadband device, the
// firmware's WMI provider, the radio services in the SCM, the clock) and
// one CMainService, the way the service meets them on a real machine:
// events come on threads of their own, work items run on threads of their
// own, controls go through the real control handler, airplane mode and the
// persisted power status live in the real registry (kept and put back).
//
// The verbs are what a person does: boot, plug a cable (named, with a DHCP
// delay, or one that never gets an address), pull it, switch Wi-Fi or
// mobile broadband by hand, airplane mode on or off, suspend, resume, stop.
// Each verb returns once everything it set off has been handled (deliveries,
// notifications they cause, radio completions, the airplane watcher's pass),
// and says whether that happened within a bound: false means a callback
// hung. For a storm from several threads, SettleAfterEachVerb(false) makes
// the verbs return at once and Settle() waits for the quiet at the end.
//
// Plain C++ without a test framework.
#pragma once

#include "fakes/FakeEventLog.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeServiceDispatcher.h"
#include "fakes/FakeThreadPool.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "models/FirmwareWmi.h"
#include "models/MobileBroadbandModel.h"
#include "models/NetworkListModel.h"
#include "platform/Api.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class CMainService;

namespace fakes {

class Laptop {
public:
    struct Options {
        // The firmware's two switching settings.
        bool wifiSwitchingAllowed = true;
        bool mobileBroadbandSwitchingAllowed = true;
        // A mobile-broadband device (its class is there either way).
        bool modemPresent = true;
        // The radios as the laptop starts.
        bool wifiOn = true;
        bool mobileBroadbandOn = true;
        // Records the log for the queries; false leaves the process logger
        // as configured (a benchmark measures the product's own logging).
        bool recordLog = true;
    };

    struct Cable {
        std::string name = "Ethernet";
        std::string description = "Intel(R) Ethernet Connection";
        // Virtual milliseconds from the link coming up to the address.
        uint64_t dhcpMilliseconds = 0;
        // False: the adapter never gets an address.
        bool getsAddress = true;
    };

    Laptop();
    explicit Laptop(Options options);
    // Stops the service when it still runs, then ends every thread.
    ~Laptop();
    Laptop(const Laptop&) = delete;
    Laptop& operator=(const Laptop&) = delete;

    // The service. Boot starts it through its Start and waits for the
    // start-up worker to end and the airplane watcher to wait;
    // StartService only starts it.
    [[nodiscard]] bool Boot();
    void StartService();
    [[nodiscard]] bool WaitForWorker();
    // Controls through the real control handler, one at a time as the
    // dispatcher's thread gives them.
    [[nodiscard]] bool Stop();
    [[nodiscard]] bool Shutdown();
    [[nodiscard]] bool Suspend();
    [[nodiscard]] bool Resume();

    // The wire: link up with the address after the DHCP delay (the
    // connection's event comes at link-up); pulled, the adapter stays listed
    // without an address, as the platform lists a wired adapter without its
    // cable.
    [[nodiscard]] bool Plug(const Cable& cable);
    [[nodiscard]] bool Plug() { return Plug(Cable{}); }
    [[nodiscard]] bool Pull(const std::string& name = "Ethernet");

    // The user's hand.
    [[nodiscard]] bool SwitchWifi(bool on);
    [[nodiscard]] bool SwitchMobileBroadband(bool on);
    // As the operating system does it: on writes the value, then switches
    // the radios off; off writes the value back to 0 and leaves the radios.
    [[nodiscard]] bool SetAirplaneMode(bool on);
    // For the next firmware read (the next boot).
    void SetFirmware(bool wifiSwitchingAllowed, bool mobileBroadbandSwitchingAllowed);

    void SettleAfterEachVerb(bool settle) { m_settleAfterEachVerb = settle; }
    // Waits until nothing is under way: deliveries, notifications,
    // completions, the airplane watcher's pass.
    [[nodiscard]] bool Settle();
    // Stops the service when it runs, ends every thread and drops what the
    // process keeps for ever (the manager the worker shares); afterwards
    // the models' objects still alive are leaks.
    [[nodiscard]] bool PowerOff();

    // Queries.
    bool WifiOn() const { return m_wlan.RadioOn(0); }
    bool MobileBroadbandOn() const { return m_broadband.RadioState() == MBN_RADIO_ON; }
    // The persisted "PowerOnOff" values, or "<missing>".
    static std::wstring StoredWifi();
    static std::wstring StoredMobileBroadband();
    // What an earlier run of the service left persisted.
    static void StoreWifi(const wchar_t* text);
    static void StoreMobileBroadband(const wchar_t* text);
    // The recorded log ("Level|Class::Method|message"; empty when not
    // recording).
    std::vector<std::wstring> Lines() const;
    std::vector<std::wstring> LinesOf(const std::string& function) const;
    void ClearLog();
    VirtualClock& Clock() { return m_clock; }
    // The models' COM objects alive now (after PowerOff: leaks).
    int LiveComObjects() const;
    // The watcher's arming of its notification, counted.
    int WatcherPasses() const;
    FakeThreadPool& Pool() { return m_pool; }
    FakeWlanClient& Wlan() { return m_wlan; }
    MobileBroadbandModel& Broadband() { return m_broadband; }
    NetworkListModel& NetworkList() { return m_networkList; }
    FakeIpHelper& IpHelper() { return m_ipHelper; }
    CMainService& Service() { return *m_service; }

private:
    struct Wire {
        size_t number = 0;
        Cable cable;
        bool plugged = false;
        uint64_t addressAtMilliseconds = 0;  // virtual time of the DHCP answer
    };

    bool AfterVerb();
    bool Control(DWORD control, DWORD eventType);
    Wire& WireOf(const Cable& cable);
    void PublishAdapters();
    bool WaitForWatcherPass(int passesBefore);
    GUID ConnectionIdOf(const Wire& wire) const;

    static BOOL WINAPI IsNetworkAlive(LPDWORD flags);
    static LSTATUS WINAPI RegNotifyChangeKeyValue(HKEY key, BOOL subtree, DWORD filter, HANDLE event,
                                                  BOOL asynchronous);

    static Laptop* s_current;

    Options m_options;
    std::unique_ptr<RecordingLog> m_log;
    ScopedAirplaneMode m_airplane;
    ScopedPowerStatus m_powerStatus;
    VirtualClock m_clock;
    FakeScm m_scm;
    FakeServiceDispatcher m_dispatcher;
    FakeEventLog m_eventLog;
    FakeIpHelper m_ipHelper;
    FakeWlanClient m_wlan;
    // Each serves its COM class for its life.
    NetworkListModel m_networkList;
    MobileBroadbandModel m_broadband;
    FirmwareWmi m_firmware;
    // The laptop's own platform calls.
    os::ScopedApiOverride m_seam;
    FakeThreadPool m_pool;
    std::unique_ptr<CMainService> m_service;

    std::mutex m_controlLock;   // the dispatcher's one thread
    std::mutex m_registryLock;  // one writer of the airplane value at a time
    bool m_airplaneOn = false;  // under m_registryLock
    mutable std::mutex m_wireLock;
    std::map<std::string, Wire> m_wires;
    mutable std::mutex m_watcherLock;
    std::condition_variable m_watcherArmed;
    int m_watcherPasses = 0;
    std::atomic<ULONG> m_nextRequest{0x7000};
    bool m_settleAfterEachVerb = true;
    bool m_started = false;
    bool m_stopped = false;
    bool m_poweredOff = false;
};

}  // namespace fakes
