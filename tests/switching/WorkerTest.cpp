// CMainService::ServiceWorkerThread: its early returns (COM initialisation,
// the network list manager, the mobile-broadband class and device), without
// the exit line and without leaving the COM apartment; and its whole run on
// the simulated laptop (firmware settings, radio services, adapters, Wi-Fi
// adapter and modem) in virtual time: each radio's decision at start, the
// order of its calls, the airplane watcher it queues and the exceptions it
// meets, caught by itself or by the thread-pool trampoline. The persisted
// power status and airplane mode live in the real registry of the Wine
// prefix (kept and put back by the fixture).
#include "switching/MainService.h"

#include "fakes/ExpectedLines.h"
#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeThreadPool.h"
#include "fakes/FreshSwitchingState.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"
#include "models/FakeWlanClient.h"
#include "models/FirmwareWmi.h"
#include "models/MobileBroadbandModel.h"
#include "models/NetworkListModel.h"
#include "platform/Api.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include "ServiceUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using Lines = std::vector<std::wstring>;
using Calls = std::vector<std::string>;

constexpr char kWorker[] = "CMainService::ServiceWorkerThread";

const fakes::FunctionLines Line{kWorker};
std::wstring Info(const std::wstring& message) { return Line(L"Information", message); }
std::wstring Error(const std::wstring& message) { return Line(L"Error", message); }

const std::wstring kEntry = Line(L"TraceIn", L"ServiceWorkerThread - Entry");
const std::wstring kFirmwareRead =
    Info(L"Finished reading LanWlanWan Switching status from BIOS. Wait for (WLAN AutoConfig) to start");
const std::wstring kWlanWaited =
    Info(L"WLAN AutoConfig wait completed and WLAN Device Available. So Listening for WLAN Notifications..");
const std::wstring kAlive = Info(L"Network Alive : Return  = 1, Status : 1");
const std::wstring kWlanRestoring =
    Info(L"LAN WLAN Auto Switching is disabled in BIOS. Restoring previous WLAN Status.");
const std::wstring kChecking = Info(L"Checking Ethernet connection status...");
const std::wstring kCheckFailed = Error(L"CheckEthernetConnectionStatusEx failed");
const std::wstring kWlanStopping = Info(L"LAN connection available when service start. Stopping WLAN service...");
const std::wstring kNoMbnClass = Error(L"CoCreateInstance(CLSID_MbnInterfaceManager) failed with error: 0x80040154");
const std::wstring kWwanWait = Info(L"Wait for (WWAN AutoConfig) to start");
const std::wstring kWwanWaited =
    Info(L"WWAN AutoConfig wait completed and WWAN Device Available. So Listening for WWAN events..");
const std::wstring kNoDevice = Error(L"WWAN Device enumeration failed / No supporting WWAN device found ");
const std::wstring kWwanRestoring =
    Info(L"LAN WWAN Auto Switching is disabled in BIOS.Restoring previous WWAN Status.");
const std::wstring kWwanStopping = Info(L"LAN connection available when service start. Stopping WWAN service...");
const std::wstring kWwanStarting =
    Info(L"LAN connection not available when service start. starting WWAN service...");
const std::wstring kExit = Line(L"TraceOut", L"ServiceWorkerThread - Exit");

constexpr wchar_t kFirstClass[] = L"QXBIOS_BIOSEnumeration";
constexpr wchar_t kWlanSetting[] = L"LAN / WLAN Auto Switching";
constexpr wchar_t kWwanSetting[] = L"LAN / WWAN Auto Switching";

// The calls below are journalled here beside those of the fakes.
fakes::Journal* g_journal = nullptr;

BOOL WINAPI AliveOnTheLan(LPDWORD flags)
{
    fakes::Note(g_journal, "IsNetworkAlive");
    *flags = NETWORK_ALIVE_LAN;
    return TRUE;
}

BOOL WINAPI ThrowingIsNetworkAlive(LPDWORD)
{
    fakes::Note(g_journal, "IsNetworkAlive");
    throw std::runtime_error("network reachability unavailable");
}

// The service as OnStart leaves it for its worker: running.
class StartedService : public switching_tests::ServiceUnderTest {
public:
    StartedService() { ForTesting().running = true; }
};

