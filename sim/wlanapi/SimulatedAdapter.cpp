#include "SimulatedAdapter.h"

namespace sim {

namespace {

constexpr size_t kInterface = 0;

}  // namespace

SimulatedAdapter& SimulatedAdapter::Get()
{
    static SimulatedAdapter* const adapter = [] {
        // The watcher's and the notifications' threads run this DLL's code
        // until the process ends: pin it, so that a FreeLibrary cannot unmap
        // the code under them. The adapter is never deleted, so no thread is
        // waited for at DLL_PROCESS_DETACH (under the loader lock a thread
        // cannot end, and at process exit the threads are gone already).
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&SimulatedAdapter::Get), &self);
        return new SimulatedAdapter();
    }();
    return *adapter;
}

SimulatedAdapter::SimulatedAdapter()
{
    const Radio stored = ReadWifiRadio();
    m_known = stored == Radio::Unknown ? Radio::On : stored;
    m_client.AddInterface(kDescription, kPhys,
                          m_known == Radio::On ? fakes::FakeWlanClient::kOn : fakes::FakeWlanClient::kOff);
    m_client.NotifyChanges();
    if (stored == Radio::Unknown)
        WriteWifiRadio(m_known);
    m_watcher = std::make_unique<StateWatcher>([this](StateWatcher::Change change) { OnStateChanged(change); });
}

DWORD SimulatedAdapter::SetInterface(HANDLE client, const GUID* guid, WLAN_INTF_OPCODE opcode, DWORD dataSize,
                                     const PVOID data, PVOID reserved)
{
    std::lock_guard<std::mutex> lock(m_lock);
    const std::vector<DWORD> before = PhyStates();
    const DWORD result = os::api().WlanSetInterface(client, guid, opcode, dataSize, data, reserved);
    if (result != ERROR_SUCCESS || PhyStates() == before)
        return result;
    const Radio now = ModelRadio();
    if (now == Radio::Unknown)
        return result;
    // Noted before the write: the watcher's pass for it (the echo) then
    // finds nothing new.
    m_known = now;
    if (ReadWifiRadio() != now)
        WriteWifiRadio(now);
    return result;
}

void SimulatedAdapter::OnStateChanged(StateWatcher::Change change)
{
    std::lock_guard<std::mutex> lock(m_lock);
    const Radio stored = ReadWifiRadio();
    // A new key is news even with the value the old one had.
    if (stored == m_known && change == StateWatcher::Change::Values)
        return;
    m_known = stored;
    if (stored != Radio::Unknown)
        m_client.SwitchByHand(kInterface, stored == Radio::On);
}

std::vector<DWORD> SimulatedAdapter::PhyStates() const
{
    std::vector<DWORD> states;
    for (size_t phy = 0; phy < kPhys; ++phy)
        states.push_back(m_client.PhyState(kInterface, phy));
    return states;
}

Radio SimulatedAdapter::ModelRadio() const
{
    const std::vector<DWORD> states = PhyStates();
    bool allOn = true;
    bool allOff = true;
    for (const DWORD state : states) {
        allOn = allOn && state == fakes::FakeWlanClient::kOn;
        allOff = allOff && state == fakes::FakeWlanClient::kOff;
    }
    return allOn ? Radio::On : allOff ? Radio::Off : Radio::Unknown;
}

}  // namespace sim
