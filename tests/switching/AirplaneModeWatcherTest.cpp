// CMainService::AirplaneModeWatcher on a real thread against the real
// radio-management key of the Wine prefix (kept and put back), with the
// simulated Wi-Fi adapter, modem and adapter list; radio pauses in virtual
// time. Each test changes airplane mode while the watcher waits, waits for
// the pass to end (the watcher opens the key again for its next pass), and
// stops the watcher with the service's handshake: the running flag cleared
// first, then the event signalled. A watcher that does not end within the
// bound fails the test, and is then ended by force so the run goes on.
#include "switching/MainService.h"

#include "models/Adapters.h"
#include "fakes/ExpectedLines.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "models/MobileBroadbandModel.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "platform/Api.h"
#include "platform/ComPtr.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"
#include "ServiceUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Lines = std::vector<std::wstring>;
using namespace std::chrono_literals;

constexpr char kWatcher[] = "CMainService::AirplaneModeWatcher";
constexpr wchar_t kInterfaceId[] = L"{5A5A5A5A-0000-1111-2222-333344445555}";
constexpr auto kBound = 10s;

const fakes::FunctionLines Line{kWatcher};
const std::wstring kEntry = L"TraceIn|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Entry";
const std::wstring kTriggered = Line(L"Information", L"AirplaneModeWatcher - Registry Change Event Triggered");
const std::wstring kStopSeen = Line(L"Information", L"AirplaneModeWatcher - Service Stop event Triggered. Exiting");
const std::wstring kExit = L"TraceOut|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Exit";

using WatchedService = switching_tests::ServiceUnderTest;

// Counts the watcher's openings of the watched key (its access asks for the
// 64-bit view; the airplane-mode reading's does not), one per pass.
class WatchedKeyOpens {
public:
    WatchedKeyOpens()
    {
        s_opens = 0;
        s_previous = os::api().RegOpenKeyExW;
        m_seam->RegOpenKeyExW = &WatchedKeyOpens::RegOpenKeyExW;
    }
    int Count() const { return s_opens; }

private:
    static LSTATUS WINAPI RegOpenKeyExW(HKEY hive, LPCWSTR path, DWORD options, REGSAM access, PHKEY key)
    {
        const LSTATUS status = s_previous(hive, path, options, access, key);
        if ((access & KEY_WOW64_64KEY) != 0 && path != nullptr && std::wstring(path) == kAirplaneModeKey)
            ++s_opens;
        return status;
    }
    static inline std::atomic<int> s_opens{0};
    static inline decltype(&::RegOpenKeyExW) s_previous = nullptr;
    os::ScopedApiOverride m_seam;
};

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds bound = kBound)
{
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

class AirplaneModeWatcherTest : public testing::Test {
protected:
    AirplaneModeWatcherTest() : m_manager(m_model.NewManager())
    {
        m_airplane.Set(false);
        m_wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, fakes::FakeWlanClient::kOn,
                            wlan_interface_state_connected);
        MbnInterfaceManager = m_manager.Get();
        ServiceUtils::WwanInterfaceId = kInterfaceId;
        WwanDeviceAvailable = true;
        LanWlanSwitchingEnabled = true;
    }
    ~AirplaneModeWatcherTest() override
    {
        if (m_thread.joinable())
            EndByForce();
        // Completions still on their way find the manager where the
        // switching state points; then it goes.
        m_model.WaitForCompletions();
        m_manager.Reset();
        EXPECT_EQ(m_model.LiveObjects(), 0);
        EXPECT_EQ(m_wlan.OpenClientHandles(), 0u);
    }

    // Starts the watcher as the worker does (running flag set) and returns
    // once it waits on the key.
    void StartWatcher()
    {
        m_service.ForTesting().running = true;
        m_thread = std::thread([this] {
            m_service.AirplaneModeWatcher();
            m_ended = true;
        });
        WaitForPass(1);
    }
    // Waits until the watcher has opened the key for pass `pass` and had time
    // to arm the notification on it.
    void WaitForPass(int pass)
    {
        ASSERT_TRUE(WaitUntil([&] { return m_opens.Count() >= pass; })) << "the watcher did not reach pass " << pass;
        std::this_thread::sleep_for(300ms);
    }
    // A change of airplane mode, and the watcher's whole pass over it.
    void ChangeAirplaneMode(bool on)
    {
        const int opens = m_opens.Count();
        m_airplane.Set(on);
        WaitForPass(opens + 1);
    }
    // The service's stop handshake: the flag first, then the event. True when
    // the watcher ended within the bound.
    bool Stop()
    {
        const HANDLE event = m_service.ForTesting().airplaneWatcherEvent;
        m_service.ForTesting().running = false;
        SetEvent(event);
        const bool ended = WaitUntil([&] { return m_ended.load(); }, 5000ms);
        if (ended)
            m_thread.join();
        return ended;
    }
    void EndByForce()
    {
        m_service.ForTesting().running = false;
        while (!m_ended) {
            HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, CMainService::kAirplaneWatcherEventName);
            if (event != nullptr) {
                SetEvent(event);
                CloseHandle(event);
            }
            std::this_thread::sleep_for(50ms);
        }
        m_thread.join();
    }
    Lines WatcherLines() const { return m_log.LinesOf(kWatcher); }

    fakes::FreshSwitchingState m_switchingState;  // first: fresh again once every other member has gone
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::FakeIpHelper m_ipHelper{{fakes::WirelessAdapter()}};
    fakes::FakeWlanClient m_wlan;
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    fakes::MobileBroadbandModel m_model;
    os::ComPtr<IMbnInterfaceManager> m_manager;
    WatchedKeyOpens m_opens;
    WatchedService m_service;
    std::thread m_thread;
    std::atomic<bool> m_ended{false};
};