class WorkerTest : public testing::Test {
protected:
    WorkerTest()
    {
        ResetSwitchingStateForTesting();
        g_journal = &m_journal;
        m_seam->IsNetworkAlive = &AliveOnTheLan;
    }
    ~WorkerTest() override
    {
        g_journal = nullptr;
        ResetSwitchingStateForTesting();
    }

    Lines WorkerLines() const { return m_log.LinesOf(kWorker); }
    // The journalled calls that begin with one of `steps`, in order.
    Calls CallsOf(std::initializer_list<const char*> steps) const
    {
        Calls calls;
        for (const std::string& call : m_journal)
            for (const char* step : steps)
                if (call.compare(0, std::strlen(step), step) == 0)
                    calls.push_back(call);
        return calls;
    }
    // The requests of classes that no model served (COM has none).
    const std::vector<fakes::FakeComRuntime::ClassRequest>& Unserved() const { return m_com.classRequests; }

    fakes::RecordingLog m_log;
    fakes::Journal m_journal;
    fakes::FakeEvents m_events{&m_journal};
    fakes::FakeThreadPool m_pool{&m_journal};
    // First, so the models of the tests serve their classes in front of it.
    fakes::FakeComRuntime m_com{&m_journal};
    os::ScopedApiOverride m_seam;
};

TEST_F(WorkerTest, AFailedCoInitializeEndsTheWorkerWithoutAnExitLine)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, E_OUTOFMEMORY);
    StartedService service;
    service.ServiceWorkerThread();
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoInitialize failed with error: 0x8007000E"));
    EXPECT_EQ(m_com.concurrencyModel, static_cast<DWORD>(COINIT_MULTITHREADED));
    EXPECT_TRUE(Unserved().empty());
    EXPECT_EQ(m_com.uninitializations, 0);
    EXPECT_THAT(m_pool.flags, IsEmpty());
}

TEST_F(WorkerTest, NoNetworkListManagerEndsTheWorkerWithoutUninitialisingCom)
{
    StartedService service;
    service.ServiceWorkerThread();
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) "
                            L"failed with error: 0x80040154"));
    ASSERT_EQ(Unserved().size(), 1u);
    EXPECT_TRUE(IsEqualCLSID(Unserved()[0].clsid, CLSID_NetworkListManager));
    EXPECT_EQ(Unserved()[0].outer, nullptr);
    EXPECT_EQ(Unserved()[0].context, static_cast<DWORD>(CLSCTX_ALL));
    EXPECT_TRUE(IsEqualIID(Unserved()[0].iid, IID_INetworkListManager));
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 0);
    // The airplane watcher is queued only after the manager exists.
    EXPECT_THAT(m_pool.flags, IsEmpty());
}

TEST_F(WorkerTest, ComInAnotherModeIsNoFailure)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, RPC_E_CHANGED_MODE);
    StartedService service;
    service.ServiceWorkerThread();
    // It went on to the network list manager.
    ASSERT_EQ(Unserved().size(), 1u);
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) "
                            L"failed with error: 0x80040154"));
    EXPECT_EQ(m_com.uninitializations, 0);
}

// A stop before the worker's first step: it enters COM, finds the service
// stopping, makes nothing, queues nothing and leaves COM again.
TEST_F(WorkerTest, AWorkerThatFindsTheServiceStoppedMakesNothingAndLeavesCom)
{
    switching_tests::ServiceUnderTest service;  // not running: stopped before its worker ran
    service.ServiceWorkerThread();
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Information|CMainService::ServiceWorkerThread|ServiceWorkerThread - The service is "
                            L"stopping: start-up ends here",
                            L"TraceOut|CMainService::ServiceWorkerThread|ServiceWorkerThread - Exit"));
    EXPECT_TRUE(Unserved().empty());
    EXPECT_THAT(m_pool.flags, IsEmpty());
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_FALSE(service.ForTesting().networkListManager);
}

