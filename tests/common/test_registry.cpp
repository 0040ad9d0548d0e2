// The registry layer against the test prefix's real registry, and path parsing.

#include <gtest/gtest.h>

#include "common/registry.h"
#include "regtestutil.h"
#include "spewcapture.h"

namespace
{

constexpr ERegKeyRoot k_eLM = k_ERegKeyRootLocalMachine;
constexpr ERegKeyRoot k_eCU = k_ERegKeyRootCurrentUser;

TEST(RegistryNames, OtherRootsAreUnknownWithAnAssert)
{
    CSpewCapture capture;
    EXPECT_STREQ("Unknown", PchNameFromERegKeyRoot(ERegKeyRoot(0)));
    EXPECT_STREQ("Unknown", PchNameFromERegKeyRoot(ERegKeyRoot(49)));
    EXPECT_EQ(2, capture.CountAsserts());
    EXPECT_EQ(
        1, capture.CountAssertsContaining("Missing String for ERegKeyRoot (49). If this comes from user "
                                          "data or could be valid, provide a default to avoid asserting."));
}

TEST(RegistryViews, FlagsPickTheViewUnknownHivesAreLocalMachine)
{
    CScratchRegKey scratch("Software");
    // {root, in the 32-bit view, in the 64-bit view}; 49 has both flags and 32 wins.
    const uint32 rgCases[][3] = {{17, 1, 0}, {33, 0, 1}, {49, 1, 0}, {1, 0, 1}, {0, 0, 1}, {7, 0, 1}};
    for (const auto& rgCase : rgCases)
    {
        SCOPED_TRACE(rgCase[0]);
        const std::string strKey = scratch.Sub(std::to_string(rgCase[0]).c_str());
        ASSERT_TRUE(BSetRegistryValueUint(ERegKeyRoot(rgCase[0]), strKey.c_str(), "v", 1));
        EXPECT_EQ(rgCase[1] != 0, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, strKey, L"v").has_value());
        EXPECT_EQ(rgCase[2] != 0, RawGetDword(HKEY_LOCAL_MACHINE, k_sam64, strKey, L"v").has_value());
    }
    // The 32-bit view of HKLM\Software is its Wow6432Node.
    EXPECT_TRUE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam64,
                            "Software\\Wow6432Node" + scratch.Sub("17").substr(8), L"v"));
}

TEST(RegistryProductKey, WritesGoToBothViewsReportingThe32BitResult)
{
    CScratchRegKey scratch(k_szProductRegKey);
    ASSERT_TRUE(BSetRegistryValueStr(k_eLM, scratch.Path(), "s", "text"));
    ASSERT_TRUE(BSetRegistryValueUint(ERegKeyRoot(17), scratch.Path(), "only32", 1));
    for (REGSAM samView : {k_sam32, k_sam64})
        EXPECT_EQ("text", RawGetString(HKEY_LOCAL_MACHINE, samView, scratch.Path(), L"s"));
    EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"only32"));
    ASSERT_TRUE(BDeleteRegistryValue(k_eLM, scratch.Path(), "s"));
    EXPECT_FALSE(RawGetString(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"s"));

    // A volatile parent refuses a non-volatile child: that makes one view's write fail.
    const std::string strChild = scratch.Sub("child");
    for (REGSAM samVolatile : {k_sam32, k_sam64})
    {
        CScratchRegKey::RawDeleteEverywhere(scratch.Path());
        ASSERT_TRUE(RawCreateKey(HKEY_LOCAL_MACHINE, samVolatile, scratch.Path(), true));
        const REGSAM samOther = samVolatile == k_sam32 ? k_sam64 : k_sam32;
        EXPECT_EQ(samVolatile == k_sam64, BSetRegistryValueUint(k_eLM, strChild.c_str(), "v", 1));
        EXPECT_EQ(1u, RawGetDword(HKEY_LOCAL_MACHINE, samOther, strChild, L"v"));
    }
}

TEST(RegistryProductKey, ReadsTry32BitFirstThenRoot1)
{
    CScratchRegKey scratch(k_szProductRegKey);
    CScratchRegKey plain("Software");
    ASSERT_TRUE(RawSetString(HKEY_LOCAL_MACHINE, k_sam32, scratch.Path(), L"both", L"from32"));
    ASSERT_TRUE(RawSetString(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"both", L"from64"));
    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"only64", 64));
    ASSERT_TRUE(RawSetString(HKEY_LOCAL_MACHINE, k_sam32, plain.Path(), L"only32", L"a"));

    const std::string strUpper =
        "SOFTWARE\\PELLAN\\KORVEX" + std::string(scratch.Path()).substr(sizeof(k_szProductRegKey) - 1);
    EXPECT_STREQ("from32", GetRegistryValueStr(k_eLM, strUpper.c_str(), "both"));
    EXPECT_STREQ("from64", GetRegistryValueStr(ERegKeyRoot(33), scratch.Path(), "both"));
    EXPECT_EQ(64u, GetRegistryValueUint(k_eLM, scratch.Path(), "only64"));
    // Outside the product key root 1 reads the native view only.
    EXPECT_STREQ("", GetRegistryValueStr(k_eLM, plain.Path(), "only32"));
}

