// NLMUtils::ProcessEnum and NLMUtils::ProcessObjects: the walk in batches of
// ten, the odd objects a firmware hands out, the COM errors each catches
// itself, and every object released on every path.
#include "BiosTestSupport.h"

#include "platform/ComError.h"

namespace {

using biostest::kFirstClass;
using biostest::kWlan;
using biostest::kWwan;
using fakes::NextStep;
using testing::ElementsAre;
using testing::StartsWith;

constexpr char kEnum[] = "NLMUtils::ProcessEnum";
constexpr char kObjects[] = "NLMUtils::ProcessObjects";

class ProcessEnumTest : public biostest::BiosTest {
protected:
    // A walk over the firmware's answer to the first class's query.
    HRESULT Walk()
    {
        os::ComPtr<IWbemServices> services = Connect();
        os::ComPtr<IEnumWbemClassObject> enumerator;
        const os::UniqueBstr language = os::MakeBstr(L"WQL");
        const os::UniqueBstr query = os::MakeBstr(L"SELECT * FROM QXBIOS_BIOSEnumeration");
        EXPECT_EQ(services->ExecQuery(language.get(), query.get(), 0x30, nullptr, enumerator.Put()), S_OK);
        return NLMUtils::ProcessEnum(enumerator, m_settings);
    }

    os::ComPtr<IWbemServices> Connect()
    {
        os::ComPtr<IWbemLocator> locator;
        os::ComPtr<IWbemServices> services;
        EXPECT_EQ(NLMUtils::InitWMIRead(locator, services), S_OK);
        return services;
    }
};

TEST_F(ProcessEnumTest, ANullEnumeratorIsAPointerError)
{
    m_settings[L"stale"] = L"x";
    EXPECT_EQ(NLMUtils::ProcessEnum(os::ComPtr<IEnumWbemClassObject>(), m_settings), E_POINTER);
    EXPECT_TRUE(m_settings.empty());
    EXPECT_THAT(Lines(kEnum), ElementsAre(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x0",
                                          L"Error|NLMUtils::ProcessEnum|IEnumWbemClassObject is NULL"));
}

TEST_F(ProcessEnumTest, ANullObjectIsAPointerError)
{
    EXPECT_EQ(NLMUtils::ProcessObjects(nullptr, m_settings), E_POINTER);
    EXPECT_THAT(Lines(kObjects), ElementsAre(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x0",
                                             L"Error|NLMUtils::ProcessObjects|IWbemClassObject is NULL"));
}

TEST_F(ProcessEnumTest, TheWalkAsksForTenAtATimeWithoutTimeLimitAndEndsWithZeroOnFalse)
{
    for (int i = 0; i < 12; ++i)
        Add(kFirstClass, L"S" + std::to_wstring(10 + i), L"v");

    EXPECT_EQ(Walk(), S_OK);

    const auto next = std::make_pair(static_cast<LONG>(WBEM_INFINITE), 10ul);
    EXPECT_THAT(m_wmi.NextCalls(), ElementsAre(next, next, next));
    EXPECT_EQ(m_settings.size(), 12u);
    EXPECT_THAT(Lines(kEnum), ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x"),
                                          L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  10",
                                          L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  2",
                                          L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  0",
                                          L"TraceOut|NLMUtils::ProcessEnum|Return Value = 0x0"));
}

TEST_F(ProcessEnumTest, ObjectsAreReadInOrderAndEachIsLoggedWithItsOwnEntryAndExit)
{
    Add(kFirstClass, kWlan, L"Enable");

    EXPECT_EQ(Walk(), S_OK);

    EXPECT_THAT(Lines(kObjects), ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x"),
                                             L"TraceOut|NLMUtils::ProcessObjects|Return Value = 0x0"));
}