// No firmware namespace (both switching settings off, so Wi-Fi is only
// restored) and no mobile-broadband class: the Wi-Fi side runs whole and the
// worker ends at the mobile-broadband manager.
TEST_F(WorkerTest, WithoutTheMobileBroadbandClassTheWorkerEndsAfterTheWifiSide)
{
    fakes::VirtualClock clock;
    fakes::FakeScm scm;
    scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    fakes::FakeWlanClient wlan(&m_journal);
    fakes::NetworkListModel networkList(&m_journal);
    {
        StartedService service;
        service.ServiceWorkerThread();
        EXPECT_THAT(
            WorkerLines(),
            ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                        L"Information|CMainService::ServiceWorkerThread|Finished reading LanWlanWan Switching status "
                        L"from BIOS. Wait for (WLAN AutoConfig) to start",
                        L"Information|CMainService::ServiceWorkerThread|WLAN AutoConfig wait completed and WLAN Device "
                        L"Available. So Listening for WLAN Notifications..",
                        L"Information|CMainService::ServiceWorkerThread|Network Alive : Return  = 1, Status : 1",
                        L"Information|CMainService::ServiceWorkerThread|LAN WLAN Auto Switching is disabled in BIOS. "
                        L"Restoring previous WLAN Status.",
                        L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_MbnInterfaceManager) failed "
                        L"with error: 0x80040154"));
        const Calls creates = CallsOf({"CoCreateInstance"});
        ASSERT_GE(creates.size(), 2u);
        EXPECT_EQ(creates.front(), "CoCreateInstance NetworkListManager");
        EXPECT_EQ(creates.back(), "CoCreateInstance MbnInterfaceManager");
        ASSERT_FALSE(Unserved().empty());
        EXPECT_TRUE(IsEqualCLSID(Unserved().back().clsid, CLSID_MbnInterfaceManager));
        EXPECT_EQ(Unserved().back().context, static_cast<DWORD>(CLSCTX_ALL));
        EXPECT_TRUE(IsEqualIID(Unserved().back().iid, IID_IMbnInterfaceManager));
        // The airplane watcher was queued once, to run once.
        EXPECT_THAT(m_pool.flags, ElementsAre(static_cast<ULONG>(WT_EXECUTEONLYONCE)));
        // The network events were subscribed.
        EXPECT_EQ(networkList.AdvisedCount(IID_INetworkConnectionEvents), 1u);
        EXPECT_EQ(m_com.uninitializations, 0);
        EXPECT_FALSE(m_log.LinesOf("CMainService::ListenForWlanEvents").empty());
    }
}

// The simulated laptop: both radio services running, the Wi-Fi adapter
// (two PHYs, on) and the modem (one interface, on), the adapter list with
// only the Wi-Fi adapter, the firmware's WMI provider without settings,
// airplane mode off and no persisted power status. Virtual time.
class WorkerOnTheLaptopTest : public WorkerTest {
protected:
    WorkerOnTheLaptopTest()
    {
        m_airplane.Set(false);
        m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
        m_scm.AddService(L"WwanSvc", SERVICE_RUNNING);
        m_wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, fakes::FakeWlanClient::kOn,
                            wlan_interface_state_connected);
        // The worker's own switching is what the tests look at: no
        // completion reaches the radio event sink on a thread of its own.
        m_broadband.SetDeliverCompletions(false);
    }
    ~WorkerOnTheLaptopTest() override
    {
        // The product keeps the worker's reference on the process-wide
        // manager for ever; the model ends here, so it goes back now.
        if (MbnInterfaceManager != nullptr) {
            MbnInterfaceManager->Release();
            MbnInterfaceManager = nullptr;
        }
    }

    // The firmware's two settings, as the first setting class has them.
    void SetFirmware(bool wlanSwitching, bool wwanSwitching)
    {
        m_firmware.AddSetting({kFirstClass, kWlanSetting, wlanSwitching ? L"Enabled" : L"*Disabled"});
        m_firmware.AddSetting({kFirstClass, kWwanSetting, wwanSwitching ? L"Enabled" : L"*Disabled"});
    }
    void RunWorker()
    {
        StartedService service;
        service.ServiceWorkerThread();
    }

    // The calls of the platform that show the worker's steps, in order.
    Calls StepCalls() const
    {
        return CallsOf({"CoInitializeEx", "CoUninitialize", "CoCreateInstance", "QueueUserWorkItem", "IsNetworkAlive",
                        "WlanRegisterNotification"});
    }
    // The entry lines of the operations reached, in order (those that the
    // steps call inside other steps too).
    Lines Reached() const
    {
        return m_log.Entered({
            "NLMUtils::GetAutoSwitchingStatus", "Utils::WaitforServiceToStartRunning",
            "CMainService::ListenForWlanEvents", "CMainService::RegisterWlanNotification",
            "NLMUtils::PrintNetworkConnections", "NLMEventHandler::CheckEthernetConnectionStatusEx",
            "ServiceUtils::SwitchWlanStatus", "CMainService::UpdateWlanPowerStatus",
            "ServiceUtils::EnumerateWwanInterfaces", "CMainService::ListenForWwanEvents",
            "ServiceUtils::SwitchWwanStatus", "CMainService::UpdateWwanPowerStatus"});
    }
    bool ModemWasSet() const
    {
        for (const std::string& call : m_broadband.Calls())
            if (call.rfind("SetSoftwareRadioState", 0) == 0)
                return true;
        return false;
    }

    fakes::VirtualClock m_clock;
    fakes::FakeScm m_scm;
    fakes::FakeWlanClient m_wlan{&m_journal};
    fakes::FakeIpHelper m_ipHelper{{fakes::WirelessAdapter()}};
    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    // Each serves its class in front of the fixture's COM runtime.
    fakes::NetworkListModel m_networkList{&m_journal};
    fakes::MobileBroadbandModel m_broadband{&m_journal};
    fakes::FirmwareWmi m_firmware{{}, &m_journal};
};

