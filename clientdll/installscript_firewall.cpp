// Firewall section handler: asks the platform's firewall to let each program of an entry
// through, and withdraws them again on uninstall. This process gets no firewall from its
// service object, so every entry that gets that far fails without a message.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_requirements.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"
#include "common/korvexservice.h"
#include "common/windowshelper.h"
#include "tier1/keyvalues.h"

namespace
{

// Applications whose successful adds are followed by a mode-2 call; kept as they came.
constexpr uint32 k_rgunFirewallMode2AppIDs[] = {250820, 330050};

constexpr int k_nFirewallModeWithdraw = 1;
constexpr int k_nFirewallModeAfterAdd = 2;

bool BWantsModeAfterAdd(uint32 unAppID)
{
    for (uint32 unSpecial : k_rgunFirewallMode2AppIDs)
    {
        if (unSpecial == unAppID)
            return true;
    }
    return false;
}

} // namespace

bool OnFirewallKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry)
{
    const uint32 unAppID = run.m_unAppID;
    const bool bUninstall = run.m_eMode == k_EInstallScriptModeUninstall;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pkvEntry, unAppID, false, 1);
    // Uninstall withdraws whatever the record says.
    if (!bUninstall && record.BHasRun())
        return true;
    if (!BCheckRequirements(pkvEntry, run.m_pszLanguage))
        return true;
    IKorvexFirewall* pFirewall = g_KorvexService.GetFirewall();
    if (!pFirewall)
        return false;

    bool bResult = true;
    for (KeyValues* pkvProgram = pkvEntry->GetFirstValue(); pkvProgram;
         pkvProgram = pkvProgram->GetNextValue())
    {
        const CUtlString strPath = ExpandEnvironmentStringsUTF8(pkvProgram->GetString());
        if (bUninstall)
        {
            pFirewall->BSetProgramMode(strPath, k_nFirewallModeWithdraw);
        }
        else if (!pFirewall->BAddProgram(strPath, pkvProgram->GetName()))
        {
            run.Log("Failed adding file \"%s\" to firewall", strPath.Get());
            bResult = false;
        }
        else if (bResult && BWantsModeAfterAdd(unAppID))
        {
            pFirewall->BSetProgramMode(strPath, k_nFirewallModeAfterAdd);
        }
    }
    if (bResult && !bUninstall)
        record.SetHasRun();
    return bResult;
}
