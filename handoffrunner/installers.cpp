#include "handoffrunner/installers.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "common/installscript_log.h"
#include "common/installscript_regkeys.h"
#include "handoffrunner/exitcodes.h"
#include "handoffrunner/processlauncher.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr uint32 k_unDefaultStepTimeoutSeconds = 30 * 60;

// The jobs of one script entry ("process 1" and "process 2" share its run-once record).
struct InstallerUnit_s
{
    std::vector<const InstallerJob_s*> m_vecJobs;
};

bool BSameEntry(const InstallerJob_s& job, const InstallerJob_s& other)
{
    // A job without a record belongs to no entry we could tell apart: it stands alone.
    return !job.m_strHasRunKey.IsEmpty() && !job.m_strRunKeyName.IsEmpty() &&
           V_stricmp(job.m_strHasRunKey, other.m_strHasRunKey) == 0 &&
           V_stricmp(job.m_strRunKeyName, other.m_strRunKeyName) == 0;
}

// Units in the order of their first job, jobs in "Sequence" order, file order among equals.
std::vector<InstallerUnit_s> GroupIntoUnits(const std::vector<InstallerJob_s>& vecJobs)
{
    std::vector<const InstallerJob_s*> vecOrdered;
    for (const InstallerJob_s& job : vecJobs)
        vecOrdered.push_back(&job);
    std::stable_sort(vecOrdered.begin(), vecOrdered.end(),
                     [](const InstallerJob_s* pA, const InstallerJob_s* pB)
                     { return pA->m_unSequence < pB->m_unSequence; });
    std::vector<InstallerUnit_s> vecUnits;
    for (const InstallerJob_s* pJob : vecOrdered)
    {
        auto itUnit = std::find_if(vecUnits.begin(), vecUnits.end(),
                                   [&](const InstallerUnit_s& unit)
                                   { return BSameEntry(*unit.m_vecJobs.front(), *pJob); });
        if (itUnit == vecUnits.end())
            vecUnits.push_back({{pJob}});
        else
            itUnit->m_vecJobs.push_back(pJob);
    }
    return vecUnits;
}

struct StepContext_s
{
    uint32 m_unAppID;
    uint32 m_cSteps;
    uint32 m_unTimeoutSeconds;
};

// Runs one job and logs how it went; true when it counts as success.
bool BRunJob(const InstallerJob_s& job, const StepContext_s& context)
{
    const uint32 unStep = job.m_unSequence + 1; // 0 keeps meaning "no step started yet"
    BSetInstallStep(context.m_unAppID, unStep, job.m_strDescription);
    InstallScriptAppLog(context.m_unAppID, "Step %u of %u started: %s: \"%s\" %s", unStep, context.m_cSteps,
                        job.m_strDescription.Get(), job.m_strProcess.Get(), job.m_strCommand.Get());
    const ProcessOutcome_s outcome = RunInstallerProcess(job, context.m_unTimeoutSeconds);
    if (!outcome.m_bStarted)
    {
        InstallScriptAppLog(context.m_unAppID, "Step %u of %u (%s) failed: cannot start \"%s\" (error %u)",
                            unStep, context.m_cSteps, job.m_strDescription.Get(), job.m_strProcess.Get(),
                            outcome.m_unError);
        return false;
    }
    if (outcome.m_bTimedOut)
    {
        InstallScriptAppLog(context.m_unAppID,
                            "Step %u of %u (%s) failed: \"%s\" still ran after %u seconds; it was ended with "
                            "every process it started",
                            unStep, context.m_cSteps, job.m_strDescription.Get(), job.m_strProcess.Get(),
                            context.m_unTimeoutSeconds);
        return false;
    }
    CUtlString strMalformed;
    const ExitCodeVerdict_s verdict =
        JudgeExitCode(outcome.m_unExitCode, job.m_strValidExitCodes, job.m_bIgnoreExitCode, &strMalformed);
    if (!strMalformed.IsEmpty())
        InstallScriptAppLog(context.m_unAppID,
                            "Step %u of %u (%s): ValidExitCodes items that are not numbers ignored: %s",
                            unStep, context.m_cSteps, job.m_strDescription.Get(), strMalformed.Get());
    InstallScriptAppLog(context.m_unAppID, "Step %u of %u (%s) ended with exit code %d: %s", unStep,
                        context.m_cSteps, job.m_strDescription.Get(), (int)outcome.m_unExitCode,
                        verdict.m_strWhy.Get());
    return verdict.m_bSuccess;
}

bool BRunUnit(const InstallerUnit_s& unit, const StepContext_s& context)
{
    const InstallerJob_s& first = *unit.m_vecJobs.front();
    const bool bHasRecord = !first.m_strHasRunKey.IsEmpty() && !first.m_strRunKeyName.IsEmpty();
    const CHasRunRecord record(first.m_strHasRunKey, first.m_strRunKeyName, first.m_unMinimumHasRunValue);
    if (bHasRecord && !first.m_bIgnoreHasRunKey && record.BHasRun())
    {
        InstallScriptAppLog(
            context.m_unAppID, "Skipped \"%s\": its run-once record in \"%s\" already reaches %u",
            first.m_strRunKeyName.Get(), first.m_strHasRunKey.Get(), first.m_unMinimumHasRunValue);
        return true;
    }
    // Every job runs even after one failed: the walk that queued them never stops early.
    bool bAllSucceeded = true;
    for (const InstallerJob_s* pJob : unit.m_vecJobs)
        bAllSucceeded &= BRunJob(*pJob, context);
    // A unit run whatever its record says (every uninstall step is one) leaves the record
    // alone: an uninstaller must not mark its entry's installer as done.
    if (bAllSucceeded && bHasRecord && !first.m_bIgnoreHasRunKey)
        record.SetHasRun();
    return bAllSucceeded;
}

} // namespace

uint32 GetStepTimeoutSeconds()
{
    char szValue[32];
    const DWORD cchValue = GetEnvironmentVariableA("INSTALLSCRIPT_STEP_TIMEOUT", szValue, sizeof(szValue));
    if (cchValue == 0 || cchValue >= sizeof(szValue))
        return k_unDefaultStepTimeoutSeconds;
    char* pchEnd = nullptr;
    const unsigned long ulSeconds = strtoul(szValue, &pchEnd, 10);
    const bool bNumber =
        pchEnd != szValue && *pchEnd == 0 && szValue[0] != '-' && ulSeconds <= 0xFFFFFFFFul / 1000;
    return bNumber ? (uint32)ulSeconds : k_unDefaultStepTimeoutSeconds;
}

bool BRunInstallerJobs(const std::vector<InstallerJob_s>& vecJobs, uint32 cSteps, uint32 unAppID)
{
    const StepContext_s context = {unAppID, cSteps, GetStepTimeoutSeconds()};
    bool bAllSucceeded = true;
    for (const InstallerUnit_s& unit : GroupIntoUnits(vecJobs))
        bAllSucceeded &= BRunUnit(unit, context);
    return bAllSucceeded;
}
