// The simulated laptop and what else happens to it: the user's own switches,
// airplane mode, sleep, the firmware's settings, and the service stopped at
// any moment.
#include "fakes/ExpectedLines.h"
#include "fakes/Laptop.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <vector>

namespace {

using fakes::Matching;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Lines = std::vector<std::wstring>;

std::wstring WatcherLine(const std::wstring& message)
{
    return fakes::Line(L"Information", "CMainService::AirplaneModeWatcher", message);
}

TEST(AirplaneModeTest, OnSwitchesWiFiOffAndLeavesThePersistedValuesOffRestoresThemWithoutACable)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    laptop.ClearLog();

    ASSERT_TRUE(laptop.SetAirplaneMode(true));
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.StoredWifi(), L"<missing>");
    EXPECT_EQ(laptop.StoredMobileBroadband(), L"<missing>");
    EXPECT_THAT(laptop.Lines(), Contains(WatcherLine(L"AirplaneModeWatcher - Registry Change Event Triggered")));
    EXPECT_THAT(laptop.Lines(), Contains(WatcherLine(L"Airplane Mode ON , setting default")));
    laptop.ClearLog();

    ASSERT_TRUE(laptop.SetAirplaneMode(false));
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    const Lines lines = laptop.Lines();
    EXPECT_THAT(lines, Contains(WatcherLine(L"Airplane mode is OFF, ethernet not connected")));
    EXPECT_THAT(lines, Contains(WatcherLine(L"Previous WLAN Power Status in registry = True")));
    EXPECT_THAT(lines, Contains(WatcherLine(L"Setting SetWlanPowerStatusInRegistry with value = 1")));
    EXPECT_THAT(lines, Contains(L"TraceIn|CMainService::UpdateWwanPowerStatus|"));
}

TEST(AirplaneModeTest, OffRestoresAWiFiTheUserHadOffAsOff)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.SwitchWifi(false));
    ASSERT_TRUE(laptop.SetAirplaneMode(true));
    ASSERT_TRUE(laptop.SetAirplaneMode(false));
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.StoredWifi(), L"False");
}

TEST(UserSwitchTest, WiFiTurnedOnWhileTheCableIsInIsSwitchedOffAgainWithoutTheAirplaneCheck)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Boot());
    laptop.ClearLog();

    ASSERT_TRUE(laptop.SwitchWifi(true));

    EXPECT_FALSE(laptop.WifiOn());
    const Lines lines = laptop.Lines();
    EXPECT_THAT(lines, Contains(L"Information|CMainService::HandleWlanNotificationMsmRadioStateChange|Current WLAN "
                                L"status = 1"));
    EXPECT_THAT(lines, Contains(L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = 0"));
    EXPECT_THAT(lines, Not(Contains(L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = "
                                    L"1")));
    // Switched by the service, not chosen by the user: nothing is stored.
    EXPECT_EQ(laptop.StoredWifi(), L"<missing>");
}

TEST(UserSwitchTest, MobileBroadbandTheUserTurnedOffIsPersistedAndStaysOffAfterAPlugAndAPull)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.SwitchMobileBroadband(false));
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Pull());
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.StoredMobileBroadband(), L"False");
    EXPECT_THAT(laptop.Lines(),
                Contains(L"Information|CMbnSinks::OnSetSoftwareRadioStateComplete|Writing WWAN status 0 "
                         L"to registry"));
    EXPECT_THAT(laptop.Lines(), Contains(L"Information|ServiceUtils::StartWWANService|WWAN Registry Status = False"));
}

TEST(SleepTest, ACablePulledDuringSleepIsIgnoredThenResumeSwitchesBothRadiosOn)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.Suspend());
    laptop.ClearLog();

    ASSERT_TRUE(laptop.Pull());
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_THAT(laptop.Lines(), Contains(L"Information|NLMEventHandler::NetworkConnectionConnectivityChanged|System "
                                         L"in sleep/Hibernate, not processing the callback"));

    ASSERT_TRUE(laptop.Resume());
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
}

// The address arrives 1 s after the handler starts: the call at 0 s fails,
// the call at 1 s finds it but ipNotAssigned stays set, so it still logs
// its try and pauses once more (the handler's steps decide the count).
TEST(SleepTest, ACablePluggedDuringSleepIsIgnoredThenResumeWaitsForItsAddressAndSwitchesBothOff)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.Suspend());
    laptop.ClearLog();

    fakes::Laptop::Cable cable;
    cable.dhcpMilliseconds = 1000;
    ASSERT_TRUE(laptop.Plug(cable));
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_THAT(laptop.Lines(), Contains(HasSubstr(L"System in sleep/Hibernate, not processing the callback")));
    laptop.ClearLog();

    ASSERT_TRUE(laptop.Resume());
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    EXPECT_EQ(Matching(laptop.LinesOf("NLMUtils::SystemResumeHandler"), L"failed in try").size(), 2u);
}

