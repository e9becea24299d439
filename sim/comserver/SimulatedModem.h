// SimulatedModem: the mobile-broadband modem of the simulated laptop inside
// the simulation's COM server. One fakes::MobileBroadbandModel (one
// interface and its radio; completions delivered to the advised sinks on
// threads of their own), serving its class through this DLL's copy of the
// platform seam, kept in step with the simulation state:
//
// - "ModemPresent" 0 leaves the manager without interfaces; 1 or a missing
//   value gives the one interface. Followed while the process runs.
// - At creation the radio takes "MobileBroadbandRadio" ("on" when it is
//   missing or makes no sense, and then "on" is written, so the state shows
//   it).
// - The service's SetSoftwareRadioState writes the radio's state (before
//   the completion is delivered): the state set, or a user's switch that
//   the watcher made meanwhile, so the model and the value always agree.
// - A StateWatcher follows the key: a MobileBroadbandRadio value other than
//   the one this DLL last wrote or took is the user's hand (the
//   controller's `wwan on|off`): SwitchByUser, whose completion reaches the
//   service with a request id of its own range (kFirstUserRequest on). The
//   echo of the DLL's own write reads the value it wrote and is ignored. A
//   value that goes (the key deleted) is forgotten, so the next stored
//   value is applied whatever it is; a key made again with the radio's own
//   state switches nothing.
//
// Threads: the service's threads call the model's objects (and so OnSet);
// the watcher's thread runs OnStateChanged. One lock orders the two, so a
// write and the model change together; the model's own lock is taken inside
// it, never the other way round.
#pragma once

#include "models/MobileBroadbandModel.h"
#include "sim/SimulationState.h"

#include <memory>
#include <mutex>

namespace sim {

class SimulatedModem {
public:
    static constexpr const wchar_t* kInterfaceId = L"{5A5A5A5A-0000-1111-2222-333344445555}";
    // Request ids of the user's switches, far above the model's own.
    static constexpr ULONG kFirstUserRequest = 0x10000;

    // The modem of the process, made on first use (never under the loader
    // lock) and kept until the process ends.
    static SimulatedModem& Get();

    SimulatedModem(const SimulatedModem&) = delete;
    SimulatedModem& operator=(const SimulatedModem&) = delete;

private:
    SimulatedModem();
    // On the setter's thread.
    void OnSet(MBN_RADIO state);
    // On the watcher's thread.
    void OnStateChanged(StateWatcher::Change change);
    void FollowPresence();

    std::mutex m_lock;
    fakes::MobileBroadbandModel m_model;
    // The MobileBroadbandRadio value this DLL last wrote or applied
    // (Unknown: none, or the value went away).
    Radio m_known = Radio::Unknown;
    ULONG m_nextUserRequest = kFirstUserRequest;
    // Last: it calls back into the members above.
    std::unique_ptr<StateWatcher> m_watcher;
};

} // namespace sim
