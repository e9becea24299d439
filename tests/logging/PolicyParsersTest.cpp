// The logging library's parsers and limits that the readers of the policy
// and TessarineDiag share: the keywords of "LoggingType", the rotation
// check's 32-bit size, and the policy keys of another program of the product.
#include "fakes/LoggingPolicy.h"
#include "logging/LogConfiguration.h"
#include "logging/LogFile.h"
#include "logging/PolicyKeys.h"

#include <gtest/gtest.h>

namespace {

using QX::Shared::CqxLogListener;
using QX::Shared::RotationLimitBytes;
using QX::Shared::TypesFromLoggingTypeText;

TEST(TypesFromLoggingTypeText, KeywordsInAnyCaseAndWithAnySeparators)
{
    EXPECT_EQ(TypesFromLoggingTypeText(L"file,Debug"), CqxLogListener::TypeFileDirect | CqxLogListener::TypeDebug);
    EXPECT_EQ(TypesFromLoggingTypeText(L"event/console"), CqxLogListener::TypeEvent | CqxLogListener::TypeConsole);
    EXPECT_EQ(TypesFromLoggingTypeText(L"PROFILE"), CqxLogListener::TypeFileDirect);  // "FILE" inside
}

TEST(TypesFromLoggingTypeText, NoKeywordGivesNothing)
{
    EXPECT_EQ(TypesFromLoggingTypeText(L"NONE"), 0);
    EXPECT_EQ(TypesFromLoggingTypeText(L"fil e"), 0);
    EXPECT_EQ(TypesFromLoggingTypeText(L""), 0);
}

TEST(RotationLimitBytes, KilobytesTimes1024In32Bits)
{
    EXPECT_EQ(RotationLimitBytes(2048), 2048u * 1024);
    EXPECT_EQ(QX::Shared::kLargestMaxLogSize, 4194303u);
    EXPECT_EQ(RotationLimitBytes(4194303), 4294966272u);
    EXPECT_EQ(RotationLimitBytes(4194304), 0u);  // wraps
    EXPECT_EQ(RotationLimitBytes(4194305), 1024u);
}

TEST(RotationLimitBytes, NoLimitAtZeroOrBelow)
{
    EXPECT_EQ(RotationLimitBytes(0), 0u);
    EXPECT_EQ(RotationLimitBytes(-1), 0u);
}

TEST(PolicyKeys, OpenPolicyKeysForOpensTheModuleKeyOfTheNamedProgram)
{
    fakes::LoggingPolicy policy(L"OtherProgram");
    policy.SetText(fakes::LoggingPolicy::Key::Module, L"Marker", L"other");
    QX::Shared::PolicyKeys keys;
    QX::Shared::OpenPolicyKeysFor(nullptr, L"OtherProgram", keys);
    ASSERT_TRUE(keys.product);
    ASSERT_TRUE(keys.module);
    std::wstring text;
    ASSERT_TRUE(QX::Shared::ReadPolicyText(keys, L"Marker", 127, text));
    EXPECT_EQ(text, L"other");

    // This program's own module key is another.
    QX::Shared::OpenPolicyKeys(nullptr, keys);
    EXPECT_FALSE(QX::Shared::ReadPolicyText(keys, L"Marker", 127, text));
}

}  // namespace
