// The real evaluator started as the platform starts it, in a fresh working directory per
// case: command-line forms, job files, path translation (and a build outside it), exact
// log lines, and the cleanup walk's effect on run-once records in the registry.

#include <gtest/gtest.h>

#include <windows.h>

#include "evaluatortestsupport.h"

namespace
{

TEST(Evaluator, CommandLineForms)
{
    CScratchDir dir;
    CScratchAppKey appKey(990401);
    // Progress records exist, but a fresh process runs nothing and so answers nothing.
    RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, appKey.Key(), L"InstallCount", 3);
    const std::vector<std::string> rgvecArgs[] = {
        {}, {"--GET-CURRENT-STEP", "990401"}, {"--get-current-step", "0x10"}, {"missing.vdf"}};
    for (const std::vector<std::string>& vecArgs : rgvecArgs)
    {
        const EvaluatorRun_s run = RunEvaluator(dir, vecArgs);
        EXPECT_EQ(1, run.m_nExitCode) << vecArgs.size();
        EXPECT_EQ("", run.m_strOutput);
    }
    EXPECT_FALSE(dir.Exists("installscriptevalutor_log.txt"));

    // Without an app id, or with one argument too many, the option names a job file.
    dir.Write("--get-current-step",
              Job(Group(990401, 7, dir.HostPath("game"), "\"compat_installscript\" {}")));
    EXPECT_EQ(0, RunEvaluator(dir, {"--get-current-step"}).m_nExitCode);
    EXPECT_EQ(0, RunEvaluator(dir, {"--get-current-step", "990401", "more"}).m_nExitCode);
    EXPECT_EQ(2u, dir.LogLines().size());
}

TEST(Evaluator, JobFilesExitCodesAndLogLines)
{
    CScratchDir dir;
    const std::string strGame = dir.HostPath("game");
    const std::string strTranslated = "[Standalone] translated install path: " + dir.File("game");
    const std::string strScript = "\"compat_installscript\" { \"Registry\" {} }";
    const std::string strGroup = Group(990402, 1, strGame, strScript);
    const std::string strUntranslated = "[Standalone] failed to translate path";
    // {job text, build of the evaluator, exit code, log}
    const std::tuple<std::string, const char*, int, std::vector<std::string>> rgCases[] = {
        {Job(strGroup), ISE_EVALUATOR_EXE, 0, {strTranslated}},
        {Job(Group(990402, 7, strGame, strScript)), ISE_EVALUATOR_EXE, 0, {strTranslated}},
        {Job(Group(990402, 1, strGame, "") + strGroup),
         ISE_EVALUATOR_EXE,
         1,
         {"[Standalone] missing a compat_installscript section", strTranslated}},
        {Job(strGroup + strGroup), ISE_EVALUATOR_NOTRANSLATION_EXE, 1, {strUntranslated, strUntranslated}},
        {"{{ \"x\" } } }", ISE_EVALUATOR_EXE, 0, {}},
        {"", ISE_EVALUATOR_EXE, 0, {}},
    };
    for (const auto& [strJob, pszHostExe, nExitCode, vecLog] : rgCases)
    {
        DeleteFileW(Widen(dir.File("installscriptevalutor_log.txt")).c_str());
        dir.Write("job.vdf", strJob);
        EXPECT_EQ(nExitCode, RunEvaluator(dir, {"job.vdf"}, pszHostExe).m_nExitCode) << strJob;
        EXPECT_EQ(vecLog, dir.LogLines()) << strJob;
    }
}

TEST(Evaluator, CleanupAndUninstallForgetRunOnceRecordsButNotAll)
{
    CScratchDir dir;
    CScratchAppKey appKey(990404);
    const char* pszScript =
        R"("compat_installscript" { "Run Process" { "rp" {} } "Run Process On Update" { "up" {} }
        "File Template" { "ft" {} } "Copy Files" { "keep" { "NoCleanUp" "1" } } "Firewall" { "p" "x.exe" }
        "Create Folders" { "ov" { "HasRunKey" "HKEY_CURRENT_USER\\@APP@\\moved" } } })";
    const std::string strScript = Replaced(pszScript, "@APP@", Replaced(appKey.Key(), "\\", "\\\\"));
    for (int nMode : {4, 3})
    {
        SCOPED_TRACE(nMode);
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        {
            RawSetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"rp", 1);
            RawSetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"up", 1);
        }
        for (const wchar_t* pwszName : {L"ft", L"keep", L"Firewall"})
            RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key(), pwszName, 1);
        RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key() + "\\moved", L"ov", 1);

        EXPECT_EQ(std::vector<std::string>{}, RunGroupJob(dir, 990404, nMode, strScript));
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        {
            EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"rp"));
            // Run Process writes machine-wide, cleanup looks per user: the record stays.
            EXPECT_TRUE(RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"up"));
            EXPECT_FALSE(RawGetDword(HKEY_LOCAL_MACHINE, samView, appKey.Key(), L"InstallCount"));
        }
        EXPECT_FALSE(RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"ft"));
        EXPECT_TRUE(RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"keep"));
        EXPECT_FALSE(RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"Firewall"));
        EXPECT_FALSE(RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key() + "\\moved", L"ov"));
    }
}

} // namespace
