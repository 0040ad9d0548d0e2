// Windows helpers on the test prefix.

#include <gtest/gtest.h>

#include "tracedcall.h"

#include "common/windowshelper.h"
#include "regtestutil.h"
#include "spewcapture.h"

namespace
{

TEST(ExpandEnvironment, ReplacesOnlyKnownNamesWithinTheSystemLimit)
{
    ASSERT_TRUE(SetEnvironmentVariableW(L"ISE_TEST_VAR", L"Gr\u00fc\u00dfe \u65e5"));
    EXPECT_STREQ("a Gr\xC3\xBC\xC3\x9F\x65 \xE6\x97\xA5 b",
                 ExpandEnvironmentStringsUTF8("a %ISE_TEST_VAR% b"));
    EXPECT_STREQ("\xE2\x82\xAC 100% %NOSUCHVAR%",
                 ExpandEnvironmentStringsUTF8("\xE2\x82\xAC 100% %NOSUCHVAR%"));
    EXPECT_STREQ("", ExpandEnvironmentStringsUTF8(nullptr));
    ASSERT_TRUE(SetEnvironmentVariableA("ISE_TEST_VAR", "plain"));
    EXPECT_STREQ("[plain] %NOSUCHVAR%", ExpandEnvironmentStringsMultiByte("[%ISE_TEST_VAR%] %NOSUCHVAR%"));

    // Longer text is refused with the sizing-call message instead of reaching the system.
    const std::string strLongest(32766, 'x');
    EXPECT_EQ(strLongest.size(), strlen(ExpandEnvironmentStringsMultiByte(strLongest.c_str())));
    CSpewCapture capture;
    const std::string strTooLong(32767, 'x');
    EXPECT_STREQ("", ExpandEnvironmentStringsMultiByte(strTooLong.c_str()));
    EXPECT_STREQ("", ExpandEnvironmentStringsUTF8(strTooLong.c_str()));
    EXPECT_EQ(2, capture.CountFailedAssertions("string expansion failed (1) GLE 87"));
}

// version_de_en lists German, English; version_en_de English, German (product name
// only), Japanese.
TEST(VersionDescription, LastConsideredTranslationWins)
{
    const struct
    {
        const char* m_pszFile;
        ELanguage m_eLanguage;
        const char* m_pszExpected;
    } rgCases[] = {{"version_de_en.exe", k_ELanguageGerman, "English description"},
                   {"version_en_de.exe", k_ELanguageGerman, "Gr\xC3\xB6\xC3\x9F\x65"},
                   {"version_en_de.exe", k_ELanguageFrench, "English description"},
                   {"version_en_de.exe", k_ELanguageJapanese, "Japanese description"},
                   {"version_en_de.exe", k_ELanguageUnknown, "English description"}};
    CUtlString strDescription;
    for (const auto& test : rgCases)
    {
        SCOPED_TRACE(std::string(test.m_pszFile) + " " + std::to_string(test.m_eLanguage));
        EXPECT_TRUE(BGetFileVersionDescription(BesideTestProgram(test.m_pszFile).u8string().c_str(),
                                               &strDescription, test.m_eLanguage));
        EXPECT_STREQ(test.m_pszExpected, strDescription);
    }
    EXPECT_FALSE(BGetFileVersionDescription(BesideTestProgram("test_common.exe").u8string().c_str(),
                                            &strDescription, k_ELanguageEnglish));
    EXPECT_STREQ("", strDescription);
}

// The text if it fits, else 234; wrong types 13; strings beyond 999,999 characters 14.
TEST(RegistryStrings, ReadsAnswerTheWindowsErrorCodes)
{
    CScratchRegKey scratch("Software");
    HKEY hKey = nullptr;
    ASSERT_EQ(0, RegCreateKeyExA(HKEY_CURRENT_USER, scratch.Path(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                 &hKey, nullptr));
    const auto Set = [&](const wchar_t* pwszName, DWORD dwType, const void* pvData, DWORD cbData)
    { ASSERT_EQ(0, RegSetValueExW(hKey, pwszName, 0, dwType, static_cast<const BYTE*>(pvData), cbData)); };
    const DWORD dwValue = 1;
    const std::wstring wstrLongest(999998, L'w');
    const std::wstring wstrHuge(999999, L'w');
    Set(L"s", REG_SZ, L"abc", 8);
    Set(L"", REG_EXPAND_SZ, L"%d%", 8);
    Set(L"d", REG_DWORD, &dwValue, sizeof(dwValue));
    Set(L"b", REG_BINARY, L"ab", 6);
    Set(L"longest", REG_SZ, wstrLongest.c_str(), 1999998);
    Set(L"huge", REG_SZ, wstrHuge.c_str(), 2000000);

    char szValue[8] = "";
    EXPECT_EQ(0, RegQueryValueUTF8(hKey, "s", szValue, 4));
    EXPECT_STREQ("abc", szValue);
    EXPECT_EQ(ERROR_MORE_DATA, RegQueryValueUTF8(hKey, "s", szValue, 3));
    EXPECT_EQ(0, RegQueryValueUTF8(hKey, nullptr, szValue, sizeof(szValue)));
    EXPECT_STREQ("%d%", szValue);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegQueryValueUTF8(hKey, "missing", szValue, sizeof(szValue)));
    EXPECT_EQ(ERROR_NOT_ENOUGH_MEMORY, RegQueryValueUTF8(hKey, "s", szValue, 0x80000000u));
    EXPECT_EQ(ERROR_INVALID_DATA, RegQueryValueUTF8(hKey, "d", szValue, sizeof(szValue)));
    EXPECT_EQ(ERROR_OUTOFMEMORY, RegQueryValueUTF8(hKey, "huge", szValue, sizeof(szValue)));

    CUtlString strValue;
    EXPECT_EQ(ERROR_INVALID_DATA, RegQueryValueUTF8String(hKey, "b", &strValue));
    EXPECT_EQ(ERROR_OUTOFMEMORY, RegQueryValueUTF8String(hKey, "huge", &strValue));
    EXPECT_EQ(0, RegQueryValueUTF8String(hKey, "longest", &strValue));
    EXPECT_EQ(999998u, strValue.Length());
    CSpewCapture capture;
    EXPECT_EQ(ERROR_INVALID_PARAMETER, RegQueryValueUTF8String(hKey, "s", nullptr));
    EXPECT_EQ(1, capture.CountAsserts());
    RegCloseKey(hKey);
}

TEST(RegistryStrings, StoredAsTerminatedUTF16)
{
    CScratchRegKey scratch("Software");
    HKEY hKey = nullptr;
    ASSERT_EQ(0, RegCreateKeyExA(HKEY_CURRENT_USER, scratch.Path(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                 &hKey, nullptr));
    CUtlString strValue;
    const char* pszText = "\xC3\x84rger \xF0\x9F\x98\x80";
    EXPECT_EQ(0, RegSetValueUTF8(hKey, "s", pszText));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(L"\u00c4rger \U0001F600"), 18),
              RawGetValue(HKEY_CURRENT_USER, 0, scratch.Path(), L"s")->m_strBytes);
    EXPECT_EQ(0, RegQueryValueUTF8String(hKey, "s", &strValue));
    EXPECT_STREQ(pszText, strValue);

