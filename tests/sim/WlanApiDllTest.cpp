// The simulation's wlanapi.dll as Tessarine.exe meets it: loaded by path,
// its eight exports called as the platform's, with the simulation state in
// the registry.
#include "StateGuard.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <wlanapi.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace simtests {
namespace {

using sim::Radio;

constexpr DWORD kMsmRadioStateChange = 7;  // wlan_notification_msm_radio_state_change
// The sources the service registers for.
constexpr DWORD kSources = WLAN_NOTIFICATION_SOURCE_ACM | WLAN_NOTIFICATION_SOURCE_MSM;

// The built DLL as a Windows path: Wine maps Z:\ to the Linux root.
std::wstring DllPath()
{
    std::wstring path = L"Z:";
    for (const char* c = SIM_WLANAPI_PATH; *c; ++c)
        path.push_back(*c == '/' ? L'\\' : static_cast<wchar_t>(*c));
    return path;
}

struct Exports {
    decltype(&::WlanOpenHandle) open = nullptr;
    decltype(&::WlanCloseHandle) close = nullptr;
    decltype(&::WlanEnumInterfaces) enumerate = nullptr;
    decltype(&::WlanQueryInterface) query = nullptr;
    decltype(&::WlanGetInterfaceCapability) capability = nullptr;
    decltype(&::WlanSetInterface) set = nullptr;
    decltype(&::WlanRegisterNotification) registerNotification = nullptr;
    decltype(&::WlanFreeMemory) free = nullptr;
};

template <typename Function>
void Find(HMODULE module, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// What the registered callback saw.
struct Received {
    DWORD source;
    DWORD code;
    DWORD thread;
    GUID interfaceGuid;
    DWORD dataSize;
    WLAN_PHY_RADIO_STATE radio;
};

std::mutex s_receivedLock;
std::condition_variable s_receivedChanged;
std::vector<Received> s_received;

void WINAPI RecordNotification(PWLAN_NOTIFICATION_DATA data, PVOID)
{
    Received received = {data->NotificationSource, data->NotificationCode, GetCurrentThreadId(),
                         data->InterfaceGuid,      data->dwDataSize,       {}};
    if (data->pData != nullptr && data->dwDataSize >= sizeof(WLAN_PHY_RADIO_STATE))
        received.radio = *static_cast<const WLAN_PHY_RADIO_STATE*>(data->pData);
    std::lock_guard<std::mutex> lock(s_receivedLock);
    s_received.push_back(received);
    s_receivedChanged.notify_all();
}

class WlanApiDll : public testing::Test {
protected:
    // Loaded once: the DLL keeps its adapter until the process ends.
    static void SetUpTestSuite()
    {
        StateGuard guard;
        // The state the adapter takes when it is made.
        sim::WriteWifiRadio(Radio::Off);
        s_module = LoadLibraryW(DllPath().c_str());
        if (s_module == nullptr)
            return;
        Find(s_module, "WlanOpenHandle", s_exports.open);
        Find(s_module, "WlanCloseHandle", s_exports.close);
        Find(s_module, "WlanEnumInterfaces", s_exports.enumerate);
        Find(s_module, "WlanQueryInterface", s_exports.query);
        Find(s_module, "WlanGetInterfaceCapability", s_exports.capability);
        Find(s_module, "WlanSetInterface", s_exports.set);
        Find(s_module, "WlanRegisterNotification", s_exports.registerNotification);
        Find(s_module, "WlanFreeMemory", s_exports.free);
        if (s_exports.open == nullptr || s_exports.query == nullptr || s_exports.enumerate == nullptr ||
            s_exports.free == nullptr)
            return;
        // The first call makes the adapter; ask it straight away.
        HANDLE client = nullptr;
        DWORD negotiated = 0;
        if (s_exports.open(2, nullptr, &negotiated, &client) != ERROR_SUCCESS)
            return;
        s_physAtLoad = PhyStatesOf(client);
        s_exports.close(client, nullptr);
    }

    void SetUp() override
    {
        ASSERT_NE(nullptr, s_module) << "LoadLibraryW failed w/err " << GetLastError();
        m_guard = std::make_unique<StateGuard>();
        DWORD negotiated = 0;
        ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.open(2, nullptr, &negotiated, &m_client));
        EXPECT_EQ(2u, negotiated);
        m_guid = InterfaceGuid();
        // Every PHY on, whatever an earlier test left: as the controller
        // would, off then on, so that each write is a change.
        ASSERT_TRUE(StoreAndWait(Radio::Off));
        ASSERT_TRUE(StoreAndWait(Radio::On));
        std::lock_guard<std::mutex> lock(s_receivedLock);
        s_received.clear();
    }

    void TearDown() override
    {
        if (m_client != nullptr) {
            DWORD previous = 0;
            s_exports.registerNotification(m_client, WLAN_NOTIFICATION_SOURCE_NONE, TRUE, nullptr, nullptr, nullptr,
                                           &previous);
            s_exports.close(m_client, nullptr);
        }
        m_guard.reset();
    }

    static std::vector<DWORD> PhyStatesOf(HANDLE client)
    {
        PWLAN_INTERFACE_INFO_LIST list = nullptr;
        if (s_exports.enumerate(client, nullptr, &list) != ERROR_SUCCESS || list == nullptr)
            return {};
        const GUID guid = list->dwNumberOfItems > 0 ? list->InterfaceInfo[0].InterfaceGuid : GUID{};
        s_exports.free(list);
        DWORD size = 0;
        void* data = nullptr;
        WLAN_OPCODE_VALUE_TYPE type = {};
        if (s_exports.query(client, &guid, wlan_intf_opcode_radio_state, nullptr, &size, &data, &type) !=
                ERROR_SUCCESS ||
            data == nullptr)
            return {};
        const auto* state = static_cast<const WLAN_RADIO_STATE*>(data);
        std::vector<DWORD> phys;
        for (DWORD index = 0; index < state->dwNumberOfPhys && index < WLAN_MAX_PHY_INDEX; ++index)
            phys.push_back(state->PhyRadioState[index].dot11SoftwareRadioState);
        s_exports.free(data);
        return phys;
    }

    std::vector<DWORD> PhyStates() const { return PhyStatesOf(m_client); }

    GUID InterfaceGuid() const
    {
        PWLAN_INTERFACE_INFO_LIST list = nullptr;
        if (s_exports.enumerate(m_client, nullptr, &list) != ERROR_SUCCESS || list == nullptr)
            return {};
        const GUID guid = list->InterfaceInfo[0].InterfaceGuid;
        s_exports.free(list);
        return guid;
    }

    DWORD SetPhy(DWORD phy, DOT11_RADIO_STATE state) const
    {
        WLAN_PHY_RADIO_STATE request = {};
        request.dwPhyIndex = phy;
        request.dot11SoftwareRadioState = state;
        return s_exports.set(m_client, &m_guid, wlan_intf_opcode_radio_state, sizeof(request), &request, nullptr);
    }

    // The outside's hand (the controller) and the adapter following it.
    bool StoreAndWait(Radio radio) const
    {
        sim::WriteWifiRadio(radio);
        const DWORD state = radio == Radio::On ? dot11_radio_state_on : dot11_radio_state_off;
        return Eventually([&] { return PhyStates() == std::vector<DWORD>{state, state}; });
    }

    static bool WaitForNotifications(size_t count)
    {
        std::unique_lock<std::mutex> lock(s_receivedLock);
        return s_receivedChanged.wait_for(lock, std::chrono::seconds(10), [&] { return s_received.size() >= count; });
    }

    static HMODULE s_module;
    static Exports s_exports;
    static std::vector<DWORD> s_physAtLoad;
    std::unique_ptr<StateGuard> m_guard;
    HANDLE m_client = nullptr;
    GUID m_guid = {};
};

HMODULE WlanApiDll::s_module = nullptr;
Exports WlanApiDll::s_exports;
std::vector<DWORD> WlanApiDll::s_physAtLoad;

TEST_F(WlanApiDll, IsTheBuiltDllWithTheEightExports)
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(s_module, path, MAX_PATH);
    EXPECT_EQ(0, _wcsicmp(DllPath().c_str(), path)) << testing::PrintToString(std::wstring(path));
    EXPECT_NE(nullptr, s_exports.open);
    EXPECT_NE(nullptr, s_exports.close);
    EXPECT_NE(nullptr, s_exports.enumerate);
    EXPECT_NE(nullptr, s_exports.query);
    EXPECT_NE(nullptr, s_exports.capability);
    EXPECT_NE(nullptr, s_exports.set);
    EXPECT_NE(nullptr, s_exports.registerNotification);
    EXPECT_NE(nullptr, s_exports.free);
}

