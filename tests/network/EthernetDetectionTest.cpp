// The machine-wide Ethernet test: building the legacy adapter list, the
// walk over it and its serialisation, against the IP Helper model.
#include "network/AdapterWalks.h"
#include "network/EthernetCheck.h"

#include "fakes/FakeProcessHeap.h"
#include "fakes/RecordingListener.h"
#include "models/Adapters.h"
#include "models/FakeIpHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace {

using fakes::FakeIpHelper;
using fakes::Adapter;
using fakes::Ethernet;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kInitialised1[] = L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() success: "
                                    L"ulOutBufLen = 704.";

class EthernetDetectionTest : public testing::Test {
protected:
    ~EthernetDetectionTest() override { EthernetCheck::ReleaseAdapterList(); }

    std::vector<std::wstring> Lines(const char* function) const { return m_log.LinesOf(function); }

    fakes::RecordingLog m_log;
    fakes::FakeProcessHeap m_heap;
    FakeIpHelper m_ipHelper;
    int m_status = -7;
    int m_ipNotAssigned = 0;
};

// InitialiseAdapter

TEST_F(EthernetDetectionTest, OneAdapterFitsTheFirstBufferAndIsReadWithTwoCalls)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), 0);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 2);
    EXPECT_THAT(m_heap.Allocations(), ElementsAre(704u));
    ASSERT_NE(EthernetCheck::AdapterListForTesting(), nullptr);
    EXPECT_STREQ(EthernetCheck::AdapterListForTesting()->Description, "Intel(R) Ethernet");
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|", kInitialised1,
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 0"));
}

TEST_F(EthernetDetectionTest, AFirstCallThatOverflowsReallocatesOnceWithTheAskedLength)
{
    m_ipHelper.SetAdapters({Ethernet("a", "10.0.0.1"), Ethernet("b", "10.0.0.2"), Ethernet("c", "10.0.0.3")});
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), 0);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 2);
    EXPECT_THAT(m_heap.Allocations(), ElementsAre(704u, 3 * 704u));
    EXPECT_EQ(m_heap.Live(), 1u);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() returns "
                            L"ERROR_BUFFER_OVERFLOW: Re-allocating with new buffer size = 2112",
                            L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() success: "
                            L"ulOutBufLen = 2112.",
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 0"));
}

TEST_F(EthernetDetectionTest, EachCallFreesThePreviousList)
{
    m_ipHelper.SetAdapters({Ethernet("a", "10.0.0.1")});
    EthernetCheck::InitialiseAdapter();
    EthernetCheck::InitialiseAdapter();
    EXPECT_EQ(m_heap.Frees(), 1);
    EXPECT_EQ(m_heap.Live(), 1u);
}

TEST_F(EthernetDetectionTest, AFailedFirstAllocationReturnsOneBeforeAnyCall)
{
    m_ipHelper.SetAdapters({Ethernet("a", "10.0.0.1")});
    m_heap.FailAllocation(1);
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), 1);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    EXPECT_EQ(EthernetCheck::AdapterListForTesting(), nullptr);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Error|NLMEventHandler::InitialiseAdapter|Error allocating memory needed to call "
                            L"GetAdaptersinfo\n"));
}

TEST_F(EthernetDetectionTest, AFailedReallocationLeavesTheListNullAndReturnsOne)
{
    m_ipHelper.SetAdapters({Ethernet("a", "10.0.0.1"), Ethernet("b", "10.0.0.2")});
    m_heap.FailAllocation(2);
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), 1);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 1);
    EXPECT_EQ(EthernetCheck::AdapterListForTesting(), nullptr);
    EXPECT_EQ(m_heap.Live(), 0u);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Information|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() returns "
                            L"ERROR_BUFFER_OVERFLOW: Re-allocating with new buffer size = 1408",
                            L"Error|NLMEventHandler::InitialiseAdapter|Error allocating memory needed to call "
                            L"GetAdaptersinfo.Error = 0x00000008"));
}