TEST_F(ProcessEnumTest, AFailingNextEndsTheWalkWithItsCodeAndReleasesWhatItHandedOut)
{
    Add(kFirstClass, kWlan, L"Enable");
    Add(kFirstClass, kWwan, L"Enable");
    // A provider that returns objects with a failure: they are not read,
    // but they go back all the same.
    m_wmi.Script(kFirstClass, {NextStep::Batch(2, WBEM_E_CRITICAL_ERROR)});

    EXPECT_EQ(Walk(), WBEM_E_CRITICAL_ERROR);

    EXPECT_TRUE(m_settings.empty());
    EXPECT_THAT(Lines(kEnum),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x"),
                            L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  2",
                            L"Error|NLMUtils::ProcessEnum|Failed to enumerate WMI Objects. [hr:0x8004100A]",
                            L"TraceOut|NLMUtils::ProcessEnum|Return Value = 0x8004100a"));
    EXPECT_TRUE(Lines(kObjects).empty());
}

TEST_F(ProcessEnumTest, AFailingObjectIsLoggedWithCodeAndIndexInThatOrder)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.AddSetting({kFirstClass, L"broken", L"", fakes::MissingValue(), std::nullopt});
    Add(kFirstClass, kWwan, L"Enable");

    // Only the batch's last code is tested, so a failure in the middle of a
    // batch does not end the walk.
    EXPECT_EQ(Walk(), S_OK);

    // The code fills the decimal field and the index the hexadecimal one.
    EXPECT_THAT(Lines(kEnum),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x"),
                            L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  3",
                            L"Error|NLMUtils::ProcessEnum|ProcessObjects Failed for obj -2147217406. [hr:0x00000001]",
                            L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  0",
                            L"TraceOut|NLMUtils::ProcessEnum|Return Value = 0x0"));
    EXPECT_THAT(Lines(kObjects),
                testing::Contains(L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Name). [hr:0x80041002] "
                                  L"[CIMTYPE = 0]"));
    EXPECT_EQ(m_settings.size(), 2u);
    EXPECT_EQ(m_wmi.NextCalls().size(), 2u);
}

TEST_F(ProcessEnumTest, AFailingLastObjectOfABatchEndsTheWalkWithItsCode)
{
    Add(kFirstClass, kWlan, L"Enable");
    m_wmi.AddSetting({kFirstClass, L"broken", L"", fakes::MissingValue(), std::nullopt});
    Add(kFirstClass, kWwan, L"Enable");
    m_wmi.Script(kFirstClass, {NextStep::Batch(2)});

    EXPECT_EQ(Walk(), WBEM_E_NOT_FOUND);

    EXPECT_THAT(Lines(kEnum),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessEnum|IEnumWbemClassObject = 0x"),
                            L"Verbose|NLMUtils::ProcessEnum|WMI Object Return Count =  2",
                            L"Error|NLMUtils::ProcessEnum|ProcessObjects Failed for obj -2147217406. [hr:0x00000001]",
                            L"TraceOut|NLMUtils::ProcessEnum|Return Value = 0x80041002"));
    EXPECT_EQ(m_settings, (NLMUtils::SettingMap{{kWlan, L"Enable"}}));
    EXPECT_EQ(m_wmi.NextCalls().size(), 1u);
}

TEST_F(ProcessEnumTest, AValueThatIsVtNullIsSkippedAndTheWalkGoesOn)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", std::nullopt, fakes::NullValue()});
    Add(kFirstClass, kWwan, L"Enable");

    EXPECT_EQ(Walk(), S_OK);

    EXPECT_EQ(m_settings, (NLMUtils::SettingMap{{kWwan, L"Enable"}}));
    EXPECT_THAT(Lines(kObjects),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x"),
                            L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Value). [hr:0x00000000] "
                            L"[CIMTYPE = 8]",
                            StartsWith(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x"),
                            L"TraceOut|NLMUtils::ProcessObjects|Return Value = 0x0"));
}

TEST_F(ProcessEnumTest, ANameThatIsVtNullIsSkipped)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"Enable", fakes::NullValue(), std::nullopt});

    EXPECT_EQ(Walk(), S_OK);

    EXPECT_TRUE(m_settings.empty());
    EXPECT_THAT(Lines(kObjects),
                testing::Contains(L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Name). [hr:0x00000000] "
                                  L"[CIMTYPE = 8]"));
}

