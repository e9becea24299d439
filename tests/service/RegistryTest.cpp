// Registry against the real Wine registry, in the 64-bit (1), 32-bit (2) and
// default (0) views. Every test works below HKLM\SOFTWARE\TessarineTests and
// removes it from both views afterwards.
#include "service/Registry.h"

#include "platform/Api.h"
#include "platform/Format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr wchar_t kRoot[] = L"SOFTWARE\\TessarineTests";
constexpr wchar_t kTestKey[] = L"SOFTWARE\\TessarineTests\\Registry";
constexpr wchar_t kValue[] = L"PowerOnOff";

REGSAM ViewFlag(uint32_t view)
{
    return view == Registry::k64BitView ? KEY_WOW64_64KEY : view == Registry::k32BitView ? KEY_WOW64_32KEY : 0;
}

// Removes the test root from both views.
void RemoveTestRoot()
{
    for (REGSAM flag : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
        HKEY software = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_ALL_ACCESS | flag, &software) == ERROR_SUCCESS) {
            RegDeleteTreeW(software, L"TessarineTests");
            RegDeleteKeyExW(software, L"TessarineTests", flag, 0);
            RegCloseKey(software);
        }
    }
}

bool KeyExists(const std::wstring& path, REGSAM viewFlag)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | viewFlag, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

class RegistryTest : public testing::TestWithParam<uint32_t> {
protected:
    RegistryTest() { RemoveTestRoot(); }
    ~RegistryTest() override { RemoveTestRoot(); }

    uint32_t View() const { return GetParam(); }

    // Writes raw value data under the test key, in the view under test.
    void WriteRaw(const wchar_t* name, DWORD type, const void* data, DWORD size)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kTestKey, 0, nullptr, 0, KEY_ALL_ACCESS | ViewFlag(View()),
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size), ERROR_SUCCESS);
        RegCloseKey(key);
    }
    // The stored type and byte size of a value of the test key; false when
    // it cannot be read.
    bool Stored(const wchar_t* name, DWORD& type, DWORD& size, std::wstring* text = nullptr) const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kTestKey, 0, KEY_READ | ViewFlag(View()), &key) != ERROR_SUCCESS)
            return false;
        wchar_t data[64] = {};
        size = sizeof(data);
        const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(data), &size);
        RegCloseKey(key);
        if (text)
            *text = data;
        return status == ERROR_SUCCESS;
    }
    bool Exists(const std::wstring& path) const { return KeyExists(path, ViewFlag(View())); }
    std::wstring Get(const wchar_t* name = kValue) const
    {
        return Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, name, View());
    }
};

TEST_P(RegistryTest, GetValueOfAMissingKeyIsEmpty) { EXPECT_EQ(Get(), L""); }

TEST_P(RegistryTest, GetValueOfAMissingValueIsEmpty)
{
    WriteRaw(L"Other", REG_SZ, L"True", 10);
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfADwordIsEmpty)
{
    const DWORD one = 1;
    WriteRaw(kValue, REG_DWORD, &one, sizeof(one));
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfAMultiStringIsEmpty)
{
    WriteRaw(kValue, REG_MULTI_SZ, L"True\0", 12);
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfAStringWithoutItsNulThatFillsTheBufferIsEmpty)
{
    // 1024 characters, 2048 bytes: the whole read buffer, and its last
    // character is not a NUL.
    const std::wstring text(1024, L'T');
    WriteRaw(kValue, REG_SZ, text.c_str(), static_cast<DWORD>(text.size() * 2));
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfAShortStringWithoutItsNulReadsItWholeUnderWine)
{
    // "True" stored as 8 bytes, without its NUL. Wine's RegQueryValueExW
    // appends the missing NUL when the buffer has room and counts it in the
    // size it reports (10 bytes), so the text passes the terminator check.
    // Under Wine the check rejects only an unterminated text that fills the
    // whole buffer (above).
    WriteRaw(kValue, REG_SZ, L"True", 8);
    EXPECT_EQ(Get(), L"True");
}

