#include "installscript/check_job.h"

#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_script.h"
#include "installscript/check_sections.h"
#include "tier1/keyvalues.h"

namespace
{

constexpr char k_szScriptKey[] = "compat_installscript";
// The modes a job may name: launch, update, uninstall and cleanup.
constexpr int k_nModeFirst = 1;
constexpr int k_nModeLast = 4;

void CheckGroup(KeyValues* pkvGroup, CCheckContext& context)
{
    CKeyScope scope(context, pkvGroup);
    CheckDuplicateKeys(pkvGroup, context);
    KeyValues* pkvMode = FindValue(pkvGroup, "mode");
    const int nMode = pkvMode ? pkvMode->GetInt() : 0;
    if (nMode < k_nModeFirst || nMode > k_nModeLast)
        context.Report(
            k_ECheckJobMode, pkvMode ? pkvMode : pkvGroup,
            "mode %d is none of 1 (launch), 2 (update), 3 (uninstall), 4 (cleanup); the script is not "
            "walked",
            nMode);
    KeyValues* pkvAppID = FindValue(pkvGroup, "appid");
    if (!pkvAppID || pkvAppID->GetInt() == 0)
        context.Report(k_ECheckJobAppID, pkvAppID ? pkvAppID : pkvGroup,
                       "app id 0: run-once records and log lines carry no application");
    if (*TextOf(FindValue(pkvGroup, "install_path")) == '\0')
        context.Report(k_ECheckJobInstallPath, pkvGroup,
                       "the group has no \"install_path\"; the path cannot be translated and the job fails");
    KeyValues* pkvScript = pkvGroup->FindKey(k_szScriptKey);
    if (!pkvScript || pkvScript->GetDataType() != KeyValues::TYPE_NONE)
    {
        context.Report(k_ECheckJobScript, pkvScript ? pkvScript : pkvGroup,
                       "the group has no \"compat_installscript\" section; the job fails");
        return;
    }
    CKeyScope scriptScope(context, pkvScript);
    CheckInstallScript(pkvScript, context);
}

} // namespace

bool BIsJobDocument(KeyValues* pkvRoot)
{
    for (KeyValues* pkvGroup = pkvRoot->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        for (const char* pszKey : {k_szScriptKey, "appid", "mode", "install_path"})
        {
            if (pkvGroup->FindKey(pszKey))
                return true;
        }
    }
    return false;
}

void CheckJob(KeyValues* pkvRoot, CCheckContext& context)
{
    for (KeyValues* pkv = pkvRoot->GetFirstSubKey(); pkv; pkv = pkv->GetNextKey())
    {
        if (pkv->GetDataType() == KeyValues::TYPE_NONE)
            CheckGroup(pkv, context);
        else
            context.Report(k_ECheckSectionShape, pkv, "\"%s\" holds a value; a job walks only its groups",
                           pkv->GetName());
    }
}