TEST_F(AirplaneModeWatcherTest, AStopEndsTheWatcherWithinOnePassAndClosesTheEvent)
{
    StartWatcher();
    ASSERT_TRUE(Stop()) << "the watcher did not end after the stop handshake";
    EXPECT_EQ(m_service.ForTesting().airplaneWatcherEvent, nullptr);
    EXPECT_EQ(m_opens.Count(), 1);
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kStopSeen, kExit));
    EXPECT_THAT(m_wlan.Calls(), IsEmpty());
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOnWithWiFiSwitchingSwitchesWiFiOffWithoutTheCheckAndStoresNothing)
{
    StartWatcher();
    ChangeAirplaneMode(true);
    EXPECT_FALSE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());

    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey), L"<missing>");
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kTriggered,
                                            Line(L"Information", L"Airplane Mode ON , setting default"), kStopSeen,
                                            kExit));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = 0");
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SetWlanPowerStatusInRegistry"), IsEmpty());
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"), IsEmpty());
    EXPECT_EQ(m_service.ForTesting().airplaneWatcherEvent, nullptr);
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOnWithoutWiFiSwitchingLeavesWiFiAlone)
{
    LanWlanSwitchingEnabled = false;
    StartWatcher();
    ChangeAirplaneMode(true);
    ASSERT_TRUE(Stop());
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kTriggered, kStopSeen, kExit));
    EXPECT_THAT(m_wlan.Calls(), IsEmpty());
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOffWithoutEthernetSwitchesWiFiOnWhenNothingIsStored)
{
    m_airplane.Set(true);
    m_wlan.SwitchByHand(0, false);
    StartWatcher();
    ChangeAirplaneMode(false);
    EXPECT_TRUE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());

    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane mode is OFF, ethernet not connected"),
                            Line(L"Information", L"Previous WLAN Power Status in registry = True"),
                            Line(L"Information", L"Setting SetWlanPowerStatusInRegistry with value = 1"), kStopSeen,
                            kExit));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 1, bCheckAirplaneStatus = 1");
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey), L"<missing>");
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOffWithoutEthernetSwitchesWiFiOnWhenTrueIsStored)
{
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"True");
    m_airplane.Set(true);
    m_wlan.SwitchByHand(0, false);
    StartWatcher();
    ChangeAirplaneMode(false);
    EXPECT_TRUE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());
    EXPECT_THAT(WatcherLines(), Contains(Line(L"Information", L"Previous WLAN Power Status in registry = True")));
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOffWithFalseStoredAsksForOffWhichChangesNothing)
{
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    m_airplane.Set(true);
    m_wlan.SwitchByHand(0, false);
    StartWatcher();
    ChangeAirplaneMode(false);
    ASSERT_TRUE(Stop());

    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane mode is OFF, ethernet not connected"),
                            Line(L"Information", L"Previous WLAN Power Status in registry = False"),
                            Line(L"Information", L"Setting SetWlanPowerStatusInRegistry with value = 0"), kStopSeen,
                            kExit));
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SwitchWlanStatus"),
                Contains(L"Information|ServiceUtils::SwitchWlanStatus|No change in WLAN Status Needed."));
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOffWithoutEthernetAndWiFiAlreadyOnStoresTrue)
{
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    m_airplane.Set(true);
    StartWatcher();
    ChangeAirplaneMode(false);
    ASSERT_TRUE(Stop());

    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey), L"True");
    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane mode is OFF, ethernet not connected"),
                            Line(L"Information", L"WiFi already ON in Airplanemode, updating registry"), kStopSeen,
                            kExit));
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SwitchWlanStatus"), IsEmpty());
}

