// Registry against the real Wine registry, in the 64-bit, 32-bit and default
// views. Each test works under its own key and removes it.
#include "service/Registry.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr wchar_t kTestKey[] = L"SOFTWARE\\TessarineTests\\Registry";

REGSAM ViewFlag(uint32_t view)
{
    return view == Registry::k64BitView ? KEY_WOW64_64KEY : view == Registry::k32BitView ? KEY_WOW64_32KEY : 0;
}

class RegistryTest : public testing::TestWithParam<uint32_t> {
protected:
    ~RegistryTest() override
    {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\TessarineTests");
        HKEY key = nullptr;
        for (REGSAM flag : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_ALL_ACCESS | flag, &key) == ERROR_SUCCESS) {
                RegDeleteTreeW(key, L"TessarineTests");
                RegDeleteKeyExW(key, L"TessarineTests", flag, 0);
                RegCloseKey(key);
            }
        }
    }
    uint32_t View() const { return GetParam(); }

    // Writes raw value data in the view under test.
    void WriteRaw(const wchar_t* name, DWORD type, const void* data, DWORD size)
    {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kTestKey, 0, nullptr, 0, KEY_ALL_ACCESS | ViewFlag(View()),
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size), ERROR_SUCCESS);
        RegCloseKey(key);
    }
    bool Exists(const std::wstring& path) const
    {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | ViewFlag(View()), &key) != ERROR_SUCCESS)
            return false;
        RegCloseKey(key);
        return true;
    }
};

TEST_P(RegistryTest, GetValueOfAMissingKeyIsEmpty)
{
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueOfAMissingValueIsEmpty)
{
    WriteRaw(L"Other", REG_SZ, L"True", 10);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueOfADwordIsEmpty)
{
    const DWORD one = 1;
    WriteRaw(L"PowerOnOff", REG_DWORD, &one, sizeof(one));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueOfAStringWithoutItsTerminatingNulIsEmpty)
{
    // Wine's query appends the missing NUL while the buffer has room for it,
    // so the unterminated string here fills the whole 1024-character buffer.
    const std::wstring text(1024, L'T');
    WriteRaw(L"PowerOnOff", REG_SZ, text.c_str(), static_cast<DWORD>(text.size() * 2));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueOfAnOddByteSizeIsEmpty)
{
    WriteRaw(L"PowerOnOff", REG_SZ, "True\0\0\0", 9);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueOfAnEmptyStringIsEmpty)
{
    WriteRaw(L"PowerOnOff", REG_SZ, L"", 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, GetValueReturnsTheTextUpToItsFirstNul)
{
    WriteRaw(L"PowerOnOff", REG_SZ, L"True\0False", 22);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"True");
}

TEST_P(RegistryTest, GetValueOfAnExpandStringIsUnexpanded)
{
    const wchar_t text[] = L"%SystemRoot%\\x";
    WriteRaw(L"PowerOnOff", REG_EXPAND_SZ, text, sizeof(text));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"%SystemRoot%\\x");
}

TEST_P(RegistryTest, GetValueOfATextThatDoesNotFitTheBufferIsEmpty)
{
    const std::wstring longText(1024, L'a');
    WriteRaw(L"PowerOnOff", REG_SZ, longText.c_str(), static_cast<DWORD>((longText.size() + 1) * 2));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
    const std::wstring fitting(1023, L'b');
    WriteRaw(L"Fits", REG_SZ, fitting.c_str(), static_cast<DWORD>((fitting.size() + 1) * 2));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"Fits", View()), fitting);
}

TEST_P(RegistryTest, SetValueCreatesAMissingKeyAndStoresTheTextWithItsNul)
{
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", L"False", View()), 0);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kTestKey, 0, KEY_READ | ViewFlag(View()), &key), ERROR_SUCCESS);
    wchar_t data[16] = {};
    DWORD type = 0;
    DWORD size = sizeof(data);
    EXPECT_EQ(RegQueryValueExW(key, L"PowerOnOff", nullptr, &type, reinterpret_cast<BYTE*>(data), &size),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(size, 12u);
    EXPECT_STREQ(data, L"False");
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"False");
}

TEST_P(RegistryTest, SetValueOverwrites)
{
    Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", L"False", View());
    Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", L"True", View());
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"True");
}

TEST_P(RegistryTest, SetValueWithoutATextWritesNothing)
{
    EXPECT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", nullptr, View()), 13);
    // The key is created before the text is looked at; the value is not.
    EXPECT_TRUE(Exists(kTestKey));
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", View()), L"");
}

TEST_P(RegistryTest, DeleteKeyOfAMissingKeySucceeds)
{
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
}

TEST_P(RegistryTest, DeleteKeyRemovesTheWholeTree)
{
    const std::wstring root = kTestKey;
    for (const wchar_t* path : {L"\\A\\A1\\A11", L"\\A\\A2", L"\\B\\B1", L"\\B\\B2\\B21\\B211", L"\\C"})
        ASSERT_EQ(Registry::SetValue(HKEY_LOCAL_MACHINE, root + path, L"v", L"x", View()), 0);
    Registry::SetValue(HKEY_LOCAL_MACHINE, root, L"PowerOnOff", L"True", View());
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, View()), 0);
    EXPECT_FALSE(Exists(root));
    EXPECT_TRUE(Exists(L"SOFTWARE\\TessarineTests"));  // only the key itself goes
}

INSTANTIATE_TEST_SUITE_P(Views, RegistryTest,
                         testing::Values(Registry::kDefaultView, Registry::k64BitView, Registry::k32BitView),
                         [](const testing::TestParamInfo<uint32_t>& info) {
                             return info.param == 1 ? "View64" : info.param == 2 ? "View32" : "Default";
                         });

TEST(RegistryViews, TheThirtyTwoBitViewIsSeparateFromTheSixtyFourBitOne)
{
    Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", L"False", Registry::k32BitView);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::k32BitView), L"False");
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::k64BitView), L"");
    // A 64-bit process's default view is the 64-bit one.
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::kDefaultView), L"");
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, Registry::k32BitView), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::k32BitView), L"");
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\TessarineTests", KEY_WOW64_32KEY, 0);
}

TEST(RegistryViews, AnyOtherSelectorIsTheDefaultView)
{
    Registry::SetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", L"True", 7);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::kDefaultView), L"True");
    EXPECT_EQ(Registry::DeleteKey(HKEY_LOCAL_MACHINE, kTestKey, 3), 0);
    EXPECT_EQ(Registry::GetValue(HKEY_LOCAL_MACHINE, kTestKey, L"PowerOnOff", Registry::kDefaultView), L"");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\TessarineTests");
}

} // namespace
