#include "installscript/command_run.h"

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "installscript/check_file.h"
#include "installscript/check_report.h"
#include "installscript/exitcodes.h"
#include "installscript/run_job.h"
#include "installscript/run_layout.h"
#include "installscript/run_progress.h"
#include "installscript/run_wine.h"

namespace
{

namespace fs = std::filesystem;

constexpr char k_szLogName[] = "installscriptevalutor_log.txt";
constexpr char k_szJobName[] = "job.vdf";
constexpr char k_szWineOutputName[] = "wine-output.txt";
constexpr int k_nExitInterrupted = 130; // as shells report a Ctrl-C

struct RunOptions_s
{
    std::string m_strFile;
    JobOptions_s m_job;
    std::string m_strMode = "install";
    std::string m_strPrefix;
    std::string m_strWine;
    std::string m_strEvaluator;
    std::string m_strRunner;
    std::string m_strWorkdir;
    bool m_bQuiet = false;
    bool m_bCheck = false;
    bool m_bDryRun = false;
};

volatile sig_atomic_t g_bInterrupted = 0;

void OnInterrupt(int /*nSignal*/)
{
    g_bInterrupted = 1;
}

void CatchInterrupts()
{
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int Fail(int nExitCode, const std::string& strProblem)
{
    fprintf(stderr, "installscript run: %s\n", strProblem.c_str());
    return nExitCode;
}

// A fresh folder under the prefix, named by the app and the time.
std::string DefaultWorkdir(const std::string& strPrefix, uint32 unAppID)
{
    char szTime[32];
    const time_t tNow = time(nullptr);
    strftime(szTime, sizeof(szTime), "%Y%m%d-%H%M%S", localtime(&tNow));
    return strPrefix + "/drive_c/installscript/" + std::to_string(unAppID) + "-" + szTime + "-" +
           std::to_string(getpid());
}

std::vector<std::string> ReadLines(const std::string& strFile)
{
    std::ifstream file(strFile, std::ios::binary);
    std::vector<std::string> vecLines;
    for (std::string strLine; std::getline(file, strLine);)
        vecLines.push_back(strLine.substr(0, strLine.find_last_not_of('\r') + 1));
    return vecLines;
}

bool BCheckFirst(const std::string& strFile)
{
    std::vector<FileReport_s> vecReports = {
        CheckFile(strFile.c_str(), std::vector<bool>(k_ECheckCount, false))};
    const CheckCounts_s counts = CountFindings(vecReports);
    if (counts.m_cErrors || counts.m_cWarnings || counts.m_cUnreadable)
        WriteTextReport(stderr, vecReports);
    return counts.m_cErrors == 0 && counts.m_cUnreadable == 0;
}

// The evaluator and the runner where the evaluator starts its service; the evaluator
// is copied too, since it looks for the service beside itself first.
bool BLayOutWorkdir(const std::string& strWorkdir, const WindowsPrograms_s& programs, const RunJob_s& job,
                    std::string* pstrProblem)
{
    std::error_code error;
    fs::create_directories(strWorkdir + "/legacycompat", error);
    fs::copy_file(programs.m_strEvaluator, strWorkdir + "/installscriptevaluator.exe",
                  fs::copy_options::overwrite_existing, error);
    if (!error)
        fs::copy_file(programs.m_strRunner, strWorkdir + "/legacycompat/KorvexService.exe",
                      fs::copy_options::overwrite_existing, error);
    std::ofstream(strWorkdir + "/" + k_szJobName, std::ios::binary) << job.m_strText;
    if (error)
        *pstrProblem = "cannot lay out " + strWorkdir + ": " + error.message();
    return !error;
}

void PrintDryRun(const RunOptions_s& options, const RunJob_s& job, const WindowsPrograms_s& programs,
                 const std::string& strPrefix, const std::string& strWorkdir)
{
    std::string strWine;
    std::string strProblem;
    const bool bWine = BFindWine(options.m_strWine, &strWine, &strProblem);
    printf("job file %s/%s:\n%s", strWorkdir.c_str(), k_szJobName, job.m_strText.c_str());
    if (!job.m_strText.empty() && job.m_strText.back() != '\n')
        printf("\n");
    printf("would run: WINEPREFIX=%s %s installscriptevaluator.exe %s\n", strPrefix.c_str(),
           bWine ? strWine.c_str() : "(no Wine found)", k_szJobName);
    printf("  in %s%s\n", strWorkdir.c_str(),
           BPrefixExists(strPrefix) ? "" : " (the prefix would be created first)");
    printf("  evaluator %s\n  runner %s, as legacycompat\\KorvexService.exe\n",
           programs.m_strEvaluator.c_str(), programs.m_strRunner.c_str());
}

// Waits for the evaluator, showing its progress; false when interrupted. Its end is seen
// within 10 ms; the progress file, which the evaluator rewrites every 100 ms, is read as
// often.
bool BWatch(CWineRun& run, const std::string& strProgressFile, CProgressView& view, int* pnExitCode)
{
    const auto start = std::chrono::steady_clock::now();
    for (int iPoll = 0; !run.BEnded(pnExitCode); ++iPoll)
    {
        if (g_bInterrupted)
            return false;
        RunProgress_s progress;
        if (iPoll % 10 == 0 && BReadRunProgress(strProgressFile, &progress))
            view.Show(progress,
                      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        usleep(10 * 1000);
    }
    return true;
}

int ReportInterrupted(CWineRun& run, const std::string& strProgressFile, const std::string& strWorkdir)
{
    RunProgress_s progress;
    const bool bProgress = BReadRunProgress(strProgressFile, &progress);
    run.EndEverything();
    std::string strUndone = "the rest of the script";
    if (bProgress && progress.m_nStep > 0)
        strUndone = "step " + std::to_string(progress.m_nStep) + " of " + std::to_string(progress.m_nCount) +
                    " (" + progress.m_strDescription + ") and every step after it";
    else if (bProgress)
        strUndone = "every one of the " + std::to_string(progress.m_nCount) + " installer steps";
    fprintf(stderr,
            "installscript run: interrupted; the evaluator, the runner and the installers they started were "
            "ended.\nLeft undone: %s; entries that finished are recorded and are not repeated next time.\n"
            "Log: %s/%s\n",
            strUndone.c_str(), strWorkdir.c_str(), k_szLogName);
    return k_nExitInterrupted;
}

int ReportEnd(int nExitCode, const RunOptions_s& options, const std::string& strWorkdir,
              size_t cLogLinesBefore)
{
    const std::vector<std::string> vecLog = ReadLines(strWorkdir + "/" + k_szLogName);
    if (nExitCode != 0 && nExitCode != 1)
        return Fail(k_nExitWine, "Wine could not run the evaluator (exit code " + std::to_string(nExitCode) +
                                     "; see " + strWorkdir + "/" + k_szWineOutputName + ")");
    FILE* pOut = options.m_bQuiet ? stderr : stdout;
    if (options.m_bQuiet && nExitCode == 0)
        return k_nExitClean;
    for (size_t iLine = cLogLinesBefore; iLine < vecLog.size(); ++iLine)
        fprintf(pOut, "  %s\n", vecLog[iLine].c_str());
    fprintf(pOut, "%s (exit code %d)\nlog: %s/%s\nworking directory: %s\n",
            nExitCode == 0 ? "the evaluator succeeded" : "the evaluator failed: see the log", nExitCode,
            strWorkdir.c_str(), k_szLogName, strWorkdir.c_str());
    return nExitCode;
}

int RunRun(RunOptions_s options)
{
    options.m_job.m_nMode = ModeFromName(options.m_strMode);
    RunJob_s job;
    std::string strProblem;
    if (!BPrepareRunJob(options.m_strFile, options.m_job, &job, &strProblem))
        return Fail(k_nExitUnreadable, strProblem);
    if (options.m_bCheck && !BCheckFirst(options.m_strFile))
        return Fail(k_nExitFindings,
                    "the checker found errors in " + options.m_strFile + "; nothing was run");
    WindowsPrograms_s programs;
    if (!BFindWindowsPrograms(options.m_strEvaluator, options.m_strRunner, &programs, &strProblem))
        return Fail(k_nExitUnreadable, strProblem);
    const std::string strPrefix = ChoosePrefix(options.m_strPrefix);
    const std::string strWorkdir =
        options.m_strWorkdir.empty() ? DefaultWorkdir(strPrefix, job.m_unAppID) : options.m_strWorkdir;
    if (options.m_bDryRun)
    {
        PrintDryRun(options, job, programs, strPrefix, strWorkdir);
        return k_nExitClean;
    }

    std::string strWine;
    if (!BFindWine(options.m_strWine, &strWine, &strProblem))
        return Fail(k_nExitWine, strProblem);
    if (!BPrefixExists(strPrefix))
    {
        if (!options.m_bQuiet)
            printf("installscript run: creating the Wine prefix %s (first use; this takes a while)\n",
                   strPrefix.c_str());
        fflush(stdout);
        std::error_code error;
        fs::create_directories(strPrefix, error);
        if (!BCreatePrefix(strWine, strPrefix, strPrefix + "/installscript-wineboot.txt"))
            return Fail(k_nExitWine, "Wine could not make the prefix " + strPrefix + " (see " + strPrefix +
                                         "/installscript-wineboot.txt)");
    }
    if (!BLayOutWorkdir(strWorkdir, programs, job, &strProblem))
        return Fail(k_nExitUnreadable, strProblem);

    const size_t cLogLinesBefore = ReadLines(strWorkdir + "/" + k_szLogName).size();
    const std::string strProgressFile =
        strWorkdir + "/standalone_installscript_progress_" + std::to_string(job.m_unAppID) + ".vdf";
    std::error_code error;
    fs::remove(strProgressFile, error);
    CatchInterrupts();
    CWineRun run(strWine, strPrefix, strWorkdir);
    if (!run.BStart({"installscriptevaluator.exe", k_szJobName}, strWorkdir,
                    strWorkdir + "/" + k_szWineOutputName))
        return Fail(k_nExitWine, "cannot start " + strWine);
    CProgressView view(stdout, options.m_bQuiet             ? k_EProgressStyleQuiet
                               : isatty(STDOUT_FILENO) != 0 ? k_EProgressStyleBar
                                                            : k_EProgressStyleLines);
    int nExitCode = 0;
    const bool bEnded = BWatch(run, strProgressFile, view, &nExitCode);
    view.Finish();
    if (!bEnded)
        return ReportInterrupted(run, strProgressFile, strWorkdir);
    return ReportEnd(nExitCode, options, strWorkdir, cLogLinesBefore);
}

} // namespace

void AddRunCommand(CLI::App& app, int* pnExitCode)
{
    CLI::App* pCommand =
        app.add_subcommand("run", "Apply a job file or a bare install script to a Wine prefix");
    pCommand->footer(
        "Exit codes: the evaluator's (0 success, 1 failure), 1 also for checker errors with --check,\n"
        "2 usage errors (or a file or program that cannot be found), 3 Wine cannot be started,\n"
        "130 interrupted.");
    auto pOptions = std::make_shared<RunOptions_s>();
    pCommand->add_option("FILE", pOptions->m_strFile, "A job file, or a bare install script")->required();
    pCommand->add_option("--install-dir", pOptions->m_job.m_strInstallDir,
                         "Install directory of a bare script (host path; default: the script's folder)");
    pCommand->add_option("--appid", pOptions->m_job.m_unAppID, "Application id (required for a bare script)");
    pCommand->add_option("--mode", pOptions->m_strMode, "install (default), update, uninstall or cleanup")
        ->check(CLI::IsMember({"install", "update", "uninstall", "cleanup"}));
    pCommand->add_option("--language", pOptions->m_job.m_strLanguage,
                         "Language of the run (default english)");
    pCommand->add_option("--account-id", pOptions->m_job.m_strAccountID, "The user's account id (KORVEXID)");
    pCommand->add_option("--prefix", pOptions->m_strPrefix,
                         "Wine prefix (default $WINEPREFIX, else ~/.wine)");
    pCommand->add_option("--wine", pOptions->m_strWine,
                         "Wine program (default wine on PATH, else /usr/lib/wine/wine64)");
    pCommand->add_option("--evaluator", pOptions->m_strEvaluator, "installscriptevaluator.exe to run");
    pCommand->add_option("--runner", pOptions->m_strRunner,
                         "Hand-off runner (default legacycompat/KorvexService.exe beside the evaluator)");
    pCommand->add_option("--workdir", pOptions->m_strWorkdir,
                         "Working directory of the run (default a fresh folder under the prefix)");
    pCommand->add_flag("--quiet", pOptions->m_bQuiet, "Show nothing but errors");
    pCommand->add_flag("--check", pOptions->m_bCheck, "Check the script first and stop on errors");
    pCommand->add_flag("--dry-run", pOptions->m_bDryRun,
                       "Print the job file and where it would run; run nothing");
    pCommand->callback([pOptions, pnExitCode] { *pnExitCode = RunRun(*pOptions); });
}
