// The real evaluator started as the platform starts it, in a fresh working directory.

#include <gtest/gtest.h>

#include <windows.h>

#include "evaluatortestsupport.h"

namespace
{

TEST(Evaluator, EachCommandLineFormEndsAsExpected)
{
    CScratchDir dir;
    CScratchAppKey appKey(990401);
    // Progress records exist, but a fresh process runs nothing and so answers nothing.
    RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"InstallCount", 3);
    const std::string strGame = dir.HostPath("game");
    const std::string strLogged = "[Standalone] translated install path: " + dir.File("game");
    const std::string strScript = "\"compat_installscript\" { \"Registry\" {} }";
    const std::string strGroup = Group(990401, 1, strGame, strScript);
    const std::string strJob = Job(strGroup);
    const std::string strNoScript = "[Standalone] missing a compat_installscript section";
    const std::string strUntranslated = "[Standalone] failed to translate path";
    const char* pszOutside = ISE_EVALUATOR_NOTRANSLATION_EXE;
    const std::vector<std::string> vecJob = {"job.vdf"};
    // {arguments, job text in "job.vdf" and "--get-current-step", build (or the real one), exit code, log}
    const std::tuple<std::vector<std::string>, std::string, const char*, int, std::vector<std::string>>
        rgCases[] = {
            {{}, strJob, nullptr, 1, {}},
            {{"--GET-CURRENT-STEP", "990401"}, strJob, nullptr, 1, {}},
            {{"--get-current-step", "0x10"}, strJob, nullptr, 1, {}},
            {{"missing.vdf"}, strJob, nullptr, 1, {}},
            // Without an app id, or with one argument too many, the option names a job file.
            {{"--get-current-step"}, strJob, nullptr, 0, {strLogged}},
            {{"--get-current-step", "990401", "more"}, strJob, nullptr, 0, {strLogged}},
            {vecJob, Job(Group(990401, 7, strGame, strScript)), nullptr, 0, {strLogged}},
            {vecJob, Job(Group(990401, 1, strGame, "") + strGroup), nullptr, 1, {strNoScript, strLogged}},
            {vecJob, Job(strGroup + strGroup), pszOutside, 1, {strUntranslated, strUntranslated}},
            {vecJob, "{{ \"x\" } } }", nullptr, 0, {}},
            {vecJob, "", nullptr, 0, {}},
        };
    for (const auto& [vecArgs, strJobText, pszHostExe, nExitCode, vecLog] : rgCases)
    {
        SCOPED_TRACE((vecArgs.empty() ? "" : vecArgs[0]) + " " + strJobText);
        DeleteFileW(Widen(dir.File("installscriptevalutor_log.txt")).c_str());
        dir.Write("job.vdf", strJobText);
        dir.Write("--get-current-step", strJobText);
        const EvaluatorRun_s run = RunEvaluator(dir, vecArgs, pszHostExe ? pszHostExe : ISE_EVALUATOR_EXE);
        EXPECT_EQ(nExitCode, run.m_nExitCode);
        // No step answered and no diagnostics.
        EXPECT_TRUE(vecArgs == vecJob || run.m_strOutput.empty()) << run.m_strOutput;
        EXPECT_EQ(vecLog, dir.LogLines());
    }
}

TEST(Evaluator, CleanupModesForgetRunOnceRecordsButNotAll)
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