TEST(RegistryValues, ReadersRefuseTheWrongTypeOrTooLittleRoom)
{
    CScratchRegKey scratch("Software");
    const char* pszText = "Gr\xC3\xBC\xC3\x9F\x65 \xE6\x97\xA5 \xF0\x9F\x98\x80";
    const unsigned char rgubFour[] = {9, 0, 0, 0};
    ASSERT_TRUE(BSetRegistryValueStr(k_eCU, scratch.Path(), "", pszText));
    ASSERT_TRUE(BSetRegistryValueStr(k_eCU, scratch.Path(), "s", "abc"));
    ASSERT_TRUE(BSetRegistryValueUint(k_eCU, scratch.Path(), "d", 0xFFFFFFFF));
    ASSERT_TRUE(BSetRegistryValueBin(k_eCU, scratch.Path(), "b", rgubFour, 4));
    EXPECT_EQ(pszText, RawGetString(HKEY_CURRENT_USER, 0, scratch.Path(), L""));
    EXPECT_STREQ(pszText, GetRegistryValueStr(k_eCU, scratch.Path(), ""));

    char szValue[4];
    EXPECT_TRUE(BGetRegistryValueStr(k_eCU, scratch.Path(), "s", szValue, 4));
    EXPECT_STREQ("abc", szValue);
    EXPECT_FALSE(BGetRegistryValueStr(k_eCU, scratch.Path(), "s", szValue, 3));

    unsigned int unValue = 7;
    EXPECT_FALSE(BGetRegistryValueUint(k_eCU, scratch.Path(), "b", &unValue));
    EXPECT_EQ(7u, unValue);
    EXPECT_EQ(0xFFFFFFFFu, GetRegistryValueUint(k_eCU, scratch.Path(), "d"));

    unsigned char rgubRead[8] = {};
    unsigned int cubRead = sizeof(rgubRead);
    EXPECT_TRUE(BGetRegistryValueBin(k_eCU, scratch.Path(), "b", rgubRead, &cubRead));
    EXPECT_EQ(4u, cubRead);
    EXPECT_EQ(9, rgubRead[0]);
    // No room: fails but reports the size, which is how callers look for any value.
    cubRead = 0;
    EXPECT_FALSE(BGetRegistryValueBin(k_eCU, scratch.Path(), "d", rgubRead, &cubRead));
    EXPECT_EQ(4u, cubRead);
}

TEST(RegistryKeys, DeleteKeepsTheKeyDeleteValueCreatesItEnumerateByIndex)
{
    CScratchRegKey scratch(k_szProductRegKey);
    ASSERT_TRUE(BSetRegistryValueUint(k_eCU, scratch.Sub("a\\b").c_str(), "v", 1));
    ASSERT_TRUE(BSetRegistryValueUint(k_eCU, scratch.Path(), "v", 1));
    EXPECT_TRUE(BDeleteRegistryKey(k_eCU, scratch.Path()));
    EXPECT_EQ(0, RawCountEntries(HKEY_CURRENT_USER, 0, scratch.Path()));
    EXPECT_FALSE(BDeleteRegistryKey(k_eCU, scratch.Sub("missing").c_str()));
    EXPECT_FALSE(BDeleteRegistryValue(k_eCU, scratch.Sub("new").c_str(), "v"));
    EXPECT_EQ(0, RawCountEntries(HKEY_CURRENT_USER, 0, scratch.Sub("new")));

    ASSERT_TRUE(RawCreateKey(HKEY_LOCAL_MACHINE, k_sam32, scratch.Sub("sub32")));
    ASSERT_TRUE(RawCreateKey(HKEY_LOCAL_MACHINE, k_sam64, scratch.Sub("sub64")));
    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"dword", 1));
    char szName[16];
    EXPECT_TRUE(BEnumerateRegistryKey(k_eLM, scratch.Path(), 0, szName, sizeof(szName)));
    EXPECT_STREQ("sub32", szName);
    EXPECT_FALSE(BEnumerateRegistryKey(ERegKeyRoot(17), scratch.Path(), 1, szName, sizeof(szName)));
    EXPECT_FALSE(BEnumerateRegistryKey(ERegKeyRoot(33), scratch.Path(), 0, szName, 3));
    // The 32-bit copy has no values, so root 1 falls back to the native view.
    unsigned int unType = 0;
    EXPECT_TRUE(BEnumerateRegistryValue(k_eLM, scratch.Path(), 0, szName, sizeof(szName), &unType));
    EXPECT_STREQ("dword", szName);
    EXPECT_EQ((unsigned int)REG_DWORD, unType);
}

