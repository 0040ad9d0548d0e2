// The file sections that copy, create and delete single files and folders: "Copy Files",
// "Create Folders", "Delete Files" and the uninstall walk's "Delete Files On Uninstall".

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"

#include "clientdll/installscript_fileentry.h"
#include "clientdll/installscript_requirements.h"
#include "common/installscript_regkeys.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// The destination's directory is made first; whether that worked shows in the copy.
bool BCopyScriptFile(const char* pszSource, const CUtlString& strDest)
{
    if (strDest.IsEmpty())
        return false;
    CUtlString strDestDir(strDest);
    if (char* pchDestDir = strDestDir.GetForModify(strDestDir.Length()))
    {
        if (V_StripLastComponent(pchDestDir))
            BCreateDirHierarchy(pchDestDir);
    }
    return CopyFile(pszSource, strDest, 0);
}

} // namespace

bool OnCopyFilesKey(const CInstallScriptRunContext& run, KeyValues* pCopyFilesKey)
{
    Assert(pCopyFilesKey);
    if (!pCopyFilesKey)
        return false;
    const uint32 unAppID = run.m_unAppID;
    const bool bResetOnLanguageChange = pCopyFilesKey->GetKeyInt("ResetOnLanguageChange", 0) != 0;
    bool bLanguageChanged = false;
    if (bResetOnLanguageChange &&
        V_stricmp(GetEntryLanguage(unAppID, pCopyFilesKey->GetName()), run.m_pszLanguage) != 0)
    {
        run.Log("OnCopyFilesKey %s: Languages do not match, resetting the HasRunCommand",
                pCopyFilesKey->GetName());
        bLanguageChanged = true;
    }
    const CHasRunRecord record = CHasRunRecord::ForEntry(pCopyFilesKey, unAppID, false);
    if ((!bLanguageChanged && record.BHasRun()) || !BCheckRequirements(pCopyFilesKey, run.m_pszLanguage))
        return true;

    bool bAllCopied = true;
    for (KeyValues* pkvValue = pCopyFilesKey->GetFirstValue(); pkvValue; pkvValue = pkvValue->GetNextValue())
    {
        const char* pszSuffix = PchSuffixAfter(pkvValue->GetName(), "SrcFile");
        if (!pszSuffix)
            continue;
        const CUtlString strSource = ExpandEnvironmentStringsUTF8(pkvValue->GetString());
        if (!BScriptPathExists(strSource))
            continue;
        KeyValues* pkvDest = FindPartnerKey(pCopyFilesKey, "DstFile", pszSuffix);
        const CUtlString strDest = ExpandEnvironmentStringsUTF8(pkvDest ? pkvDest->GetString() : "");
        if (!BCopyScriptFile(strSource, strDest))
        {
            run.Log("Failed to copy file \"%s\"", strSource.Get());
            bAllCopied = false;
        }
    }

    if (!BEntrySucceeded(pCopyFilesKey, bAllCopied))
        return false;
    record.SetHasRun();
    if (bResetOnLanguageChange)
        SetEntryLanguage(unAppID, pCopyFilesKey->GetName(), run.m_pszLanguage);
    return true;
}

bool OnCreateFoldersKey(const CInstallScriptRunContext& run, KeyValues* pCreateFoldersKey)
{
    Assert(pCreateFoldersKey);
    if (!pCreateFoldersKey)
        return false;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pCreateFoldersKey, run.m_unAppID, false);
    if (record.BHasRun() || !BCheckRequirements(pCreateFoldersKey, run.m_pszLanguage))
        return true;

    // Any one success makes the entry succeed and writes its record at once; an entry
    // without folders fails.
    bool bResult = false;
    const bool bIgnoreFailures = pCreateFoldersKey->GetKeyInt("IgnoreExitCode", 0) != 0;
    for (KeyValues* pkvValue = pCreateFoldersKey->GetFirstValue(); pkvValue;
         pkvValue = pkvValue->GetNextValue())
    {
        if (!V_stristr(pkvValue->GetName(), "Folder"))
            continue;
        const CUtlString strFolder = ExpandEnvironmentStringsUTF8(pkvValue->GetString());
        if (!strFolder.IsEmpty() && BCreateDirHierarchy(strFolder))
        {
            record.SetHasRun();
            bResult = true;
        }
        else
        {
            run.Log("Failed to create folder \"%s\"", strFolder.Get());
            bResult = bResult || bIgnoreFailures;
        }
    }
    return bResult;
}

bool OnDeleteFilesKey(const CInstallScriptRunContext& run, KeyValues* pDeleteFilesKey)
{
    Assert(pDeleteFilesKey);
    if (!pDeleteFilesKey)
        return false;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pDeleteFilesKey, run.m_unAppID, false);
    if (record.BHasRun())
        return true;

    bool bAllDeleted = true;
    for (KeyValues* pkvValue = pDeleteFilesKey->GetFirstValue(); pkvValue;
         pkvValue = pkvValue->GetNextValue())
    {
        if (!V_stristr(pkvValue->GetName(), "File"))
            continue;
        const CUtlString strPath = ExpandEnvironmentStringsUTF8(pkvValue->GetString());
        if (!BScriptPathExists(strPath))
            continue;
        BMakeFileWritable(strPath);
        if (!BDeleteFile(strPath))
        {
            run.Log("Failed to delete file \"%s\"", strPath.Get());
            bAllDeleted = false;
        }
    }

    if (!BEntrySucceeded(pDeleteFilesKey, bAllDeleted))
        return false;
    record.SetHasRun();
    return true;
}

void OnDeleteFilesOnUninstallValue(const CInstallScriptRunContext& run, KeyValues* pkvValue)
{
    Assert(pkvValue);
    if (!pkvValue)
        return;
    // The value's name is the path when it names a file; else its text is.
    const CUtlString strNamePath = ExpandEnvironmentStringsUTF8(pkvValue->GetName());
    const CUtlString strPath =
        BScriptPathExists(strNamePath) ? strNamePath : ExpandEnvironmentStringsUTF8(pkvValue->GetString());
    // An empty path would reach the working directory's attributes.
    if (strPath.IsEmpty() || !BMakeFileWritable(strPath))
        run.Log("Failed to make file writable for deletion [%s]", strPath.Get());
    else if (!BDeleteFileForced(strPath))
        run.Log("Failed to delete file [%s]", strPath.Get());
}
