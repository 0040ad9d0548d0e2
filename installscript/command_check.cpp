#include "installscript/command_check.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "installscript/check_catalog.h"
#include "installscript/check_report.h"
#include "installscript/exitcodes.h"

namespace
{

struct CheckOptions_s
{
    std::vector<std::string> m_vecFiles;
    std::string m_strFormat = "text";
    bool m_bWarningsAreErrors = false;
    std::vector<std::string> m_vecDisabled;
    bool m_bListChecks = false;
};

void ListChecks()
{
    for (int i = 0; i < k_ECheckCount; ++i)
    {
        const CheckInfo_s& info = GetCheckInfo(ECheck(i));
        printf("%-26s %-8s %s\n", info.m_pszName, GetSeverityName(info.m_eSeverity), info.m_pszSummary);
    }
}

int RunCheck(const CheckOptions_s& options)
{
    if (options.m_bListChecks)
    {
        ListChecks();
        return k_nExitClean;
    }
    if (options.m_vecFiles.empty())
    {
        fprintf(stderr, "installscript check: no FILE given (see --help)\n");
        return k_nExitUnreadable;
    }
    std::vector<bool> vecDisabled(k_ECheckCount, false);
    for (const std::string& strName : options.m_vecDisabled)
        vecDisabled[GetCheckFromName(strName.c_str())] = true;

    std::vector<FileReport_s> vecReports;
    for (const std::string& strFile : options.m_vecFiles)
        vecReports.push_back(CheckFile(strFile.c_str(), vecDisabled));
    if (options.m_strFormat == "json")
        WriteJsonReport(stdout, vecReports);
    else
        WriteTextReport(stdout, vecReports);

    const CheckCounts_s counts = CountFindings(vecReports);
    if (counts.m_cUnreadable)
        return k_nExitUnreadable;
    if (counts.m_cErrors || (options.m_bWarningsAreErrors && counts.m_cWarnings))
        return k_nExitFindings;
    return k_nExitClean;
}

std::string CheckNameProblem(const std::string& strName)
{
    return GetCheckFromName(strName.c_str()) == k_ECheckCount
               ? "no check is named \"" + strName + "\" (see --list-checks)"
               : std::string();
}

} // namespace

void AddCheckCommand(CLI::App& app, int* pnExitCode)
{
    CLI::App* pCommand = app.add_subcommand("check", "Find the mistakes in install scripts and job files");
    pCommand->footer(
        "Exit codes: 0 no errors, 1 errors (or warnings with --werror), 2 a file cannot be read.\n"
        "Each finding: FILE:LINE:COL: SEVERITY: MESSAGE [CHECK].");
    auto pOptions = std::make_shared<CheckOptions_s>();
    pCommand->add_option("FILE", pOptions->m_vecFiles, "Job files or bare install scripts (KeyValues text)");
    pCommand->add_option("--format", pOptions->m_strFormat, "Output: text (one line a finding) or json")
        ->check(CLI::IsMember({"text", "json"}));
    pCommand->add_flag("--werror", pOptions->m_bWarningsAreErrors,
                       "Count warnings as errors in the exit code");
    pCommand
        ->add_option("--disable", pOptions->m_vecDisabled, "Switch a check off by name (repeat, or a,b,c)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Validator(CheckNameProblem, "CHECK"));
    pCommand->add_flag("--list-checks", pOptions->m_bListChecks,
                       "List every check with its severity and stop");
    pCommand->callback([pOptions, pnExitCode] { *pnExitCode = RunCheck(*pOptions); });
}
