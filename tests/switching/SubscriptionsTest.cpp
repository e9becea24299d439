// CMainService::ListenForWlanEvents and ListenForWwanEvents on the network
// list manager and mobile-broadband models, their failures step by step,
// the references they keep on the sinks, and the detaching in OnStop.
#include "switching/MainService.h"

#include "fakes/FakeComObjects.h"
#include "fakes/FakeComRuntime.h"
#include "fakes/FakeEvents.h"
#include "fakes/FakeThreadPool.h"
#include "models/FakeWlanClient.h"
#include "models/MobileBroadbandModel.h"
#include "models/NetworkListModel.h"
#include "fakes/RecordingListener.h"
#include "ServiceUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using EventFailure = fakes::NetworkListModel::EventFailure;
using MbnFailure = fakes::MobileBroadbandModel::Failure;

// A network sink that refuses one of its event interfaces.
class RefusingNetworkSink : public NLMEventHandler {
public:
    RefusingNetworkSink(IID refused) : NLMEventHandler(nullptr, nullptr), m_refused(refused) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (IsEqualIID(iid, m_refused)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        return NLMEventHandler::QueryInterface(iid, object);
    }

private:
    IID m_refused;
};

// The open service, with sinks whose allocation a test may fail or supply.
class TestableMainService : public switching_tests::ServiceUnderTest {
public:
    // Null: the allocation fails. Otherwise the sink the subscriptions get.
    bool networkSinkAllocates = true;
    NLMEventHandler* networkSink = nullptr;
    bool radioSinkAllocates = true;

protected:
    NLMEventHandler* NewNetworkEventSink() override
    {
        if (!networkSinkAllocates)
            return nullptr;
        return networkSink != nullptr ? networkSink : CMainService::NewNetworkEventSink();
    }
    CMbnSinks* NewRadioEventSink() override
    {
        return radioSinkAllocates ? CMainService::NewRadioEventSink() : nullptr;
    }
};

using Platform = switching_tests::JournalledPlatform;

class SubscriptionsTest : public testing::Test {
protected:
    SubscriptionsTest()
    {
        m_service.ForTesting().networkListManager.Reset(m_network.NewManager());
        m_service.ForTesting().mbnInterfaceManager.Reset(m_broadband.NewManager());
        m_log.Clear();
    }

    std::vector<std::wstring> WlanLines() const { return m_log.LinesOf("CMainService::ListenForWlanEvents"); }
    std::vector<std::wstring> WwanLines() const { return m_log.LinesOf("CMainService::ListenForWwanEvents"); }

    fakes::RecordingLog m_log;
    Platform m_platform;
    // The models outlive the service, whose members they made.
    fakes::NetworkListModel m_network;
    fakes::MobileBroadbandModel m_broadband;
    TestableMainService m_service;
};

const wchar_t kWlanIn[] = L"TraceIn|CMainService::ListenForWlanEvents|";
const wchar_t kWlanOut[] = L"TraceOut|CMainService::ListenForWlanEvents|";
const wchar_t kWwanIn[] = L"TraceIn|CMainService::ListenForWwanEvents|";
const wchar_t kWwanOut[] = L"TraceOut|CMainService::ListenForWwanEvents|";

TEST_F(SubscriptionsTest, WlanEventsAttachOneSinkToTheThreePointsInOrder)
{
    m_service.ListenForWlanEvents();

    EXPECT_THAT(m_network.EventCalls(),
                ElementsAre("QueryInterface IConnectionPointContainer",
                            "FindConnectionPoint INetworkListManagerEvents", "Advise INetworkListManagerEvents 1",
                            "FindConnectionPoint INetworkConnectionEvents", "Advise INetworkConnectionEvents 2",
                            "FindConnectionPoint INetworkEvents", "Advise INetworkEvents 3"));
    EXPECT_EQ(m_service.ForTesting().nlmEvents.cookie, 1u);
    EXPECT_EQ(m_service.ForTesting().connectionEvents.cookie, 2u);
    EXPECT_EQ(m_service.ForTesting().networkEvents.cookie, 3u);
    EXPECT_TRUE(m_service.ForTesting().nlmEvents.point);
    EXPECT_TRUE(m_service.ForTesting().connectionEvents.point);
    EXPECT_TRUE(m_service.ForTesting().networkEvents.point);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkListManagerEvents), 1u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkConnectionEvents), 1u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkEvents), 1u);
    ASSERT_NE(m_service.ForTesting().networkEventSink, nullptr);
    // Three kept by the subscriptions, three by the points; none by the member.
    EXPECT_EQ(fakes::ReferencesOf(static_cast<INetworkEvents*>(m_service.ForTesting().networkEventSink)), 6u);
    // The container was released: the manager and the three points are left.
    EXPECT_EQ(m_network.LiveObjects(), 4);
    EXPECT_THAT(WlanLines(), ElementsAre(kWlanIn, kWlanOut));
}

