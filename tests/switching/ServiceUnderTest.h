// The service as the switching tests make it: a CMainService named
// "Tessarine" (stop and shutdown accepted, pause-continue not), reached
// through its ForTesting seam, and the platform its start and stop use,
// every fake journalled into one journal.
#pragma once

#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "fakes/FakeThreadPool.h"
#include "models/FakeWlanClient.h"
#include "switching/MainService.h"

namespace switching_tests {

class ServiceUnderTest : public CMainService {
public:
    ServiceUnderTest() : CMainService(L"Tessarine", true, true, false) {}
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
