// NLMUtils::ReadNetworkSwitchingStatus and NLMUtils::InitWMIRead: the
// connection and its failures, the query, the time-out and exception
// retries in virtual time, and COM initialisation balanced as prescribed.
#include "BiosTestSupport.h"

#include "platform/ComError.h"

namespace {

using biostest::kFirstClass;
using biostest::kFirstQuery;
using biostest::kRead;
using biostest::kWlan;
using biostest::kWwan;
using biostest::ReadLine;
using fakes::FirmwareWmi;
using fakes::NextStep;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kInit[] = "NLMUtils::InitWMIRead";
constexpr wchar_t kQueryLine[] = L"Verbose|NLMUtils::ReadNetworkSwitchingStatus|WMI Query =  SELECT * FROM "
                                 L"QXBIOS_BIOSEnumeration WHERE Name='LAN / WLAN Auto Switching' OR Name='LAN / "
                                 L"WWAN Auto Switching' OR Name='LAN/WLAN Switching'";

class ReadNetworkSwitchingStatusTest : public biostest::BiosTest {
protected:
    HRESULT Read() { return NLMUtils::ReadNetworkSwitchingStatus(kFirstClass, m_settings); }
};

TEST_F(ReadNetworkSwitchingStatusTest, AReadConnectsQueriesWalksAndTearsDownInThisOrder)
{
    Add(kFirstClass, kWlan, L"Enable");

    EXPECT_EQ(Read(), S_OK);

    EXPECT_THAT(m_journal,
                ElementsAre("CoInitializeEx 0", "CoCreateInstance WbemLocator",
                            "ConnectServer ROOT\\qx\\instrumentedbios", "CoSetProxyBlanket",
                            "ExecQuery QXBIOS_BIOSEnumeration", "Next", "Get Name of LAN / WLAN Auto Switching",
                            "Get Value of LAN / WLAN Auto Switching", "Next", "enumerator released",
                            "services released", "locator released", "CoUninitialize"));
    ASSERT_EQ(m_wmi.Connections().size(), 1u);
    EXPECT_EQ(m_wmi.Connections()[0].resource, L"ROOT\\qx\\instrumentedbios");
    EXPECT_FALSE(m_wmi.Connections()[0].credentials);
    EXPECT_EQ(m_wmi.Connections()[0].flags, 0);
    EXPECT_FALSE(m_wmi.Connections()[0].context);
    ASSERT_EQ(m_wmi.ProxyBlankets().size(), 1u);
    const FirmwareWmi::ProxyBlanket& blanket = m_wmi.ProxyBlankets()[0];
    EXPECT_TRUE(blanket.servicesOfModel);
    EXPECT_EQ(blanket.authentication, static_cast<DWORD>(RPC_C_AUTHN_WINNT));
    EXPECT_EQ(blanket.authorization, static_cast<DWORD>(RPC_C_AUTHZ_NONE));
    EXPECT_FALSE(blanket.principal);
    EXPECT_EQ(blanket.level, static_cast<DWORD>(RPC_C_AUTHN_LEVEL_CALL));
    EXPECT_EQ(blanket.impersonation, static_cast<DWORD>(RPC_C_IMP_LEVEL_IMPERSONATE));
    EXPECT_FALSE(blanket.identity);
    EXPECT_EQ(blanket.capabilities, static_cast<DWORD>(EOAC_NONE));
    ASSERT_EQ(m_wmi.Queries().size(), 1u);
    EXPECT_EQ(m_wmi.Queries()[0].language, L"WQL");
    EXPECT_EQ(m_wmi.Queries()[0].text, kFirstQuery);
    EXPECT_EQ(m_wmi.Queries()[0].flags, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY);
    EXPECT_EQ(m_wmi.Queries()[0].flags, 0x30);
    // A short batch comes with WBEM_S_FALSE, but the objects' code (0) is the
    // one the walk tests, so one more Next finds the end.
    const auto next = std::make_pair(static_cast<LONG>(WBEM_INFINITE), 10ul);
    EXPECT_THAT(m_wmi.NextCalls(), ElementsAre(next, next));
    EXPECT_THAT(Lines(kInit),
                ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|", L"TraceOut|NLMUtils::InitWMIRead|Return Value = 0x0"));
    EXPECT_EQ(m_settings.at(kWlan), L"Enable");
    EXPECT_EQ(m_com.concurrencyModel, static_cast<DWORD>(COINIT_MULTITHREADED));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, SixTimeOutsCostSixWalksSixShortPausesAndOneLongOne)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.Script(kFirstClass, std::vector<NextStep>(6, NextStep::TimedOut()));

    EXPECT_EQ(Read(), WBEM_S_TIMEDOUT);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u, 1000u, 1000u, 1000u, 1000u, 1000u, 3000u));
    EXPECT_EQ(m_wmi.NextCalls().size(), 6u);
    std::vector<std::wstring> expected = {ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine};
    for (int i = 1; i <= 6; ++i) {
        expected.push_back(ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00040004]"));
        expected.push_back(ReadLine(L"Warning", L"WMI Read Timeout. [hr:0x00040004]"));
        expected.push_back(ReadLine(L"Verbose", L"Retry Count for Timeout =  " + std::to_wstring(i)));
    }
    expected.push_back(ReadLine(L"Verbose", L"Retry Count for Exception =  1"));
    expected.push_back(ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x40004"));
    EXPECT_THAT(Lines(kRead), testing::ContainerEq(expected));
    // No time-out in this read came from an exception: one pass only.
    EXPECT_EQ(m_wmi.Queries().size(), 1u);
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AfterTimeOutsTheMapIsWhatTheLastWalkLeft)
{
    Add(kFirstClass, L"first", L"1");
    Add(kFirstClass, L"second", L"2");
    Add(kFirstClass, kWlan, L"Enable");
    Add(kFirstClass, kWwan, L"Enable");
    // Objects that come with a time-out are read and the walk goes on; the
    // empty time-out after them ends it. Each walk clears the map first, so
    // only the sixth walk's objects remain.
    m_wmi.Script(kFirstClass, {NextStep::TimedOut(),                                         // walk 1
                               NextStep::Batch(1, WBEM_S_TIMEDOUT), NextStep::TimedOut(),    // walk 2
                               NextStep::TimedOut(),                                         // walk 3
                               NextStep::Batch(1, WBEM_S_TIMEDOUT), NextStep::TimedOut(),    // walk 4
                               NextStep::TimedOut(),                                         // walk 5
                               NextStep::Batch(2, WBEM_S_TIMEDOUT), NextStep::TimedOut()});  // walk 6

    EXPECT_EQ(Read(), WBEM_S_TIMEDOUT);

    EXPECT_EQ(m_settings, (NLMUtils::SettingMap{{kWlan, L"Enable"}, {kWwan, L"Enable"}}));
    EXPECT_EQ(Lines(kRead).back(), ReadLine(L"TraceOut", L"Return WMI Read Count = 2,Return Value = 0x40004"));
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u, 1000u, 1000u, 1000u, 1000u, 1000u, 3000u));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, ATimeOutFollowedByTheRestEndsTheReadWithoutTheLongPause)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.Script(kFirstClass, {NextStep::TimedOut(), NextStep::TimedOut()});

    EXPECT_EQ(Read(), S_OK);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(1000u, 1000u));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine,
                                          ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00040004]"),
                                          ReadLine(L"Warning", L"WMI Read Timeout. [hr:0x00040004]"),
                                          ReadLine(L"Verbose", L"Retry Count for Timeout =  1"),
                                          ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00040004]"),
                                          ReadLine(L"Warning", L"WMI Read Timeout. [hr:0x00040004]"),
                                          ReadLine(L"Verbose", L"Retry Count for Timeout =  2"),
                                          ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00000000]"),
                                          ReadLine(L"Verbose", L"Retry Count for Timeout =  2"),
                                          ReadLine(L"TraceOut", L"Return WMI Read Count = 1,Return Value = 0x0")));
}