TEST_F(WlanApiDll, AtLoadThePhysTakeTheStoredRadio)
{
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_off, dot11_radio_state_off}), s_physAtLoad);
}

TEST_F(WlanApiDll, EnumeratesTheOneSimulatedAdapter)
{
    PWLAN_INTERFACE_INFO_LIST list = nullptr;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.enumerate(m_client, nullptr, &list));
    ASSERT_NE(nullptr, list);
    ASSERT_EQ(1u, list->dwNumberOfItems);
    EXPECT_STREQ(L"Simulated Wireless-AC 9560", list->InterfaceInfo[0].strInterfaceDescription);
    EXPECT_EQ(wlan_interface_state_disconnected, list->InterfaceInfo[0].isState);
    s_exports.free(list);
}

TEST_F(WlanApiDll, QueryReportsTwoPhysInTheStoredState)
{
    DWORD size = 0;
    void* data = nullptr;
    WLAN_OPCODE_VALUE_TYPE type = {};
    ASSERT_EQ(DWORD{ERROR_SUCCESS},
              s_exports.query(m_client, &m_guid, wlan_intf_opcode_radio_state, nullptr, &size, &data, &type));
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(sizeof(WLAN_RADIO_STATE), size);
    const auto* state = static_cast<const WLAN_RADIO_STATE*>(data);
    ASSERT_EQ(2u, state->dwNumberOfPhys);
    for (DWORD phy = 0; phy < 2; ++phy) {
        EXPECT_EQ(phy, state->PhyRadioState[phy].dwPhyIndex);
        EXPECT_EQ(dot11_radio_state_on, state->PhyRadioState[phy].dot11SoftwareRadioState);
        EXPECT_EQ(dot11_radio_state_on, state->PhyRadioState[phy].dot11HardwareRadioState);
    }
    s_exports.free(data);

    ASSERT_TRUE(StoreAndWait(Radio::Off));
}

