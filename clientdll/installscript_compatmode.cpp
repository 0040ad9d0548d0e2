// Compatibility-mode section handler: gives one executable a compatibility layer for the
// current user once per installation, and takes it away again on uninstall.

#include "clientdll/installscript_win32.h"
#include "common/installscript_regkeys.h"
#include "common/windowshelper.h"
#include "tier1/keyvalues.h"

bool CInstallScriptManagerWin32::OnCompatibilityModeKey(KeyValues* pkvEntry)
{
    const CHasRunRecord record = CHasRunRecord::ForEntry(pkvEntry, GetRunScriptAppID(), false, 1);
    // The key name is spelled so in every script out there.
    const CUtlString strExePath = ExpandEnvironmentStringsUTF8(pkvEntry->GetKeyString("Executeable", ""));
    const bool bHasExe = !strExePath.IsEmpty();

    if (m_eInstallScriptMode == k_EInstallScriptModeUninstall)
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
        ScriptLog("Failed to set compatibility mode for \"%s\"", strExePath.Get());
        return false;
    }
    record.SetHasRun();
    return true;
}