TEST_F(ReadNetworkSwitchingStatusTest, AComErrorOnEveryPassCostsFourPassesWithTheLongPauseAfterEach)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.ThrowOnHandOver(kFirstClass, WBEM_E_TRANSPORT_FAILURE);

    EXPECT_EQ(Read(), WBEM_E_TRANSPORT_FAILURE);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u, 3000u, 3000u, 3000u));
    std::vector<std::wstring> expected = {ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine};
    for (int i = 1; i <= 4; ++i) {
        expected.push_back(ReadLine(L"Error", L"Exception while getting BIOS with error 0x80041015"));
        expected.push_back(ReadLine(L"Verbose", L"Retry Count for Exception =  " + std::to_wstring(i)));
    }
    expected.push_back(ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x80041015"));
    EXPECT_THAT(Lines(kRead), testing::ContainerEq(expected));
    EXPECT_THAT(m_wmi.NextCalls(), IsEmpty());
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AComErrorInTheFirstPassAndSuccessInTheSecondCostsOneLongPause)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.ThrowOnHandOver(kFirstClass, E_OUTOFMEMORY, 1);

    EXPECT_EQ(Read(), S_OK);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine,
                                          ReadLine(L"Error", L"Exception while getting BIOS with error 0x8007000E"),
                                          ReadLine(L"Verbose", L"Retry Count for Exception =  1"),
                                          ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x00000000]"),
                                          ReadLine(L"Verbose", L"Retry Count for Timeout =  0"),
                                          ReadLine(L"TraceOut", L"Return WMI Read Count = 1,Return Value = 0x0")));
    EXPECT_EQ(m_settings.at(kWlan), L"Enable");
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, OnceAnExceptionWasSeenLaterTimedOutPassesAreRetriedToo)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.ThrowOnHandOver(kFirstClass, E_FAIL, 1);
    m_wmi.Script(kFirstClass, std::vector<NextStep>(6, NextStep::TimedOut()));

    EXPECT_EQ(Read(), S_OK);

    // Pass 1 throws, pass 2 times out six times, pass 3 reads the setting.
    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u, 1000u, 1000u, 1000u, 1000u, 1000u, 1000u, 3000u));
    EXPECT_EQ(m_settings.size(), 1u);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailingWalkWithoutExceptionCostsOneLongPauseAndEndsTheRead)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.Script(kFirstClass, {NextStep::Returns(WBEM_E_FAILED)});

    EXPECT_EQ(Read(), WBEM_E_FAILED);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u));
    EXPECT_THAT(Lines(kRead),
                ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine,
                            ReadLine(L"Verbose", L"ProcessEnum Return  [hr:0x80041001]"),
                            ReadLine(L"Verbose", L"Retry Count for Timeout =  0"),
                            ReadLine(L"Verbose", L"Retry Count for Exception =  1"),
                            ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x80041001")));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AComErrorThrownByNextIsTheWalksOwnAndCostsOnePass)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.Script(kFirstClass, {NextStep::Throws(RPC_E_DISCONNECTED)});

    EXPECT_EQ(Read(), RPC_E_DISCONNECTED);

    EXPECT_THAT(m_clock.Pauses(), ElementsAre(3000u));
    EXPECT_THAT(Lines("NLMUtils::ProcessEnum"),
                ElementsAre(testing::StartsWith(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x"),
                            L"Error|NLMUtils::ProcessEnum|Exception while Processing BIOS Enumeration with error "
                            L"0x80010108",
                            L"TraceOut|NLMUtils::ProcessEnum|Return Value = 0x80010108"));
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailingExecQueryIsLoggedAndCleanedUp)
{
    m_wmi.Fail(FirmwareWmi::Failure::ExecQuery, WBEM_E_INVALID_CLASS);

    EXPECT_EQ(Read(), WBEM_E_INVALID_CLASS);

    EXPECT_THAT(Lines(kRead),
                ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"), kQueryLine,
                            ReadLine(L"Error", std::wstring(L"Query for ") + kFirstQuery +
                                                   L" from  QXBIOS_BIOSEnumeration failed. [hr:0x80041010]"),
                            ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x80041010")));
    EXPECT_THAT(m_clock.Pauses(), IsEmpty());
    EXPECT_EQ(m_wmi.Queries().size(), 1u);
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailingConnectServerUninitialisesCOMInInitWMIReadOnly)
{
    m_wmi.Fail(FirmwareWmi::Failure::ConnectServer, WBEM_E_INVALID_NAMESPACE);

    EXPECT_EQ(Read(), WBEM_E_INVALID_NAMESPACE);

    EXPECT_THAT(Lines(kInit),
                ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|",
                            L"Error|NLMUtils::InitWMIRead|Could not connect to ROOT\\qx\\instrumentedbios. "
                            L"[hr:0x8004100E]",
                            L"TraceOut|NLMUtils::InitWMIRead|Return Value = 0x8004100e"));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"),
                                          ReadLine(L"Error", L"Failed to initialize WMI Read [hr:0x8004100E]")));
    EXPECT_THAT(m_journal,
                ElementsAre("CoInitializeEx 0", "CoCreateInstance WbemLocator",
                            "ConnectServer ROOT\\qx\\instrumentedbios", "locator released", "CoUninitialize"));
    EXPECT_TRUE(m_wmi.ProxyBlankets().empty());
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailingProxyBlanketReleasesBothAndUninitialisesCOM)
{
    m_wmi.Fail(FirmwareWmi::Failure::ProxyBlanket, E_ACCESSDENIED);

    EXPECT_EQ(Read(), E_ACCESSDENIED);

    EXPECT_THAT(Lines(kInit), ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|",
                                          L"Error|NLMUtils::InitWMIRead|Could not set proxy blanket . [hr:0x80070005]",
                                          L"TraceOut|NLMUtils::InitWMIRead|Return Value = 0x80070005"));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"),
                                          ReadLine(L"Error", L"Failed to initialize WMI Read [hr:0x80070005]")));
    EXPECT_THAT(m_journal, ElementsAre("CoInitializeEx 0", "CoCreateInstance WbemLocator",
                                       "ConnectServer ROOT\\qx\\instrumentedbios", "CoSetProxyBlanket",
                                       "services released", "locator released", "CoUninitialize"));
    EXPECT_TRUE(m_wmi.Queries().empty());
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailedLocatorCreationLeavesCOMInitialised)
{
    m_wmi.Fail(FirmwareWmi::Failure::CreateLocator, REGDB_E_CLASSNOTREG);

    EXPECT_EQ(Read(), REGDB_E_CLASSNOTREG);

    EXPECT_THAT(Lines(kInit),
                ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|",
                            L"Error|NLMUtils::InitWMIRead|Failed to create IWbemLocator object. [hr:0x80040154]"));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"),
                                          ReadLine(L"Error", L"Failed to initialize WMI Read [hr:0x80040154]")));
    EXPECT_EQ(m_com.initializations, 1);
    EXPECT_EQ(m_com.uninitializations, 0);
    EXPECT_EQ(m_wmi.LocatorsCreated(), 0);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AFailedCOMInitialisationEndsTheReadBeforeAnyObject)
{
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, RPC_E_CHANGED_MODE);

    EXPECT_EQ(Read(), RPC_E_CHANGED_MODE);

    EXPECT_THAT(Lines(kInit),
                ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|",
                            L"Error|NLMUtils::InitWMIRead|Failed to initialize COM library [hr:0x80010106]"));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"),
                                          ReadLine(L"Error", L"Failed to initialize WMI Read [hr:0x80010106]")));
    EXPECT_THAT(m_journal, ElementsAre("CoInitializeEx 0"));
    EXPECT_EQ(m_com.uninitializations, 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, AConnectionWithoutServicesSkipsTheQueryButCleansUp)
{
    m_wmi.Fail(FirmwareWmi::Failure::NoServices, WBEM_S_NO_ERROR);

    EXPECT_EQ(Read(), S_OK);

    EXPECT_THAT(Lines(kInit),
                ElementsAre(L"TraceIn|NLMUtils::InitWMIRead|", L"TraceOut|NLMUtils::InitWMIRead|Return Value = 0x0"));
    EXPECT_THAT(Lines(kRead), ElementsAre(ReadLine(L"TraceIn", L"Fetch Location = QXBIOS_BIOSEnumeration"),
                                          ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x0")));
    EXPECT_THAT(m_journal,
                ElementsAre("CoInitializeEx 0", "CoCreateInstance WbemLocator",
                            "ConnectServer ROOT\\qx\\instrumentedbios", "locator released", "CoUninitialize"));
    EXPECT_TRUE(m_wmi.ProxyBlankets().empty());
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
}

TEST_F(ReadNetworkSwitchingStatusTest, InitWMIReadEmptiesBothOutputsFirstAndHandsOutAConnectedPair)
{
    os::ComPtr<IWbemLocator> locator;
    os::ComPtr<IWbemServices> services;
    EXPECT_EQ(NLMUtils::InitWMIRead(locator, services), S_OK);
    EXPECT_TRUE(locator);
    EXPECT_TRUE(services);
    EXPECT_EQ(m_wmi.LiveObjects(), 2);

    m_wmi.Fail(FirmwareWmi::Failure::ConnectServer, WBEM_E_ACCESS_DENIED);
    EXPECT_EQ(NLMUtils::InitWMIRead(locator, services), WBEM_E_ACCESS_DENIED);
    EXPECT_FALSE(locator);
    EXPECT_FALSE(services);
    EXPECT_EQ(m_wmi.LiveObjects(), 0);
    // The first call's initialisation is the caller's to undo.
    EXPECT_EQ(m_com.initializations, 2);
    EXPECT_EQ(m_com.uninitializations, 1);
}

TEST_F(ReadNetworkSwitchingStatusTest, TheMapIsClearedAtTheStartOfEveryRead)
{
    m_settings[L"stale"] = L"Enable";
    m_com.Fail(fakes::FakeComRuntime::Failure::Initialize, E_FAIL);

    Read();

    EXPECT_TRUE(m_settings.empty());
}

// BSTR allocations that are refused: the query's (kept as a logged
// failure, then the clean-up) and the namespace's (a COM error).
BSTR WINAPI RefusingQueries(const OLECHAR* text)
{
    if (std::wstring(text).rfind(L"SELECT", 0) == 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return ::SysAllocString(text);
}

BSTR WINAPI RefusingTheNamespace(const OLECHAR* text, UINT length)
{
    if (std::wstring(text, length) == L"ROOT\\qx\\instrumentedbios")
        return nullptr;
    return ::SysAllocStringLen(text, length);
}

TEST_F(ReadNetworkSwitchingStatusTest, AQueryTextThatCannotBeAllocatedIsLoggedAndCleanedUp)
{
    Add(kFirstClass, kWlan, L"Enable");
    os::ScopedApiOverride seam;
    seam->SysAllocString = &RefusingQueries;
    EXPECT_EQ(Read(), S_OK);
    EXPECT_TRUE(m_settings.empty());
    EXPECT_THAT(Lines(kRead),
                testing::Contains(ReadLine(L"Error", L"Failed to initialize WMI Query. Error = 0x00000008")));
    EXPECT_EQ(Lines(kRead).back(), ReadLine(L"TraceOut", L"Return WMI Read Count = 0,Return Value = 0x0"));
    EXPECT_EQ(m_com.uninitializations, 1);
    EXPECT_EQ(m_wmi.Queries().size(), 0u);
}

TEST_F(ReadNetworkSwitchingStatusTest, ANamespaceTextThatCannotBeAllocatedIsAComErrorOutOfMemory)
{
    Add(kFirstClass, kWlan, L"Enable");
    os::ScopedApiOverride seam;
    seam->SysAllocStringLen = &RefusingTheNamespace;
    try {
        NLMUtils::SettingMap settings;
        os::ComPtr<IWbemLocator> locator;
        os::ComPtr<IWbemServices> services;
        NLMUtils::InitWMIRead(locator, services);
        FAIL() << "no COM error";
    } catch (const os::ComError& error) {
        EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
    }
    EXPECT_TRUE(m_wmi.Connections().empty());
}

}  // namespace