TEST_F(AirplaneModeWatcherTest, AirplaneModeOffWithEthernetDoesNothing)
{
    LanWwanSwitchingEnabled = true;
    m_ipHelper.SetAdapters({fakes::WiredAdapter()});
    m_airplane.Set(true);
    m_wlan.SwitchByHand(0, false);
    m_model.SetRadioState(MBN_RADIO_OFF);
    StartWatcher();
    ChangeAirplaneMode(false);
    ASSERT_TRUE(Stop());

    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kTriggered, kStopSeen, kExit));
    EXPECT_THAT(m_wlan.Calls(), IsEmpty());
    EXPECT_THAT(m_model.Calls(), IsEmpty());
    EXPECT_EQ(fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey), L"<missing>");
}

TEST_F(AirplaneModeWatcherTest, MobileBroadbandIsRestoredWhenAirplaneModeGoesOffWithoutEthernetAndItsFlagSet)
{
    LanWwanSwitchingEnabled = true;
    m_airplane.Set(true);
    m_model.SetRadioState(MBN_RADIO_OFF);
    StartWatcher();
    ChangeAirplaneMode(false);
    m_model.WaitForCompletions();
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_ON);
    ASSERT_TRUE(Stop());

    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"),
                ElementsAre(L"TraceIn|CMainService::UpdateWwanPowerStatus|",
                            L"Information|CMainService::UpdateWwanPowerStatus|Registry read is empty : WWAN. Setting "
                            L"Default Value as TRUE",
                            L"Information|CMainService::UpdateWwanPowerStatus|Registry read is 1, WWAN Switch = 1",
                            L"TraceOut|CMainService::UpdateWwanPowerStatus|"));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWwanStatus").front(),
              L"TraceIn|ServiceUtils::SwitchWwanStatus|OnOffValue = 1, bCheckAirplaneStatus = 1");
}

TEST_F(AirplaneModeWatcherTest, MobileBroadbandStoredOffStaysOff)
{
    LanWwanSwitchingEnabled = true;
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"False");
    m_airplane.Set(true);
    m_model.SetRadioState(MBN_RADIO_OFF);
    StartWatcher();
    ChangeAirplaneMode(false);
    ASSERT_TRUE(Stop());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"),
                Contains(L"Information|CMainService::UpdateWwanPowerStatus|Registry read is 0, WWAN Switch = 0"));
}

TEST_F(AirplaneModeWatcherTest, MobileBroadbandIsLeftAloneWithoutItsFlagOrWhenAirplaneModeGoesOn)
{
    m_model.SetRadioState(MBN_RADIO_OFF);
    StartWatcher();
    // Flag clear: airplane off without Ethernet does not touch the modem.
    m_airplane.Set(true);
    ChangeAirplaneMode(false);
    // Flag set: airplane on does not restore it either.
    LanWwanSwitchingEnabled = true;
    ChangeAirplaneMode(true);
    ASSERT_TRUE(Stop());
    EXPECT_EQ(m_model.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"), IsEmpty());
    EXPECT_THAT(m_model.Calls(), IsEmpty());
}

TEST_F(AirplaneModeWatcherTest, OnAndOffAgainFollowsBothChangesInTurn)
{
    StartWatcher();
    ChangeAirplaneMode(true);
    EXPECT_FALSE(m_wlan.RadioOn());
    ChangeAirplaneMode(false);
    EXPECT_TRUE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());
    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane Mode ON , setting default"),
                            kTriggered, Line(L"Information", L"Airplane mode is OFF, ethernet not connected"),
                            Line(L"Information", L"Previous WLAN Power Status in registry = True"),
                            Line(L"Information", L"Setting SetWlanPowerStatusInRegistry with value = 1"), kStopSeen,
                            kExit));
}

