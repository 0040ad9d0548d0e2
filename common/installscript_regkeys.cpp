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

bool BRegistryStringMatches(const char* pszFullPath, const char* pszExpected)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    CUtlString strValueName;
    if (!BParseInstallScriptRegKey(pszFullPath, &eRoot, &strKey, &strValueName))
        return false;
    return V_stricmp(GetRegistryValueStr(eRoot, strKey, strValueName), pszExpected) == 0;
}
