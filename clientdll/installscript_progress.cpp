// Progress of a run: read from the registry records the service keeps, and published as
// a small file the platform polls.

#include <cstdio>

#include "clientdll/installscript_win32.h"
#include "common/installscript_regkeys.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"

uint32 CInstallScriptManagerWin32::BGetCurrentStep(char* pchDescription, uint32 cubDescription,
                                                   uint32* punStepCount, uint32* punCurrentStep)
{
    pchDescription[0] = '\0';
    *punStepCount = 0;
    *punCurrentStep = 0;
    if (m_unAppID == 0)
        return 0;
    InstallProgress_s progress;
    GetInstallProgress(m_unAppID, &progress);
    *punCurrentStep = progress.m_unInstallSequence;
    V_strncpy(pchDescription, progress.m_strInstallDescription.Get(), cubDescription);
    *punStepCount = progress.m_unInstallCount;
    // Zero outside a run: the answer means something only while a script runs.
    return m_eInstallScriptMode;
}

void CInstallScriptManagerWin32::PublishProgress()
{
    char szDescription[260];
    uint32 unStepCount;
    uint32 unCurrentStep;
    if (!BGetCurrentStep(szDescription, sizeof(szDescription), &unStepCount, &unCurrentStep))
        return;

    KeyValues* pkvProgress = new KeyValues("progress");
    pkvProgress->SetKeyInt("current_step", (int)unCurrentStep);
    pkvProgress->SetKeyInt("step_count", (int)unStepCount);
    pkvProgress->SetKeyString("current_step_description", szDescription);
    pkvProgress->SetUsesEscapeSequences(true, true);
    CUtlBuffer buf(0, 1024, CUtlBuffer::TEXT_BUFFER);
    pkvProgress->SaveToBuffer(buf);
    char szFileName[260];
    snprintf(szFileName, sizeof(szFileName), "standalone_installscript_progress_%u.vdf", m_unAppID);
    // A failed write is tried again on the next pass.
    BSaveBufferToFile(buf, szFileName);
    delete pkvProgress;
}
