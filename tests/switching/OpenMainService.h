// The service as the switching tests reach it: a CMainService named
// "Tessarine" (stop, shutdown and pause-continue accepted) whose protected
// members are open to the tests, and the platform its start and stop use,
// every fake journalled into one journal.
#pragma once

#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "fakes/FakeThreadPool.h"
#include "fakes/FakeWlanClient.h"
#include "switching/MainService.h"

namespace switching_tests {

class OpenMainService : public CMainService {
public:
    OpenMainService() : CMainService(L"Tessarine", true, true, false) {}
    using CMainService::m_connectionEventsCookie;
    using CMainService::m_ethernetConnections;
    using CMainService::m_fServiceRunning;
    using CMainService::m_hAirplaneWatcherEvent;
    using CMainService::m_hWlanClient;
    using CMainService::m_networkEventsCookie;
    using CMainService::m_nlmEventsCookie;
    using CMainService::m_pConnectionEventsConnectionPoint;
    using CMainService::m_pMbnInterfaceManager;
    using CMainService::m_pNetworkEventsConnectionPoint;
    using CMainService::m_pNetworkEventSink;
    using CMainService::m_pNetworkListManager;
    using CMainService::m_pNlmEventsConnectionPoint;
    using CMainService::m_pRadioEventsConnectionPoint;
    using CMainService::m_pRadioEventSink;
    using CMainService::m_radioEventsCookie;
    using CMainService::OnShutdown;
    using CMainService::OnStart;
    using CMainService::OnStop;
};

// The service's platform: Wi-Fi client, events, thread pool and COM.
struct JournalledPlatform {
    fakes::Journal journal;
    fakes::FakeWlanClient wlan{&journal};
    fakes::FakeEvents events{&journal};
    fakes::FakeThreadPool pool{&journal};
    fakes::FakeComRuntime com{&journal};
};

} // namespace switching_tests
