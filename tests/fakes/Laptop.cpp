#include "fakes/Laptop.h"

#include "models/Adapters.h"
#include "fakes/FreshSwitchingState.h"
#include "state/RegistryPaths.h"
#include "state/ServiceNames.h"
#include "state/SwitchingState.h"
#include "radio/MbnSinks.h"
#include "radio/WlanRadio.h"
#include "radio/WwanRadio.h"
#include "switching/MainService.h"
#include "switching/ResumeHandler.h"

#include <cstdio>
#include <cwchar>

namespace fakes {
namespace {

constexpr wchar_t kFirmwareClass[] = L"QXBIOS_BIOSEnumeration";
constexpr wchar_t kWifiSetting[] = L"LAN / WLAN Auto Switching";
constexpr wchar_t kMobileBroadbandSetting[] = L"LAN / WWAN Auto Switching";
// The firmware marks a disabled setting with a leading asterisk.
const wchar_t* FirmwareValue(bool allowed) { return allowed ? L"Enable" : L"*Disable"; }

// The wired adapter of cable n: the first one is the laptop's own port.
GUID AdapterGuidOf(size_t number)
{
    return GUID{0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55,
                                             static_cast<unsigned char>(0x55 + number)}};
}

std::string GuidText(const GUID& guid)
{
    char text[39];
    std::snprintf(text, sizeof(text), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

}  // namespace

Laptop* Laptop::s_current = nullptr;

Laptop::Laptop() : Laptop(Options{}) {}

Laptop::Laptop(Options options)
    : m_options(options),
      m_log(options.recordLog ? std::make_unique<RecordingLog>() : nullptr),
      m_ipHelper({WirelessAdapter()}),
      m_wlan(),
      m_service()
{
    s_current = this;
    ResetSwitchingStateForTesting();
    m_airplane.Set(false);
    m_scm.AddService(L"WlanSvc", SERVICE_RUNNING);
    m_scm.AddService(L"WwanSvc", SERVICE_RUNNING);
    m_scm.AddService(kServiceName, SERVICE_RUNNING);
    m_ipHelper.SetClock([this] { return m_clock.NowMilliseconds(); });
    m_wlan.AddInterface(L"Simulated Wireless-AC 9560", 2, options.wifiOn ? FakeWlanClient::kOn : FakeWlanClient::kOff,
                        wlan_interface_state_connected);
    m_wlan.NotifyChanges();
    m_networkList.DeliverOnOwnThreads();
    if (!options.modemPresent)
        m_broadband.SetInterfaces({});
    m_broadband.SetRadioState(options.mobileBroadbandOn ? MBN_RADIO_ON : MBN_RADIO_OFF);

    m_seam->IsNetworkAlive = &Laptop::IsNetworkAlive;
    m_seam->RegNotifyChangeKeyValue = &Laptop::RegNotifyChangeKeyValue;
    SetFirmware(options.wifiSwitchingAllowed, options.mobileBroadbandSwitchingAllowed);
    m_pool.RunOnOwnThreads();

    m_service = std::make_unique<CMainService>(kServiceName);
    CServiceBase::s_service = m_service.get();
    CServiceBase::SetResumeHandler(&NLMUtils::SystemResumeHandler);
}

Laptop::~Laptop()
{
    (void)PowerOff();
    CServiceBase::s_service = nullptr;
    CServiceBase::SetResumeHandler(nullptr);
    m_service.reset();
    ResetSwitchingStateForTesting();
    s_current = nullptr;
}

// --- The service --------------------------------------------------------

void Laptop::StartService()
{
    std::lock_guard<std::mutex> lock(m_controlLock);
    m_started = true;
    m_service->Start(0, nullptr);
}

bool Laptop::WaitForWorker()
{
    // The first work item is the worker; the watcher follows it.
    return m_pool.WaitForItem(0);
}

bool Laptop::Boot()
{
    StartService();
    if (!WaitForWorker())
        return false;
    // The watcher waits once it has armed its notification.
    if (m_pool.ItemsStarted() > 1 && !WaitForWatcherPass(0))
        return false;
    return Settle();
}

bool Laptop::Control(DWORD control, DWORD eventType)
{
    {
        std::lock_guard<std::mutex> lock(m_controlLock);
        CServiceBase::HandlerEx(control, eventType, nullptr, nullptr);
    }
    return AfterVerb();
}

bool Laptop::Stop()
{
    const bool settled = Control(SERVICE_CONTROL_STOP, 0);
    m_stopped = true;
    // The watcher, when it was queued, ends on the stop signal.
    return m_pool.WaitForAllItems() && settled;
}

bool Laptop::Shutdown()
{
    const bool settled = Control(SERVICE_CONTROL_SHUTDOWN, 0);
    m_stopped = true;
    return settled;
}

bool Laptop::Suspend() { return Control(SERVICE_CONTROL_POWEREVENT, PBT_APMSUSPEND); }

bool Laptop::Resume() { return Control(SERVICE_CONTROL_POWEREVENT, PBT_APMRESUMEAUTOMATIC); }

// --- The wire -----------------------------------------------------------

Laptop::Wire& Laptop::WireOf(const Cable& cable)
{
    auto found = m_wires.find(cable.name);
    if (found == m_wires.end()) {
        Wire wire;
        wire.number = m_wires.size();
        found = m_wires.emplace(cable.name, wire).first;
    }
    found->second.cable = cable;
    return found->second;
}

GUID Laptop::ConnectionIdOf(const Wire& wire) const
{
    return GUID{0xC0C0C0C0, 0x0001, 0x0002, {0x03, 0x04, 0, 0, 0, 0, 0, static_cast<unsigned char>(wire.number)}};
}

// Under m_wireLock: what IP Helper lists, the Wi-Fi adapter first and every
// wired adapter ever plugged (one without its cable has no address).
void Laptop::PublishAdapters()
{
    std::vector<AdapterDescription> adapters{WirelessAdapter()};
    for (const auto& [name, wire] : m_wires) {
        AdapterDescription adapter =
            Ethernet(wire.cable.description, wire.plugged && wire.cable.getsAddress ? "192.168.1." +
                                                                                        std::to_string(2 + wire.number)
                                                                                  : "0.0.0.0",
                     GuidText(AdapterGuidOf(wire.number)));
        adapter.friendlyName = std::wstring(name.begin(), name.end());
        adapter.addressFromMilliseconds = wire.addressAtMilliseconds;
        adapters.push_back(adapter);
    }
    m_ipHelper.SetAdapters(adapters);
}

bool Laptop::Plug(const Cable& cable)
{
    GUID connectionId;
    NLM_CONNECTIVITY connectivity;
    {
        std::lock_guard<std::mutex> lock(m_wireLock);
        Wire& wire = WireOf(cable);
        if (wire.plugged)
            return AfterVerb();
        wire.plugged = true;
        wire.addressAtMilliseconds = m_clock.NowMilliseconds() + cable.dhcpMilliseconds;
        PublishAdapters();
        connectionId = ConnectionIdOf(wire);
        const bool addressAtOnce = cable.getsAddress && cable.dhcpMilliseconds == 0;
        // Until DHCP answers the link carries no traffic.
        connectivity = addressAtOnce ? NLM_CONNECTIVITY(NLM_CONNECTIVITY_IPV4_INTERNET | NLM_CONNECTIVITY_IPV6_NOTRAFFIC)
                                     : NLM_CONNECTIVITY(NLM_CONNECTIVITY_IPV4_NOTRAFFIC | NLM_CONNECTIVITY_IPV6_NOTRAFFIC);
        ConnectionDescription connection;
        connection.connectionId = connectionId;
        connection.adapterId = AdapterGuidOf(wire.number);
        connection.networkName = L"Network " + std::to_wstring(wire.number + 1);
        connection.connected = true;
        connection.connectedToInternet = addressAtOnce;
        connection.connectivity = connectivity;
        m_networkList.SetConnection(connection);
    }
    m_networkList.DeliverConnectionConnectivityChanged(connectionId, connectivity);
    return AfterVerb();
}

bool Laptop::Pull(const std::string& name)
{
    GUID connectionId;
    {
        std::lock_guard<std::mutex> lock(m_wireLock);
        auto found = m_wires.find(name);
        if (found == m_wires.end() || !found->second.plugged)
            return AfterVerb();
        Wire& wire = found->second;
        wire.plugged = false;
        PublishAdapters();
        connectionId = ConnectionIdOf(wire);
        ConnectionDescription connection;
        connection.connectionId = connectionId;
        connection.adapterId = AdapterGuidOf(wire.number);
        connection.networkName = L"Network " + std::to_wstring(wire.number + 1);
        connection.connected = false;
        connection.connectivity = NLM_CONNECTIVITY_DISCONNECTED;
        m_networkList.SetConnection(connection);
    }
    m_networkList.DeliverConnectionConnectivityChanged(connectionId, NLM_CONNECTIVITY_DISCONNECTED);
    return AfterVerb();
}

// --- The user -----------------------------------------------------------

bool Laptop::SwitchWifi(bool on)
{
    m_wlan.SwitchByHand(0, on);
    return AfterVerb();
}

bool Laptop::SwitchMobileBroadband(bool on)
{
    m_broadband.SwitchByUser(on ? MBN_RADIO_ON : MBN_RADIO_OFF, m_nextRequest++);
    return AfterVerb();
}

bool Laptop::SetAirplaneMode(bool on)
{
    bool watched = true;
    {
        std::lock_guard<std::mutex> lock(m_registryLock);
        // Airplane mode switched to what it already is changes nothing (and
        // Wine's registry does not notify a write of the same data).
        if (m_airplaneOn == on)
            return AfterVerb();
        m_airplaneOn = on;
        const int passes = WatcherPasses();
        m_airplane.Set(on);
        // The watcher's pass over the change ends when it arms again (only
        // while the service runs and its watcher waits).
        if (m_started && !m_stopped && m_pool.ItemsStarted() > 1)
            watched = WaitForWatcherPass(passes);
    }
    if (on) {
        m_wlan.SwitchByHand(0, false);
        if (m_broadband.RadioState() != MBN_RADIO_OFF)
            m_broadband.SwitchByUser(MBN_RADIO_OFF, m_nextRequest++);
    }
    return AfterVerb() && watched;
}

void Laptop::SetFirmware(bool wifiSwitchingAllowed, bool mobileBroadbandSwitchingAllowed)
{
    m_firmware.SetValue(kFirmwareClass, kWifiSetting, FirmwareValue(wifiSwitchingAllowed));
    m_firmware.SetValue(kFirmwareClass, kMobileBroadbandSetting, FirmwareValue(mobileBroadbandSwitchingAllowed));
}

// --- Settling -----------------------------------------------------------

bool Laptop::AfterVerb() { return m_settleAfterEachVerb ? Settle() : true; }

bool Laptop::Settle()
{
    // A delivery may switch a radio, whose notification may switch it
    // again: wait until a whole round starts nothing new.
    const auto started = [this] {
        return m_networkList.Deliveries() + m_wlan.NotificationsDelivered() + m_broadband.CompletionsStarted();
    };
    for (int round = 0; round < 100; ++round) {
        const size_t before = started();
        if (!m_networkList.WaitForDeliveries() || !m_wlan.WaitForNotifications() ||
            !m_broadband.WaitForCompletions())
            return false;
        if (started() == before)
            return true;
    }
    return false;
}

bool Laptop::WaitForWatcherPass(int passesBefore)
{
    std::unique_lock<std::mutex> lock(m_watcherLock);
    return m_watcherArmed.wait_for(lock, OwnThreads::kBound, [&] { return m_watcherPasses > passesBefore; });
}

int Laptop::WatcherPasses() const
{
    std::lock_guard<std::mutex> lock(m_watcherLock);
    return m_watcherPasses;
}

bool Laptop::PowerOff()
{
    if (m_poweredOff)
        return true;
    bool settled = true;
    if (m_started && !m_stopped)
        settled = Stop();
    settled = m_pool.WaitForAllItems() && settled;
    settled = Settle() && settled;
    // What the process keeps for ever goes with the process.
    if (MbnInterfaceManager != nullptr) {
        MbnInterfaceManager->Release();
        MbnInterfaceManager = nullptr;
    }
    ReleaseMbnRadioCompletedForTesting();
    m_poweredOff = true;
    return settled;
}

std::vector<std::wstring> Laptop::Lines() const { return m_log ? m_log->Lines() : std::vector<std::wstring>{}; }

std::vector<std::wstring> Laptop::LinesOf(const std::string& function) const
{
    return m_log ? m_log->LinesOf(function) : std::vector<std::wstring>{};
}

void Laptop::ClearLog()
{
    if (m_log)
        m_log->Clear();
}

int Laptop::LiveComObjects() const
{
    return m_networkList.LiveObjects() + m_broadband.LiveObjects() + m_firmware.LiveObjects();
}

std::wstring Laptop::StoredWifi() { return ScopedPowerStatus::Stored(kWlanPowerStatusKey); }

std::wstring Laptop::StoredMobileBroadband() { return ScopedPowerStatus::Stored(kWwanPowerStatusKey); }

void Laptop::StoreWifi(const wchar_t* text) { ScopedPowerStatus::Store(kWlanPowerStatusKey, text); }

void Laptop::StoreMobileBroadband(const wchar_t* text) { ScopedPowerStatus::Store(kWwanPowerStatusKey, text); }

// --- The laptop's platform calls -----------------------------------------

BOOL WINAPI Laptop::IsNetworkAlive(LPDWORD flags)
{
    std::lock_guard<std::mutex> lock(s_current->m_wireLock);
    for (const auto& [name, wire] : s_current->m_wires) {
        if (wire.plugged) {
            *flags = NETWORK_ALIVE_LAN;
            return TRUE;
        }
    }
    *flags = 0;
    SetLastError(ERROR_SUCCESS);
    return FALSE;
}

LSTATUS WINAPI Laptop::RegNotifyChangeKeyValue(HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous)
{
    const LSTATUS status = ::RegNotifyChangeKeyValue(key, subtree, filter, event, asynchronous);
    {
        std::lock_guard<std::mutex> lock(s_current->m_watcherLock);
        ++s_current->m_watcherPasses;
    }
    s_current->m_watcherArmed.notify_all();
    return status;
}

}  // namespace fakes