TEST_F(WlanApiDll, CapabilityReportsTwoPhys)
{
    PWLAN_INTERFACE_CAPABILITY capability = nullptr;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.capability(m_client, &m_guid, nullptr, &capability));
    ASSERT_NE(nullptr, capability);
    EXPECT_EQ(wlan_interface_type_native_802_11, capability->interfaceType);
    EXPECT_EQ(2u, capability->dwNumberOfSupportedPhys);
    s_exports.free(capability);
}

TEST_F(WlanApiDll, AnUnknownInterfaceIsNotFound)
{
    const GUID other = {0x1234, 0x5, 0x6, {7, 7, 7, 7, 7, 7, 7, 7}};
    PWLAN_INTERFACE_CAPABILITY capability = nullptr;
    EXPECT_EQ(DWORD{ERROR_NOT_FOUND}, s_exports.capability(m_client, &other, nullptr, &capability));
    EXPECT_EQ(nullptr, capability);
}

TEST_F(WlanApiDll, TheStoredRadioChangesWhenBothPhysAgree)
{

    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(0, dot11_radio_state_off));
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_off, dot11_radio_state_on}), PhyStates());
    EXPECT_EQ(Radio::On, sim::ReadWifiRadio());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(1, dot11_radio_state_off));
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_off, dot11_radio_state_off}), PhyStates());
    EXPECT_EQ(Radio::Off, sim::ReadWifiRadio());

    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(1, dot11_radio_state_on));
    EXPECT_EQ(Radio::Off, sim::ReadWifiRadio());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(0, dot11_radio_state_on));
    EXPECT_EQ(Radio::On, sim::ReadWifiRadio());
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_on, dot11_radio_state_on}), PhyStates());
}

TEST_F(WlanApiDll, TheEchoOfItsOwnWriteSwitchesNothing)
{
    // Both off: "off" is written. One back on at once: the watcher's pass
    // for the write must leave it on.
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(0, dot11_radio_state_off));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(1, dot11_radio_state_off));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(0, dot11_radio_state_on));
    // The echo arrives within milliseconds; give it ample time.
    ::Sleep(500);
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_on, dot11_radio_state_off}), PhyStates());
    EXPECT_EQ(Radio::Off, sim::ReadWifiRadio());
}

TEST_F(WlanApiDll, AnotherValueChangingBetweenTwoSetsSwitchesNothing)
{
    // The service between its two sets, while another simulated device
    // writes its own value.
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(0, dot11_radio_state_off));
    sim::WriteMobileBroadbandRadio(Radio::Off);
    ::Sleep(300);
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_off, dot11_radio_state_on}), PhyStates());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(1, dot11_radio_state_off));
    EXPECT_EQ(Radio::Off, sim::ReadWifiRadio());
}