// "root|key|value", or "refused".
std::string Parse(const std::string& strPath, bool bWantValueName = false, unsigned int cchKey = 300)
{
    char szKey[300] = "";
    char szValueName[300] = "";
    ERegKeyRoot eRoot = ERegKeyRoot(0);
    if (!BParseRegistryPath(strPath.c_str(), &eRoot, szKey, cchKey, bWantValueName ? szValueName : nullptr,
                            bWantValueName ? sizeof(szValueName) : 0))
        return "refused";
    return std::to_string(eRoot) + "|" + szKey + "|" + szValueName;
}

TEST(RegistryParse, RootsAreWholeListedNamesInAnyCase)
{
    const std::pair<const char*, uint32> rgSpellings[] = {{"HKEY_LOCAL_MACHINE", 1},
                                                          {"hklm", 1},
                                                          {"HKEY_CURRENT_USER", 2},
                                                          {"HkCu", 2},
                                                          {"hkey_classes_root", 3},
                                                          {"HKCR", 3},
                                                          {"HKEY_LOCAL_MACHINE_WOW64_32", 17},
                                                          {"HKLM32", 17},
                                                          {"hklm64", 33},
                                                          {"HKEY_LOCAL_MACHINE_WOW64_64", 33}};
    for (const auto& [pszRoot, unRoot] : rgSpellings)
        EXPECT_EQ(std::to_string(unRoot) + "|Software\\Foo|",
                  Parse(std::string(pszRoot) + "\\Software\\Foo"));
    for (const char* pszPath : {"HKLMX\\Software", "HKU\\Software", "HKEY_LOCAL_MACHINE_WOW64\\X", "HKLM",
                                "HKLM\\", "\\Software", "HKLM/Software"})
        EXPECT_EQ("refused", Parse(pszPath)) << pszPath;

    CSpewCapture capture;
    ERegKeyRoot eRoot;
    char szKey[8];
    EXPECT_FALSE(BParseRegistryPath(nullptr, &eRoot, szKey, sizeof(szKey), nullptr, 0));
    EXPECT_EQ(1u, capture.TextsOfType(SPEW_ASSERT).size());
}

TEST(RegistryParse, SplitsKeyFromValueNameWithinTheCut)
{
    EXPECT_EQ("2|Software\\Foo|Bar", Parse("HKCU\\Software\\Foo\\Bar", true));
    EXPECT_EQ("2|Software|", Parse("HKCU\\Software\\", true));
    // With a single backslash the key is still copied from behind it.
    EXPECT_EQ("2|Foo|Foo", Parse("HKCU\\Foo", true));
    EXPECT_EQ("1|Soft|", Parse("HKLM\\Software", false, 5));
    EXPECT_EQ("1|" + std::string(254 - 5, 'k') + "|", Parse("HKLM\\" + std::string(300, 'k')));
    // A backslash beyond the cut is never seen.
    EXPECT_EQ("refused", Parse(std::string(260, 'x') + "\\Software"));
}

TEST(RegistryParse, InstallScriptKeysDefaultToThe32BitView)
{
    const std::pair<const char*, uint32> rgCases[] = {{"HKCU\\Software\\X", 18},
                                                      {"HKCR\\X", 19},
                                                      {"HKLM\\Software\\X", 17},
                                                      {"HKLM64\\Software\\X", 33},
                                                      {"HKLM\\software\\pellan\\korvex\\Apps\\10", 1},
                                                      {"HKLM\\Software\\Pellan\\KorvexFoo", 17},
                                                      {"HKCU\\Software\\Pellan\\Korvex", 18}};
    ERegKeyRoot eRoot;
    CUtlString strKey;
    for (const auto& [pszPath, unRoot] : rgCases)
    {
        EXPECT_TRUE(BParseInstallScriptRegKey(pszPath, &eRoot, &strKey, nullptr)) << pszPath;
        EXPECT_EQ(unRoot, (uint32)eRoot) << pszPath;
    }
    CUtlString strValueName;
    EXPECT_TRUE(
        BParseInstallScriptRegKey("HKLM\\Software\\Pellan\\Korvex\\Name", &eRoot, &strKey, &strValueName));
    EXPECT_EQ(1u, (uint32)eRoot);
    EXPECT_STREQ("Software\\Pellan\\Korvex", strKey);
    EXPECT_STREQ("Name", strValueName);
    EXPECT_FALSE(BParseInstallScriptRegKey("HKU\\Software", &eRoot, &strKey, nullptr));

    CSpewCapture capture;
    EXPECT_FALSE(BParseInstallScriptRegKey("HKLM\\Software", nullptr, &strKey, nullptr));
    EXPECT_FALSE(BParseInstallScriptRegKey("HKLM\\Software", &eRoot, nullptr, nullptr));
    EXPECT_EQ(2u, capture.TextsOfType(SPEW_ASSERT).size());
}

} // namespace
