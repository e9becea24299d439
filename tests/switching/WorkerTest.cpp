// CMainService::ServiceWorkerThread: its early returns (COM initialisation
// and the network list manager), without the exit line and without leaving
// the COM apartment.
#include "switching/MainService.h"

#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "fakes/FakeScm.h"
#include "fakes/FakeThreadPool.h"
#include "fakes/FakeWlanClient.h"
#include "fakes/NetworkListModel.h"
#include "fakes/RecordingListener.h"
#include "fakes/VirtualClock.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct CreateCall {
    CLSID clsid;
    IUnknown* outer;
    DWORD context;
    IID iid;
};

std::vector<CreateCall> g_creates;
HRESULT g_createResult = REGDB_E_CLASSNOTREG;
// When set, the network list manager class gives one of its managers.
fakes::NetworkListModel* g_networkList = nullptr;

HRESULT WINAPI RecordingCoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object)
{
    g_creates.push_back({clsid, outer, context, iid});
    if (g_networkList != nullptr && IsEqualCLSID(clsid, CLSID_NetworkListManager)) {
        *object = g_networkList->NewManager();
        return S_OK;
    }
    *object = nullptr;
    return g_createResult;
}

BOOL WINAPI AliveOnTheLan(LPDWORD flags)
{
    *flags = NETWORK_ALIVE_LAN;
    return TRUE;
}

class WorkerTest : public testing::Test {
protected:
    WorkerTest()
    {
        g_creates.clear();
        g_createResult = REGDB_E_CLASSNOTREG;
        g_networkList = nullptr;
        m_seam->CoCreateInstance = &RecordingCoCreateInstance;
        m_seam->IsNetworkAlive = &AliveOnTheLan;
    }
    ~WorkerTest() override { g_networkList = nullptr; }

    std::vector<std::wstring> WorkerLines() const { return m_log.LinesOf("CMainService::ServiceWorkerThread"); }

    fakes::RecordingLog m_log;
    fakes::Journal m_journal;
    fakes::FakeEvents m_events{&m_journal};
    fakes::FakeThreadPool m_pool{&m_journal};
    fakes::FakeComRuntime m_com{&m_journal};
    os::ScopedApiOverride m_seam;
};

TEST_F(WorkerTest, AFailedCoInitializeEndsTheWorkerWithoutAnExitLine)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, E_OUTOFMEMORY);
    CMainService service(L"Tessarine");
    service.ServiceWorkerThread();
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoInitialize failed with error: 0x8007000E"));
    EXPECT_EQ(m_com.concurrencyModel, static_cast<DWORD>(COINIT_MULTITHREADED));
    EXPECT_TRUE(g_creates.empty());
    EXPECT_EQ(m_com.uninitializations, 0);
    EXPECT_THAT(m_pool.flags, IsEmpty());
}

TEST_F(WorkerTest, NoNetworkListManagerEndsTheWorkerWithoutUninitialisingCom)
{
    CMainService service(L"Tessarine");
    service.ServiceWorkerThread();
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) "
                            L"failed with error: 0x80040154"));
    ASSERT_EQ(g_creates.size(), 1u);
    EXPECT_TRUE(IsEqualCLSID(g_creates[0].clsid, CLSID_NetworkListManager));
    EXPECT_EQ(g_creates[0].outer, nullptr);
    EXPECT_EQ(g_creates[0].context, static_cast<DWORD>(CLSCTX_ALL));
    EXPECT_TRUE(IsEqualIID(g_creates[0].iid, IID_INetworkListManager));
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 0);
    // The airplane watcher is queued only after the manager exists.
    EXPECT_THAT(m_pool.flags, IsEmpty());
}

TEST_F(WorkerTest, ComInAnotherModeIsNoFailure)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, RPC_E_CHANGED_MODE);
    CMainService service(L"Tessarine");
    service.ServiceWorkerThread();
    // It went on to the network list manager.
    ASSERT_EQ(g_creates.size(), 1u);
    EXPECT_THAT(WorkerLines(),
                ElementsAre(L"TraceIn|CMainService::ServiceWorkerThread|ServiceWorkerThread - Entry",
                            L"Error|CMainService::ServiceWorkerThread|CoCreateInstance(CLSID_NetworkListManager) "
                            L"failed with error: 0x80040154"));
    EXPECT_EQ(m_com.uninitializations, 0);
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
    fakes::NetworkListModel networkList;
    g_networkList = &networkList;
    {
        CMainService service(L"Tessarine");
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
        ASSERT_GE(g_creates.size(), 2u);
        EXPECT_TRUE(IsEqualCLSID(g_creates.front().clsid, CLSID_NetworkListManager));
        EXPECT_TRUE(IsEqualCLSID(g_creates.back().clsid, CLSID_MbnInterfaceManager));
        EXPECT_EQ(g_creates.back().context, static_cast<DWORD>(CLSCTX_ALL));
        EXPECT_TRUE(IsEqualIID(g_creates.back().iid, IID_IMbnInterfaceManager));
        // The airplane watcher was queued once, to run once.
        EXPECT_THAT(m_pool.flags, ElementsAre(static_cast<ULONG>(WT_EXECUTEONLYONCE)));
        // The network events were subscribed.
        EXPECT_EQ(networkList.AdvisedCount(IID_INetworkConnectionEvents), 1u);
        EXPECT_EQ(m_com.uninitializations, 0);
        EXPECT_FALSE(m_log.LinesOf("CMainService::ListenForWlanEvents").empty());
        g_networkList = nullptr;
    }
}

}  // namespace