// The Wi-Fi service never reaches RUNNING: fifteen one-second tries, the
// failure with the running status, and the Wi-Fi notifications are
// registered all the same.
TEST_F(WorkerOnTheLaptopTest, WlanAutoConfigNeverRunningIsTriedFifteenTimesAndTheRegistrationStillHappens)
{
    m_scm.Find(L"WlanSvc")->state = SERVICE_STOPPED;
    // No mobile-broadband class: the run ends after the Wi-Fi side.
    m_broadband.Fail(fakes::MobileBroadbandModel::Failure::CreateManager, REGDB_E_CLASSNOTREG);
    RunWorker();

    EXPECT_THAT(WorkerLines(),
                ElementsAre(kEntry, kFirmwareRead,
                            Error(L"WaitforServiceToStartRunning (WLAN AutoConfig) failed with running status = 1"),
                            kWlanWaited, kAlive, kWlanRestoring, kNoMbnClass));
    EXPECT_THAT(m_clock.Pauses(), ElementsAreArray(std::vector<DWORD>(15, 1000)));
    EXPECT_EQ(m_scm.Find(L"WlanSvc")->statusQueries, 15);
    const Lines wait = m_log.LinesOf("Utils::WaitforServiceToStartRunning");
    ASSERT_EQ(wait.size(), 17u);
    EXPECT_EQ(wait[1], L"Verbose|Utils::WaitforServiceToStartRunning|WlanSvc service Running Status = 1, try 0");
    EXPECT_EQ(wait[15], L"Verbose|Utils::WaitforServiceToStartRunning|WlanSvc service Running Status = 1, try 14");
    EXPECT_EQ(wait[16], L"TraceOut|Utils::WaitforServiceToStartRunning|WlanSvc Running Status = 1");

    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections", L"CMainService::UpdateWlanPowerStatus",
                                       L"ServiceUtils::SwitchWlanStatus"));
    EXPECT_THAT(m_log.LinesOf("CMainService::RegisterWlanNotification"),
                Contains(L"TraceOut|CMainService::RegisterWlanNotification|Return  = 0"));
    EXPECT_EQ(m_wlan.registeredCallback, &CMainService::WlanNotificationCallback);
    EXPECT_EQ(m_wlan.registeredHandle, fakes::FakeWlanClient::kClientHandle);
    EXPECT_EQ(m_networkList.AdvisedCount(IID_INetworkConnectionEvents), 1u);
    // The firmware has neither setting: both classes are read.
    EXPECT_THAT(StepCalls(),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize", "CoInitializeEx 0",
                            "CoCreateInstance WbemLocator", "CoUninitialize", "WlanRegisterNotification 24 1 callback previous",
                            "IsNetworkAlive", "CoCreateInstance MbnInterfaceManager"));
}