    EXPECT_EQ(0, RegSetValueUTF8(hKey, nullptr, nullptr));
    EXPECT_EQ(std::string(2, '\0'), RawGetValue(HKEY_CURRENT_USER, 0, scratch.Path(), L"")->m_strBytes);
    // The name has room for 511 characters and its terminator.
    EXPECT_EQ(0, RegSetValueUTF8(hKey, std::string(511, 'n').c_str(), "x"));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, RegSetValueUTF8(hKey, std::string(512, 'n').c_str(), "x"));
    RegCloseKey(hKey);
}

// The Layers key must exist already: it is never created.
void CheckAppCompatLayer(bool bCurrentUser, const char* pszExe, const wchar_t* pwszExe)
{
    const HKEY hHive = bCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    const HKEY hOtherHive = bCurrentUser ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    const bool bHadLayers = RawCountEntries(hHive, KEY_WOW64_64KEY, k_szLayersKey) >= 0;
    if (!bHadLayers)
    {
        EXPECT_FALSE(BSetAppCompatLayer(bCurrentUser, pszExe, "WIN7RTM"));
        EXPECT_EQ(-1, RawCountEntries(hHive, KEY_WOW64_64KEY, k_szLayersKey));
        ASSERT_TRUE(RawCreateKey(hHive, KEY_WOW64_64KEY, k_szLayersKey));
    }
    EXPECT_TRUE(BSetAppCompatLayer(bCurrentUser, pszExe, "~ RUNASADMIN  WIN8RTM"));
    EXPECT_EQ("~ RUNASADMIN  WIN8RTM", RawGetString(hHive, KEY_WOW64_64KEY, k_szLayersKey, pwszExe));
    EXPECT_FALSE(RawGetValue(hOtherHive, KEY_WOW64_64KEY, k_szLayersKey, pwszExe));
    EXPECT_TRUE(BSetAppCompatLayer(bCurrentUser, pszExe, ""));
    EXPECT_FALSE(RawGetValue(hHive, KEY_WOW64_64KEY, k_szLayersKey, pwszExe));
    EXPECT_FALSE(BSetAppCompatLayer(bCurrentUser, pszExe, ""));
    if (!bHadLayers)
        RawDeleteTree(hHive, KEY_WOW64_64KEY, k_szLayersKey);
}
#define CheckAppCompatLayer(...) ISE_TRACED_CALL(CheckAppCompatLayer, __VA_ARGS__)

// Only this test touches the machine-wide Layers key, so it may take it away first.
TEST(AppCompatLayer, ChangesOnlyAnExistingLayersKey)
{
    RawDeleteTree(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, k_szLayersKey);
    CheckAppCompatLayer(false, "C:\\IseTest\\machine.exe", L"C:\\IseTest\\machine.exe");
    CheckAppCompatLayer(true, "C:\\IseTest\\user.exe", L"C:\\IseTest\\user.exe");
}

TEST(WindowsHelper, PsapiLookUpsRanAtStartUp)
{
    EXPECT_TRUE(g_pfnEnumProcessModules && g_pfnEnumProcesses && g_pfnGetModuleBaseNameA);
}

} // namespace