TEST_F(SubscriptionsTest, TheNetworkSinkIsMadeOnTheManagerAndTheServicesEthernetSet)
{
    m_service.ListenForWlanEvents();
    // The delivered events reach the one sink through each interface.
    m_network.DeliverConnectivityChanged(NLM_CONNECTIVITY_IPV4_INTERNET);
    GUID network = {0x1234, 0, 0, {0}};
    m_network.DeliverNetworkDeleted(network);
    EXPECT_THAT(m_log.LinesOf("NLMEventHandler::ConnectivityChanged"),
                ElementsAre(L"TraceIn|NLMEventHandler::ConnectivityChanged|NLM_CONNECTIVITY = 64",
                            L"TraceOut|NLMEventHandler::ConnectivityChanged|"));
    EXPECT_FALSE(m_log.LinesOf("NLMEventHandler::NetworkDeleted").empty());
}

TEST_F(SubscriptionsTest, NoContainerEndsTheWlanSubscriptionAtOnce)
{
    m_network.FailEvents(EventFailure::QueryContainer, E_NOINTERFACE);
    m_service.ListenForWlanEvents();
    EXPECT_THAT(WlanLines(),
                ElementsAre(kWlanIn,
                            L"Error|CMainService::ListenForWlanEvents|IID_IConnectionPointContainer QueryInterface "
                            L"failed with error: 0x80004002",
                            kWlanOut));
    EXPECT_EQ(m_service.ForTesting().networkEventSink, nullptr);
    EXPECT_EQ(m_network.LiveObjects(), 1);
}

TEST_F(SubscriptionsTest, TheFirstFindConnectionPointFailureIsLoggedWithACapitalF)
{
    m_network.FailEvents(EventFailure::FindConnectionPoint, E_FAIL, 1);
    m_service.ListenForWlanEvents();
    EXPECT_THAT(WlanLines(),
                ElementsAre(kWlanIn,
                            L"Error|CMainService::ListenForWlanEvents|FindConnectionPoint Failed with error: 0x80004005",
                            kWlanOut));
    EXPECT_EQ(m_service.ForTesting().networkEventSink, nullptr);  // not made yet
    EXPECT_FALSE(m_service.ForTesting().nlmEvents.point);
    EXPECT_EQ(m_network.LiveObjects(), 1);  // the container was released
}

TEST_F(SubscriptionsTest, TheSecondFindConnectionPointFailsAndTheManagerEventsStayAttached)
{
    m_network.FailEvents(EventFailure::FindConnectionPoint, CONNECT_E_NOCONNECTION, 2);
    m_service.ListenForWlanEvents();
    EXPECT_THAT(WlanLines(),
                ElementsAre(kWlanIn,
                            L"Error|CMainService::ListenForWlanEvents|FindConnectionPoint failed with error: 0x80040200",
                            kWlanOut));
    EXPECT_THAT(m_network.EventCalls(),
                ElementsAre("QueryInterface IConnectionPointContainer",
                            "FindConnectionPoint INetworkListManagerEvents", "Advise INetworkListManagerEvents 1",
                            "FindConnectionPoint INetworkConnectionEvents"));
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkListManagerEvents), 1u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkConnectionEvents), 0u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkEvents), 0u);

    // The manager events (which only log) arrive; the connection events never do.
    m_network.DeliverConnectivityChanged(NLM_CONNECTIVITY_DISCONNECTED);
    GUID connection = {0x77, 0, 0, {0}};
    m_network.DeliverConnectionConnectivityChanged(connection, NLM_CONNECTIVITY_IPV4_INTERNET);
    EXPECT_THAT(m_log.LinesOf("NLMEventHandler::ConnectivityChanged"),
                ElementsAre(L"TraceIn|NLMEventHandler::ConnectivityChanged|NLM_CONNECTIVITY = 0",
                            L"TraceOut|NLMEventHandler::ConnectivityChanged|"));
    EXPECT_THAT(m_log.LinesOf("NLMEventHandler::NetworkConnectionConnectivityChanged"), IsEmpty());
}

