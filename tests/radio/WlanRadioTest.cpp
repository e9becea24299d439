// The Wi-Fi radio operations against the simulated adapter (FakeWlanClient),
// in virtual time, with the persisted power status and airplane mode in the
// real Wine registry. Each test starts without HKLM\SOFTWARE\QX\QX Brisa UWP
// and with airplane mode off (the prefix's SystemRadioState is put back
// afterwards), and with the time-out latch clear.
#include "radio/WlanRadio.h"

#include "fakes/ExpectedLines.h"
#include "fakes/JoinedVectors.h"
#include "fakes/MachineState.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "models/FakeWlanClient.h"
#include "platform/Api.h"
#include "service/Registry.h"
#include "state/RegistryPaths.h"
#include "state/SwitchingState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Failure = fakes::FakeWlanClient::Failure;
using fakes::FakeWlanClient;
using fakes::operator+;
using Lines = std::vector<std::wstring>;
using Calls = std::vector<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kAdapter[] = L"Simulated Wireless-AC 9560";

// Expected lines of the nested operations, for the adapter of the fixture
// (one interface, connected).
Lines AirplaneLines(bool on)
{
    return {L"TraceIn|ServiceUtils::CheckAirplaneMode|",
            std::wstring(L"TraceOut|ServiceUtils::CheckAirplaneMode|Airplane Mode Status: ") + (on ? L"1 " : L"0 ")};
}

Lines CheckHead()
{
    return {L"TraceIn|ServiceUtils::CheckWlanStatus|",
            L"Information|ServiceUtils::CheckWlanStatus|WLAN Interface Count : 1",
            L"Information|ServiceUtils::CheckWlanStatus|Current Index: 0",
            L"Information|ServiceUtils::CheckWlanStatus|Interface Description: Simulated Wireless-AC 9560",
            L"Information|ServiceUtils::CheckWlanStatus|Interface State :  ",
            L"Information|ServiceUtils::CheckWlanStatus|Connected"};
}

// A successful query whose PHYs are all on or all off.
Lines CheckLines(bool on, int phys = 2)
{
    Lines lines = CheckHead();
    for (int phy = 0; phy < phys; ++phy)
        lines.push_back(L"Information|ServiceUtils::CheckWlanStatus|Phy: " + std::to_wstring(phy)
                        + (on ? L" On" : L" Off"));
    lines.push_back(std::wstring(L"Information|ServiceUtils::CheckWlanStatus|Phy state : ") + (on ? L"1" : L"0"));
    lines.push_back(L"TraceOut|ServiceUtils::CheckWlanStatus|WLAN Status = 1");
    return lines;
}

const Lines kLatchedCheck = {L"TraceIn|ServiceUtils::CheckWlanStatus|",
                             L"Error|ServiceUtils::CheckWlanStatus|My WIFI Query timeout, my_setwifitimeout : 1"};

const Calls kCheckCalls = {"WlanOpenHandle 2",          "WlanEnumInterfaces",           "WlanQueryInterface 4",
                           "WlanFreeMemory radio-state", "WlanFreeMemory interface-list", "WlanCloseHandle"};
const Calls kSwitchOpen = {"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanGetInterfaceCapability"};
const Calls kSwitchClose = {"WlanFreeMemory capability", "WlanFreeMemory interface-list", "WlanCloseHandle"};

const fakes::FunctionLines Switch{"ServiceUtils::SwitchWlanStatus"};

Lines SwitchEntry(bool wanted, bool checkAirplane)
{
    return {L"TraceIn|ServiceUtils::SwitchWlanStatus|OnOffValue = " + std::to_wstring(wanted)
            + L", bCheckAirplaneStatus = " + std::to_wstring(checkAirplane)};
}

// The lines of one pass over two PHYs; `refused` names the PHYs that refuse.
Lines PassLines(bool wanted, int pass, const std::vector<int>& refused)
{
    Lines lines;
    for (int phy = 0; phy < 2; ++phy) {
        bool refuses = false;
        for (int index : refused)
            refuses = refuses || index == phy;
        if (refuses)
            lines.push_back(Switch(L"Error", L"Set WLAN state failed!err is 31"));
        else
            lines.push_back(Switch(L"Information", L"Set WLAN state " + std::to_wstring(wanted ? 1 : 2) + L" for PHY "
                                                       + std::to_wstring(phy) + L" success"));
    }
    if (!refused.empty())
        lines.push_back(
            Switch(L"Warning", L"Could not Set WLAN state in all PHYs. So retrying in count = " + std::to_wstring(pass)));
    return lines;
}

Calls PassCalls(bool wanted, const std::vector<int>& refused)
{
    Calls calls;
    for (int phy = 0; phy < 2; ++phy) {
        bool refuses = false;
        for (int index : refused)
            refuses = refuses || index == phy;
        calls.push_back("WlanSetInterface 4 12 PHY " + std::to_string(phy) + (wanted ? " on" : " off")
                        + (refuses ? " refused" : ""));
    }
    return calls;
}

// Everything the fixture and the tests change: the product's registry key,
// airplane mode, the process-wide bytes, and the platform seam.
class WlanRadioTest : public testing::Test {
protected:
    WlanRadioTest()
    {
        my_setwifitimeout = false;
        my_service_turnonoff_wifi = false;
        SetAirplaneMode(false);
        m_wlan.AddInterface(kAdapter, 2, FakeWlanClient::kOn, wlan_interface_state_connected);
    }
    ~WlanRadioTest() override
    {
        my_setwifitimeout = false;
        my_service_turnonoff_wifi = false;
    }

    void SetAirplaneMode(bool on) { m_airplane.Set(on); }
    static void StorePowerStatus(const wchar_t* text) { fakes::ScopedPowerStatus::Store(kWlanPowerStatusKey, text); }
    // PowerOnOff as stored; "<missing>" when there is none.
    static std::wstring StoredPowerStatus() { return fakes::ScopedPowerStatus::Stored(kWlanPowerStatusKey); }
    void ExpectNoLeaks() const
    {
        EXPECT_EQ(m_wlan.OutstandingBuffers(), 0u);
        EXPECT_EQ(m_wlan.OpenClientHandles(), 0u);
        EXPECT_EQ(m_wlan.StrayFrees(), 0u);
        EXPECT_EQ(m_wlan.StrayCloses(), 0u);
    }
    static std::vector<DWORD> Repeated(std::vector<DWORD> block, size_t times)
    {
        std::vector<DWORD> all;
        for (size_t index = 0; index < times; ++index)
            all.insert(all.end(), block.begin(), block.end());
        return all;
    }

