// The standalone job: every application group of a job file walked in its mode, the
// elevated work handed on and waited for while progress is published.

#include "clientdll/installscript_variables.h"
#include "clientdll/installscript_win32.h"
#include "common/installscript_log.h"
#include "common/installscript_regkeys.h"
#include "tier0/platform.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

bool CInstallScriptManagerWin32::BRunStandaloneJob(KeyValues* pkvJob)
{
    const PFNTranslateHostPath pfnTranslate = LookUpHostPathTranslation();
    bool bResult = true;
    for (KeyValues* pkvGroup = pkvJob->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
        bResult &= BRunJobGroup(pkvGroup, pfnTranslate);

    // The first application's variables are the ones in force during the hand-off.
    if (m_vecInstallScript.Count() > 1)
        PrepareScriptForRun(&m_vecInstallScript.Head());
    if (!m_pkvRunProcessAsCurrentUser->IsEmpty())
    {
        InstallScriptLog("[Standalone] got normal user run process!");
        bResult = false;
    }
    BSetInstallCount(m_unAppID, m_nInstallStepCount);
    const bool bHaveAdminWork =
        !m_pkvRunProcessAsAdminUser->IsEmpty() || !m_pkvRunSymlinkAsAdminUser->IsEmpty();
    if (bHaveAdminWork && !BStartAdminHandOff())
        bResult = false;
    if (bResult)
        WaitForHandOff();
    BDeleteInstallCount(m_unAppID);
    ResetRunState();
    return bResult;
}

bool CInstallScriptManagerWin32::BRunJobGroup(KeyValues* pkvGroup, PFNTranslateHostPath pfnTranslate)
{
    KeyValues* pkvScript = pkvGroup->FindKey("compat_installscript");
    if (!pkvScript || pkvScript->GetDataType() != KeyValues::TYPE_NONE)
    {
        InstallScriptLog("[Standalone] missing a compat_installscript section");
        return false;
    }
    CUtlString strInstallPath;
    if (!pfnTranslate ||
        !BTranslateHostPath(pfnTranslate, pkvGroup->GetKeyString("install_path", ""), &strInstallPath))
    {
        InstallScriptLog("[Standalone] failed to translate path");
        return false;
    }
    InstallScriptLog("[Standalone] translated install path: %s", strInstallPath.Get());

    const uint32 unAppID = (uint32)pkvGroup->GetKeyInt("appid", 0);
    const int nMode = pkvGroup->GetKeyInt("mode", 0);
    if (m_vecInstallScript.IsEmpty())
    {
        m_unAppID = unAppID;
        m_eInstallScriptMode = (EInstallScriptMode)nMode;
        V_strncpy(m_szLanguage, pkvGroup->GetKeyString("language", ""), sizeof(m_szLanguage));
        SetJobVariables(pkvGroup->GetKeyString("korvexid", ""));
    }

    // The queue owns the script from here on, so the job tree must not delete it again.
    pkvGroup->RemoveSubKey(pkvScript);
    RunInstallScript_s& script = m_vecInstallScript[m_vecInstallScript.AddToTail()];
    script.m_unAppID = unAppID;
    script.SetInstallScript(pkvScript);
    script.m_strInstallPath = strInstallPath;
    PrepareScriptForRun(&script);

    // Section failures show in the log only; they never fail the job.
    BRunWalk((EInstallScriptMode)nMode);
    return true;
}

void CInstallScriptManagerWin32::WaitForHandOff()
{
    for (;;)
    {
        if (m_hRunProcess != INVALID_HANDLE_VALUE)
        {
            if (WaitForSingleObject(m_hRunProcess, 1) != WAIT_TIMEOUT)
            {
                // The service's exit code is read but judged by nobody here.
                DWORD dwExitCode = 0;
                GetExitCodeProcess(m_hRunProcess, &dwExitCode);
                CloseHandle(m_hRunProcess);
                m_hRunProcess = INVALID_HANDLE_VALUE;
                CloseAdminScriptFile();
            }
        }
        else if (m_bServiceInstallScriptRunning)
        {
            // No service interface exists in this program to say it is still working.
            m_bServiceInstallScriptRunning = false;
            CloseAdminScriptFile();
        }
        else if (!m_bThreadInstallScriptRunning)
        {
            break;
        }
        else if (GetThreadInstallScriptState() != STILL_ACTIVE)
        {
            m_bThreadInstallScriptRunning = false;
            BDeleteFile(GetRunContext().GetInstallDirFile("runasinvoker.vdf").Get());
        }
        PublishProgress();
        Plat_Sleep(100);
    }
}
