// The front end: the command-line forms, the progress query and the job run.

#include "installscriptevaluator/evaluatormain.h"

#include <cstdio>

#include "clientdll/installscript_win32.h"
#include "clientdll/numbertext.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"

namespace
{

// An optional sign, then a hexadecimal (0x) or decimal number, as a 32-bit integer.
uint32 ParseAppIDArgument(const char* pszText)
{
    const bool bNegative = *pszText == '-';
    if (*pszText == '-' || *pszText == '+')
        ++pszText;
    const uint32 unValue = (uint32)ParseHexOrDecimal(pszText);
    return bNegative ? 0u - unValue : unValue;
}

int RunCurrentStepQuery(IInstallScriptManager* pManager, const char* pszAppID)
{
    pManager->SetAppID(ParseAppIDArgument(pszAppID));
    char szDescription[260];
    uint32 unStepCount = 0;
    uint32 unCurrentStep = 0;
    if (!pManager->BGetCurrentStep(szDescription, sizeof(szDescription), &unStepCount, &unCurrentStep))
        return 1;
    printf("%i/%i: %s", (int)unCurrentStep, (int)unStepCount, szDescription);
    return 0;
}

int RunJobFile(IInstallScriptManager* pManager, const char* pszJobPath)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    if (!LoadFileIntoBuffer(pszJobPath, buf, true))
        return 1;
    KeyValues* pkvJob = new KeyValues("evaluatorscript");
    pkvJob->SetUsesEscapeSequences(true, false);
    // Whatever could be parsed goes on; a broken file is an empty job.
    pkvJob->LoadFromBuffer("evaluatorscript", buf);
    const bool bSucceeded = pManager->BRunStandaloneJob(pkvJob);
    delete pkvJob;
    buf.Purge();
    return bSucceeded ? 0 : 1;
}

} // namespace

namespace InstallScriptEvaluator
{

int main(int argc, char** argv)
{
    if (argc < 2)
        return 1;
    // The manager lives until the process ends.
    IInstallScriptManager* pManager = new CInstallScriptManagerWin32();
    if (argc == 3 && V_stricmp(argv[1], "--get-current-step") == 0)
        return RunCurrentStepQuery(pManager, argv[2]);
    return RunJobFile(pManager, argv[1]);
}

} // namespace InstallScriptEvaluator
