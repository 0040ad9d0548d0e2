// The whole hand-off under Wine: the real evaluator queues the script's installers and
// links, starts the real runner as its service and waits for it.

#include <gtest/gtest.h>

#include <windows.h>

#include <tlhelp32.h>

#include "runnertestsupport.h"

namespace
{

// A "Run Process" entry running the scratch directory's setup.exe with the arguments.
std::string Entry(const std::string& strName, const std::string& strArgs, const std::string& strMore = "")
{
    return "\"" + strName + "\" { \"process\" \"%INSTALLDIR%\\\\redist\\\\setup.exe\" \"command\" \"" +
           Escaped(strArgs) + "\" " + strMore + " }";
}

std::vector<std::string> RunJob(const CScratchDir& dir, unsigned int unAppID, int nMode,
                                const std::string& strScript)
{
    return RunGroupJob(dir, unAppID, nMode, "\"compat_installscript\" { " + strScript + " }");
}

// Ends the runner started from the directory (tests of other directories run beside it);
// the evaluator waiting for it carries on.
void KillRunner(const CScratchDir& dir)
{
    const std::wstring wstrRunner = Widen(dir.File("legacycompat\\KorvexService.exe"));
    HANDLE hSnapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL bMore = Process32FirstW(hSnapshot, &entry); bMore; bMore = Process32NextW(hSnapshot, &entry))
    {
        HANDLE hProcess = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION,
                                      FALSE, entry.th32ProcessID);
        wchar_t wszImage[MAX_PATH * 2] = L"";
        DWORD cchImage = MAX_PATH * 2;
        if (hProcess && QueryFullProcessImageNameW(hProcess, 0, wszImage, &cchImage) &&
            _wcsicmp(wszImage, wstrRunner.c_str()) == 0)
        {
            TerminateProcess(hProcess, 99);
            WaitForSingleObject(hProcess, 5000);
        }
        if (hProcess)
            CloseHandle(hProcess);
    }
    CloseHandle(hSnapshot);
}

TEST(HandOff, InstallersRunInSequenceAsTheJobDescribes)
{
    CScratchDir dir;
    CScratchAppKey appKey(990711);
    InstallRunnerAndInstaller(dir);
    // Launch mode walks "Run Process On Update" before "Run Process".
    const std::string strScript =
        "\"Run Process\" { " + Entry("first", InstallerArgs(dir, "first", "--env AppID --env INSTALLDIR")) +
        "\"pair\" { \"process 1\" \"%INSTALLDIR%\\\\redist\\\\setup.exe\" \"command 1\" \"" +
        Escaped(InstallerArgs(dir, "pair1")) +
        "\" \"process 2\" \"%INSTALLDIR%\\\\redist\\\\setup.exe\" \"command 2\" \"" +
        Escaped(InstallerArgs(dir, "pair2")) + "\" } } \"Run Process On Update\" { " +
        Entry("update", InstallerArgs(dir, "update")) + " }";
    RunJob(dir, 990711, 1, strScript);
    const std::vector<std::string> vecRuns = InstallerRuns(dir, true);
    ASSERT_EQ(4u, vecRuns.size());
    EXPECT_EQ((std::vector<std::string>{"update", "first", "pair1", "pair2"}), InstallerRuns(dir));
    EXPECT_EQ("first ran: args=\"" + dir.File("game\\redist\\setup.exe") + "\" " +
                  InstallerArgs(dir, "first", "--env AppID --env INSTALLDIR") +
                  " cwd=" + dir.File("game\\redist") + " AppID=990711 INSTALLDIR=" + dir.File("game"),
              vecRuns[1]);
    for (const wchar_t* pwszEntry : {L"first", L"pair", L"update"})
        EXPECT_EQ(1u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), pwszEntry)) << pwszEntry;

    // Everything ran: the next launch queues nothing, so no service is started at all.
    RunJob(dir, 990711, 1, strScript);
    EXPECT_EQ(4u, InstallerRuns(dir).size());
    EXPECT_TRUE(LogLinesWith(dir, "KorvexService.exe").empty());

    // Uninstalling forgets the records, and the uninstaller of "first" sets none again.
    RunJob(dir, 990711, 3,
           "\"Run Process On Uninstall\" { " + Entry("first", InstallerArgs(dir, "removal")) + " } " +
               strScript);
    EXPECT_EQ("removal", InstallerRuns(dir).back());
    EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"first"));
}