    fakes::ScopedAirplaneMode m_airplane;
    fakes::ScopedPowerStatus m_powerStatus;
    fakes::RecordingLog m_log;
    fakes::VirtualClock m_clock;
    fakes::Journal m_journal;
    FakeWlanClient m_wlan{&m_journal};
};

// The whole successful switch of both PHYs to `wanted` from the other state.
Lines SwitchLines(bool wanted, bool checkAirplane, bool airplane = false)
{
    return SwitchEntry(wanted, checkAirplane) + AirplaneLines(airplane) + CheckLines(!wanted)
           + Lines{Switch(L"Information", L"Current WLAN Status : " + std::to_wstring(!wanted)
                                              + L", To Change Status = " + std::to_wstring(wanted)),
                   Switch(L"Verbose", wanted ? L"LanWlanSwitch set WIFI radio to dot11_radi_state_on"
                                             : L"LanWlanSwitch set WIFI radio to dot11_radio_state_off"),
                   Switch(L"Information", L"The number of supported PHY types : 2")}
           + PassLines(wanted, 0, {}) + CheckLines(wanted)
           + Lines{Switch(L"Information", L"New WIFI state : " + std::to_wstring(wanted)),
                   Switch(L"TraceOut", L"WLAN switching Status = 1")};
}

Calls SwitchCalls(bool wanted) { return kCheckCalls + kSwitchOpen + PassCalls(wanted, {}) + kCheckCalls + kSwitchClose; }

// --- Airplane mode ---------------------------------------------------------

TEST_F(WlanRadioTest, WithRetryWantedOnInAirplaneModeReturnsTrueWithoutTouchingTheRadio)
{
    m_wlan.SwitchByHand(0, false);
    SetAirplaneMode(true);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatusWithRetry(true, 5));
    EXPECT_THAT(m_journal, IsEmpty());
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 1, Retry Count = 5"}
                  + AirplaneLines(true)
                  + Lines{L"Information|ServiceUtils::SwitchWlanStatusWithRetry|SwitchWlanStatus not needed for New "
                          L"status = 1"}));
}

TEST_F(WlanRadioTest, SwitchWantedOnInAirplaneModeWithTheCheckReturnsFalseWithoutTouchingTheRadio)
{
    m_wlan.SwitchByHand(0, false);
    SetAirplaneMode(true);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(true, true));
    EXPECT_THAT(m_journal, IsEmpty());
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_log.Lines(), (SwitchEntry(true, true) + AirplaneLines(true)
                                 + Lines{Switch(L"Information", L"SwitchWlanStatus not needed for New status = 1")}));
}

TEST_F(WlanRadioTest, SwitchWantedOnInAirplaneModeWithoutTheCheckSwitches)
{
    m_wlan.SwitchByHand(0, false);
    SetAirplaneMode(true);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(true, false));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(my_service_turnonoff_wifi);
    EXPECT_EQ(m_journal, SwitchCalls(true));
    EXPECT_EQ(m_log.Lines(), SwitchLines(true, false, true));
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, SwitchWantedOffInAirplaneModeGoesAhead)
{
    SetAirplaneMode(true);
    my_service_turnonoff_wifi = true;
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, true));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_FALSE(my_service_turnonoff_wifi);
    EXPECT_EQ(m_journal, SwitchCalls(false));
    EXPECT_EQ(m_log.Lines(), SwitchLines(false, true, true));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, WithRetryWantedOffInAirplaneModeGoesAhead)
{
    SetAirplaneMode(true);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatusWithRetry(false, 5));
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_journal, SwitchCalls(false) + kCheckCalls);
    EXPECT_EQ(m_log.Lines(),
              (Lines{L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 0, Retry Count = 5"}
                  + SwitchLines(false, true, true) + CheckLines(false)
                  + Lines{L"Information|ServiceUtils::SwitchWlanStatusWithRetry|SwitchWlanStatus Success",
                          L"TraceOut|ServiceUtils::SwitchWlanStatusWithRetry|WLAN switching Status = 1"}));
    EXPECT_EQ(m_clock.Pauses(), (std::vector<DWORD>{100}));
}

// --- SwitchWlanStatus ------------------------------------------------------

TEST_F(WlanRadioTest, RadioAlreadyInTheWantedStateReturnsTrueAndSetsNothing)
{
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(true, true));
    EXPECT_EQ(m_journal, kCheckCalls);
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    EXPECT_FALSE(my_service_turnonoff_wifi);
    EXPECT_EQ(m_log.Lines(),
              (SwitchEntry(true, true) + AirplaneLines(false) + CheckLines(true)
                  + Lines{Switch(L"Information", L"Current WLAN Status : 1, To Change Status = 1"),
                          Switch(L"Information", L"No change in WLAN Status Needed.")}));
    ExpectNoLeaks();
}

// Every WlanSetInterface request as the adapter receives it, byte for byte,
// then handed on to the simulated adapter. Installed after the adapter.
class SetRequests {
public:
    struct Request {
        WLAN_INTF_OPCODE opcode;
        DWORD size;
        DWORD phy;
        DWORD software;
        DWORD hardware;
        bool operator==(const Request& other) const
        {
            return opcode == other.opcode && size == other.size && phy == other.phy && software == other.software
                && hardware == other.hardware;
        }
    };

    SetRequests() : m_next(os::api().WlanSetInterface)
    {
        s_current = this;
        m_seam->WlanSetInterface = &SetRequests::Record;
    }
    ~SetRequests() { s_current = nullptr; }
    SetRequests(const SetRequests&) = delete;
    SetRequests& operator=(const SetRequests&) = delete;

