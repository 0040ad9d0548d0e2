// Run-once, language and progress records against the test prefix's real registry. Each
// test owns an app id whose records are removed before and after it.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "common/installscript_regkeys.h"
#include "common/registry.h"
#include "regtestutil.h"
#include "tier1/keyvalues.h"

namespace
{

constexpr REGSAM k_sam32 = KEY_WOW64_32KEY;
constexpr REGSAM k_sam64 = KEY_WOW64_64KEY;

// The records of one app id, removed from both hives and both views before and after.
class CScratchAppRecords
{
public:
    explicit CScratchAppRecords(uint32 unAppID)
        : m_unAppID(unAppID), m_strKey(std::string(k_szProductRegKey) + "\\Apps\\" + std::to_string(unAppID))
    {
        Remove();
    }
    ~CScratchAppRecords() { Remove(); }
    void Remove() const
    {
        for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
        {
            RawDeleteTree(hHive, k_sam32, m_strKey);
            RawDeleteTree(hHive, k_sam64, m_strKey);
        }
    }
    const uint32 m_unAppID;
    const std::string m_strKey;
};

TEST(HasRunKeyPath, DefaultPerHiveAndTheEntrysOverride)
{
    auto pkvEntry = std::make_unique<KeyValues>("entry");
    EXPECT_STREQ("HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\4294967295",
                 GetHasRunKeyPath(pkvEntry.get(), 4294967295u, true).Get());
    EXPECT_STREQ("HKEY_CURRENT_USER\\Software\\Pellan\\Korvex\\Apps\\440",
                 GetHasRunKeyPath(pkvEntry.get(), 440, false).Get());
    pkvEntry->SetKeyString("hasrunkey", "HKCU\\Software\\Elsewhere");
    EXPECT_STREQ("HKCU\\Software\\Elsewhere", GetHasRunKeyPath(pkvEntry.get(), 440, true).Get());

    EXPECT_EQ(1u, GetMinimumHasRunValue(pkvEntry.get()));
    pkvEntry->SetKeyInt("MinimumHasRunValue", 2);
    EXPECT_EQ(2u, GetMinimumHasRunValue(pkvEntry.get()));
}

TEST(HasRun, ThresholdsRiseButNeverFall)
{
    CScratchAppRecords records(910001);
    auto pkvEntry = std::make_unique<KeyValues>("entry");
    const CUtlString strPath = GetHasRunKeyPath(pkvEntry.get(), records.m_unAppID, false);
    const auto Stored = [&] { return RawGetDword(HKEY_CURRENT_USER, 0, records.m_strKey, L"entry"); };

    EXPECT_TRUE(BHasRun(strPath, "entry", 0)); // a missing record reads as 0
    EXPECT_FALSE(BHasRun(strPath, "entry", 1));
    SetHasRun(strPath, "entry", 1);
    EXPECT_EQ(1u, Stored());
    SetHasRun(strPath, "entry", 2); // a script that raises its minimum runs the entry once more
    EXPECT_EQ(2u, Stored());

    ASSERT_TRUE(RawSetDword(HKEY_CURRENT_USER, 0, records.m_strKey, L"entry", 5));
    SetHasRun(strPath, "entry", 2);
    EXPECT_EQ(5u, Stored());
    // The comparison is unsigned: a minimum of -1 is never reached.
    pkvEntry->SetKeyInt("MinimumHasRunValue", -1);
    EXPECT_FALSE(BHasRun(strPath, "entry", GetMinimumHasRunValue(pkvEntry.get())));

    // A string record is not a number: it reads as 0 and is replaced.
    ASSERT_TRUE(RawSetString(HKEY_CURRENT_USER, 0, records.m_strKey, L"text", L"7"));
    EXPECT_FALSE(BHasRun(strPath, "text", 1));
    SetHasRun(strPath, "text", 1);
    EXPECT_EQ(1u, RawGetDword(HKEY_CURRENT_USER, 0, records.m_strKey, L"text"));
}

TEST(HasRun, MachineWideRecordsLiveInBothViewsAndThe32BitOneIsReadFirst)
{
    CScratchAppRecords records(910002);
    auto pkvEntry = std::make_unique<KeyValues>("Run It");
    const CUtlString strPath = GetHasRunKeyPath(pkvEntry.get(), records.m_unAppID, true);
    SetHasRun(strPath, "Run It", 3);
    for (REGSAM samView : {k_sam32, k_sam64})
        EXPECT_EQ(3u, RawGetDword(HKEY_LOCAL_MACHINE, samView, records.m_strKey, L"Run It")) << samView;

    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam64, records.m_strKey, L"Run It", 9));
    EXPECT_FALSE(BHasRun(strPath, "Run It", 4));
    // With no 32-bit record the 64-bit one answers.
    RawDeleteTree(HKEY_LOCAL_MACHINE, k_sam32, records.m_strKey);
    EXPECT_TRUE(BHasRun(strPath, "Run It", 9));
}