TEST_F(EthernetDetectionTest, ASecondCallThatFailsShowsTheLastErrorAndReturnsItsCode)
{
    m_ipHelper.Fail(FakeIpHelper::Failure::AdaptersInfo, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 2);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Error|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() failed.Error = 0x00000057",
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 87"));
}

ULONG WINAPI FailingWithAnotherLastError(PIP_ADAPTER_INFO, PULONG)
{
    SetLastError(ERROR_ACCESS_DENIED);
    return ERROR_NO_DATA;
}

TEST_F(EthernetDetectionTest, TheFailureLineShowsTheThreadsLastErrorNotTheReturnedCode)
{
    os::ScopedApiOverride seam;
    seam->GetAdaptersInfo = &FailingWithAnotherLastError;
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), ERROR_NO_DATA);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Error|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() failed.Error = 0x00000005",
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 232"));
}

TEST_F(EthernetDetectionTest, NoAdaptersAtAllFailTheTestAndLeaveTheStatusUntouched)
{
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 0);
    EXPECT_EQ(m_status, -7);
    EXPECT_EQ(m_ipNotAssigned, 0);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Error|NLMEventHandler::InitialiseAdapter|GetAdaptersInfo() failed.Error = 0x000000e8",
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 232"));
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"Error|NLMEventHandler::CheckEthernetConnectionStatus|InitialiseAdapter failed"));
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatusEx"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|Return Value = 0"));
}

ULONG WINAPI ThrowingAdaptersInfo(PIP_ADAPTER_INFO, PULONG) { throw std::runtime_error("adapters"); }

TEST_F(EthernetDetectionTest, AnExceptionInsideIsLoggedAndGivesOne)
{
    os::ScopedApiOverride seam;
    seam->GetAdaptersInfo = &ThrowingAdaptersInfo;
    EXPECT_EQ(EthernetCheck::InitialiseAdapter(), 1);
    EXPECT_THAT(Lines("NLMEventHandler::InitialiseAdapter"),
                ElementsAre(L"TraceIn|NLMEventHandler::InitialiseAdapter|",
                            L"Information|NLMEventHandler::InitialiseAdapter|Exception in GetAdaptersInfo()",
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 1"));
}

// CheckEthernetConnectionStatus and its Ex form

TEST_F(EthernetDetectionTest, AnEthernetAdapterWithAnAddressIsEthernet)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 1);
    EXPECT_EQ(m_status, 1);
    EXPECT_EQ(m_ipNotAssigned, 0);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                            L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"TraceIn|NLMEventHandler::InitialiseAdapter|", kInitialised1,
                            L"TraceOut|NLMEventHandler::InitialiseAdapter|Return = 0",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network "
                            L"interface.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet is not VPN and IP "
                            L"is valid",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 1",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|Return Value = 1"));
}

TEST_F(EthernetDetectionTest, AnEthernetAdapterWithoutAnAddressIsReportedAsNotAssigned)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "0.0.0.0")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 1);
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(m_ipNotAssigned, 1);
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 0"));
}

TEST_F(EthernetDetectionTest, ANullNotAssignedPointerIsAllowed)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "0.0.0.0")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, nullptr), 1);
    EXPECT_EQ(m_status, 0);
}

TEST_F(EthernetDetectionTest, TheNotAssignedMarkIsNeverCleared)
{
    m_ipNotAssigned = 1;
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_EQ(m_ipNotAssigned, 1);
}