TEST(FirmwareTest, ForbiddenWiFiSwitchingLeavesWiFiToTheUserAndStartUpRestoresItsPersistedState)
{
    fakes::Laptop::Options options;
    options.wifiSwitchingAllowed = false;
    fakes::Laptop laptop(options);
    fakes::Laptop::StoreWifi(L"False");
    ASSERT_TRUE(laptop.Boot());
    EXPECT_FALSE(laptop.WifiOn());
    EXPECT_THAT(laptop.Lines(), Contains(L"Information|CMainService::ServiceWorkerThread|LAN WLAN Auto Switching is "
                                         L"disabled in BIOS. Restoring previous WLAN Status."));
    ASSERT_TRUE(laptop.SwitchWifi(true));
    const size_t setsBefore = laptop.Wlan().SetCalls();

    ASSERT_TRUE(laptop.Plug());
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_FALSE(laptop.MobileBroadbandOn());
    ASSERT_TRUE(laptop.Pull());
    EXPECT_TRUE(laptop.WifiOn());
    EXPECT_TRUE(laptop.MobileBroadbandOn());
    EXPECT_EQ(laptop.Wlan().SetCalls(), setsBefore);
    EXPECT_THAT(laptop.Lines(), Not(Contains(HasSubstr(L"Stop WLAN service"))));
}

TEST(StopTest, AStopEndsTheWatcherAndLeavesNoModelObjectBehind)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    ASSERT_TRUE(laptop.Boot());
    ASSERT_TRUE(laptop.Stop());
    EXPECT_THAT(laptop.Lines(), Contains(WatcherLine(L"AirplaneModeWatcher - Service Stop event Triggered. Exiting")));
    EXPECT_THAT(laptop.Lines(), Contains(L"TraceOut|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Exit"));
    ASSERT_TRUE(laptop.PowerOff());
    EXPECT_EQ(laptop.LiveComObjects(), 0);
}

// Holds the worker at its network-alive check (after the subscriptions)
// until the test opens the gate.
class WorkerGate {
public:
    WorkerGate()
    {
        s_gate = this;
        s_previous = os::api().IsNetworkAlive;
        m_seam->IsNetworkAlive = &WorkerGate::IsNetworkAlive;
    }
    ~WorkerGate()
    {
        Open();
        s_gate = nullptr;
    }
    bool WaitUntilReached()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return m_reached; });
    }
    void Open()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_open = true;
        m_changed.notify_all();
    }

private:
    static BOOL WINAPI IsNetworkAlive(LPDWORD flags)
    {
        {
            std::unique_lock<std::mutex> lock(s_gate->m_lock);
            s_gate->m_reached = true;
            s_gate->m_changed.notify_all();
            s_gate->m_changed.wait(lock, [] { return s_gate->m_open; });
        }
        return s_previous(flags);
    }

    static inline WorkerGate* s_gate = nullptr;
    static inline decltype(&::IsNetworkAlive) s_previous = nullptr;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_reached = false;
    bool m_open = false;
    os::ScopedApiOverride m_seam;
};

TEST(StopTest, StopAndShutdownWhileTheWorkerIsStillStartingNeitherCrashNorHang)
{
    fakes::Laptop laptop;
    ASSERT_TRUE(laptop.Plug());
    WorkerGate gate;
    laptop.StartService();
    ASSERT_TRUE(gate.WaitUntilReached());
    // The worker queued the watcher before the gate; its thread has armed
    // the notification once before the stop comes (a watcher that starts
    // after the stop ends without a word).
    for (int wait = 0; wait < 2000 && laptop.WatcherPasses() < 1; ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GE(laptop.WatcherPasses(), 1);

    // The stop runs while the worker waits at the gate; it returns once
    // the worker and the watcher have ended.
    auto stopped = std::async(std::launch::async, [&] { return laptop.Stop(); });
    const auto onStopDone = [&] {
        return !laptop.LinesOf("CMainService::OnStop").empty() &&
               laptop.LinesOf("CMainService::OnStop").back() == L"TraceOut|CMainService::OnStop|";
    };
    for (int wait = 0; wait < 2000 && !onStopDone(); ++wait)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_TRUE(onStopDone());
    gate.Open();
    ASSERT_EQ(stopped.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_TRUE(stopped.get());

    ASSERT_TRUE(laptop.Shutdown());
    EXPECT_TRUE(laptop.PowerOff());
    // The watcher saw the stop at its first wake-up.
    EXPECT_THAT(Matching(laptop.LinesOf("CMainService::AirplaneModeWatcher"), L"Triggered"),
                ElementsAre(WatcherLine(L"AirplaneModeWatcher - Service Stop event Triggered. Exiting")));
    EXPECT_THAT(laptop.Lines(), Contains(L"TraceOut|CMainService::OnShutdown|"));
}

}  // namespace