TEST(HandOff, ExitCodesDecideWhichEntriesAreRecorded)
{
    CScratchDir dir;
    CScratchAppKey appKey(990712);
    InstallRunnerAndInstaller(dir);
    RunJob(dir, 990712, 1,
           "\"Run Process\" { " + Entry("zero", InstallerArgs(dir, "zero")) +
               Entry("listed", InstallerArgs(dir, "listed", "--exit 5"), "\"ValidExitCodes\" \"1638,5\"") +
               Entry("unlisted", InstallerArgs(dir, "unlisted", "--exit 6")) +
               Entry("ignored", InstallerArgs(dir, "ignored", "--exit 6"), "\"IgnoreExitCode\" \"1\"") +
               Entry("restart", InstallerArgs(dir, "restart", "--exit 3010")) +
               "\"pair\" { \"process 1\" \"%INSTALLDIR%\\\\redist\\\\setup.exe\" \"command 1\" \"--exit 0\" "
               "\"process 2\" \"%INSTALLDIR%\\\\redist\\\\setup.exe\" \"command 2\" \"--exit 9\" } }");
    for (const wchar_t* pwszEntry : {L"zero", L"listed", L"ignored", L"restart"})
        EXPECT_EQ(1u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), pwszEntry)) << pwszEntry;
    for (const wchar_t* pwszEntry : {L"unlisted", L"pair"})
        EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), pwszEntry)) << pwszEntry;
    const std::vector<std::string> vecEnded = LogLinesWith(dir, "ended with exit code");
    ASSERT_EQ(7u, vecEnded.size());
    EXPECT_EQ("[AppID 990712] Step 3 of 7 (setup.exe) ended with exit code 6: failure (not 0 and not in "
              "ValidExitCodes \"1638\")",
              vecEnded[2]);
    EXPECT_NE(std::string::npos,
              vecEnded[4].find("exit code 3010: success (a restart is required; nothing to "
                               "restart under Wine)"));
    EXPECT_NE(std::string::npos, vecEnded[6].find("Step 7 of 7 (setup.exe) ended with exit code 9: failure"));
}

TEST(HandOff, EvaluatorPublishesOnlyTheRunningStep)
{
    CScratchDir dir;
    CScratchAppKey appKey(990713);
    InstallRunnerAndInstaller(dir);
    std::string strEntries;
    for (const char* pszName : {"one", "two", "three"})
    {
        strEntries +=
            Entry(pszName,
                  InstallerArgs(dir, pszName,
                                "--ms 400 --progress \"" +
                                    dir.File("standalone_installscript_progress_990713.vdf") + "\""),
                  "\"Description\" \"Installing " + std::string(pszName) + "\"");
    }
    RunJob(dir, 990713, 1, "\"Run Process\" { " + strEntries + " }");
    const std::vector<std::string> vecRuns = InstallerRuns(dir, true);
    ASSERT_EQ(3u, vecRuns.size());
    const char* const rgpszDescriptions[] = {"one", "two", "three"};
    for (size_t iRun = 0; iRun < vecRuns.size(); ++iRun)
    {
        const std::string strProgress = "progress=\"progress\" { \"current_step\" \"" +
                                        std::to_string(iRun + 1) +
                                        "\" \"step_count\" \"3\" \"current_step_description\" \"Installing " +
                                        rgpszDescriptions[iRun] + "\" }";
        EXPECT_NE(std::string::npos, vecRuns[iRun].find(strProgress)) << vecRuns[iRun];
    }
    for (REGSAM samView : {k_sam32, k_sam64})
    {
        EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"InstallSequence"));
        EXPECT_FALSE(RawGetString(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"InstallDescription"));
    }
}