TEST_F(EthernetDetectionTest, ATapAdapterFirstAndAnOrdinaryCardSecondEndsTheWalkAtTheSecond)
{
    m_ipHelper.SetAdapters({Ethernet("TAP-Windows Adapter V9", "10.8.0.2"), Ethernet("Intel(R) Ethernet", "192.168.1.2"),
                            Adapter(IF_TYPE_IEEE80211, fakes::kWirelessGuid, "Wi-Fi", "192.168.1.3")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 1);
    EXPECT_EQ(m_status, 1);
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network "
                            L"interface.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet is VPN and IP is "
                            L"valid",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An Ethernet network "
                            L"interface.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet is not VPN and IP "
                            L"is valid",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 1"));
}

TEST_F(EthernetDetectionTest, OnlyVpnAdaptersWithAddressesAreNotEthernet)
{
    m_ipHelper.SetAdapters({Ethernet("Contoso VPN Client", "10.1.0.2"), Ethernet("Hyper-V Virtual Ethernet", "10.2.0.2")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 1);
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(m_ipNotAssigned, 0);
}

TEST_F(EthernetDetectionTest, TheVpnWordsAreCaseSensitive)
{
    m_ipHelper.SetAdapters({Ethernet("corporate vpn tap-win virtual", "10.1.0.2")});
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_EQ(m_status, 1);
}

TEST_F(EthernetDetectionTest, AnAddressThatOnlyBeginsWithTheUnassignedTextIsAssigned)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "0.0.0.01")});
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_EQ(m_status, 1);
    EXPECT_EQ(m_ipNotAssigned, 0);
}

TEST_F(EthernetDetectionTest, AnAddressEndingInZeroZeroIsAssigned)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "10.20.0.0")});
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_EQ(m_status, 1);
}

TEST_F(EthernetDetectionTest, TheVpnWordsOfAnAdapterWithoutAddressAreNotLookedAt)
{
    m_ipHelper.SetAdapters({Ethernet("Contoso VPN Client", "0.0.0.0")});
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_EQ(m_ipNotAssigned, 1);
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 0"));
}

TEST_F(EthernetDetectionTest, EveryOtherTypeIsNamedAndPassedOver)
{
    m_ipHelper.SetAdapters({Adapter(MIB_IF_TYPE_OTHER, "{1}", "other", "1.1.1.1"),
                            Adapter(IF_TYPE_IEEE80211, "{2}", "wifi", "1.1.1.2"), Adapter(237, "{3}", "wimax", "1.1.1.3"),
                            Adapter(243, "{4}", "gsm", "1.1.1.4"), Adapter(244, "{5}", "cdma", "1.1.1.5"),
                            Adapter(MIB_IF_TYPE_PPP, "{6}", "ppp", "1.1.1.6"),
                            Adapter(MIB_IF_TYPE_LOOPBACK, "{7}", "loopback", "127.0.0.1")});
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned), 1);
    EXPECT_EQ(m_status, 0);
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Some other type of network "
                            L"interface.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|An IEEE 802.11 wireless "
                            L"network interface.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|A mobile broadband interface "
                            L"for WiMax devices.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|A mobile broadband interface "
                            L"for GSM - based devices.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|A mobile broadband interface "
                            L"for CDMA-based devices.",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Unknown type 23",
                            L"Information|NLMEventHandler::CheckEthernetConnectionStatus|Unknown type 24",
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatus|Ethernet Status = 0"));
}

TEST_F(EthernetDetectionTest, AFailedListBuildLeavesBothOutValuesUntouched)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    m_heap.FailAllocation(1);
    m_ipNotAssigned = 5;
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatus(&m_status, &m_ipNotAssigned), 0);
    EXPECT_EQ(m_status, -7);
    EXPECT_EQ(m_ipNotAssigned, 5);
}

ULONG WINAPI ThrowingOnTheSecondCall(PIP_ADAPTER_INFO, PULONG length)
{
    static int calls = 0;
    if (++calls % 2 == 1) {
        *length = 704;
        return ERROR_SUCCESS;
    }
    throw std::runtime_error("second call");
}

TEST_F(EthernetDetectionTest, AnExceptionInTheListBuildFailsTheTestWithoutTouchingTheStatus)
{
    os::ScopedApiOverride seam;
    seam->GetAdaptersInfo = &ThrowingOnTheSecondCall;
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatus(&m_status, &m_ipNotAssigned), 0);
    EXPECT_EQ(m_status, -7);
    EXPECT_THAT(Lines("NLMEventHandler::CheckEthernetConnectionStatus"),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatus|",
                            L"Error|NLMEventHandler::CheckEthernetConnectionStatus|InitialiseAdapter failed"));
}

