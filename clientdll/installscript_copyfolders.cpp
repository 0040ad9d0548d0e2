// The "Copy Folders" section: each "SrcFolder" key copies its tree to its "DstFolder"
// partner.

#include "clientdll/installscript_copyfolders.h"

#include "clientdll/installscript_fileentry.h"
#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_requirements.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_regkeys.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// The ANSI calls' path limit. It also bounds the recursion: every level adds at least a
// separator and one character, so a tree copy is never more than 130 levels deep (about
// 2 KB of stack each), whatever the tree or a loop of junctions in it looks like.
constexpr size_t k_cchAnsiPath = 260;

bool BIsDotOrDotDot(const char* pszName)
{
    return strcmp(pszName, ".") == 0 || strcmp(pszName, "..") == 0;
}

bool BCopyFolderItem(const char* pszSourceDir, const char* pszDestDir, const WIN32_FIND_DATAA& findData)
{
    char szSource[k_cchAnsiPath];
    char szDest[k_cchAnsiPath];
    if (V_snprintf(szSource, sizeof(szSource), "%s\\%s", pszSourceDir, findData.cFileName) < 0 ||
        V_snprintf(szDest, sizeof(szDest), "%s\\%s", pszDestDir, findData.cFileName) < 0)
        return false;
    if (findData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return BCopyFolderTree(szSource, szDest);
    return CopyFileA(szSource, szDest, FALSE) != 0;
}

} // namespace

bool BCopyFolderTree(const char* pszSource, const char* pszDest)
{
    char szSource[k_cchAnsiPath];
    char szDest[k_cchAnsiPath];
    char szSearch[k_cchAnsiPath];
    // An empty destination would put the copies in the root of the current drive.
    if (!*pszDest || V_snprintf(szSource, sizeof(szSource), "%s", pszSource) < 0 ||
        V_snprintf(szDest, sizeof(szDest), "%s", pszDest) < 0)
        return false;
    const DWORD dwAttributes = GetFileAttributesA(szSource);
    if (dwAttributes == INVALID_FILE_ATTRIBUTES || !(dwAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return false;
    V_StripTrailingSlash(szSource);
    V_StripTrailingSlash(szDest);
    if (V_snprintf(szSearch, sizeof(szSearch), "%s\\*.*", szSource) < 0)
        return false;

    WIN32_FIND_DATAA findData;
    HANDLE hFind = FindFirstFileA(szSearch, &findData);
    if (hFind == INVALID_HANDLE_VALUE)
        return true;
    bool bResult = true;
    bool bDestMade = false;
    do
    {
        // An empty folder makes no copy of itself.
        if (!bDestMade && !BIsDotOrDotDot(findData.cFileName))
        {
            BCreateDirHierarchy(szDest);
            bDestMade = true;
        }
        // Every dot name stays behind, not only "." and "..": kept as the platform expects.
        if (findData.cFileName[0] != '.')
            bResult &= BCopyFolderItem(szSource, szDest, findData);
    } while (FindNextFileA(hFind, &findData));
    FindClose(hFind);
    return bResult;
}

bool OnCopyFoldersKey(const CInstallScriptRunContext& run, KeyValues* pCopyFoldersKey)
{
    Assert(pCopyFoldersKey);
    if (!pCopyFoldersKey)
        return false;
    const CHasRunRecord record = CHasRunRecord::ForEntry(pCopyFoldersKey, run.m_unAppID, false);
    if (record.BHasRun() || !BCheckRequirements(pCopyFoldersKey, run.m_pszLanguage))
        return true;

    bool bAllCopied = true;
    for (KeyValues* pkvValue = pCopyFoldersKey->GetFirstValue(); pkvValue;
         pkvValue = pkvValue->GetNextValue())
    {
        const char* pszSuffix = PchSuffixAfter(pkvValue->GetName(), "SrcFolder");
        if (!pszSuffix)
            continue;
        char szDestName[k_cchMaxScriptKeyName];
        if (!BBuildKeyName("DstFolder", pszSuffix, szDestName))
        {
            run.Log("Failed to build copy folder names");
            bAllCopied = false;
            continue;
        }
        const CUtlString strSource = ExpandEnvironmentStringsUTF8(pkvValue->GetString());
        KeyValues* pkvDest = FindKeyByName(pCopyFoldersKey, szDestName);
        const CUtlString strDest = ExpandEnvironmentStringsUTF8(pkvDest ? pkvDest->GetString() : "");
        if (!BCopyFolderTree(strSource, strDest))
        {
            run.Log("Failed to copy folder \"%s\"", strSource.Get());
            bAllCopied = false;
        }
    }

    if (!BEntrySucceeded(pCopyFoldersKey, bAllCopied))
        return false;
    record.SetHasRun();
    return true;
}