TEST_P(RegistryTest, GetValueOfAnOddByteSizeIsEmpty)
{
    // "True", its NUL and one byte more: 11 bytes, a NUL as the last whole
    // character, rejected for the odd size alone.
    const wchar_t data[] = L"True\0\0";
    WriteRaw(kValue, REG_SZ, data, 11);
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfAZeroSizeStringIsEmpty)
{
    WriteRaw(kValue, REG_SZ, L"", 0);
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueReturnsTheTextUpToItsFirstNul)
{
    WriteRaw(kValue, REG_SZ, L"True\0False", 22);
    EXPECT_EQ(Get(), L"True");
}

TEST_P(RegistryTest, GetValueOfAnExpandStringIsUnexpanded)
{
    const wchar_t text[] = L"%SystemRoot%\\x";
    WriteRaw(kValue, REG_EXPAND_SZ, text, sizeof(text));
    EXPECT_EQ(Get(), L"%SystemRoot%\\x");
}

TEST_P(RegistryTest, GetValueOfATextThatDoesNotFitTheBufferIsEmpty)
{
    const std::wstring text(1024, L'a');
    WriteRaw(kValue, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * 2));
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, GetValueOfTheLongestTextThatFitsIsWhole)
{
    const std::wstring text(1023, L'b');
    WriteRaw(kValue, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * 2));
    EXPECT_EQ(Get(), text);
}

TEST_P(RegistryTest, SetValueOnAMissingKeyCreatesIt)
{
    ASSERT_FALSE(Exists(kRoot));
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", View()), 0);
    EXPECT_TRUE(Exists(kTestKey));
    EXPECT_EQ(Get(), L"False");
}

TEST_P(RegistryTest, SetValueStoresARegSzWithItsNul)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", View()), 0);
    DWORD type = REG_NONE;
    DWORD size = 0;
    std::wstring text;
    ASSERT_TRUE(Stored(kValue, type, size, &text));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, (5u + 1u) * 2u);
    EXPECT_EQ(text, L"False");
}

TEST_P(RegistryTest, SetValueOfAnEmptyTextStoresOnlyTheNul)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"", View()), 0);
    DWORD type = REG_NONE;
    DWORD size = 0;
    ASSERT_TRUE(Stored(kValue, type, size));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(Get(), L"");
}

TEST_P(RegistryTest, SetValueOverwrites)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", View()), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", View()), 0);
    EXPECT_EQ(Get(), L"True");
}

TEST_P(RegistryTest, SetValueWithoutATextReturnsInvalidDataAndWritesNothing)
{
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, nullptr, View()), ERROR_INVALID_DATA);
    DWORD type = REG_NONE;
    DWORD size = 0;
    EXPECT_FALSE(Stored(kValue, type, size));
}

TEST_P(RegistryTest, SetValueWithoutATextStillCreatesTheKey)
{
    // The key is created before the text is looked at.
    Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, nullptr, View());
    EXPECT_TRUE(Exists(kTestKey));
}

TEST_P(RegistryTest, DeleteKeyOfAMissingKeySucceeds)
{
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
}

TEST_P(RegistryTest, DeleteKeyUnderAMissingParentSucceeds)
{
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, std::wstring(kTestKey) + L"\\Missing\\Deeper", View()), 0);
}

TEST_P(RegistryTest, DeleteKeyRemovesTheWholeTree)
{
    const std::wstring root = kTestKey;
    // Three levels below the key, several siblings on each, values at each level.
    for (const wchar_t* path : {L"\\A\\A1\\A11", L"\\A\\A1\\A12", L"\\A\\A2", L"\\B\\B1\\B11", L"\\B\\B2", L"\\C"})
        ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, root + path, L"v", L"x", View()), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, root + L"\\A", L"v", L"x", View()), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, root, kValue, L"True", View()), 0);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
    EXPECT_FALSE(Exists(root));
}

TEST_P(RegistryTest, DeleteKeyLeavesTheParentAndTheSiblings)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, std::wstring(kTestKey) + L"\\Child", L"v", L"x", View()), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, std::wstring(kRoot) + L"\\Sibling", L"v", L"x", View()), 0);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
    EXPECT_TRUE(Exists(kRoot));
    EXPECT_TRUE(Exists(std::wstring(kRoot) + L"\\Sibling"));
}