TEST_F(SubscriptionsTest, TheThirdFindConnectionPointFailureIsLoggedInLowerCase)
{
    m_network.FailEvents(EventFailure::FindConnectionPoint, E_FAIL, 3);
    m_service.ListenForWlanEvents();
    EXPECT_THAT(WlanLines(),
                ElementsAre(kWlanIn,
                            L"Error|CMainService::ListenForWlanEvents|FindConnectionPoint failed with error: 0x80004005",
                            kWlanOut));
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkConnectionEvents), 1u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkEvents), 0u);
}

TEST_F(SubscriptionsTest, AFailedSinkAllocationIsLoggedWithTheLastSuccessCode)
{
    m_service.networkSinkAllocates = false;
    m_service.ListenForWlanEvents();
    EXPECT_THAT(
        WlanLines(),
        ElementsAre(kWlanIn,
                    L"Error|CMainService::ListenForWlanEvents|NLMEventHandler creation failed with error: 0x00000000",
                    kWlanOut));
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkListManagerEvents), 0u);
    EXPECT_TRUE(m_service.ForTesting().nlmEvents.point);  // found before the allocation
}

TEST_F(SubscriptionsTest, EachAdviseFailureEndsTheSubscriptionThere)
{
    for (int occurrence = 1; occurrence <= 3; ++occurrence) {
        SCOPED_TRACE(occurrence);
        fakes::NetworkListModel network;
        TestableMainService service;
        service.ForTesting().networkListManager.Reset(network.NewManager());
        network.FailEvents(EventFailure::Advise, E_ACCESSDENIED, occurrence);
        m_log.Clear();
        service.ListenForWlanEvents();
        EXPECT_THAT(WlanLines(),
                    ElementsAre(kWlanIn, L"Error|CMainService::ListenForWlanEvents|Advise failed with error: 0x80070005",
                                kWlanOut));
        const size_t advised = network.AdvisedCount(IID_INetworkListManagerEvents) +
                               network.AdvisedCount(IID_INetworkConnectionEvents) +
                               network.AdvisedCount(IID_INetworkEvents);
        EXPECT_EQ(advised, static_cast<size_t>(occurrence - 1));
        // The failed advise's query stays on the sink too.
        EXPECT_EQ(fakes::ReferencesOf(static_cast<INetworkEvents*>(service.ForTesting().networkEventSink)),
                  static_cast<ULONG>(2 * occurrence - 1));
        service.ForTesting().networkListManager.Reset();
    }
}

TEST_F(SubscriptionsTest, EachRefusedSinkInterfaceIsLoggedByItsName)
{
    const std::pair<IID, const wchar_t*> cases[] = {
        {IID_INetworkListManagerEvents,
         L"Error|CMainService::ListenForWlanEvents|IID_INetworkListManagerEvents QueryInterface failed with error: "
         L"0x80004002"},
        {IID_INetworkConnectionEvents,
         L"Error|CMainService::ListenForWlanEvents|IID_INetworkConnectionEvents QueryInterface failed with error: "
         L"0x80004002"},
        {IID_INetworkEvents,
         L"Error|CMainService::ListenForWlanEvents|IID_INetworkEvents QueryInterface failed with error: 0x80004002"},
    };
    for (const auto& [refused, line] : cases) {
        fakes::NetworkListModel network;
        TestableMainService service;
        service.ForTesting().networkListManager.Reset(network.NewManager());
        service.networkSink = new RefusingNetworkSink(refused);
        m_log.Clear();
        service.ListenForWlanEvents();
        EXPECT_THAT(WlanLines(), ElementsAre(kWlanIn, line, kWlanOut));
        service.ForTesting().networkListManager.Reset();
    }
}

TEST_F(SubscriptionsTest, WwanEventsAttachTheRadioSinkThroughItsUnknown)
{
    m_service.ListenForWwanEvents();
    EXPECT_THAT(m_broadband.Calls(),
                ElementsAre("QueryInterface IConnectionPointContainer", "FindConnectionPoint IMbnRadioEvents",
                            "Advise"));
    EXPECT_EQ(m_service.ForTesting().radioEvents.cookie, 1u);
    EXPECT_TRUE(m_service.ForTesting().radioEvents.point);
    ASSERT_NE(m_service.ForTesting().radioEventSink, nullptr);
    EXPECT_EQ(m_broadband.AdvisedCount(), 1u);
    // The member's own, one kept by the subscription (its IUnknown), one by
    // the point.
    EXPECT_EQ(fakes::ReferencesOf(m_service.ForTesting().radioEventSink), 3u);
    EXPECT_EQ(m_broadband.LiveObjects(), 2);  // the manager and the point
    EXPECT_THAT(WwanLines(), ElementsAre(kWwanIn, kWwanOut));
}

