// The largest size the template offers is the largest the file listener can
// compare: it checks the file's size against size x 1024 computed in 32
// bits. At the template's maximum a file of exactly that many bytes is kept
// and one byte more is rotated; one kilobyte more (which the template
// refuses, but a value set by hand can hold) wraps the product to 0, and
// even a small file is rotated at every check. The files of about 4 GB are
// sparse: they cost no disk space.
#include "logging/PolicyKeys.h"
#include "policy/LoggingUnderPolicy.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

namespace {

using namespace policy_tests;

using MaxLogSizeBound = policy_tests::LoggingUnderPolicy;

const PolicyElement& MaxLogSizeElement() { return InstalledTemplate().Find(L"MaxLogSize").Element(L"MaxLogSize"); }

TEST_F(MaxLogSizeBound, AtTheLargestSizeOfferedAFileOfExactlyThatSizeIsKept)
{
    const uint32_t largest = MaxLogSizeElement().maxValue;
    Apply(NumberWrite(InstalledTemplate().Find(L"MaxLogSize"), MaxLogSizeElement(), largest));
    SeedTheLog(uint64_t{largest} * 1024);
    StartLogging();
    LogOneRecordAtEachLevel();  // the first record written checks the size
    EXPECT_EQ(FileSize(OlderLogPath(1)), -1);
}

TEST_F(MaxLogSizeBound, AtTheLargestSizeOfferedAFileOneByteLargerIsRotated)
{
    const uint32_t largest = MaxLogSizeElement().maxValue;
    Apply(NumberWrite(InstalledTemplate().Find(L"MaxLogSize"), MaxLogSizeElement(), largest));
    const uint64_t size = uint64_t{largest} * 1024 + 1;
    SeedTheLog(size);
    StartLogging();
    LogOneRecordAtEachLevel();
    EXPECT_EQ(FileSize(OlderLogPath(1)), static_cast<int64_t>(size));
}

TEST_F(MaxLogSizeBound, OneKilobyteMoreIsRefusedByTheTemplateAndWouldRotateEvenASmallFile)
{
    const uint32_t beyond = MaxLogSizeElement().maxValue + 1;
    EXPECT_THROW(NumberWrite(InstalledTemplate().Find(L"MaxLogSize"), MaxLogSizeElement(), beyond), std::out_of_range);
    // Set by hand instead: the product wraps to 0, so 2 KB already exceed it.
    m_policy.SetNumber(fakes::LoggingPolicy::Key::Product, QX::Shared::kMaxLogSizeValue, beyond);
    SeedTheLog(2048);
    StartLogging();
    LogOneRecordAtEachLevel();
    EXPECT_EQ(FileSize(OlderLogPath(1)), 2048);
}

}  // namespace