// The key opens and creations through the seam: each is recorded as
// "RegOpenKeyExW <path> 0x<access>" or "RegCreateKeyExW <path> 0x<access>";
// the one of `failingPath` fails with `code` without touching the registry,
// every other goes to the real call.
class FailingKeyOpens {
public:
    FailingKeyOpens(std::wstring failingPath, LSTATUS code) : m_failingPath(std::move(failingPath)), m_code(code)
    {
        s_current = this;
        m_seam->RegOpenKeyExW = &FailingKeyOpens::Open;
        m_seam->RegCreateKeyExW = &FailingKeyOpens::Create;
    }
    ~FailingKeyOpens() { s_current = nullptr; }
    FailingKeyOpens(const FailingKeyOpens&) = delete;
    FailingKeyOpens& operator=(const FailingKeyOpens&) = delete;

    std::vector<std::wstring> calls;

private:
    static std::wstring Hex(REGSAM access) { return os::FormatString(L"0x%05lX", static_cast<unsigned long>(access)); }
    static LSTATUS WINAPI Open(HKEY parent, LPCWSTR subKey, DWORD options, REGSAM access, PHKEY key)
    {
        s_current->calls.push_back(L"RegOpenKeyExW " + std::wstring(subKey) + L" " + Hex(access));
        if (s_current->m_failingPath == subKey)
            return s_current->m_code;
        return ::RegOpenKeyExW(parent, subKey, options, access, key);
    }
    static LSTATUS WINAPI Create(HKEY parent, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                 REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition)
    {
        s_current->calls.push_back(L"RegCreateKeyExW " + std::wstring(subKey) + L" " + Hex(access));
        if (s_current->m_failingPath == subKey)
            return s_current->m_code;
        return ::RegCreateKeyExW(parent, subKey, reserved, keyClass, options, access, security, key, disposition);
    }

    static FailingKeyOpens* s_current;
    os::ScopedApiOverride m_seam;
    std::wstring m_failingPath;
    LSTATUS m_code;
};
FailingKeyOpens* FailingKeyOpens::s_current = nullptr;

// KEY_READ | KEY_WRITE and KEY_READ with the view's flag, as the seam sees them.
std::wstring ReadWrite(uint32_t view)
{
    return view == Registry::k64BitView ? L"0x2011F" : view == Registry::k32BitView ? L"0x2021F" : L"0x2001F";
}
std::wstring ReadOnly(uint32_t view)
{
    return view == Registry::k64BitView ? L"0x20119" : view == Registry::k32BitView ? L"0x20219" : L"0x20019";
}

TEST_P(RegistryTest, GetValueWhoseKeyCannotBeOpenedIsEmptyAndReadsNothingElse)
{
    WriteRaw(kValue, REG_SZ, L"True", 10);
    FailingKeyOpens opens(kTestKey, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Get(), L"");
    EXPECT_THAT(opens.calls, ElementsAre(L"RegOpenKeyExW " + std::wstring(kTestKey) + L" " + ReadOnly(View())));
}

TEST_P(RegistryTest, SetValueWhoseKeyCannotBeCreatedReturnsTheCodeAndWritesNothing)
{
    FailingKeyOpens opens(kTestKey, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", View()), ERROR_ACCESS_DENIED);
    EXPECT_THAT(opens.calls, ElementsAre(L"RegCreateKeyExW " + std::wstring(kTestKey) + L" " + ReadWrite(View())));
    EXPECT_FALSE(Exists(kRoot));
}

TEST_P(RegistryTest, SetValueWithoutATextWhoseKeyCannotBeCreatedReturnsTheCreationsCode)
{
    // The creation comes first: its failure wins over the missing text.
    FailingKeyOpens opens(kTestKey, ERROR_ACCESS_DENIED);
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, nullptr, View()), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(Exists(kRoot));
}

TEST_P(RegistryTest, DeleteKeyWhoseHiveCannotBeOpenedReturnsTheCodeAndDeletesNothing)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", View()), 0);
    FailingKeyOpens opens(L"", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), ERROR_ACCESS_DENIED);
    EXPECT_THAT(opens.calls, ElementsAre(L"RegOpenKeyExW  " + ReadWrite(View())));
    EXPECT_EQ(Get(), L"True");
}

