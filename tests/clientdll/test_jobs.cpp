// Standalone jobs in-process against the prefix's registry and files, with the Run Process
// handler watched for the run state each walk sees; and the hand-off to the service stub.

#include <gtest/gtest.h>

#include <windows.h>

#include <shlobj.h>

#include "spewcapture.h"
#include "testmanager.h"
#include "tier1/convar.h"
#include "tier1/keyvalues.h"

namespace
{

class CObservingManager : public CTestManager
{
public:
    bool BHandleUnit(ESectionHandler eHandler, KeyValues* pkvUnit) override
    {
        if (eHandler == k_ESectionHandlerRunProcess || eHandler == k_ESectionHandlerRunProcessAsCurrentUser)
            m_strSeen += std::string(pkvUnit->GetName()) + " " + std::to_string(m_unAppID) + " " +
                         std::to_string(m_eInstallScriptMode) + " " + m_szLanguage + " " +
                         Variable("INSTALLDIR") + "\n";
        return CTestManager::BHandleUnit(eHandler, pkvUnit);
    }
    bool BRunJob(const std::string& strGroups)
    {
        return BRunStandaloneJob(ParseKeyValues(Job(strGroups)).get());
    }

    std::string m_strSeen;
};

const std::string k_strTranslated = "[Standalone] translated install path: ";

TEST(StandaloneJob, FirstGroupSetsTheRunStateWhileEachWalkSeesItsOwnInstallDir)
{
    CScratchDir dir(true);
    CSpewCapture capture;
    CObservingManager manager;
    SetEnvironmentVariableA("APPDATA", "inherited");
    EXPECT_TRUE(manager.BRunJob(
        Group(
            990201, 1, dir.HostPath("a"),
            R"("language" "german" "korvexid" "007" "compat_installscript" { "Run Process" { "r1" {} } })") +
        Group(990202, 2, dir.HostPath("b"),
              R"("language" "french" "compat_installscript" { "Run Process On Update" { "r2" {} } })")));

    EXPECT_EQ("r1 990201 1 german " + dir.File("a") + "\nr2 990201 1 german " + dir.File("b") + "\n",
              manager.m_strSeen);
    // The second group walks in its own mode, which is not the run's.
    EXPECT_EQ(1, capture.CountFailedAssertions("m_eInstallScriptMode == k_EInstallScriptModeUpdate"));
    EXPECT_EQ(dir.File("a") + " 7", Variable("INSTALLDIR") + " " + Variable("KORVEXID"));
    char szAppData[MAX_PATH] = "";
    SHGetFolderPathA(nullptr, CSIDL_APPDATA, nullptr, 0, szAppData);
    EXPECT_EQ(szAppData, Variable("APPDATA"));
    EXPECT_EQ(0u, manager.GetAppID());
    EXPECT_TRUE(manager.m_vecInstallScript.IsEmpty());
    EXPECT_EQ((std::vector<std::string>{k_strTranslated + dir.File("a"), k_strTranslated + dir.File("b")}),
              dir.LogLines());
}

TEST(StandaloneJob, WorkForTheCurrentUserFailsTheJobUnrun)
{
    CScratchDir dir(true);
    CSpewCapture capture; // the empty script asserts
    CObservingManager manager;
    manager.m_pkvRunProcessAsCurrentUser->AddSubKey(new KeyValues("user"));
    EXPECT_FALSE(manager.BRunJob(Group(990206, 1, dir.HostPath("g"), "\"compat_installscript\" {}")));
    EXPECT_TRUE(manager.m_pkvRunProcessAsCurrentUser->IsEmpty());
    EXPECT_EQ((std::vector<std::string>{k_strTranslated + dir.File("g"),
                                        "[Standalone] got normal user run process!"}),
              dir.LogLines());
}

// A running script in the directory with one symbolic-link record to hand on.
void QueueAdminWork(CTestManager& manager, const CScratchDir& dir, unsigned int unAppID)
{
    manager.QueueScript(unAppID, dir.Path());
    manager.m_unAppID = unAppID;
    manager.m_pkvRunSymlinkAsAdminUser->AddSubKey(new KeyValues("link"));
}

TEST(AdminHandOff, FailsWithoutTheServiceExecutableOrAServiceInterfaceOrAnythingToHandOn)
{
    CScratchDir dir(true);
    CreateDirectoryW(Widen(dir.File("legacycompat")).c_str(), nullptr);
    CTestManager manager;
    QueueAdminWork(manager, dir, 990302);
    EXPECT_FALSE(manager.BStartAdminHandOff());
    EXPECT_EQ(INVALID_HANDLE_VALUE, manager.m_hRunProcess);
    const std::vector<std::string> vecLog = {
        "[AppID 990302] Failed to start KorvexService.exe with \"/installscript \"" +
        dir.File("runasadmin.vdf") + "\" 990302\" (GLE 2)"};
    EXPECT_EQ(vecLog, dir.LogLines());
    EXPECT_FALSE(dir.Exists("runasadmin.vdf"));

    // With the service at hand, the console variable or a flag routes the work to the
    // service interface, which this program lacks.
    dir.InstallServiceStub();
    CConVar* pcvFromService = FindConVar("@runadmininstallscriptsfromservice");
    ASSERT_NE(nullptr, pcvFromService);
    EXPECT_STREQ("0", pcvFromService->GetString());
    for (uint32 unFlags : {0u, 1u})
    {
        pcvFromService->SetValue(unFlags ? "0" : "1");
        CTestManager routed;
        routed.SetFlags(unFlags, true);
        QueueAdminWork(routed, dir, 990301);
        EXPECT_FALSE(routed.BStartAdminHandOff());
        EXPECT_EQ(INVALID_HANDLE_VALUE, routed.m_hAdminScriptFile);
        EXPECT_TRUE(routed.m_pkvRunSymlinkAsAdminUser->IsEmpty());
    }
    pcvFromService->Revert();
    CTestManager idle;
    idle.QueueScript(990301, dir.Path());
    EXPECT_FALSE(idle.BStartAdminHandOff());
    EXPECT_FALSE(dir.Exists("runasadmin.vdf"));
    EXPECT_FALSE(dir.Exists("service_record.txt"));
    EXPECT_EQ(vecLog, dir.LogLines());
}

TEST(AdminHandOff, TheServiceGetsTheListsWhileTheJobPublishesProgress)
{
    CScratchDir dir(true);
    CScratchAppKey appKey(990303);
    dir.InstallServiceStub();
    dir.Write("g\\runasadmin.vdf", "left over from an earlier run");
    CObservingManager manager;
    EXPECT_TRUE(
        manager.BRunJob(Group(990303, 1, dir.HostPath("g"), R"("compat_installscript" { "Run Process" {
        "r1" { "process" "%INSTALLDIR%\\a.exe" } "r2" { "process" "b.exe" } } })")));

    // Seen by the service while it ran: its arguments, a file it could not change, the
    // step count, and the progress file the job published from its records.
    const std::string strRecord = dir.Read("service_record.txt");
    EXPECT_EQ(0u, strRecord.find("arg=/installscript\narg=" + dir.File("g\\runasadmin.vdf") +
                                 "\narg=990303\nwritable=0\ninstall_count=2\nprogress="))
        << strRecord;
    EXPECT_EQ("progress{current_step=2,step_count=2,current_step_description=Stub step,}",
              Flatten(ParseKeyValues(strRecord.substr(strRecord.find("progress=") + 9)).get()));
    const std::string strHanded = Flatten(ParseKeyValues(dir.Read("handed_runasadmin.vdf")).get());
    EXPECT_EQ(0u, strHanded.find("symlink{}Run Process{r1{Process=" + dir.File("g\\a.exe") + ","))
        << strHanded;
    EXPECT_NE(std::string::npos, strHanded.find("}r2{Process=b.exe,")) << strHanded;

    EXPECT_FALSE(dir.Exists("g\\runasadmin.vdf"));
    for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"InstallCount").has_value());
    EXPECT_NE(std::string::npos, dir.Read("standalone_installscript_progress_990303.vdf").find("Stub step"));
}

} // namespace
