#include "SimulatedModem.h"

namespace sim {

namespace {

MBN_RADIO ToMbn(Radio radio) { return radio == Radio::Off ? MBN_RADIO_OFF : MBN_RADIO_ON; }

}  // namespace

SimulatedModem& SimulatedModem::Get()
{
    static SimulatedModem* const modem = [] {
        // The watcher's and the completions' threads run this DLL's code
        // until the process ends: pin it (see SimulatedNetworkList::Get).
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCWSTR>(&SimulatedModem::Get), &self);
        return new SimulatedModem();
    }();
    return *modem;
}

SimulatedModem::SimulatedModem()
{
    m_model.SetInterfaces({kInterfaceId});
    FollowPresence();
    const Radio stored = ReadMobileBroadbandRadio();
    m_known = stored == Radio::Unknown ? Radio::On : stored;
    m_model.SetRadioState(ToMbn(m_known));
    if (stored == Radio::Unknown)
        WriteMobileBroadbandRadio(m_known);
    m_model.SetSetObserver([this](MBN_RADIO state) { OnSet(state); });
    m_watcher = std::make_unique<StateWatcher>([this](StateWatcher::Change change) { OnStateChanged(change); });
}

void SimulatedModem::FollowPresence()
{
    const bool present = ReadModemPresent().value_or(true);
    m_model.SetInterfaces(present ? std::vector<std::wstring>{kInterfaceId} : std::vector<std::wstring>{});
}

void SimulatedModem::OnSet(MBN_RADIO)
{
    std::lock_guard<std::mutex> lock(m_lock);
    // The model's state now, not the one set: a user's switch that the
    // watcher made between the set and this lock came later and stands.
    const Radio now = m_model.RadioState() == MBN_RADIO_OFF ? Radio::Off : Radio::On;
    // Noted before the write: the watcher's pass for it (the echo) then
    // finds nothing new.
    m_known = now;
    if (ReadMobileBroadbandRadio() != now)
        WriteMobileBroadbandRadio(now);
}

void SimulatedModem::OnStateChanged(StateWatcher::Change)
{
    std::lock_guard<std::mutex> lock(m_lock);
    FollowPresence();
    const Radio stored = ReadMobileBroadbandRadio();
    // Also for a new key: m_known is the model's state, so a key made again
    // with that value (the DLL's own write into a deleted key, for one) has
    // nothing to switch, and a switch would send the service a completion
    // nobody asked for.
    if (stored == m_known)
        return;
    m_known = stored;
    if (stored != Radio::Unknown)
        m_model.SwitchByUser(ToMbn(stored), m_nextUserRequest++);
}

}  // namespace sim