// A lockable whose lock fails, as a mutex the system cannot take.
struct FailingMutex {
    void lock() { throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur)); }
    void unlock() {}
};

TEST_F(EthernetDetectionTest, ALockThatFailsIsLoggedWithItsCodeAndGivesZero)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    FailingMutex mutex;
    EXPECT_EQ(EthernetCheck::CheckEthernetConnectionStatusUnder(mutex, &m_status, &m_ipNotAssigned), 0);
    EXPECT_EQ(m_status, -7);
    EXPECT_EQ(m_ipHelper.InfoCalls(), 0);
    const int code = static_cast<int>(std::errc::resource_deadlock_would_occur);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre(L"TraceIn|NLMEventHandler::CheckEthernetConnectionStatusEx|",
                            L"Error|NLMEventHandler::CheckEthernetConnectionStatusEx|Exception in "
                            L"CheckEthernetConnectionStatusEx() : Code = " +
                                std::to_wstring(code),
                            L"TraceOut|NLMEventHandler::CheckEthernetConnectionStatusEx|Return Value = 0"));
}

TEST_F(EthernetDetectionTest, TheExFormHoldsTheProcessWideMutexDuringTheTest)
{
    m_ipHelper.SetAdapters({Ethernet("Intel(R) Ethernet", "192.168.1.2")});
    std::unique_lock<std::mutex> held(EthernetCheck::EthernetCheckMutexForTesting(), std::defer_lock);
    os::ScopedApiOverride seam;
    static bool lockedDuringCall = false;
    lockedDuringCall = false;
    static decltype(os::api().GetAdaptersInfo) real = nullptr;
    real = os::api().GetAdaptersInfo;
    seam->GetAdaptersInfo = [](PIP_ADAPTER_INFO buffer, PULONG length) -> ULONG {
        lockedDuringCall = !EthernetCheck::EthernetCheckMutexForTesting().try_lock();
        if (!lockedDuringCall)
            EthernetCheck::EthernetCheckMutexForTesting().unlock();
        return real(buffer, length);
    };
    EthernetCheck::CheckEthernetConnectionStatusEx(&m_status, &m_ipNotAssigned);
    EXPECT_TRUE(lockedDuringCall);
    EXPECT_TRUE(held.try_lock());  // and released afterwards
}

// The walk over a hand-built chain

TEST(WalkAdapterInfo, AnEmptyChainIsNoEthernet)
{
    fakes::RecordingLog log;
    int status = -1;
    NLMUtils::WalkAdapterInfo(nullptr, &status, nullptr, QX::Shared::FunctionLog("Walk"));
    EXPECT_EQ(status, 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(WalkAdapterInfo, TheFirstQualifyingAdapterEndsTheWalk)
{
    IP_ADAPTER_INFO chain[3] = {};
    for (int i = 0; i < 3; ++i) {
        chain[i].Type = MIB_IF_TYPE_ETHERNET;
        std::strcpy(chain[i].IpAddressList.IpAddress.String, "10.0.0.1");
        std::strcpy(chain[i].Description, "card");
        chain[i].Next = i < 2 ? &chain[i + 1] : nullptr;
    }
    std::strcpy(chain[0].IpAddressList.IpAddress.String, "0.0.0.0");
    chain[2].Type = 999;  // never reached
    fakes::RecordingLog log;
    int status = -1;
    int notAssigned = 0;
    NLMUtils::WalkAdapterInfo(chain, &status, &notAssigned, QX::Shared::FunctionLog("Walk"));
    EXPECT_EQ(status, 1);
    EXPECT_EQ(notAssigned, 1);
    EXPECT_THAT(log.Lines(), ElementsAre(L"Information|Walk|An Ethernet network interface.",
                                         L"Information|Walk|Ethernet is not VPN and IP is valid"));
}

} // namespace