// Paths that do not parse are never run and never written: an unknown root must not fall
// through to some hive.
TEST(HasRun, OverridesFollowTheScriptViewRuleAndBadPathsAreIgnored)
{
    CScratchRegKey scratch("Software");
    const std::string strUnknownRoot = "HKU\\" + std::string(scratch.Path());
    for (const char* pszPath : {"", "HKEY_CURRENT_USER", strUnknownRoot.c_str(), "Software\\Pellan\\Korvex"})
    {
        EXPECT_FALSE(BHasRun(pszPath, "My Entry", 0)) << pszPath;
        SetHasRun(pszPath, "My Entry", 1);
    }
    for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
    {
        EXPECT_EQ(-1, RawCountEntries(hHive, k_sam32, scratch.Path()));
        EXPECT_EQ(-1, RawCountEntries(hHive, k_sam64, scratch.Path()));
    }

    auto pkvEntry = std::make_unique<KeyValues>("My Entry");
    pkvEntry->SetKeyString("HasRunKey", ("HKCU\\" + std::string(scratch.Path())).c_str());
    SetHasRun(GetHasRunKeyPath(pkvEntry.get(), 910003, true), "My Entry", 1);
    EXPECT_EQ(1u, RawGetDword(HKEY_CURRENT_USER, 0, scratch.Path(), L"My Entry"));

    // Outside the product key, HKLM means the 32-bit view only.
    pkvEntry->SetKeyString("HasRunKey", ("HKLM\\" + std::string(scratch.Path())).c_str());
    const CUtlString strPath = GetHasRunKeyPath(pkvEntry.get(), 910003, true);
    SetHasRun(strPath, "My Entry", 1);
    EXPECT_EQ(1u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, scratch.Path(), L"My Entry"));
    EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"My Entry"));
    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"Other", 1));
    EXPECT_FALSE(BHasRun(strPath, "Other", 1));
}

TEST(EntryLanguage, RoundTripsUnderTheUsersAppKey)
{
    CScratchAppRecords records(910004);
    EXPECT_STREQ("", GetEntryLanguage(records.m_unAppID, "copy").Get());
    ASSERT_TRUE(SetEntryLanguage(records.m_unAppID, "copy", "german"));
    EXPECT_EQ("german", RawGetString(HKEY_CURRENT_USER, 0, records.m_strKey, L"copy_lang"));
    EXPECT_STREQ("german", GetEntryLanguage(records.m_unAppID, "copy").Get());
}

TEST(InstallProgress, CountIsWrittenAndDeletedBesideTheServicesSteps)
{
    CScratchAppRecords records(910005);
    InstallProgress_s progress = {7, 7, "stale"};
    GetInstallProgress(records.m_unAppID, &progress);
    EXPECT_EQ(0u, progress.m_unInstallSequence);
    EXPECT_EQ(0u, progress.m_unInstallCount);
    EXPECT_STREQ("", progress.m_strInstallDescription.Get());

    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, records.m_strKey, L"InstallSequence", 2));
    ASSERT_TRUE(
        RawSetString(HKEY_LOCAL_MACHINE, k_sam32, records.m_strKey, L"InstallDescription", L"Runtime"));
    ASSERT_TRUE(BSetInstallCount(records.m_unAppID, 4));
    EXPECT_EQ(4u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, records.m_strKey, L"InstallCount"));
    EXPECT_EQ(4u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam64, records.m_strKey, L"InstallCount"));
    GetInstallProgress(records.m_unAppID, &progress);
    EXPECT_EQ(2u, progress.m_unInstallSequence);
    EXPECT_EQ(4u, progress.m_unInstallCount);
    EXPECT_STREQ("Runtime", progress.m_strInstallDescription.Get());

    ASSERT_TRUE(BDeleteInstallCount(records.m_unAppID));
    EXPECT_EQ(0, RawCountEntries(HKEY_LOCAL_MACHINE, k_sam64, records.m_strKey));
    EXPECT_EQ(2, RawCountEntries(HKEY_LOCAL_MACHINE, k_sam32, records.m_strKey)); // the service's steps stay
}

TEST(RegistryStringMatches, ValueTextComparedIgnoringCase)
{
    CScratchRegKey scratch("Software");
    ASSERT_TRUE(RawSetString(HKEY_CURRENT_USER, 0, scratch.Path(), L"Version", L"1.2-Beta"));
    ASSERT_TRUE(RawSetString(HKEY_LOCAL_MACHINE, k_sam64, scratch.Path(), L"Native", L"yes"));
    const std::string strCU = "HKCU\\" + std::string(scratch.Path());
    const std::string strLM = "HKLM\\" + std::string(scratch.Path());
    const std::string strLM64 = "HKLM64\\" + std::string(scratch.Path());
    const struct
    {
        std::string m_strPath;
        const char* m_pszExpected;
        bool m_bMatches;
    } rgCases[] = {{strCU + "\\version", "1.2-BETA", true},
                   {strCU + "\\Version", "1.2", false},
                   {strCU + "\\Missing", "", true},
                   {strCU + "\\Missing", "x", false},
                   {strLM64 + "\\Native", "YES", true},
                   // Plain HKLM outside the product key is the 32-bit view, where the value is not.
                   {strLM + "\\Native", "yes", false},
                   {"Nowhere\\Software\\X\\Value", "", false}};
    for (const auto& testCase : rgCases)
        EXPECT_EQ(testCase.m_bMatches,
                  BRegistryStringMatches(testCase.m_strPath.c_str(), testCase.m_pszExpected))
            << testCase.m_strPath << " " << testCase.m_pszExpected;
}

} // namespace
