// The real evaluator started as the platform starts it, in a fresh working directory per
// case: command-line forms, job files, path translation (and a build outside it), exact
// log lines, and the cleanup walk's effect on run-once records in the registry.

#include <gtest/gtest.h>

#include <windows.h>

#include "evaluatortestsupport.h"
#include "regtestutil.h"

namespace
{

TEST(Evaluator, CommandLineForms)
{
    CScratchDir dir;
    CScratchAppKey appKey(990401);
    // Progress records exist, but a fresh process runs nothing and so answers nothing.
    RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, appKey.Key(), L"InstallCount", 3);
    const std::vector<std::string> rgvecArgs[] = {{},
                                                  {"--GET-CURRENT-STEP", "990401"},
                                                  {"--get-current-step", "0x10"},
                                                  {"--get-current-step"},
                                                  {"--get-current-step", "990401", "more"},
                                                  {"missing.vdf"}};
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
    const struct
    {
        std::string m_strJob;
        const char* m_pszHostExe;
        int m_nExitCode;
        std::vector<std::string> m_vecLog;
    } rgCases[] = {
        {Job(strGroup), ISE_EVALUATOR_EXE, 0, {strTranslated}},
        {Job(Group(990402, 7, strGame, strScript)), ISE_EVALUATOR_EXE, 0, {strTranslated}},
        {Job(Group(990402, 1, strGame, "") + strGroup),
         ISE_EVALUATOR_EXE,
         1,
         {"[Standalone] missing a compat_installscript section", strTranslated}},
        {Job(strGroup + strGroup),
         ISE_EVALUATOR_NOTRANSLATION_EXE,
         1,
         {"[Standalone] failed to translate path", "[Standalone] failed to translate path"}},
        {"{{ \"x\" } } }", ISE_EVALUATOR_EXE, 0, {}},
        {"", ISE_EVALUATOR_EXE, 0, {}},
    };
    for (const auto& testCase : rgCases)
    {
        SCOPED_TRACE(testCase.m_strJob);
        DeleteFileW(Widen(dir.File("installscriptevalutor_log.txt")).c_str());
        dir.Write("job.vdf", testCase.m_strJob);
        EXPECT_EQ(testCase.m_nExitCode, RunEvaluator(dir, {"job.vdf"}, testCase.m_pszHostExe).m_nExitCode);
        EXPECT_EQ(testCase.m_vecLog, dir.LogLines());
    }
}

TEST(Evaluator, CleanupAndUninstallForgetRunOnceRecordsButNotAll)
{
    CScratchDir dir;
    CScratchAppKey appKey(990404);
    CScratchRegKey overrideKey("Software");
    std::string strOverrideKey = overrideKey.Path();
    strOverrideKey.insert(strOverrideKey.find('\\'), "\\"); // one backslash, escaped in the job
    const std::string strScript = "\"compat_installscript\" { \"Run Process\" { \"rp\" {} }"
                                  " \"Run Process On Update\" { \"up\" {} } \"File Template\" { \"ft\" {} }"
                                  " \"Copy Files\" { \"keep\" { \"NoCleanUp\" \"1\" } }"
                                  " \"Create Folders\" { \"ov\" { \"HasRunKey\" \"HKEY_CURRENT_USER\\\\" +
                                  strOverrideKey + "\" } } \"Firewall\" { \"p\" \"x.exe\" } }";
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
        RawSetDword(HKEY_CURRENT_USER, 0, overrideKey.Path(), L"ov", 1);
        dir.Write("job.vdf", Job(Group(990404, nMode, dir.HostPath("game"), strScript)));

        EXPECT_EQ(0, RunEvaluator(dir, {"job.vdf"}).m_nExitCode);
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
        EXPECT_FALSE(RawGetDword(HKEY_CURRENT_USER, 0, overrideKey.Path(), L"ov"));
    }
}

} // namespace