    std::vector<Request> requests;

private:
    static DWORD WINAPI Record(HANDLE client, const GUID* guid, WLAN_INTF_OPCODE opcode, DWORD size, const PVOID data,
                               PVOID reserved)
    {
        Request request{opcode, size, 0, 0, 0};
        if (data != nullptr && size == sizeof(WLAN_PHY_RADIO_STATE)) {
            WLAN_PHY_RADIO_STATE state;
            std::memcpy(&state, data, sizeof(state));
            request.phy = state.dwPhyIndex;
            request.software = state.dot11SoftwareRadioState;
            request.hardware = state.dot11HardwareRadioState;
        }
        s_current->requests.push_back(request);
        return s_current->m_next(client, guid, opcode, size, data, reserved);
    }

    static SetRequests* s_current;
    decltype(&::WlanSetInterface) m_next;
    os::ScopedApiOverride m_seam;
};
SetRequests* SetRequests::s_current = nullptr;

void PrintTo(const SetRequests::Request& request, std::ostream* out)
{
    *out << "{opcode " << request.opcode << ", size " << request.size << ", PHY " << request.phy << ", software "
         << request.software << ", hardware " << request.hardware << "}";
}

TEST_F(WlanRadioTest, EachSetAsksForTheSoftwareStateOfOnePhyAndLeavesItsHardwareStateUnknown)
{
    // dot11_radio_state_unknown (0) for the hardware: the switch's to say.
    SetRequests sets;
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, true));
    const DWORD size = sizeof(WLAN_PHY_RADIO_STATE);
    EXPECT_THAT(sets.requests,
                ElementsAre(SetRequests::Request{wlan_intf_opcode_radio_state, size, 0, dot11_radio_state_off,
                                                 dot11_radio_state_unknown},
                            SetRequests::Request{wlan_intf_opcode_radio_state, size, 1, dot11_radio_state_off,
                                                 dot11_radio_state_unknown}));
    sets.requests.clear();
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(true, true));
    EXPECT_THAT(sets.requests,
                ElementsAre(SetRequests::Request{wlan_intf_opcode_radio_state, size, 0, dot11_radio_state_on,
                                                 dot11_radio_state_unknown},
                            SetRequests::Request{wlan_intf_opcode_radio_state, size, 1, dot11_radio_state_on,
                                                 dot11_radio_state_unknown}));
    EXPECT_TRUE(m_wlan.RadioOn());
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, OnePhyRefusingEveryPassTakes81PassesSetsTheLatchAndFails)
{
    m_wlan.RefuseSets(0, 1, FakeWlanClient::kForEver, ERROR_GEN_FAILURE);
    my_service_turnonoff_wifi = true;
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, true));
    EXPECT_TRUE(my_setwifitimeout);
    EXPECT_TRUE(my_service_turnonoff_wifi);  // only a success stores it
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(81, 100));

    Lines expected = SwitchEntry(false, true) + AirplaneLines(false) + CheckLines(true)
                     + Lines{Switch(L"Information", L"Current WLAN Status : 1, To Change Status = 0"),
                             Switch(L"Verbose", L"LanWlanSwitch set WIFI radio to dot11_radio_state_off"),
                             Switch(L"Information", L"The number of supported PHY types : 2")};
    Calls calls = kCheckCalls + kSwitchOpen;
    for (int pass = 0; pass <= 80; ++pass) {
        expected = expected + PassLines(false, pass, {1});
        calls = calls + PassCalls(false, {1});
    }
    expected = expected
               + Lines{Switch(L"Error", L"WlanSetInterface failed"), Switch(L"TraceOut", L"WLAN switching Status = 0")};
    EXPECT_EQ(m_log.Lines(), expected);
    EXPECT_EQ(m_journal, calls + kSwitchClose);
    EXPECT_EQ(m_wlan.PhyState(0, 0), FakeWlanClient::kOff);  // the mixed state stays
    EXPECT_EQ(m_wlan.PhyState(0, 1), FakeWlanClient::kOn);
    ExpectNoLeaks();

    // From now on every query fails at once, without the adapter.
    m_log.Clear();
    m_journal.clear();
    for (int call = 0; call < 3; ++call) {
        bool on = true;
        EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    }
    EXPECT_EQ(m_log.Lines(), kLatchedCheck + kLatchedCheck + kLatchedCheck);
    EXPECT_THAT(m_journal, IsEmpty());
}

TEST_F(WlanRadioTest, AfterTheLatchCheckWlanStatusFailsWithoutTouchingTheAdapterAndLeavesItsOutValue)
{
    my_setwifitimeout = true;
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);
    on = false;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_FALSE(on);
    EXPECT_THAT(m_journal, IsEmpty());
    EXPECT_EQ(m_log.Lines(), kLatchedCheck + kLatchedCheck);
}

TEST_F(WlanRadioTest, AfterTheLatchSwitchWlanStatusGivesUpAtItsCheck)
{
    my_setwifitimeout = true;
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, true));
    EXPECT_THAT(m_journal, IsEmpty());
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_TRUE(my_setwifitimeout);
    EXPECT_EQ(m_log.Lines(), (SwitchEntry(false, true) + AirplaneLines(false) + kLatchedCheck
                                 + Lines{Switch(L"Warning", L"CheckWlanStatus Failed, no switching")}));
}

