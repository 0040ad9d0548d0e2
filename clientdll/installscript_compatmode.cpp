// Compatibility-mode section handler: gives one executable a compatibility layer for the
// current user once per installation, and takes it away again on uninstall.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"
#include "common/windowshelper.h"
#include "tier1/keyvalues.h"

bool OnCompatibilityModeKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry)
{
    const CHasRunRecord record = CHasRunRecord::ForEntry(pkvEntry, run.m_unAppID, false, 1);
    // The key name is spelled so in every script out there.
    const CUtlString strExePath = ExpandEnvironmentStringsUTF8(pkvEntry->GetKeyString("Executeable", ""));
    const bool bHasExe = !strExePath.IsEmpty();

    if (run.m_eMode == k_EInstallScriptModeUninstall)
    {
        // Without a path the call would name the Layers key's default value instead.
        if (bHasExe)
            BSetAppCompatLayer(true, strExePath, "");
        return true;
    }
    if (record.BHasRun())
        return true;
    if (!bHasExe || !BSetAppCompatLayer(true, strExePath, pkvEntry->GetKeyString("CompatMode", "")))
    {
        run.Log("Failed to set compatibility mode for \"%s\"", strExePath.Get());
        return false;
    }
    record.SetHasRun();
    return true;
}