TEST_F(AirplaneModeWatcherTest, TheWatcherCreatesTheNamedEventWhenTheServiceHasNone)
{
    CloseHandle(m_service.ForTesting().airplaneWatcherEvent);
    m_service.ForTesting().airplaneWatcherEvent = nullptr;
    StartWatcher();
    HANDLE byName = OpenEventW(SYNCHRONIZE, FALSE, CMainService::kAirplaneWatcherEventName);
    EXPECT_NE(byName, nullptr);
    if (byName != nullptr)
        CloseHandle(byName);
    ASSERT_NE(m_service.ForTesting().airplaneWatcherEvent, nullptr);
    ASSERT_TRUE(Stop());
    EXPECT_EQ(m_service.ForTesting().airplaneWatcherEvent, nullptr);
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kStopSeen, kExit));
}

TEST_F(AirplaneModeWatcherTest, AFailedEthernetTestIsLoggedAndEndsThePass)
{
    m_ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NOT_SUPPORTED);
    m_airplane.Set(true);
    m_wlan.SwitchByHand(0, false);
    StartWatcher();
    ChangeAirplaneMode(false);
    ASSERT_TRUE(Stop());
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kTriggered,
                                            Line(L"Error", L"CheckEthernetConnectionStatusEx failed"), kStopSeen,
                                            kExit));
}

// The service's two stop steps, made by the arming itself just before it
// arms: the stop comes exactly between the loop's check of the running flag
// and the arming, which resets the event (on Windows and in Wine).
class StopBeforeTheArming {
public:
    explicit StopBeforeTheArming(WatchedService& service)
    {
        s_service = &service;
        s_previous = os::api().RegNotifyChangeKeyValue;
        m_seam->RegNotifyChangeKeyValue = &StopBeforeTheArming::Arm;
    }
    ~StopBeforeTheArming() { s_service = nullptr; }

private:
    static LSTATUS WINAPI Arm(HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous)
    {
        s_service->ForTesting().running = false;
        SetEvent(s_service->ForTesting().airplaneWatcherEvent);
        return s_previous(key, subtree, filter, event, asynchronous);
    }
    static inline WatchedService* s_service = nullptr;
    static inline decltype(&::RegNotifyChangeKeyValue) s_previous = nullptr;
    os::ScopedApiOverride m_seam;
};

TEST_F(AirplaneModeWatcherTest, AStopBetweenTheRunningCheckAndTheArmingEndsTheWatcherInThatPass)
{
    StopBeforeTheArming stop(m_service);
    m_service.ForTesting().running = true;
    m_thread = std::thread([this] {
        m_service.AirplaneModeWatcher();
        m_ended = true;
    });
    ASSERT_TRUE(WaitUntil([&] { return m_ended.load(); }, 5000ms)) << "the stop was lost: the watcher still waits";
    m_thread.join();
    EXPECT_EQ(m_opens.Count(), 1);
    EXPECT_EQ(m_service.ForTesting().airplaneWatcherEvent, nullptr);
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, kStopSeen, kExit));
}

// The watched key's openings (the 64-bit view) fail `failures` times first.
class FailingWatchedKeyOpens {
public:
    explicit FailingWatchedKeyOpens(int failures)
    {
        s_failuresLeft = failures;
        s_previous = os::api().RegOpenKeyExW;
        m_seam->RegOpenKeyExW = &FailingWatchedKeyOpens::RegOpenKeyExW;
    }

private:
    static LSTATUS WINAPI RegOpenKeyExW(HKEY hive, LPCWSTR path, DWORD options, REGSAM access, PHKEY key)
    {
        if ((access & KEY_WOW64_64KEY) != 0 && s_failuresLeft > 0) {
            --s_failuresLeft;
            return ERROR_ACCESS_DENIED;
        }
        return s_previous(hive, path, options, access, key);
    }
    static inline std::atomic<int> s_failuresLeft{0};
    static inline decltype(&::RegOpenKeyExW) s_previous = nullptr;
    os::ScopedApiOverride m_seam;
};

