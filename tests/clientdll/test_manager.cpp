// The manager's own operations, outside any job.

#include <gtest/gtest.h>

#include <windows.h>

#include "clientdll/installscript_variables.h"
#include "spewcapture.h"
#include "testmanager.h"
#include "tier1/keyvalues.h"

namespace
{

TEST(InstallScriptManager, SetFlagsAnswersTheNewFlagsOnlyWhenSetting)
{
    CTestManager manager;
    // {bits, set, answer, flags afterwards}
    const uint32 rgSteps[][4] = {{5, 1, 5, 5}, {2, 1, 7, 7}, {1, 0, 7, 6}, {8, 0, 6, 6}, {0, 1, 6, 6}};
    for (const auto& rgStep : rgSteps)
    {
        EXPECT_EQ(rgStep[2], manager.SetFlags(rgStep[0], rgStep[1] != 0));
        EXPECT_EQ(rgStep[3], manager.m_unFlags);
    }
}

TEST(InstallScriptManager, StartInstallScriptIsRefused)
{
    CSpewCapture capture;
    CTestManager manager;
    EXPECT_FALSE(manager.BStartInstallScript());
    EXPECT_EQ(1, capture.CountFailedAssertions("false"));
}

TEST(InstallScriptManager, WalkWithoutARunIsRefused)
{
    CSpewCapture capture;
    CTestManager manager;
    EXPECT_FALSE(manager.BRunWalk(k_EInstallScriptModeLaunch));
    EXPECT_EQ(1, capture.CountFailedAssertions("m_eInstallScriptMode == k_EInstallScriptModeLaunch"));
    EXPECT_EQ(1, capture.CountFailedAssertions("m_pRunScript"));
}

TEST(InstallScriptManager, PreparedScriptCarriesItsSettings)
{
    CSpewCapture capture;
    CTestManager manager;
    manager.QueueScript(1, "d:\\games\\x", "\"s\" { \"utf8_registry_strings\" \"1\" }");
    EXPECT_EQ("d:\\games\\x D", Variable("INSTALLDIR") + " " + Variable("ROOTDRIVE"));
    EXPECT_TRUE(manager.m_pRunScript->m_bUTF8RegistryStrings);
    EXPECT_EQ(0, capture.CountAsserts());
}

TEST(InstallScriptManager, PreparingAnEmptyScriptOrARelativePathAsserts)
{
    CSpewCapture capture;
    CTestManager manager;
    manager.QueueScript(2, "games\\x", "\"s\" {}");
    EXPECT_FALSE(manager.m_pRunScript->m_bUTF8RegistryStrings);
    EXPECT_EQ(1, capture.CountFailedAssertions("!pCurrentScript->m_kvInstallScript->IsEmpty()"));
    EXPECT_EQ(1, capture.CountFailedAssertions("V_IsAbsolutePath( pCurrentScript->m_strInstallPath )"));
}

TEST(InstallScriptManager, KorvexIDReadsHexadecimalOrDecimalAfterBlanks)
{
    const std::pair<const char*, uint64> rgKorvexIDs[] = {
        {"007", 7},       {"0x10", 16}, {"", 0},
        {" \t42abc", 42}, {"0X1f", 31}, {"x9", 0},
        {"0x", 0},        {"-5", 0},    {"18446744073709551615", 18446744073709551615ull}};
    for (const auto& korvexID : rgKorvexIDs)
        EXPECT_EQ(korvexID.second, ParseKorvexID(korvexID.first)) << korvexID.first;
}

TEST(InstallScriptManager, WalkOfAScriptThatLostItsTreeWalksAnEmptyOneCreatedForIt)
{
    CSpewCapture capture;
    CTestManager manager;
    manager.QueueScript(2, "d:\\games\\x");
    manager.m_pRunScript->SetInstallScript(nullptr);
    manager.m_eInstallScriptMode = k_EInstallScriptModeUninstall;
    EXPECT_TRUE(manager.BRunWalk(k_EInstallScriptModeUninstall));
    EXPECT_EQ(1, capture.CountFailedAssertions("!pScript->IsEmpty()"));
    EXPECT_NE(nullptr, manager.m_pRunScript->m_kvInstallScript);
}

TEST(InstallScriptManager, StopCleansUpOnlyOnceNoProcessIsTracked)
{
    CScratchDir dir;
    CTestManager manager;
    manager.QueueScript(440, dir.Path());
    manager.m_unAppID = 440;
    EXPECT_TRUE(manager.BStopInstallScript(441));
    DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &manager.m_hRunProcess, 0,
                    FALSE, DUPLICATE_SAME_ACCESS);
    dir.Write("runasadmin.vdf", "x");
    manager.m_hAdminScriptFile = CreateFileW(Widen(dir.File("runasadmin.vdf")).c_str(), GENERIC_WRITE,
                                             FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);

    EXPECT_FALSE(manager.BStopInstallScript(440));
    EXPECT_EQ(INVALID_HANDLE_VALUE, manager.m_hRunProcess);
    EXPECT_EQ(440u, manager.GetAppID());
    EXPECT_TRUE(dir.Exists("runasadmin.vdf"));

    EXPECT_TRUE(manager.BStopInstallScript(440));
    EXPECT_EQ(0u, manager.GetAppID());
    EXPECT_EQ(INVALID_HANDLE_VALUE, manager.m_hAdminScriptFile);
    EXPECT_FALSE(dir.Exists("runasadmin.vdf"));

    // The worker (none exists) has always finished, so one call does it all.
    manager.m_bThreadInstallScriptRunning = true;
    EXPECT_TRUE(manager.BStopInstallScript(0));
    EXPECT_FALSE(manager.m_bThreadInstallScriptRunning);
}

TEST(InstallScriptManager, CurrentStepAnswersOnlyDuringARun)
{
    CScratchDir dir(true);
    CScratchAppKey appKey(990101);
    RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, appKey.Key(), L"InstallSequence", 3);
    RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, appKey.Key(), L"InstallCount", 5);
    RawSetString(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, appKey.Key(), L"InstallDescription",
                 std::wstring(300, L'd').c_str());
    CTestManager manager;
    char szDescription[10] = "junk";
    uint32 unStepCount = 9;
    uint32 unCurrentStep = 9;
    // "<answer> <description>/<step count>/<current step>"
    const auto Query = [&]()
    {
        const uint32 unAnswer =
            manager.BGetCurrentStep(szDescription, sizeof(szDescription), &unStepCount, &unCurrentStep);
        return std::to_string(unAnswer) + " " + szDescription + "/" + std::to_string(unStepCount) + "/" +
               std::to_string(unCurrentStep);
    };
    manager.m_eInstallScriptMode = k_EInstallScriptModeUpdate;
    EXPECT_EQ("0 /0/0", Query());
    manager.PublishProgress();
    EXPECT_FALSE(dir.Exists("standalone_installscript_progress_0.vdf"));

    manager.SetAppID(990101);
    EXPECT_EQ("2 ddddddddd/5/3", Query());
    manager.PublishProgress();
    EXPECT_EQ("progress{current_step=3,step_count=5,current_step_description=" + std::string(259, 'd') + ",}",
              Flatten(ParseKeyValues(dir.Read("standalone_installscript_progress_990101.vdf")).get()));
}

} // namespace
