// Run Process section handler. Nothing is started here: each program an entry still needs
// becomes a self-contained job record on the administrator work list, and whoever carries
// out that list runs it, judges its exit code and records that it ran.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_processdescription.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"
#include "common/windowshelper.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr char k_szProcessKeyPrefix[] = "process";
constexpr uint32 k_cchProcessKeyPrefix = sizeof(k_szProcessKeyPrefix) - 1;

// True when one of the entry's complete registry checks ("HasRunStringKey" with
// "HasRunStringValue", or the "2" pair) still finds its text; *pbHasCheck tells whether the
// entry has a complete pair at all.
bool BComponentStillInstalled(KeyValues* pkvEntry, bool* pbHasCheck)
{
    static const char* const k_rgpszChecks[][2] = {
        {"HasRunStringKey", "HasRunStringValue"},
        {"HasRunStringKey2", "HasRunStringValue2"},
    };
    *pbHasCheck = false;
    bool bInstalled = false;
    for (const auto& rgpszCheck : k_rgpszChecks)
    {
        const char* pszPath = pkvEntry->GetKeyString(rgpszCheck[0], "");
        const char* pszExpected = pkvEntry->GetKeyString(rgpszCheck[1], "");
        // A missing value reads as empty, so a half pair would match it: it counts as no match.
        if (!*pszPath || !*pszExpected)
            continue;
        *pbHasCheck = true;
        bInstalled |= BRegistryStringMatches(pszPath, pszExpected);
    }
    return bInstalled;
}

// Whether the entry's programs are queued, with the "IgnoreHasRunKey" their jobs carry.
bool BEntryNeedsRun(KeyValues* pkvEntry, const CHasRunRecord& record, bool bUninstall, int* pnIgnoreHasRunKey)
{
    *pnIgnoreHasRunKey = pkvEntry->GetKeyInt("IgnoreHasRunKey", 0);
    if (bUninstall)
        *pnIgnoreHasRunKey = 1;
    if (*pnIgnoreHasRunKey != 0)
        return true;

    const bool bHasRun = record.BHasRun();
    bool bHasCheck = false;
    if (!BComponentStillInstalled(pkvEntry, &bHasCheck) && bHasCheck)
    {
        // It ran once but its component has gone: the service must not skip it by its record.
        if (bHasRun)
            *pnIgnoreHasRunKey = 1;
        return true;
    }
    return !bHasRun;
}

// Expansion yields nothing when it fails, so only a text with something in it can fail.
bool BExpandCommandLine(const char* pszCommand, CUtlString* pstrExpanded)
{
    *pstrExpanded = ExpandEnvironmentStringsUTF8(pszCommand);
    return !pstrExpanded->IsEmpty() || !*pszCommand;
}

struct RunProcessJob_s
{
    const char* m_pszName;
    const char* m_pszProcess;
    const char* m_pszCommand;
    const char* m_pszDescription;
    const char* m_pszHasRunKey;
    int m_nIgnoreHasRunKey;
    uint32 m_unSequence;
    uint32 m_unAppID;
};

// The record the service works from, its keys in the order the service lists them.
KeyValues* NewRunProcessJobRecord(KeyValues* pkvEntry, const RunProcessJob_s& job)
{
    KeyValues* pkvJob = new KeyValues(job.m_pszName);
    // Paths carry backslashes and descriptions quotes: the hand-off file must read back exactly.
    pkvJob->SetUsesEscapeSequences(true, false);
    pkvJob->SetKeyString("Process", job.m_pszProcess);
    pkvJob->SetKeyString("Command", job.m_pszCommand);
    pkvJob->SetKeyString("Description", job.m_pszDescription);
    pkvJob->SetKeyString("HasRunKey", job.m_pszHasRunKey);
    pkvJob->SetKeyString("RunKeyName", pkvEntry->GetName());
    pkvJob->SetKeyInt("MinimumHasRunValue", pkvEntry->GetKeyInt("MinimumHasRunValue", 1));
    pkvJob->SetKeyInt("IgnoreExitCode", pkvEntry->GetKeyInt("IgnoreExitCode", 0));
    pkvJob->SetKeyInt("IgnoreHasRunKey", job.m_nIgnoreHasRunKey);
    pkvJob->SetKeyString("ValidExitCodes", pkvEntry->GetKeyString("ValidExitCodes", "1638"));
    pkvJob->SetKeyInt("Sequence", (int)job.m_unSequence);
    pkvJob->FindKey("Environment", true)->SetKeyInt("AppID", (int)job.m_unAppID);
    return pkvJob;
}

} // namespace

bool OnRunProcessKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry, bool bAllowAsCurrentUser)
{
    const CHasRunRecord record = CHasRunRecord::ForEntry(pkvEntry, run.m_unAppID, true);
    int nIgnoreHasRunKey = 0;
    if (!BEntryNeedsRun(pkvEntry, record, run.m_eMode == k_EInstallScriptModeUninstall, &nIgnoreHasRunKey))
        return true;
    // Asking for the current user changes nothing: every program goes to the administrator.
    if (bAllowAsCurrentUser)
        (void)pkvEntry->FindKey("AsCurrentUser");

    const ELanguage eLanguage = GetLanguageFromName(run.m_pszLanguage);
    for (KeyValues* pkvProcess = pkvEntry->GetFirstSubKey(); pkvProcess;
         pkvProcess = pkvProcess->GetNextKey())
    {
        if (!V_StringHasPrefixCaseless(pkvProcess->GetName(), k_szProcessKeyPrefix))
            continue;
        const char* pszSuffix = pkvProcess->GetName() + k_cchProcessKeyPrefix;
        CUtlString strCommandKey("command");
        strCommandKey.Append(pszSuffix);
        const CUtlString strProcess = ExpandEnvironmentStringsUTF8(pkvProcess->GetString());
        CUtlString strCommand;
        // Without a program there is nothing to run; a missing command line is just empty.
        if (strProcess.IsEmpty() ||
            !BExpandCommandLine(pkvEntry->GetKeyString(strCommandKey.Get(), ""), &strCommand))
        {
            run.Log("Failed to build Run Process keys for %s", pkvProcess->GetName());
            continue;
        }
        CUtlString strDescription(pkvEntry->GetKeyString("Description", ""));
        if (strDescription.IsEmpty())
            strDescription = DeriveRunProcessDescription(strProcess.Get(), strCommand.Get(), eLanguage);
        CUtlString strJobName(pkvEntry->GetName());
        strJobName.Append(pszSuffix);

        const RunProcessJob_s job = {
            strJobName.Get(),          strProcess.Get(), strCommand.Get(),           strDescription.Get(),
            record.GetKeyPath().Get(), nIgnoreHasRunKey, *run.m_punInstallStepCount, run.m_unAppID};
        run.m_pkvRunProcessAsAdminUser->AddSubKey(NewRunProcessJobRecord(pkvEntry, job));
        ++*run.m_punInstallStepCount;
    }
    return true;
}