TEST_F(WlanApiDll, ARefusedSetWritesNothing)
{
    WLAN_PHY_RADIO_STATE request = {};
    request.dwPhyIndex = 5;
    request.dot11SoftwareRadioState = dot11_radio_state_off;
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER},
              s_exports.set(m_client, &m_guid, wlan_intf_opcode_radio_state, sizeof(request), &request, nullptr));
    EXPECT_EQ(Radio::On, sim::ReadWifiRadio());
}

TEST_F(WlanApiDll, AChangeFromOutsideNotifiesTheCallbackOnAnotherThread)
{
    DWORD previous = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.registerNotification(m_client, kSources, TRUE, &RecordNotification,
                                                                   nullptr, nullptr, &previous));

    sim::WriteWifiRadio(Radio::Off);

    ASSERT_TRUE(WaitForNotifications(2));
    std::lock_guard<std::mutex> lock(s_receivedLock);
    ASSERT_EQ(2u, s_received.size());
    std::vector<DWORD> phys;
    for (const Received& received : s_received) {
        EXPECT_EQ(DWORD{WLAN_NOTIFICATION_SOURCE_MSM}, received.source);
        EXPECT_EQ(kMsmRadioStateChange, received.code);
        EXPECT_NE(GetCurrentThreadId(), received.thread);
        EXPECT_TRUE(received.interfaceGuid == m_guid);
        EXPECT_EQ(sizeof(WLAN_PHY_RADIO_STATE), received.dataSize);
        EXPECT_EQ(dot11_radio_state_off, received.radio.dot11SoftwareRadioState);
        phys.push_back(received.radio.dwPhyIndex);
    }
    std::sort(phys.begin(), phys.end());
    EXPECT_EQ((std::vector<DWORD>{0, 1}), phys);
}

TEST_F(WlanApiDll, TheServicesOwnSetIsNotifiedToo)
{
    DWORD previous = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.registerNotification(m_client, kSources, TRUE, &RecordNotification,
                                                                   nullptr, nullptr, &previous));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SetPhy(1, dot11_radio_state_off));
    ASSERT_TRUE(WaitForNotifications(1));
    std::lock_guard<std::mutex> lock(s_receivedLock);
    EXPECT_EQ(1u, s_received[0].radio.dwPhyIndex);
    EXPECT_EQ(dot11_radio_state_off, s_received[0].radio.dot11SoftwareRadioState);
}

TEST_F(WlanApiDll, UnregisteringStopsNotifications)
{
    DWORD previous = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.registerNotification(m_client, kSources, TRUE, &RecordNotification,
                                                                   nullptr, nullptr, &previous));
    ASSERT_TRUE(StoreAndWait(Radio::Off));
    ASSERT_TRUE(WaitForNotifications(2));

    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.registerNotification(m_client, WLAN_NOTIFICATION_SOURCE_NONE, TRUE,
                                                                   nullptr, nullptr, nullptr, &previous));
    // The adapter follows the outside again, but tells no one.
    ASSERT_TRUE(StoreAndWait(Radio::On));
    ::Sleep(200);
    std::lock_guard<std::mutex> lock(s_receivedLock);
    EXPECT_EQ(2u, s_received.size());
}

TEST_F(WlanApiDll, AnUnknownStoredValueLeavesTheRadio)
{
    ASSERT_TRUE(StoreAndWait(Radio::Off));
    HKEY key = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              RegOpenKeyExW(HKEY_LOCAL_MACHINE, sim::kStateKey, 0, KEY_SET_VALUE | KEY_WOW64_64KEY, &key));
    const wchar_t text[] = L"sideways";
    RegSetValueExW(key, sim::kWifiRadioValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), sizeof(text));
    RegCloseKey(key);
    ::Sleep(300);
    EXPECT_EQ((std::vector<DWORD>{dot11_radio_state_off, dot11_radio_state_off}), PhyStates());
    // Then a real value is taken, whatever was before.
    ASSERT_TRUE(StoreAndWait(Radio::On));
}

TEST_F(WlanApiDll, CloseHandleAndFreeMemoryTakeWhatTheyGave)
{
    HANDLE second = nullptr;
    DWORD negotiated = 0;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.open(2, nullptr, &negotiated, &second));
    EXPECT_NE(m_client, second);
    PWLAN_INTERFACE_INFO_LIST list = nullptr;
    ASSERT_EQ(DWORD{ERROR_SUCCESS}, s_exports.enumerate(second, nullptr, &list));
    s_exports.free(list);
    // An unknown block is ignored, not freed.
    int unknown = 0;
    s_exports.free(&unknown);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, s_exports.close(second, nullptr));
}

}  // namespace
}  // namespace simtests
