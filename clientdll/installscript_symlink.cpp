// The "symlink" section: every "link" key with its "target" partner becomes a work record
// for the elevated service, which makes the links; nothing is linked here.

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"

#include "clientdll/installscript_fileentry.h"
#include "clientdll/installscript_requirements.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

KeyValues* NewSymlinkRecord(const char* pszName, const char* pszFrom, const char* pszTo, int nIgnoreExitCode)
{
    KeyValues* pkvRecord = new KeyValues(pszName);
    pkvRecord->SetUsesEscapeSequences(true, false);
    pkvRecord->SetKeyString("from", pszFrom);
    pkvRecord->SetKeyString("to", pszTo);
    pkvRecord->SetKeyInt("IgnoreExitCode", nIgnoreExitCode);
    return pkvRecord;
}

} // namespace

bool OnSymlinkKey(const CInstallScriptRunContext& run, KeyValues* pSymlinkKey)
{
    Assert(pSymlinkKey);
    if (!pSymlinkKey)
        return false;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pSymlinkKey, run.m_unAppID, false);
    if (record.BHasRun() || !BCheckRequirements(pSymlinkKey, run.m_pszLanguage))
        return true;

    bool bAllQueued = true;
    for (KeyValues* pkvLink = pSymlinkKey->GetFirstValue(); pkvLink; pkvLink = pkvLink->GetNextValue())
    {
        if (!V_StringHasPrefixCaseless(pkvLink->GetName(), "link"))
            continue;
        const char* pszSuffix = pkvLink->GetName() + 4;
        char szRecordName[k_cchMaxScriptKeyName];
        const bool bNamed = BBuildKeyName(pSymlinkKey->GetName(), pszSuffix, szRecordName);
        if (!bNamed)
        {
            run.Log("Failed to build symlink source \"%s\"", pkvLink->GetName());
            bAllQueued = false;
        }
        KeyValues* pkvTarget = FindPartnerKey(pSymlinkKey, "target", pszSuffix);
        const CUtlString strTarget = ExpandEnvironmentStringsUTF8(pkvTarget ? pkvTarget->GetString() : "");
        if (!bNamed || !BScriptPathExists(strTarget))
        {
            run.Log("Failed to build symlink target \"%s\"", strTarget.Get());
            bAllQueued = false;
            continue;
        }
        // Looked up below the link value, which never has children: the record always
        // says 0. The service expects it so; the entry's own key counts only below.
        const int nIgnoreExitCode = pkvLink->GetKeyInt("IgnoreExitCode", 0);
        run.m_pkvRunSymlinkAsAdminUser->AddSubKey(NewSymlinkRecord(
            szRecordName, ExpandEnvironmentStringsUTF8(pkvLink->GetString()), strTarget, nIgnoreExitCode));
    }
    return BEntrySucceeded(pSymlinkKey, bAllQueued);
}