TEST_F(WlanRadioTest, SuccessInPass80ReturnsTrueAndSetsTheLatchAllTheSame)
{
    m_wlan.RefuseSets(0, 1, 80, ERROR_GEN_FAILURE);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, true));
    EXPECT_TRUE(my_setwifitimeout);
    EXPECT_FALSE(my_service_turnonoff_wifi);
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(80, 100));

    Lines expected = SwitchEntry(false, true) + AirplaneLines(false) + CheckLines(true)
                     + Lines{Switch(L"Information", L"Current WLAN Status : 1, To Change Status = 0"),
                             Switch(L"Verbose", L"LanWlanSwitch set WIFI radio to dot11_radio_state_off"),
                             Switch(L"Information", L"The number of supported PHY types : 2")};
    Calls calls = kCheckCalls + kSwitchOpen;
    for (int pass = 0; pass < 80; ++pass) {
        expected = expected + PassLines(false, pass, {1});
        calls = calls + PassCalls(false, {1});
    }
    // The new state is asked for under the latch just set, so that query
    // fails and the line carries the initial 0.
    expected = expected + PassLines(false, 80, {})
               + Lines{Switch(L"Error", L"WlanSetInterface failed")} + kLatchedCheck
               + Lines{Switch(L"Information", L"New WIFI state : 0"),
                       Switch(L"TraceOut", L"WLAN switching Status = 1")};
    EXPECT_EQ(m_log.Lines(), expected);
    EXPECT_EQ(m_journal, (calls + PassCalls(false, {}) + kSwitchClose));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, SuccessInPass79ClearsTheLatch)
{
    my_setwifitimeout = false;
    m_wlan.RefuseSets(0, 0, 79, ERROR_GEN_FAILURE);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, true));
    EXPECT_FALSE(my_setwifitimeout);
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(79, 100));
    const Lines lines = m_log.Lines();
    EXPECT_THAT(lines, testing::Not(testing::Contains(Switch(L"Error", L"WlanSetInterface failed"))));
    EXPECT_THAT(lines, testing::Contains(Switch(L"Information", L"New WIFI state : 0")));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ASetFailingEverywhereLogsTheCodeOfTheCall)
{
    m_wlan.Fail(Failure::SetInterface, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_EQ(m_clock.Pauses(), std::vector<DWORD>(81, 100));
    const Lines lines = m_log.Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Switch(L"Error", L"Set WLAN state failed!err is 5")), 162);
    EXPECT_TRUE(my_setwifitimeout);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ACapabilityFailureEndsWithFalseThroughTheExitRecord)
{
    m_wlan.Fail(Failure::GetInterfaceCapability, ERROR_INVALID_STATE);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_EQ(m_journal, (kCheckCalls + kSwitchOpen + Calls{"WlanFreeMemory interface-list", "WlanCloseHandle"}));
    EXPECT_EQ(m_log.Lines(),
              (SwitchEntry(false, false) + AirplaneLines(false) + CheckLines(true)
                  + Lines{Switch(L"Information", L"Current WLAN Status : 1, To Change Status = 0"),
                          Switch(L"Verbose", L"LanWlanSwitch set WIFI radio to dot11_radio_state_off"),
                          Switch(L"Error", L"WlanGetInterfaceCapability failed !err is 5023"),
                          Switch(L"TraceOut", L"WLAN switching Status = 0")}));
    EXPECT_FALSE(my_setwifitimeout);
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ACapabilityWithoutDataEndsWithFalse)
{
    m_wlan.Fail(Failure::CapabilityNoData, 0);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_THAT(m_log.Lines(), testing::Contains(Switch(L"Error", L"WlanGetInterfaceCapability failed !err is 0")));
    EXPECT_EQ(m_log.Lines().back(), Switch(L"TraceOut", L"WLAN switching Status = 0"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, TheSwitchOwnOpenFailingReturnsFalse)
{
    m_wlan.Fail(Failure::OpenHandle, ERROR_SERVICE_NOT_ACTIVE, 0, 1);  // the check's open succeeds
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_EQ(m_journal, (kCheckCalls + Calls{"WlanOpenHandle 2"}));
    EXPECT_EQ(m_log.Lines().back(), Switch(L"Error", L"WlanOpenHandle failed with error: 1062"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, TheSwitchOwnEnumerationFailingClosesAndReturnsFalse)
{
    m_wlan.Fail(Failure::EnumInterfaces, ERROR_NOT_ENOUGH_MEMORY, 0, 1);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_EQ(m_journal, (kCheckCalls + Calls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanCloseHandle"}));
    EXPECT_EQ(m_log.Lines().back(), Switch(L"Error", L"WlanEnumInterfaces failed with error: 8"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ASwitchThatThrowsLogsItsTextClosesEverythingAndReleasesTheMutex)
{
    m_wlan.Throw(Failure::SetInterface);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_EQ(m_log.Lines().back(), Switch(L"Error", L"Exception in SwitchWlanStatus()"));
    ExpectNoLeaks();
    ASSERT_TRUE(ServiceUtils::WlanSwitchMutexForTesting().try_lock());
    ServiceUtils::WlanSwitchMutexForTesting().unlock();
}

// --- CheckWlanStatus -------------------------------------------------------

TEST_F(WlanRadioTest, CheckReportsARadioWithEveryPhyOn)
{
    bool on = false;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);
    EXPECT_EQ(m_log.Lines(), CheckLines(true));
    EXPECT_EQ(m_journal, kCheckCalls);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, APhyReportingUnknownCountsAsOff)
{
    m_wlan.SetPhyState(0, 1, FakeWlanClient::kUnknown);
    bool on = true;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_FALSE(on);
    EXPECT_EQ(m_log.Lines(), (CheckHead()
                                 + Lines{L"Information|ServiceUtils::CheckWlanStatus|Phy: 0 On",
                                         L"Information|ServiceUtils::CheckWlanStatus|Phy: 1 Unknown",
                                         L"Information|ServiceUtils::CheckWlanStatus|Phy state : 0",
                                         L"TraceOut|ServiceUtils::CheckWlanStatus|WLAN Status = 1"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, APhyStateOutsideTheEnumerationCountsAsOff)
{
    m_wlan.SetPhyState(0, 0, 7);
    bool on = true;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_FALSE(on);
    EXPECT_EQ(m_log.Lines(), (CheckHead()
                                 + Lines{L"Information|ServiceUtils::CheckWlanStatus|Phy: 0 Other Unknown state 7",
                                         L"Information|ServiceUtils::CheckWlanStatus|Phy: 1 On",
                                         L"Information|ServiceUtils::CheckWlanStatus|Phy state : 0",
                                         L"TraceOut|ServiceUtils::CheckWlanStatus|WLAN Status = 1"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, APhyCountOfZeroCountsAsOn)
{
    m_wlan.SetReportedPhys(0, 0);
    bool on = false;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);
    EXPECT_EQ(m_log.Lines(), CheckLines(true, 0));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ACapabilityOfZeroPhysSetsNothingAndSucceedsInTheFirstPass)
{
    m_wlan.SetReportedPhys(0, 0);  // the query reports no PHY either: the radio reads as on
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_THAT(m_log.Lines(), testing::Contains(Switch(L"Information", L"The number of supported PHY types : 0")));
    EXPECT_THAT(m_log.Lines(), testing::Contains(Switch(L"Information", L"New WIFI state : 1")));
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, APhyCountBeyondTheArrayReadsOnlyTheEntriesThatExist)
{
    m_wlan.SetReportedPhys(0, 1000);
    bool on = false;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_FALSE(on);  // entries past the two modelled PHYs read as unknown
    const Lines lines = m_log.Lines();
    EXPECT_EQ(fakes::Matching(lines, L"|Phy: ").size(), 64u);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AnInterfaceListWithNoEntryIsEmpty)
{
    m_wlan.ReportEmptyList(true);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);
    EXPECT_EQ(m_journal, (Calls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanFreeMemory interface-list",
                                "WlanCloseHandle"}));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckWlanStatus|",
                                           L"Warning|ServiceUtils::CheckWlanStatus|Interface list is empty"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, ANullInterfaceListIsEmpty)
{
    m_wlan.Fail(Failure::NullInterfaceList, 0);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_EQ(m_journal, (Calls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanCloseHandle"}));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckWlanStatus|",
                                           L"Warning|ServiceUtils::CheckWlanStatus|Interface list is empty"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AnEmptyListStopsTheSwitchToo)
{
    m_wlan.SwitchByHand(0, false);
    m_wlan.Fail(Failure::NullInterfaceList, 0, 0, 1);  // the check's list is there, the switch's is not
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatus(true, false));
    EXPECT_EQ(m_log.Lines().back(), Switch(L"Warning", L"Interface list is empty"));
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AFailedOpenIsLogged)
{
    m_wlan.Fail(Failure::OpenHandle, ERROR_SERVICE_NOT_ACTIVE);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_EQ(m_journal, (Calls{"WlanOpenHandle 2"}));
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::CheckWlanStatus|",
                                           L"Error|ServiceUtils::CheckWlanStatus|WlanOpenHandle failed with error: 1062"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AFailedEnumerationClosesTheHandle)
{
    m_wlan.Fail(Failure::EnumInterfaces, ERROR_NOT_ENOUGH_MEMORY);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_EQ(m_journal, (Calls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanCloseHandle"}));
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|ServiceUtils::CheckWlanStatus|",
                            L"Error|ServiceUtils::CheckWlanStatus|WlanEnumInterfaces failed with error: 8"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AFailedQueryFreesTheListAndClosesTheHandle)
{
    m_wlan.Fail(Failure::QueryInterface, ERROR_INVALID_STATE);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);
    EXPECT_EQ(m_journal, (Calls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanQueryInterface 4",
                                "WlanFreeMemory interface-list", "WlanCloseHandle"}));
    EXPECT_EQ(m_log.Lines(),
              (CheckHead() + Lines{L"Error|ServiceUtils::CheckWlanStatus|WlanQueryInterface failed! err is 5023"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AQueryWithoutDataFails)
{
    m_wlan.Fail(Failure::QueryNoData, 0);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_EQ(m_log.Lines().back(), L"Error|ServiceUtils::CheckWlanStatus|WlanQueryInterface failed! err is 0");
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, AThrowingQueryLogsItsTextAndLeaksNothing)
{
    m_wlan.Throw(Failure::QueryInterface);
    bool on = true;
    EXPECT_FALSE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_EQ(m_log.Lines().back(), L"Error|ServiceUtils::CheckWlanStatus|Exception in CheckWlanStatus()");
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, OnlyTheFirstInterfaceIsQueriedAndSwitched)
{
    m_wlan.AddInterface(L"Second adapter", 1, FakeWlanClient::kOff);
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatus(false, false));
    EXPECT_FALSE(m_wlan.RadioOn(0));
    EXPECT_FALSE(m_wlan.RadioOn(1));
    m_log.Clear();
    bool on = false;
    m_wlan.SwitchByHand(0, true);
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    EXPECT_TRUE(on);  // the second adapter's off PHY does not count
    EXPECT_EQ(m_log.Lines()[1], L"Information|ServiceUtils::CheckWlanStatus|WLAN Interface Count : 2");
    ExpectNoLeaks();
}

struct InterfaceStateCase {
    int state;
    const wchar_t* line;
};

class WlanInterfaceStateTest : public WlanRadioTest, public testing::WithParamInterface<InterfaceStateCase> {};

TEST_P(WlanInterfaceStateTest, TheFirstInterfaceStateIsNamed)
{
    m_wlan.SetInterfaceState(0, static_cast<WLAN_INTERFACE_STATE>(GetParam().state));
    bool on = false;
    EXPECT_TRUE(ServiceUtils::CheckWlanStatus(on));
    const Lines lines = m_log.Lines();
    ASSERT_GE(lines.size(), 6u);
    EXPECT_EQ(lines[4], L"Information|ServiceUtils::CheckWlanStatus|Interface State :  ");
    EXPECT_EQ(lines[5], std::wstring(L"Information|ServiceUtils::CheckWlanStatus|") + GetParam().line);
    ExpectNoLeaks();
}

INSTANTIATE_TEST_SUITE_P(
    WlanStates, WlanInterfaceStateTest,
    testing::Values(InterfaceStateCase{0, L"Not ready"}, InterfaceStateCase{1, L"Connected"},
                    InterfaceStateCase{2, L"First node in a ad hoc network"}, InterfaceStateCase{3, L"Disconnecting"},
                    InterfaceStateCase{4, L"Not connected"},
                    InterfaceStateCase{5, L"Attempting to associate with a network"},
                    InterfaceStateCase{6, L"Auto configuration is discovering settings for the network"},
                    InterfaceStateCase{7, L"In process of authenticating"}, InterfaceStateCase{9, L"Unknown state 9"}));

TEST(WlanPhyWalkTest, AHandBuiltRadioStateIsWalkedPhyByPhy)
{
    fakes::RecordingLog log;
    WLAN_RADIO_STATE state = {};
    state.dwNumberOfPhys = 3;
    state.PhyRadioState[0].dot11SoftwareRadioState = dot11_radio_state_on;
    state.PhyRadioState[1].dot11SoftwareRadioState = dot11_radio_state_off;
    state.PhyRadioState[2].dot11SoftwareRadioState = static_cast<DOT11_RADIO_STATE>(-1);
    EXPECT_FALSE(ServiceUtils::PhysAreOn(state, QX::Shared::FunctionLog("Test::Walk")));
    EXPECT_THAT(log.Lines(), ElementsAre(L"Information|Test::Walk|Phy: 0 On", L"Information|Test::Walk|Phy: 1 Off",
                                         L"Information|Test::Walk|Phy: 2 Other Unknown state -1"));
    state.dwNumberOfPhys = 1;
    EXPECT_TRUE(ServiceUtils::PhysAreOn(state, QX::Shared::FunctionLog("Test::Walk")));
    state.dwNumberOfPhys = 0;
    EXPECT_TRUE(ServiceUtils::PhysAreOn(state, QX::Shared::FunctionLog("Test::Walk")));
}

// --- SwitchWlanStatusWithRetry ---------------------------------------------

TEST_F(WlanRadioTest, WithRetryCountFiveMakesSixAttemptsPausing100Then400)
{
    m_wlan.Fail(Failure::QueryInterface, ERROR_INVALID_STATE);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatusWithRetry(false, 5));
    EXPECT_EQ(m_clock.Pauses(), (Repeated({100, 400}, 6)));
    EXPECT_EQ(m_wlan.SetCalls(), 0u);

    const Lines failedCheck = CheckHead()
                              + Lines{L"Error|ServiceUtils::CheckWlanStatus|WlanQueryInterface failed! err is 5023"};
    Lines expected{L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 0, Retry Count = 5"};
    Calls calls;
    const Calls failedCheckCalls{"WlanOpenHandle 2", "WlanEnumInterfaces", "WlanQueryInterface 4",
                                 "WlanFreeMemory interface-list", "WlanCloseHandle"};
    for (int attempt = 0; attempt < 6; ++attempt) {
        expected = expected + SwitchEntry(false, true) + AirplaneLines(false) + failedCheck
                   + Lines{Switch(L"Warning", L"CheckWlanStatus Failed, no switching")} + failedCheck
                   + Lines{L"Warning|ServiceUtils::SwitchWlanStatusWithRetry|SwitchWlanStatus not Succeeded. Retrying "
                           L"to "
                           + std::to_wstring(attempt)};
        calls = calls + failedCheckCalls + failedCheckCalls;
    }
    expected.push_back(L"TraceOut|ServiceUtils::SwitchWlanStatusWithRetry|WLAN switching Status = 0");
    EXPECT_EQ(m_log.Lines(), expected);
    EXPECT_EQ(m_journal, calls);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, WithRetryCountZeroMakesOneAttempt)
{
    m_wlan.Fail(Failure::QueryInterface, ERROR_INVALID_STATE);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatusWithRetry(true, 0));
    EXPECT_EQ(m_clock.Pauses(), (std::vector<DWORD>{100, 400}));
}

TEST_F(WlanRadioTest, WithRetryAgainstAPhyThatNeverTakesTheSetRunsIntoTheLatch)
{
    m_wlan.SwitchByHand(0, false);
    m_wlan.RefuseSets(0, 0, FakeWlanClient::kForEver);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatusWithRetry(true, 5));
    // The first attempt spends its 81 passes and sets the latch; every later
    // one stops at its check.
    EXPECT_EQ(m_clock.Pauses(), (std::vector<DWORD>(81, 100) + Repeated({100, 400}, 6)));
    EXPECT_TRUE(my_setwifitimeout);
    EXPECT_EQ(m_wlan.SetCalls(), 162u);
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, WithRetrySucceedsOnTheSecondAttempt)
{
    m_wlan.SwitchByHand(0, false);
    m_wlan.Fail(Failure::GetInterfaceCapability, ERROR_INVALID_STATE, 0, 0, 1);  // once, then it heals
    EXPECT_TRUE(ServiceUtils::SwitchWlanStatusWithRetry(true, 5));
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_clock.Pauses(), (std::vector<DWORD>{100, 400, 100}));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::SwitchWlanStatusWithRetry"),
              (Lines{L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 1, Retry Count = 5",
                     L"Warning|ServiceUtils::SwitchWlanStatusWithRetry|SwitchWlanStatus not Succeeded. Retrying to 0",
                     L"Information|ServiceUtils::SwitchWlanStatusWithRetry|SwitchWlanStatus Success",
                     L"TraceOut|ServiceUtils::SwitchWlanStatusWithRetry|WLAN switching Status = 1"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, WithRetryWhosePauseThrowsLogsItsText)
{
    os::ScopedApiOverride seam;
    seam->Sleep = [](DWORD) { throw std::runtime_error("pause"); };
    m_wlan.SwitchByHand(0, false);
    EXPECT_FALSE(ServiceUtils::SwitchWlanStatusWithRetry(true, 5));
    EXPECT_EQ(m_log.Lines().back(),
              L"Error|ServiceUtils::SwitchWlanStatusWithRetry|Exception in SwitchWlanStatusWithRetry()");
    ExpectNoLeaks();
}

// --- StopWLANService -------------------------------------------------------

TEST_F(WlanRadioTest, StopWithWifiOnSwitchesItOffAndRecordsTrue)
{
    ServiceUtils::StopWLANService();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(StoredPowerStatus(), L"True");
    EXPECT_EQ(m_journal, kCheckCalls + SwitchCalls(false));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::StopWLANService"),
              (Lines{L"TraceIn|ServiceUtils::StopWLANService|",
                     L"Information|ServiceUtils::StopWLANService|WLAN Current Status = 1",
                     L"Information|ServiceUtils::StopWLANService|Setting WlanPowerStatus in registry.",
                     L"TraceOut|ServiceUtils::StopWLANService|"}));
    EXPECT_THAT(m_log.Lines(),
                testing::Contains(
                    L"Information|ServiceUtils::SetWlanPowerStatusInRegistry|SetWlanPowerStatusInRegistry. Value = True"));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, StopWithWifiAlreadyOffSwitchesNothingAndWritesNothing)
{
    m_wlan.SwitchByHand(0, false);
    ServiceUtils::StopWLANService();
    EXPECT_EQ(StoredPowerStatus(), L"<missing>");
    EXPECT_EQ(m_journal, kCheckCalls);
    EXPECT_EQ(m_log.Lines(), (Lines{L"TraceIn|ServiceUtils::StopWLANService|"} + CheckLines(false)
                                 + Lines{L"Information|ServiceUtils::StopWLANService|WLAN Current Status = 0",
                                         L"TraceOut|ServiceUtils::StopWLANService|"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, StopWithWifiAlreadyOffKeepsTheStoredFalse)
{
    StorePowerStatus(L"False");
    m_wlan.SwitchByHand(0, false);
    ServiceUtils::StopWLANService();
    EXPECT_EQ(StoredPowerStatus(), L"False");
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
}

TEST_F(WlanRadioTest, StopWithAFailedQuerySwitchesNothingAndWritesNothing)
{
    StorePowerStatus(L"False");
    m_wlan.Fail(Failure::QueryInterface, ERROR_INVALID_STATE);
    ServiceUtils::StopWLANService();
    EXPECT_EQ(StoredPowerStatus(), L"False");
    EXPECT_EQ(m_wlan.SetCalls(), 0u);
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::StopWLANService"),
              (Lines{L"TraceIn|ServiceUtils::StopWLANService|",
                     L"Information|ServiceUtils::StopWLANService|WLAN Current Status = 0",
                     L"TraceOut|ServiceUtils::StopWLANService|"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, StopWithAFailedSwitchLogsTheRetryingTextAndWritesNothing)
{
    StorePowerStatus(L"False");
    m_wlan.Fail(Failure::GetInterfaceCapability, ERROR_INVALID_STATE);
    ServiceUtils::StopWLANService();
    EXPECT_EQ(StoredPowerStatus(), L"False");
    EXPECT_TRUE(m_wlan.RadioOn());
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::StopWLANService"),
              (Lines{L"TraceIn|ServiceUtils::StopWLANService|",
                     L"Information|ServiceUtils::StopWLANService|WLAN Current Status = 1",
                     L"Error|ServiceUtils::StopWLANService|SwitchWlanStatusWithRetry (StopWLANService) failed",
                     L"TraceOut|ServiceUtils::StopWLANService|"}));
    ExpectNoLeaks();
}

TEST_F(WlanRadioTest, StopIgnoresAirplaneMode)
{
    SetAirplaneMode(true);
    ServiceUtils::StopWLANService();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(StoredPowerStatus(), L"True");
}

// --- StartWLANService ------------------------------------------------------

class WlanStartTest : public WlanRadioTest {
protected:
    // A stored text that is not exactly "True": the radio stays as it is.
    void ExpectNoSwitchFor(const wchar_t* text)
    {
        StorePowerStatus(text);
        m_wlan.SwitchByHand(0, false);
        ServiceUtils::StartWLANService();
        EXPECT_FALSE(m_wlan.RadioOn());
        EXPECT_THAT(m_journal, IsEmpty());
        EXPECT_EQ(StoredPowerStatus(), text);
        EXPECT_EQ(m_log.Lines(),
                  (Lines{L"TraceIn|ServiceUtils::StartWLANService|",
                         std::wstring(L"Information|ServiceUtils::StartWLANService|WLAN Registry Status = ") + text,
                         std::wstring(L"Information|ServiceUtils::StartWLANService|WlanPowerStatus value read from "
                                      L"registry = ")
                             + text,
                         L"TraceOut|ServiceUtils::StartWLANService|"}));
    }
    // No text, or an empty one: taken as "True", so the radio comes on.
    void ExpectSwitchOn()
    {
        m_wlan.SwitchByHand(0, false);
        const std::wstring before = StoredPowerStatus();
        ServiceUtils::StartWLANService();
        EXPECT_TRUE(m_wlan.RadioOn());
        EXPECT_TRUE(my_service_turnonoff_wifi);
        EXPECT_EQ(StoredPowerStatus(), before);
        EXPECT_EQ(m_journal, SwitchCalls(true) + kCheckCalls);
        EXPECT_EQ(m_clock.Pauses(), (std::vector<DWORD>{100}));
        EXPECT_EQ(m_log.LinesOf("ServiceUtils::StartWLANService"),
                  (Lines{L"TraceIn|ServiceUtils::StartWLANService|",
                         L"Information|ServiceUtils::StartWLANService|WLAN Registry Status = True",
                         L"Information|ServiceUtils::StartWLANService|Switching ON Wifi",
                         L"TraceOut|ServiceUtils::StartWLANService|"}));
        EXPECT_THAT(m_log.Lines(),
                    testing::Contains(L"TraceIn|ServiceUtils::SwitchWlanStatusWithRetry|NewStatus = 1, Retry Count = 5"));
        ExpectNoLeaks();
    }
};

TEST_F(WlanStartTest, FalseLeavesTheRadioOff) { ExpectNoSwitchFor(L"False"); }
TEST_F(WlanStartTest, LowerCaseTrueLeavesTheRadioOff) { ExpectNoSwitchFor(L"true"); }
TEST_F(WlanStartTest, AnyOtherTextLeavesTheRadioOff) { ExpectNoSwitchFor(L"Truee"); }

TEST_F(WlanStartTest, NoValueAtAllSwitchesOn)
{
    ASSERT_EQ(StoredPowerStatus(), L"<missing>");
    ExpectSwitchOn();
}

TEST_F(WlanStartTest, AnEmptyValueSwitchesOn)
{
    StorePowerStatus(L"");
    ExpectSwitchOn();
}

TEST_F(WlanStartTest, TrueSwitchesOnAndKeepsTheValue)
{
    StorePowerStatus(L"True");
    ExpectSwitchOn();
}

TEST_F(WlanStartTest, ARadioThatNeverComesOnLogsTheFailureAfterSixAttempts)
{
    m_wlan.SwitchByHand(0, false);
    m_wlan.Fail(Failure::GetInterfaceCapability, ERROR_INVALID_STATE);
    ServiceUtils::StartWLANService();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_EQ(m_clock.Pauses(), (Repeated({100, 400}, 6)));
    EXPECT_EQ(m_log.LinesOf("ServiceUtils::StartWLANService"),
              (Lines{L"TraceIn|ServiceUtils::StartWLANService|",
                     L"Information|ServiceUtils::StartWLANService|WLAN Registry Status = True",
                     L"Information|ServiceUtils::StartWLANService|Switching ON Wifi",
                     L"Error|ServiceUtils::StartWLANService|SwitchWlanStatusWithRetry (StartWLANService) failed",
                     L"TraceOut|ServiceUtils::StartWLANService|"}));
    EXPECT_EQ(StoredPowerStatus(), L"<missing>");
    ExpectNoLeaks();
}

TEST_F(WlanStartTest, InAirplaneModeTheRadioStaysOffAndNothingIsLoggedAsFailed)
{
    SetAirplaneMode(true);
    m_wlan.SwitchByHand(0, false);
    ServiceUtils::StartWLANService();
    EXPECT_FALSE(m_wlan.RadioOn());
    EXPECT_THAT(m_journal, IsEmpty());
    EXPECT_THAT(m_log.LinesOf("ServiceUtils::StartWLANService"),
                testing::Not(testing::Contains(
                    L"Error|ServiceUtils::StartWLANService|SwitchWlanStatusWithRetry (StartWLANService) failed")));
}

TEST_F(WlanStartTest, AThrowingRegistryReadLogsItsText)
{
    os::ScopedApiOverride seam;
    seam->RegOpenKeyExW = [](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS { throw std::runtime_error("registry"); };
    ServiceUtils::StartWLANService();
    EXPECT_THAT(m_log.Lines(), ElementsAre(L"TraceIn|ServiceUtils::StartWLANService|",
                                           L"Error|ServiceUtils::StartWLANService|Exception in StartWLANService()"));
    EXPECT_THAT(m_journal, IsEmpty());
}

// --- Leaks on every path ---------------------------------------------------

struct LeakCase {
    Failure point;
    bool throws;
};

class WlanLeakTest : public WlanRadioTest, public testing::WithParamInterface<LeakCase> {};

TEST_P(WlanLeakTest, EveryBufferIsFreedAndEveryHandleClosed)
{
    const bool wantedValues[] = {false, true};
    for (int passes = 0; passes < 3; ++passes) {
        for (const bool wanted : wantedValues) {
            if (GetParam().throws)
                m_wlan.Throw(GetParam().point);
            else
                m_wlan.Fail(GetParam().point, ERROR_INVALID_STATE, 0, passes);
            bool on = false;
            ServiceUtils::CheckWlanStatus(on);
            if (GetParam().throws)
                m_wlan.Throw(GetParam().point);
            else
                m_wlan.Fail(GetParam().point, ERROR_INVALID_STATE, 0, passes);
            ServiceUtils::SwitchWlanStatus(wanted, false);
            my_setwifitimeout = false;
            ExpectNoLeaks();
        }
    }
    m_wlan.Heal();
    m_wlan.RefuseSets(0, 1, 3);
    ServiceUtils::StopWLANService();
    ServiceUtils::StartWLANService();
    ExpectNoLeaks();
}

INSTANTIATE_TEST_SUITE_P(
    WlanPoints, WlanLeakTest,
    testing::Values(LeakCase{Failure::None, false}, LeakCase{Failure::OpenHandle, false},
                    LeakCase{Failure::EnumInterfaces, false},
                    LeakCase{Failure::NullInterfaceList, false}, LeakCase{Failure::QueryInterface, false},
                    LeakCase{Failure::QueryNoData, false}, LeakCase{Failure::GetInterfaceCapability, false},
                    LeakCase{Failure::CapabilityNoData, false}, LeakCase{Failure::SetInterface, false},
                    LeakCase{Failure::EnumInterfaces, true}, LeakCase{Failure::QueryInterface, true},
                    LeakCase{Failure::GetInterfaceCapability, true}, LeakCase{Failure::SetInterface, true}));

// --- Concurrency -----------------------------------------------------------

TEST_F(WlanRadioTest, FourThreadsSwitchingNeverSetBetweenAnotherThreadsCheckAndItsSets)
{
    constexpr int kThreads = 4;
    constexpr int kCalls = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int call = 0; call < kCalls; ++call) {
                const bool wanted = (call + thread) % 2 == 0;
                ServiceUtils::SwitchWlanStatus(wanted, false);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::vector<FakeWlanClient::Call> calls = m_wlan.Calls();
    // Per thread, the position of its latest state check; every set must
    // follow its own thread's check with no other thread's set in between.
    std::map<DWORD, size_t> lastCheck;
    size_t sets = 0;
    for (size_t index = 0; index < calls.size(); ++index) {
        const FakeWlanClient::Call& call = calls[index];
        if (call.text == "WlanQueryInterface 4") {
            lastCheck[call.threadId] = index;
        } else if (call.text.rfind("WlanSetInterface", 0) == 0) {
            ++sets;
            ASSERT_EQ(lastCheck.count(call.threadId), 1u) << "a set without a check at " << index;
            for (size_t between = lastCheck[call.threadId] + 1; between < index; ++between) {
                if (calls[between].text.rfind("WlanSetInterface", 0) == 0) {
                    ASSERT_EQ(calls[between].threadId, call.threadId)
                        << "another thread set between the check and the set at " << index;
                }
            }
        }
    }
    EXPECT_GT(sets, 0u);
    EXPECT_EQ(sets % 2, 0u);  // both PHYs each time
    EXPECT_EQ(lastCheck.size(), static_cast<size_t>(kThreads));
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    EXPECT_FALSE(my_setwifitimeout);
    EXPECT_EQ(m_wlan.PhyState(0, 0), m_wlan.PhyState(0, 1));
    ExpectNoLeaks();
    const Lines lines = m_log.Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), Switch(L"TraceIn", L"OnOffValue = 1, bCheckAirplaneStatus = 0"))
                  + std::count(lines.begin(), lines.end(),
                               Switch(L"TraceIn", L"OnOffValue = 0, bCheckAirplaneStatus = 0")),
              kThreads * kCalls);
}

}  // namespace
