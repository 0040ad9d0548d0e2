// The cleanup walk's step for one entry: forget its has-run record.

#include "clientdll/installscript_win32.h"
#include "common/installscript_regkeys.h"
#include "tier1/keyvalues.h"

bool CInstallScriptManagerWin32::BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide)
{
    const CUtlString strKeyPath = GetHasRunKeyPath(pkvEntry, GetRunScriptAppID(), bMachineWide);
    ERegKeyRoot eRoot;
    CUtlString strKey;
    if (!BParseInstallScriptRegKey(strKeyPath, &eRoot, &strKey, nullptr))
        return false;
    return BDeleteRegistryValue(eRoot, strKey, pkvEntry->GetName());
}