TEST_P(RegistryTest, DeleteKeyWhoseHiveIsNotFoundCountsAsDeletedAndDeletesNothing)
{
    // "Not found" from the hive's own open reads as "the key is missing":
    // the key stays and the caller hears success.
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", View()), 0);
    FailingKeyOpens opens(L"", ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
    EXPECT_THAT(opens.calls, ElementsAre(L"RegOpenKeyExW  " + ReadWrite(View())));
    EXPECT_EQ(Get(), L"True");
}

TEST_P(RegistryTest, DeleteKeyStopsAtASubkeyThatCannotBeOpenedLeavingItAndEverythingAbove)
{
    const std::wstring root = kTestKey;
    for (const wchar_t* path : {L"\\A\\A1", L"\\B\\B1", L"\\C"})
        ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, root + path, L"v", L"x", View()), 0);
    // Subkeys are taken first to last: A goes whole, B cannot be opened, C is never reached.
    FailingKeyOpens opens(L"B", ERROR_ACCESS_DENIED);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), ERROR_ACCESS_DENIED);
    EXPECT_THAT(opens.calls,
                ElementsAre(L"RegOpenKeyExW  " + ReadWrite(View()), L"RegOpenKeyExW " + root + L" " + ReadWrite(View()),
                            L"RegOpenKeyExW A " + ReadWrite(View()), L"RegOpenKeyExW A1 " + ReadWrite(View()),
                            L"RegOpenKeyExW B " + ReadWrite(View())));
    EXPECT_FALSE(Exists(root + L"\\A"));
    EXPECT_TRUE(Exists(root + L"\\B\\B1"));
    EXPECT_TRUE(Exists(root + L"\\C"));
}

INSTANTIATE_TEST_SUITE_P(Views, RegistryTest,
                         testing::Values(Registry::k64BitView, Registry::k32BitView, Registry::kDefaultView),
                         [](const testing::TestParamInfo<uint32_t>& info) {
                             return info.param == Registry::k64BitView   ? "View64"
                                    : info.param == Registry::k32BitView ? "View32"
                                                                         : "Default";
                         });

// Wine's 64-bit prefix redirects HKLM\SOFTWARE for the 32-bit view (to
// SOFTWARE\Wow6432Node), as Windows does.
class RegistryViewTest : public testing::Test {
protected:
    RegistryViewTest() { RemoveTestRoot(); }
    ~RegistryViewTest() override { RemoveTestRoot(); }
};

TEST_F(RegistryViewTest, AValueInTheThirtyTwoBitViewIsNotInTheSixtyFourBitView)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", Registry::k32BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::k32BitView), L"False");
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::k64BitView), L"");
    EXPECT_FALSE(KeyExists(kRoot, KEY_WOW64_64KEY));
}

TEST_F(RegistryViewTest, TheThirtyTwoBitViewLiesUnderWow6432Node)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", Registry::k32BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\TessarineTests\\Registry", kValue,
                                 Registry::k64BitView),
              L"False");
}

TEST_F(RegistryViewTest, AValueInTheSixtyFourBitViewIsNotInTheThirtyTwoBitView)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", Registry::k64BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::k32BitView), L"");
}

TEST_F(RegistryViewTest, TheDefaultViewOfThisProcessIsTheSixtyFourBitView)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", Registry::k32BitView), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", Registry::k64BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::kDefaultView), L"True");
}

TEST_F(RegistryViewTest, AnyOtherSelectorIsTheDefaultView)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", 7), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::kDefaultView), L"True");
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, 3), L"True");
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, 0xFFFFFFFFu), 0);
    EXPECT_FALSE(KeyExists(kTestKey, 0));
}

TEST_F(RegistryViewTest, DeleteKeyInOneViewLeavesTheOther)
{
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"False", Registry::k32BitView), 0);
    ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, L"True", Registry::k64BitView), 0);
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, Registry::k32BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::k32BitView), L"");
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, kValue, Registry::k64BitView), L"True");
}

}  // namespace
