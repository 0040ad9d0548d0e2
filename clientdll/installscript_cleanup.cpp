// The cleanup walk's step for one entry: forget its has-run record.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"
#include "tier1/keyvalues.h"

bool BForgetHasRunRecord(const CInstallScriptRunContext& run, KeyValues* pkvEntry, bool bMachineWide)
{
    return CHasRunRecord::ForEntry(pkvEntry, run.m_unAppID, bMachineWide).BForget();
}