// A modem manager without a device: the Wi-Fi side is set up whole, and
// the worker ends at the enumeration, without its exit line and without
// leaving the apartment.
TEST_F(WorkerOnTheLaptopTest, NoMobileBroadbandDeviceEndsTheWorkerAfterAWholeWifiSide)
{
    SetFirmware(true, true);
    m_broadband.SetInterfaces({});
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    RunWorker();

    EXPECT_THAT(WorkerLines(),
                ElementsAre(kEntry, kFirmwareRead, kWlanWaited, kAlive, kChecking, kWwanWait, kNoDevice));
    EXPECT_TRUE(LanWlanSwitchingEnabled);
    EXPECT_TRUE(LanWwanSwitchingEnabled);
    // No wire: the Wi-Fi radio went to its stored state, off.
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_wlan.registeredCallback, &CMainService::WlanNotificationCallback);
    EXPECT_EQ(m_networkList.AdvisedCount(IID_INetworkListManagerEvents), 1u);
    EXPECT_EQ(m_networkList.AdvisedCount(IID_INetworkConnectionEvents), 1u);
    EXPECT_EQ(m_networkList.AdvisedCount(IID_INetworkEvents), 1u);
    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"CMainService::UpdateWlanPowerStatus", L"ServiceUtils::SwitchWlanStatus",
                                       L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::EnumerateWwanInterfaces"));
    EXPECT_FALSE(WwanDeviceAvailable);
    EXPECT_NE(MbnInterfaceManager, nullptr);
    EXPECT_EQ(m_broadband.AdvisedCount(), 0u);
    EXPECT_FALSE(ModemWasSet());
    // One firmware read (the first class had both settings) and no
    // CoUninitialize of the worker after the modem manager.
    EXPECT_THAT(StepCalls(),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize",
                            "WlanRegisterNotification 24 1 callback previous", "IsNetworkAlive",
                            "CoCreateInstance MbnInterfaceManager"));
}

// Both settings disabled, with a wire up: each radio goes to its stored
// state (Wi-Fi on although the wire is up, the modem stays on), and the
// Ethernet state is never asked for.
TEST_F(WorkerOnTheLaptopTest, BothSettingsDisabledRestoreBothRadiosAndNeverCheckEthernet)
{
    SetFirmware(false, false);
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true), fakes::WirelessAdapter()});
    m_wlan.SwitchByHand(0, false);
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"True");
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"True");
    RunWorker();

    EXPECT_THAT(WorkerLines(), ElementsAre(kEntry, kFirmwareRead, kWlanWaited, kAlive, kWlanRestoring, kWwanWait,
                                           kWwanWaited, kWwanRestoring, kExit));
    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_broadband.RadioState(), MBN_RADIO_ON);
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWlanPowerStatus"),
                Contains(L"Information|CMainService::UpdateWlanPowerStatus|Registry read is 1, WLAN Switch = 1"));
    EXPECT_THAT(m_log.LinesOf("CMainService::UpdateWwanPowerStatus"),
                Contains(L"Information|CMainService::UpdateWwanPowerStatus|Registry read is 1, WWAN Switch = 1"));
    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections", L"CMainService::UpdateWlanPowerStatus",
                                       L"ServiceUtils::SwitchWlanStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::EnumerateWwanInterfaces", L"CMainService::ListenForWwanEvents",
                                       L"CMainService::UpdateWwanPowerStatus", L"ServiceUtils::SwitchWwanStatus"));
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    EXPECT_EQ(m_ipHelper.AddressesCalls(), 0);
    EXPECT_THAT(WorkerLines(), Not(Contains(kChecking)));
}

// IP Helper fails: on each side the check's failure is logged and the
// radio is left as it is, although the stored states would turn both off.
TEST_F(WorkerOnTheLaptopTest, AFailingEthernetCheckLeavesEachRadioAsItIs)
{
    SetFirmware(true, true);
    m_ipHelper.Fail(fakes::FakeIpHelper::Failure::AdaptersInfo, ERROR_NOT_SUPPORTED);
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"False");
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"False");
    RunWorker();

    EXPECT_THAT(WorkerLines(), ElementsAre(kEntry, kFirmwareRead, kWlanWaited, kAlive, kChecking, kCheckFailed,
                                           kWwanWait, kWwanWaited, kCheckFailed, kExit));
    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::EnumerateWwanInterfaces", L"CMainService::ListenForWwanEvents",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx"));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    EXPECT_EQ(m_broadband.RadioState(), MBN_RADIO_ON);
    EXPECT_FALSE(ModemWasSet());
}

