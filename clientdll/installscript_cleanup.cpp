// The cleanup walk's step for one entry: forget its has-run record.

#include "clientdll/installscript_win32.h"
#include "common/installscript_regkeys.h"
#include "tier1/keyvalues.h"

bool CInstallScriptManagerWin32::BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide)
{
    return CHasRunRecord::ForEntry(pkvEntry, GetRunScriptAppID(), bMachineWide).BForget();
}