TEST(HandOff, FailedStepsLeaveNoHelperRunning)
{
    CScratchDir dir;
    CScratchAppKey appKey(990714);
    InstallRunnerAndInstaller(dir);
    SetEnvironmentVariableW(L"INSTALLSCRIPT_STEP_TIMEOUT", L"1");
    RunJob(dir, 990714, 1,
           "\"Run Process\" { \"missing\" { \"process\" \"%INSTALLDIR%\\\\nothere.exe\" } " +
               Entry("slow", InstallerArgs(dir, "slow", "--ms 20000 --spawn-ms 2500")) + " }");
    SetEnvironmentVariableW(L"INSTALLSCRIPT_STEP_TIMEOUT", nullptr);
    EXPECT_EQ(1u, LogLinesWith(dir, "(nothere.exe) failed: cannot start \"" + dir.File("game\\nothere.exe") +
                                        "\" (error 2)")
                      .size());
    EXPECT_EQ(
        1u, LogLinesWith(dir, "failed: \"" + dir.File("game\\redist\\setup.exe") +
                                  "\" still ran after 1 seconds; it was ended with every process it started")
                .size());
    // The helper would have noted its end by now.
    Sleep(3000);
    EXPECT_TRUE(InstallerRuns(dir).empty());
    EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"slow"));
}

TEST(HandOff, LinksReadThroughToTheirTargets)
{
    CScratchDir dir;
    CScratchAppKey appKey(990715);
    InstallRunnerAndInstaller(dir);
    dir.Write("game\\data\\real.txt", "the target");
    dir.Write("game\\taken.txt", "someone else's");
    const std::string strScript =
        "\"symlink\" { \"links\" { \"link\" \"%INSTALLDIR%\\\\linked.txt\" \"target\" "
        "\"%INSTALLDIR%\\\\data\\\\real.txt\" \"link dir\" \"%INSTALLDIR%\\\\deep\\\\er\\\\data\" \"target "
        "dir\" "
        "\"%INSTALLDIR%\\\\data\" \"link taken\" \"%INSTALLDIR%\\\\taken.txt\" \"target taken\" "
        "\"%INSTALLDIR%\\\\data\\\\real.txt\" } }";
    RunJob(dir, 990715, 1, strScript);
    EXPECT_EQ("the target", dir.Read("game\\linked.txt"));
    EXPECT_EQ("the target", dir.Read("game\\deep\\er\\data\\real.txt"));
    EXPECT_EQ("someone else's", dir.Read("game\\taken.txt"));
    EXPECT_EQ(1u, LogLinesWith(dir, "Failed to link \"" + dir.File("game\\taken.txt") + "\"").size());

    // Links are queued on every launch: what the last run made counts as done.
    dir.Write("game\\data\\new.txt", "added later");
    RunJob(dir, 990715, 1, strScript);
    EXPECT_EQ(1u, LogLinesWith(dir, "\"" + dir.File("game\\linked.txt") + "\" already links to").size());
    EXPECT_EQ("added later", dir.Read("game\\deep\\er\\data\\new.txt"));
    EXPECT_EQ(1u, LogLinesWith(dir, "Failed to link").size());
}

TEST(HandOff, NextLaunchCompletesWhatAKilledRunnerLeft)
{
    CScratchDir dir;
    CScratchAppKey appKey(990716);
    InstallRunnerAndInstaller(dir);
    const std::string strScript = "\"Run Process\" { " + Entry("quick", InstallerArgs(dir, "quick")) +
                                  Entry("long", InstallerArgs(dir, "long", "--ms 3000")) +
                                  Entry("last", InstallerArgs(dir, "last")) + " }";
    dir.Write("job.vdf",
              Job(Group(990716, 1, dir.HostPath("game"), "\"compat_installscript\" { " + strScript + " }")));
    // Killed a second into the long step, when its installer surely runs.
    bool bKilled = false;
    DWORD dwLongStarted = 0;
    RunEvaluator(dir, {"job.vdf"}, ISE_EVALUATOR_EXE,
                 [&]
                 {
                     if (!dwLongStarted && !LogLinesWith(dir, "Step 2 of 3 started").empty())
                         dwLongStarted = GetTickCount();
                     if (!bKilled && dwLongStarted && GetTickCount() - dwLongStarted > 1000)
                     {
                         KillRunner(dir);
                         bKilled = true;
                     }
                     return false;
                 });
    ASSERT_TRUE(bKilled);
    EXPECT_EQ((std::vector<std::string>{"quick"}), InstallerRuns(dir));

    // Its installer went with it: no "long" of the first launch appears.
    RunJob(dir, 990716, 1, strScript);
    EXPECT_EQ((std::vector<std::string>{"quick", "long", "last"}), InstallerRuns(dir));
}

} // namespace