// A wire at start with both directions allowed: both radios off, the whole
// run to the exit line, and one CoUninitialize of the worker's own at the
// end (the one before it closes the firmware read).
TEST_F(WorkerOnTheLaptopTest, EthernetAtStartSwitchesBothRadiosOffAndRunsToTheExit)
{
    SetFirmware(true, true);
    m_ipHelper.SetAdapters({fakes::WiredAdapter(true), fakes::WirelessAdapter()});
    RunWorker();

    EXPECT_THAT(WorkerLines(), ElementsAre(kEntry, kFirmwareRead, kWlanWaited, kAlive, kChecking, kWlanStopping,
                                           kWwanWait, kWwanWaited, kWwanStopping, kExit));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_broadband.RadioState(), MBN_RADIO_OFF);
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SwitchWlanStatus"),
                Contains(L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = 0, bCheckAirplaneStatus = 1"));
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::SwitchWwanStatus"),
                Contains(L"TraceIn|ServiceUtils::SwitchWwanStatus|OnOffValue = 0, bCheckAirplaneStatus = 1"));
    // The modem switch asks for the wire itself too.
    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"ServiceUtils::SwitchWlanStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::EnumerateWwanInterfaces", L"CMainService::ListenForWwanEvents",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"ServiceUtils::SwitchWwanStatus",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx"));
    EXPECT_TRUE(WwanDeviceAvailable);
    EXPECT_EQ(m_broadband.AdvisedCount(), 1u);
    EXPECT_THAT(StepCalls(),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize",
                            "WlanRegisterNotification 24 1 callback previous", "IsNetworkAlive",
                            "CoCreateInstance MbnInterfaceManager", "CoUninitialize"));
    EXPECT_EQ(m_com.initializations, 2);
    EXPECT_EQ(m_com.uninitializations, 2);
}

// No wire, both directions allowed: Wi-Fi is restored without a line of
// the worker's own, the modem side says so and restores.
TEST_F(WorkerOnTheLaptopTest, NoEthernetAtStartRestoresBothRadios)
{
    SetFirmware(true, true);
    m_wlan.SwitchByHand(0, false);
    m_broadband.SetRadioState(MBN_RADIO_OFF);
    fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, L"True");
    fakes::ScopedPowerStatus::Store(kWwanPowerStatusKey, L"True");
    RunWorker();

    EXPECT_THAT(WorkerLines(), ElementsAre(kEntry, kFirmwareRead, kWlanWaited, kAlive, kChecking, kWwanWait,
                                           kWwanWaited, kWwanStarting, kExit));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_broadband.RadioState(), MBN_RADIO_ON);
    EXPECT_THAT(Reached(), ElementsAre(L"NLMUtils::GetAutoSwitchingStatus", L"Utils::WaitforServiceToStartRunning",
                                       L"CMainService::ListenForWlanEvents", L"CMainService::RegisterWlanNotification",
                                       L"NLMUtils::PrintNetworkConnections",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"CMainService::UpdateWlanPowerStatus", L"ServiceUtils::SwitchWlanStatus",
                                       L"Utils::WaitforServiceToStartRunning",
                                       L"ServiceUtils::EnumerateWwanInterfaces", L"CMainService::ListenForWwanEvents",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx",
                                       L"CMainService::UpdateWwanPowerStatus", L"ServiceUtils::SwitchWwanStatus",
                                       L"NLMEventHandler::CheckEthernetConnectionStatusEx"));
    EXPECT_THAT(StepCalls(),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize",
                            "WlanRegisterNotification 24 1 callback previous", "IsNetworkAlive",
                            "CoCreateInstance MbnInterfaceManager", "CoUninitialize"));
}