TEST_F(ProcessEnumTest, AMissingValueEndsTheWalkWithTheGetCode)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", std::nullopt, fakes::MissingValue()});

    EXPECT_EQ(Walk(), WBEM_E_NOT_FOUND);

    EXPECT_THAT(Lines(kObjects),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x"),
                            L"Error|NLMUtils::ProcessObjects|Failed to Get WMI Objects (Value). [hr:0x80041002] "
                            L"[CIMTYPE = 0]"));
}

TEST_F(ProcessEnumTest, AComErrorThrownByGetIsCaughtByProcessObjects)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", std::nullopt, fakes::ThrowingValue(WBEM_E_PROVIDER_FAILURE)});

    EXPECT_EQ(Walk(), WBEM_E_PROVIDER_FAILURE);

    EXPECT_THAT(Lines(kObjects),
                ElementsAre(StartsWith(L"TraceIn|NLMUtils::ProcessObjects|IWbemClassObject = 0x"),
                            L"Error|NLMUtils::ProcessObjects|Exception while Processing BIOS Objects with error "
                            L"0x80041004",
                            L"TraceOut|NLMUtils::ProcessObjects|Return Value = 0x80041004"));
    EXPECT_THAT(Lines(kEnum), testing::Contains(L"Error|NLMUtils::ProcessEnum|ProcessObjects Failed for obj "
                                                L"-2147217404. [hr:0x00000000]"));
}

TEST_F(ProcessEnumTest, AStringTypedValueWhoseVariantCannotBecomeTextThrowsInsideProcessObjects)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", std::nullopt, fakes::RawValue(VT_UNKNOWN)});

    const HRESULT result = Walk();

    EXPECT_TRUE(FAILED(result));
    EXPECT_TRUE(m_settings.empty());
    const auto lines = Lines(kObjects);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[1], StartsWith(L"Error|NLMUtils::ProcessObjects|Exception while Processing BIOS Objects with "
                                     L"error 0x"));
}

TEST_F(ProcessEnumTest, AStringTypedNumberIsReadAsItsText)
{
    m_wmi.AddSetting({kFirstClass, kWlan, L"", std::nullopt, fakes::NumberValue(42, CIM_STRING)});

    EXPECT_EQ(Walk(), S_OK);

    EXPECT_EQ(m_settings.at(kWlan), L"42");
}

TEST_F(ProcessEnumTest, EveryObjectIsReleasedOnEveryPath)
{
    for (int i = 0; i < 15; ++i)
        Add(kFirstClass, L"S" + std::to_wstring(i), L"v");
    m_wmi.AddSetting({kFirstClass, L"odd", L"", std::nullopt, fakes::NumberValue(1)});
    m_wmi.AddSetting({kFirstClass, L"S3", L"again"});
    m_wmi.Script(kFirstClass, {NextStep::Batch(3, WBEM_S_TIMEDOUT), NextStep::Batch(10), NextStep::Batch(4)});

    NLMUtils::GetAutoSwitchingStatus();

    EXPECT_EQ(m_wmi.LiveObjects(), 0);
    EXPECT_EQ(m_com.initializations, m_com.uninitializations);
}

TEST(ComValueHelpersTest, ABstrThatCannotBeAllocatedRaisesOutOfMemory)
{
    try {
        os::MakeBstr(L"x", 0xFFFFFFF0u);
        ADD_FAILURE() << "no exception";
    } catch (const os::ComError& error) {
        EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
    }
}

TEST(ComValueHelpersTest, AVariantOfAnUnknownTypeCannotBeClearedAndSaysSo)
{
    os::Variant value;
    value.Put()->vt = 0x7FFF;
    EXPECT_THROW(value.Clear(), os::ComError);
    const_cast<VARIANT&>(value.Get()).vt = VT_EMPTY;
}

}  // namespace
