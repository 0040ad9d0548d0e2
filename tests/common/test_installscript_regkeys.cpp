// Run-once and progress records against the test prefix's real registry.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "common/installscript_regkeys.h"
#include "common/registry.h"
#include "regtestutil.h"
#include "tier1/keyvalues.h"

namespace
{

TEST(HasRun, ThresholdsRiseButNeverFall)
{
    CScratchAppKey appKey(910001);
    auto pkvEntry = std::make_unique<KeyValues>("entry");
    const CUtlString strPath = GetHasRunKeyPath(pkvEntry.get(), 910001, false);
    const auto Stored = [&] { return RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"entry"); };

    EXPECT_TRUE(BHasRun(strPath, "entry", 0)); // a missing record reads as 0
    EXPECT_FALSE(BHasRun(strPath, "entry", GetMinimumHasRunValue(pkvEntry.get()))); // 1 unless set
    SetHasRun(strPath, "entry", 1);
    EXPECT_EQ(1u, Stored());
    SetHasRun(strPath, "entry", 2); // a script that raises its minimum runs the entry once more
    EXPECT_EQ(2u, Stored());

    ASSERT_TRUE(RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"entry", 5));
    SetHasRun(strPath, "entry", 2);
    EXPECT_EQ(5u, Stored());
    // The comparison is unsigned: a minimum of -1 is never reached.
    pkvEntry->SetKeyInt("MinimumHasRunValue", -1);
    EXPECT_FALSE(BHasRun(strPath, "entry", GetMinimumHasRunValue(pkvEntry.get())));

    // A string record is not a number: it reads as 0 and is replaced.
    ASSERT_TRUE(RawSetString(HKEY_CURRENT_USER, 0, appKey.Key(), L"text", L"7"));
    EXPECT_FALSE(BHasRun(strPath, "text", 1));
    SetHasRun(strPath, "text", 1);
    EXPECT_EQ(1u, RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"text"));
}

TEST(HasRun, MachineWideRecordsAreReadFromThe32BitViewFirst)
{
    CScratchAppKey appKey(910002);
    auto pkvEntry = std::make_unique<KeyValues>("Run It");
    const CUtlString strPath = GetHasRunKeyPath(pkvEntry.get(), 910002, true);
    EXPECT_STREQ("HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\4294967295",
                 GetHasRunKeyPath(pkvEntry.get(), 4294967295u, true).Get());
    SetHasRun(strPath, "Run It", 3);
    for (REGSAM samView : {k_sam32, k_sam64})
        EXPECT_EQ(3u, RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"Run It")) << samView;

    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam64, appKey.Key(), L"Run It", 9));
    EXPECT_FALSE(BHasRun(strPath, "Run It", 4));
    // With no 32-bit record the 64-bit one answers.
    RawDeleteTree(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key());
    EXPECT_TRUE(BHasRun(strPath, "Run It", 9));
}

// Paths that do not parse are never run and never written: an unknown root must not fall
// through to some hive.
TEST(HasRun, OverridePathsFollowTheScriptViewRule)
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

TEST(InstallProgress, CountIsKeptBesideTheServicesSteps)
{
    CScratchAppKey appKey(910005);
    // "<sequence> <count> <description>", over a record holding stale values.
    const auto Progress = []
    {
        InstallProgress_s progress = {7, 7, "stale"};
        GetInstallProgress(910005, &progress);
        return std::to_string(progress.m_unInstallSequence) + " " +
               std::to_string(progress.m_unInstallCount) + " " + progress.m_strInstallDescription.Get();
    };
    EXPECT_EQ("0 0 ", Progress());
    ASSERT_TRUE(RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"InstallSequence", 2));
    ASSERT_TRUE(RawSetString(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"InstallDescription", L"Runtime"));
    ASSERT_TRUE(BSetInstallCount(910005, 4));
    for (REGSAM samView : {k_sam32, k_sam64})
        EXPECT_EQ(4u, RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"InstallCount"));
    EXPECT_EQ("2 4 Runtime", Progress());

    ASSERT_TRUE(BDeleteInstallCount(910005));
    EXPECT_EQ(0, RawCountEntries(HKEY_LOCAL_MACHINE, k_sam64, appKey.Key()));
    EXPECT_EQ(2, RawCountEntries(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key())); // the service's steps stay
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
