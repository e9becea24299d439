// GetAutoSwitchingStatus against Wine's own WMI, which has no firmware
// namespace: both flags stay false, the connection failure is logged with
// the platform's code, and COM is balanced on the calling thread.
#include "BiosTestSupport.h"

#include <thread>

namespace {

TEST(RealWmiTest, WithoutTheFirmwareNamespaceBothFlagsStayFalseAndCOMIsBalanced)
{
    fakes::RecordingLog log;
    LanWlanSwitchingEnabled = true;
    LanWwanSwitchingEnabled = true;
    HRESULT afterwards = E_FAIL;

    std::thread worker([&afterwards] {
        NLMUtils::GetAutoSwitchingStatus();
        // With every initialisation undone the thread has no apartment, so
        // an apartment of the other model is granted.
        afterwards = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        if (SUCCEEDED(afterwards))
            CoUninitialize();
    });
    worker.join();

    EXPECT_FALSE(LanWlanSwitchingEnabled);
    EXPECT_FALSE(LanWwanSwitchingEnabled);
    EXPECT_EQ(afterwards, S_OK);
    const auto lines = log.LinesOf("NLMUtils::InitWMIRead");
    // Both classes are tried, each connection fails the same way.
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_THAT(lines[1], testing::StartsWith(L"Error|NLMUtils::InitWMIRead|Could not connect to "
                                              L"ROOT\\qx\\instrumentedbios. [hr:0x8"));
    EXPECT_EQ(lines[1].size(), std::wstring(L"Error|NLMUtils::InitWMIRead|Could not connect to "
                                            L"ROOT\\qx\\instrumentedbios. [hr:0x80000000]")
                                   .size());
    EXPECT_EQ(lines[1], lines[4]);
    EXPECT_EQ(log.LinesOf("NLMUtils::GetAutoSwitchingStatus").back(),
              L"TraceOut|NLMUtils::GetAutoSwitchingStatus|LanWlanSwitchingEnabled Value = 0, "
              L"LanWwanSwitchingEnabled = 0");
}

}  // namespace