// What "go round again" costs: each failed pass is retried at once, without
// a pause and without a line, so a key that never opens keeps one thread
// busy until the stop. Here three failures cost three silent passes.
TEST_F(AirplaneModeWatcherTest, AKeyThatCannotBeOpenedIsTriedAgainAtOnceWithoutALine)
{
    FailingWatchedKeyOpens failing(3);
    StartWatcher();
    EXPECT_EQ(m_opens.Count(), 1);  // the three failed openings never reached the key
    ChangeAirplaneMode(true);        // the watcher that came through follows airplane mode
    EXPECT_FALSE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());
    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane Mode ON , setting default"), kStopSeen,
                            kExit));
}

// The event cannot be created `failures` times, with ERROR_ACCESS_DENIED.
class FailingEventCreation {
public:
    explicit FailingEventCreation(int failures)
    {
        s_failuresLeft = failures;
        s_previous = os::api().CreateEventW;
        m_seam->CreateEventW = &FailingEventCreation::CreateEventW;
    }

private:
    static HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial, LPCWSTR name)
    {
        if (s_failuresLeft > 0) {
            --s_failuresLeft;
            SetLastError(ERROR_ACCESS_DENIED);
            return nullptr;
        }
        return s_previous(security, manual, initial, name);
    }
    static inline std::atomic<int> s_failuresLeft{0};
    static inline decltype(&::CreateEventW) s_previous = nullptr;
    os::ScopedApiOverride m_seam;
};

// Each failed creation costs a line and a pass (the key opened again and
// left open, as every pass leaves it), without a pause.
TEST_F(AirplaneModeWatcherTest, AnEventThatCannotBeCreatedIsLoggedAndTriedAgainInTheNextPass)
{
    CloseHandle(m_service.ForTesting().airplaneWatcherEvent);
    m_service.ForTesting().airplaneWatcherEvent = nullptr;
    FailingEventCreation failing(2);
    StartWatcher();
    WaitForPass(3);
    ASSERT_NE(m_service.ForTesting().airplaneWatcherEvent, nullptr);
    ASSERT_TRUE(Stop());
    EXPECT_EQ(m_opens.Count(), 3);
    const std::wstring failed = Line(L"Error", L"CreateEvent (AirPlaneWatcherEvent) failed with error 5");
    EXPECT_THAT(WatcherLines(), ElementsAre(kEntry, failed, failed, kStopSeen, kExit));
}

// The arming fails `failures` times.
class FailingArming {
public:
    explicit FailingArming(int failures)
    {
        s_failuresLeft = failures;
        s_calls = 0;
        s_previous = os::api().RegNotifyChangeKeyValue;
        m_seam->RegNotifyChangeKeyValue = &FailingArming::Arm;
    }
    static int Calls() { return s_calls; }

private:
    static LSTATUS WINAPI Arm(HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous)
    {
        ++s_calls;
        if (s_failuresLeft > 0) {
            --s_failuresLeft;
            return ERROR_NOT_ENOUGH_MEMORY;
        }
        return s_previous(key, subtree, filter, event, asynchronous);
    }
    static inline std::atomic<int> s_failuresLeft{0};
    static inline std::atomic<int> s_calls{0};
    static inline decltype(&::RegNotifyChangeKeyValue) s_previous = nullptr;
    os::ScopedApiOverride m_seam;
};

// Each failed arming costs a silent pass (the key opened again), without a
// pause; the watcher then waits as usual.
TEST_F(AirplaneModeWatcherTest, AFailedArmingIsTriedAgainAtOnceInTheNextPassWithoutALine)
{
    FailingArming failing(2);
    StartWatcher();
    WaitForPass(3);
    EXPECT_EQ(FailingArming::Calls(), 3);
    ChangeAirplaneMode(true);
    EXPECT_FALSE(m_wlan.RadioOn());
    ASSERT_TRUE(Stop());
    EXPECT_THAT(WatcherLines(),
                ElementsAre(kEntry, kTriggered, Line(L"Information", L"Airplane Mode ON , setting default"), kStopSeen,
                            kExit));
}

} // namespace
