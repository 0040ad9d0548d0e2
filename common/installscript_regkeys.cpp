#include "common/installscript_regkeys.h"

#include "common/registry.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// The per-application key below the product key; printed signed, as the client does.
CUtlString AppRecordKey(uint32 unAppID)
{
    CUtlString strKey;
    strKey.Format("%s\\Apps\\%d", k_szProductRegKey, (int)unAppID);
    return strKey;
}

CUtlString LanguageValueName(const char* pszEntryName)
{
    CUtlString strName;
    strName.Format("%s_lang", pszEntryName);
    return strName;
}

// Value names are code-page text and paths need not be: a link's record is named by a
// hash of its path (ASCII case folded, as Windows paths compare), its data is the target.
CUtlString LinkCopyValueName(const char* pszLinkPath)
{
    uint64 ulHash = 14695981039346656037ull;
    for (const unsigned char* pch = (const unsigned char*)pszLinkPath; *pch; ++pch)
        ulHash = (ulHash ^ (uint64)((*pch >= 'A' && *pch <= 'Z') ? *pch + 32 : *pch)) * 1099511628211ull;
    CUtlString strName;
    strName.Format("%016llx", (unsigned long long)ulHash);
    return strName;
}

CUtlString LinkCopiesKey(uint32 unAppID)
{
    CUtlString strKey = AppRecordKey(unAppID);
    strKey.Append("\\LinkCopies");
    return strKey;
}

constexpr char k_szInstallSequence[] = "InstallSequence";
constexpr char k_szInstallDescription[] = "InstallDescription";
constexpr char k_szInstallCount[] = "InstallCount";

} // namespace

CUtlString GetHasRunKeyPath(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide)
{
    if (KeyValues* pkvHasRunKey = pkvEntry->FindKey("HasRunKey"))
        return CUtlString(pkvHasRunKey->GetString());
    CUtlString strPath;
    strPath.Format("%s\\%s\\Apps\\%u", bMachineWide ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER",
                   k_szProductRegKey, unAppID);
    return strPath;
}

uint32 GetMinimumHasRunValue(KeyValues* pkvEntry)
{
    return (uint32)pkvEntry->GetKeyInt("MinimumHasRunValue", 1);
}

bool BHasRun(const char* pszKeyPath, const char* pszValueName, uint32 unMinimum)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    if (!BParseInstallScriptRegKey(pszKeyPath, &eRoot, &strKey, nullptr))
        return false;
    return GetRegistryValueUint(eRoot, strKey, pszValueName) >= unMinimum;
}

void SetHasRun(const char* pszKeyPath, const char* pszValueName, uint32 unValue)
{
    if (BHasRun(pszKeyPath, pszValueName, unValue))
        return;
    ERegKeyRoot eRoot;
    CUtlString strKey;
    // Failed writes are the handler's business: it judges the entry by its own work.
    if (BParseInstallScriptRegKey(pszKeyPath, &eRoot, &strKey, nullptr))
        BSetRegistryValueUint(eRoot, strKey, pszValueName, unValue);
}

bool BForgetHasRun(const char* pszKeyPath, const char* pszValueName)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    if (!BParseInstallScriptRegKey(pszKeyPath, &eRoot, &strKey, nullptr))
        return false;
    return BDeleteRegistryValue(eRoot, strKey, pszValueName);
}

CHasRunRecord::CHasRunRecord(const char* pszKeyPath, const char* pszValueName, uint32 unMinimum)
    : m_strKeyPath(pszKeyPath), m_strValueName(pszValueName), m_unMinimum(unMinimum)
{
}

CHasRunRecord CHasRunRecord::ForEntry(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide)
{
    return ForEntry(pkvEntry, unAppID, bMachineWide, GetMinimumHasRunValue(pkvEntry));
}

CHasRunRecord CHasRunRecord::ForEntry(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide,
                                      uint32 unMinimum)
{
    return CHasRunRecord(GetHasRunKeyPath(pkvEntry, unAppID, bMachineWide), pkvEntry->GetName(), unMinimum);
}

CUtlString GetEntryLanguage(uint32 unAppID, const char* pszEntryName)
{
    return GetRegistryValueStr(k_ERegKeyRootCurrentUser, AppRecordKey(unAppID),
                               LanguageValueName(pszEntryName));
}

bool SetEntryLanguage(uint32 unAppID, const char* pszEntryName, const char* pszLanguage)
{
    return BSetRegistryValueStr(k_ERegKeyRootCurrentUser, AppRecordKey(unAppID),
                                LanguageValueName(pszEntryName), pszLanguage);
}

void GetInstallProgress(uint32 unAppID, InstallProgress_s* pProgress)
{
    const CUtlString strKey = AppRecordKey(unAppID);
    pProgress->m_unInstallSequence =
        GetRegistryValueUint(k_ERegKeyRootLocalMachine, strKey, k_szInstallSequence);
    pProgress->m_unInstallCount = GetRegistryValueUint(k_ERegKeyRootLocalMachine, strKey, k_szInstallCount);
    pProgress->m_strInstallDescription =
        GetRegistryValueStr(k_ERegKeyRootLocalMachine, strKey, k_szInstallDescription);
}

bool BSetInstallCount(uint32 unAppID, uint32 unInstallCount)
{
    return BSetRegistryValueUint(k_ERegKeyRootLocalMachine, AppRecordKey(unAppID), k_szInstallCount,
                                 unInstallCount);
}

bool BDeleteInstallCount(uint32 unAppID)
{
    return BDeleteRegistryValue(k_ERegKeyRootLocalMachine, AppRecordKey(unAppID), k_szInstallCount);
}

bool BSetInstallStep(uint32 unAppID, uint32 unInstallSequence, const char* pszDescription)
{
    const CUtlString strKey = AppRecordKey(unAppID);
    // The description first: a reader that sees the new number must not get the old text.
    const bool bDescription =
        BSetRegistryValueStr(k_ERegKeyRootLocalMachine, strKey, k_szInstallDescription, pszDescription);
    return BSetRegistryValueUint(k_ERegKeyRootLocalMachine, strKey, k_szInstallSequence, unInstallSequence) &&
           bDescription;
}

bool BDeleteInstallStep(uint32 unAppID)
{
    const CUtlString strKey = AppRecordKey(unAppID);
    const bool bSequence = BDeleteRegistryValue(k_ERegKeyRootLocalMachine, strKey, k_szInstallSequence);
    return BDeleteRegistryValue(k_ERegKeyRootLocalMachine, strKey, k_szInstallDescription) && bSequence;
}

CUtlString GetLinkCopyTarget(uint32 unAppID, const char* pszLinkPath)
{
    return GetRegistryValueStr(k_ERegKeyRootLocalMachine, LinkCopiesKey(unAppID),
                               LinkCopyValueName(pszLinkPath));
}

bool BSetLinkCopyTarget(uint32 unAppID, const char* pszLinkPath, const char* pszTargetPath)
{
    return BSetRegistryValueStr(k_ERegKeyRootLocalMachine, LinkCopiesKey(unAppID),
                                LinkCopyValueName(pszLinkPath), pszTargetPath);
}

bool BRegistryStringMatches(const char* pszFullPath, const char* pszExpected)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    CUtlString strValueName;
    if (!BParseInstallScriptRegKey(pszFullPath, &eRoot, &strKey, &strValueName))
        return false;
    return V_stricmp(GetRegistryValueStr(eRoot, strKey, strValueName), pszExpected) == 0;
}