// The airplane watcher is queued to run once, after the network list
// manager exists and before the firmware is read; the item queued is the
// watcher on this service.
TEST_F(WorkerOnTheLaptopTest, TheAirplaneWatcherIsQueuedOnceBetweenTheManagerAndTheFirmwareRead)
{
    StartedService service;
    service.ServiceWorkerThread();

    EXPECT_THAT(m_pool.flags, ElementsAre(static_cast<ULONG>(WT_EXECUTEONLYONCE)));
    const Calls calls = StepCalls();
    ASSERT_GE(calls.size(), 5u);
    EXPECT_THAT(Calls(calls.begin(), calls.begin() + 5),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator"));
    // The firmware read comes after it in the log too.
    EXPECT_THAT(m_log.LinesOf("NLMUtils::GetAutoSwitchingStatus"), Not(IsEmpty()));

    // Once the service stops, the watcher ends before its first pass.
    service.ForTesting().running = false;
    ASSERT_EQ(m_pool.queued.size(), 1u);
    m_pool.RunQueued();
    EXPECT_THAT(m_log.LinesOf("CMainService::AirplaneModeWatcher"),
                ElementsAre(L"TraceIn|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Entry",
                            L"TraceOut|CMainService::AirplaneModeWatcher|AirplaneModeWatcher - Exit"));
}

// A standard exception inside the steps: its text, then the exit line,
// and the apartment is not left.
TEST_F(WorkerOnTheLaptopTest, AStandardExceptionIsLoggedWithItsTextThenTheExitLine)
{
    m_seam->IsNetworkAlive = &ThrowingIsNetworkAlive;
    RunWorker();

    EXPECT_THAT(WorkerLines(),
                ElementsAre(kEntry, kFirmwareRead, kWlanWaited,
                            Error(L"Exception in ServiceWorkerThread. network reachability unavailable"), kExit));
    EXPECT_THAT(StepCalls(),
                ElementsAre("CoInitializeEx 0", "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize",
                            "CoInitializeEx 0", "CoCreateInstance WbemLocator", "CoUninitialize",
                            "WlanRegisterNotification 24 1 callback previous", "IsNetworkAlive"));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
}

// The airplane watcher cannot be queued: QueueWorkItem throws its DWORD,
// which the worker does not catch. Run as the pool runs it, through the
// trampoline, the worker ends after its entry line, the trampoline logs
// the escape and nothing leaves the pool thread.
TEST_F(WorkerOnTheLaptopTest, AWatcherThatCannotBeQueuedEndsTheWorkerAtTheTrampoline)
{
    StartedService service;
    service.QueueWorkItem(&CMainService::ServiceWorkerThread, &service, WT_EXECUTEINPERSISTENTTHREAD);
    // The worker's own queueing has succeeded; the next one fails.
    m_pool.Fail(fakes::FakeThreadPool::Failure::QueueUserWorkItem, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_NO_THROW(m_pool.RunQueued());

    EXPECT_THAT(WorkerLines(), ElementsAre(kEntry));
    EXPECT_THAT(m_log.LinesOf("CMainService::WorkItemTrampoline"),
                ElementsAre(L"Error|CMainService::WorkItemTrampoline|Unhandled exception in a work item"));
    EXPECT_THAT(m_pool.flags, ElementsAre(static_cast<ULONG>(WT_EXECUTEINPERSISTENTTHREAD),
                                          static_cast<ULONG>(WT_EXECUTEONLYONCE)));
    EXPECT_THAT(StepCalls(), ElementsAre("QueueUserWorkItem 128", "CoInitializeEx 0",
                                         "CoCreateInstance NetworkListManager", "QueueUserWorkItem 8"));
    EXPECT_TRUE(m_pool.queued.empty());
    EXPECT_EQ(m_com.uninitializations, 0);
}

// COM already in another apartment on the pool thread: the whole sequence
// runs, and the worker leaves COM as it found it (no CoUninitialize of its
// own at its end; the firmware read finds the same mode and leaves it too).
TEST_F(WorkerOnTheLaptopTest, ComFoundInAnotherApartmentIsNeverUninitialisedByTheWholeSequence)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, RPC_E_CHANGED_MODE);
    RunWorker();
    ASSERT_FALSE(WorkerLines().empty());
    EXPECT_EQ(WorkerLines().back(), kExit);
    EXPECT_EQ(m_broadband.AdvisedCount(), 1u);
    EXPECT_THAT(StepCalls(), Not(Contains("CoUninitialize")));
    EXPECT_EQ(m_com.uninitializations, 0);
}

}  // namespace
