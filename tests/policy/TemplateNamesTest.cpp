// The Group Policy template names only what the logging library reads: its
// key is the library's product key, every value name is one of the
// library's, every level offered is a name the library's parser knows, and
// each value has the type and size the library accepts. Everything is
// compared with the library's own constants and parsers.
#include "logging/LogConfiguration.h"
#include "logging/LogLevels.h"
#include "logging/PolicyKeys.h"
#include "policy/PolicyTemplate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace policy_tests;
using namespace QX::Shared;

// The names an enum element offers, in order; empty text for a number.
std::vector<std::wstring> ItemTexts(const PolicyElement& element)
{
    std::vector<std::wstring> texts;
    for (const PolicyValue& item : element.items)
        texts.push_back(item.kind == PolicyValue::Kind::String ? item.text : std::wstring());
    return texts;
}

// The library's level names, in the order of its table, without those listed.
std::vector<std::wstring> LibraryLevelNames(std::set<int32_t> without = {})
{
    std::vector<std::wstring> names;
    for (const int32_t level : kNamedLevels) {
        if (without.count(level) == 0)
            names.push_back(LevelName(level));
    }
    return names;
}

// Whether `word` stands in `text` as a whole word (not inside another one).
bool HasWord(const std::wstring& text, const std::wstring& word)
{
    for (size_t at = text.find(word); at != std::wstring::npos; at = text.find(word, at + 1)) {
        const bool startsWord = at == 0 || !iswalnum(text[at - 1]);
        const bool endsWord = at + word.size() == text.size() || !iswalnum(text[at + word.size()]);
        if (startsWord && endsWord)
            return true;
    }
    return false;
}

TEST(TemplateNames, EveryPolicyWritesUnderTheLibrarysProductKey)
{
    const std::wstring productKey = ProductKeyPath(nullptr);  // from this program's version resource
    ASSERT_FALSE(productKey.empty());
    ASSERT_FALSE(InstalledTemplate().policies.empty());
    for (const Policy& policy : InstalledTemplate().policies) {
        EXPECT_EQ(policy.key, productKey) << policy.name;
        for (const PolicyElement& element : policy.elements)
            EXPECT_TRUE(element.key.empty() || element.key == productKey) << element.id;
    }
}

TEST(TemplateNames, TheValueNamesAreExactlyThoseTheLibraryReads)
{
    std::vector<std::wstring> written;
    for (const Policy& policy : InstalledTemplate().policies) {
        if (!policy.valueName.empty())
            written.push_back(policy.valueName);
        for (const PolicyElement& element : policy.elements)
            written.push_back(element.valueName);
    }
    std::sort(written.begin(), written.end());
    std::vector<std::wstring> read = {kLoggingTypeValue, kMinLogLevelValue, kMaxLogLevelValue, kMaxLogSizeValue,
                                      kQueuedWritesValue};
    std::sort(read.begin(), read.end());
    EXPECT_EQ(written, read);  // each once, none missing, none the library ignores
}

TEST(TemplateNames, TheLowestLevelOffersEveryLevelNameOfTheLibrary)
{
    const PolicyElement& element = InstalledTemplate().Find(L"MinLogLevel").Element(L"MinLogLevel");
    EXPECT_EQ(element.valueName, kMinLogLevelValue);
    EXPECT_EQ(ItemTexts(element), LibraryLevelNames());
}

TEST(TemplateNames, TheHighestLevelOffersEveryLevelNameButNever)
{
    const PolicyElement& element = InstalledTemplate().Find(L"MaxLogLevel").Element(L"MaxLogLevel");
    EXPECT_EQ(element.valueName, kMaxLogLevelValue);
    EXPECT_EQ(ItemTexts(element), LibraryLevelNames({LevelNever}));
}

TEST(TemplateNames, EveryLevelOfferedIsANameTheParserKnows)
{
    for (const wchar_t* name : {L"MinLogLevel", L"MaxLogLevel"}) {
        for (const std::wstring& item : ItemTexts(InstalledTemplate().Find(name).Element(name))) {
            const int32_t level = LevelFromName(item.c_str());
            // The parser gives Never for any text it does not know, so only
            // the name's own level proves it was recognised.
            ASSERT_NE(LevelName(level), nullptr) << item;
            EXPECT_EQ(item, LevelName(level)) << name;
        }
    }
}

TEST(TemplateNames, LevelsAreStoredAsTextSinceTheLibraryReadsOnlyRegSz)
{
    for (const wchar_t* name : {L"MinLogLevel", L"MaxLogLevel"}) {
        for (const PolicyValue& item : InstalledTemplate().Find(name).Element(name).items)
            EXPECT_EQ(item.kind, PolicyValue::Kind::String) << name;
    }
}

TEST(TemplateNames, LoggingTypeIsTextOfAtMostTheLengthTheLibraryReads)
{
    const PolicyElement& element = InstalledTemplate().Find(L"LoggingType").Element(L"LoggingType");
    EXPECT_EQ(element.kind, PolicyElement::Kind::Text);
    EXPECT_EQ(element.valueName, kLoggingTypeValue);
    EXPECT_EQ(element.maxLength, kLoggingTypeMaxLength);
}

TEST(TemplateNames, LoggingTypeExplanationNamesEveryKeywordOfTheLibrary)
{
    const std::wstring& explanation = InstalledTemplate().Find(L"LoggingType").explainText;
    for (const auto& keyword : kLoggingTypeKeywords)
        EXPECT_TRUE(HasWord(explanation, keyword.keyword)) << keyword.keyword;
}

TEST(TemplateNames, MaxLogSizeIsAFourByteNumberFromOne)
{
    const PolicyElement& element = InstalledTemplate().Find(L"MaxLogSize").Element(L"MaxLogSize");
    EXPECT_EQ(element.kind, PolicyElement::Kind::Decimal);
    EXPECT_EQ(element.valueName, kMaxLogSizeValue);
    EXPECT_FALSE(element.storeAsText);  // text would not be the 4 bytes the library reads
    EXPECT_EQ(element.minValue, 1u);    // the library reads 0 as "not set"
}

TEST(TemplateNames, QueuedWritesIsOnOffAsFourByteNumbers)
{
    const Policy& policy = InstalledTemplate().Find(L"QueuedWrites");
    EXPECT_EQ(policy.valueName, kQueuedWritesValue);
    ASSERT_TRUE(policy.enabledValue && policy.disabledValue);
    EXPECT_EQ(policy.enabledValue->kind, PolicyValue::Kind::Decimal);
    EXPECT_NE(policy.enabledValue->decimal, 0u);
    EXPECT_EQ(policy.disabledValue->kind, PolicyValue::Kind::Decimal);
    EXPECT_EQ(policy.disabledValue->decimal, 0u);
}

}  // namespace