TEST_F(SubscriptionsTest, EachWwanFailureIsLoggedAndEndsTheSubscription)
{
    const std::pair<MbnFailure, const wchar_t*> cases[] = {
        {MbnFailure::QueryContainer,
         L"Error|CMainService::ListenForWwanEvents|IID_IConnectionPointContainer QueryInterface failed with error: "
         L"0x80004002"},
        {MbnFailure::FindConnectionPoint,
         L"Error|CMainService::ListenForWwanEvents|FindConnectionPoint failed with error: 0x80004002"},
        {MbnFailure::Advise, L"Error|CMainService::ListenForWwanEvents|Advise failed with error: 0x80004002"},
    };
    for (const auto& [point, line] : cases) {
        fakes::MobileBroadbandModel broadband;
        TestableMainService service;
        service.ForTesting().mbnInterfaceManager.Reset(broadband.NewManager());
        broadband.Fail(point, E_NOINTERFACE);
        m_log.Clear();
        service.ListenForWwanEvents();
        EXPECT_THAT(WwanLines(), ElementsAre(kWwanIn, line, kWwanOut));
        EXPECT_EQ(broadband.AdvisedCount(), 0u);
        service.ForTesting().mbnInterfaceManager.Reset();
        service.ForTesting().radioEvents.point.Reset();
        EXPECT_EQ(broadband.LiveObjects(), 0);
    }
}

TEST_F(SubscriptionsTest, AFailedRadioSinkAllocationIsLoggedWithoutACodeAndNoRadioEventArrives)
{
    m_service.radioSinkAllocates = false;
    m_service.ListenForWwanEvents();
    EXPECT_THAT(WwanLines(),
                ElementsAre(kWwanIn, L"Error|CMainService::ListenForWwanEvents|CMbnSinks allocation Failed", kWwanOut));
    EXPECT_EQ(m_service.ForTesting().radioEventSink, nullptr);
    EXPECT_EQ(m_broadband.AdvisedCount(), 0u);
    m_broadband.SwitchByUser(MBN_RADIO_OFF, 5);
    m_broadband.WaitForCompletions();
    EXPECT_THAT(m_log.LinesOf("CMbnSinks::OnSetSoftwareRadioStateComplete"), IsEmpty());
}

TEST_F(SubscriptionsTest, OnStopUnadvisesEveryPointAndReleasesEachSinkOnce)
{
    m_service.ListenForWlanEvents();
    m_service.ListenForWwanEvents();
    INetworkEvents* networkSink = m_service.ForTesting().networkEventSink;
    CMbnSinks* radioSink = m_service.ForTesting().radioEventSink;
    m_service.OnStopForTesting();

    EXPECT_THAT(m_network.EventCalls(),
                testing::IsSupersetOf({"Unadvise INetworkListManagerEvents 1", "Unadvise INetworkConnectionEvents 2",
                                       "Unadvise INetworkEvents 3"}));
    const fakes::Journal calls = m_broadband.Calls();
    EXPECT_EQ(calls.back(), "Unadvise 1");
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkListManagerEvents), 0u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkConnectionEvents), 0u);
    EXPECT_EQ(m_network.AdvisedCount(IID_INetworkEvents), 0u);
    EXPECT_EQ(m_broadband.AdvisedCount(), 0u);
    EXPECT_EQ(m_service.ForTesting().networkEventSink, nullptr);
    EXPECT_EQ(m_service.ForTesting().radioEventSink, nullptr);
    // Every model object was released.
    EXPECT_EQ(m_network.LiveObjects(), 0);
    EXPECT_EQ(m_broadband.LiveObjects(), 0);
    // The detach destroys neither sink, with connection points that count
    // as the platform's: the network sink keeps the three references its
    // subscription took, less the one OnStop gave back (its member holds
    // none); the radio sink keeps its subscription's one, OnStop having
    // given back its member's.
    EXPECT_THAT(m_log.LinesOf("CMbnSinks::~CMbnSinks"), IsEmpty());
    EXPECT_EQ(fakes::ReferencesOf(networkSink), 2u);
    EXPECT_EQ(fakes::ReferencesOf(radioSink), 1u);
}

}  // namespace
