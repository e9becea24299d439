// SimulatedAdapter: the Wi-Fi adapter of the simulated laptop inside
// wlanapi.dll. One fakes::FakeWlanClient (one interface, two PHYs, notifying
// radio changes on threads of its own) installed into this DLL's copy of the
// platform seam, kept in step with "WifiRadio" of the simulation state:
//
// - At creation the PHYs take the stored value ("on" when it is missing or
//   makes no sense, and then "on" is written, so the state shows it).
// - The service's sets go through SetInterface: when a set changed a PHY and
//   every PHY now agrees, that state is written (if the registry holds
//   another). While the PHYs disagree (one set of two done) nothing is
//   written. A set that changes nothing writes nothing, so it cannot
//   overwrite a change of the controller's that the watcher has yet to see.
// - A StateWatcher follows the key: a WifiRadio value other than the one
//   this DLL last wrote or took is the user's hand (the controller's
//   `wifi on|off`) and switches every PHY by hand, which notifies the
//   service. The echo of the DLL's own write reads the value it wrote and is
//   ignored, and so is a pass for another value of the key (the modem's
//   radio written by another DLL while the service is between two PHY
//   sets). A value that goes (the key deleted) is forgotten, and a key
//   that is new (created, or deleted and created again before the watcher
//   looked) is applied whatever it holds. What this cannot see: a
//   "wifi on" stored over "on" while the PHYs disagree changes no data, so
//   no pass comes (the simulation's PHYs disagree only between two sets).
//
// Threads: the service's threads call the exports; the watcher's thread runs
// OnStateChanged; one lock orders the sets with the watcher's passes, so a
// write and the model always change together. The model's own lock is taken
// inside it, never the other way round.
#pragma once

#include "models/FakeWlanClient.h"
#include "sim/SimulationState.h"

#include <memory>
#include <mutex>
#include <vector>

namespace sim {

class SimulatedAdapter {
public:
    static constexpr const wchar_t* kDescription = L"Simulated Wireless-AC 9560";
    static constexpr size_t kPhys = 2;

    // The adapter of the process, made on first use (never under the
    // loader lock) and kept until the process ends.
    static SimulatedAdapter& Get();

    // WlanSetInterface through the model, then the registry on a change.
    DWORD SetInterface(HANDLE client, const GUID* guid, WLAN_INTF_OPCODE opcode, DWORD dataSize, const PVOID data,
                       PVOID reserved);

    SimulatedAdapter(const SimulatedAdapter&) = delete;
    SimulatedAdapter& operator=(const SimulatedAdapter&) = delete;

private:
    SimulatedAdapter();
    // On the watcher's thread.
    void OnStateChanged(StateWatcher::Change change);
    // On when every PHY is on, Off when every PHY is off, else Unknown.
    Radio ModelRadio() const;
    std::vector<DWORD> PhyStates() const;

    std::mutex m_lock;
    fakes::FakeWlanClient m_client;
    // The WifiRadio value this DLL last wrote or applied (Unknown: none, or
    // the value went away).
    Radio m_known = Radio::Unknown;
    // Last: it calls back into the members above.
    std::unique_ptr<StateWatcher> m_watcher;
};

} // namespace sim
