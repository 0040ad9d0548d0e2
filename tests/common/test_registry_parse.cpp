// Registry path parsing: the accepted root spellings, the cuts, and the install-script
// default view.

#include <gtest/gtest.h>

#include "common/registry.h"
#include "spewcapture.h"

namespace
{

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

TEST(RegistryParse, ValueNamesAndCuts)
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
