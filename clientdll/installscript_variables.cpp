// Script variables and the preparation of a script for its walk.

#include "clientdll/installscript_variables.h"

#include <windows.h>
// windows.h first: shlobj.h depends on it.
#include <shlobj.h>

#include <cstdio>

#include "clientdll/installscript_sections.h"
#include "clientdll/installscript_variablenames.h"
#include "clientdll/installscript_win32.h"
#include "clientdll/numbertext.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

struct KnownFolderVariable_s
{
    const char* m_pszName;
    int m_nFolder;
};

const KnownFolderVariable_s k_rgKnownFolderVariables[] = {
    {k_szVariableUserMyDocs, CSIDL_PERSONAL},
    {k_szVariableCommonMyDocs, CSIDL_COMMON_DOCUMENTS},
    {k_szVariableLocalAppData, CSIDL_LOCAL_APPDATA},
    {k_szVariableAppData, CSIDL_APPDATA},
};

// Values are UTF-8; the wide call keeps them intact whatever the code page.
void SetVariable(const char* pszName, const char* pszValue)
{
    SetEnvironmentVariableW(CWideText(pszName).Get(), CWideText(pszValue).Get());
}

} // namespace

uint64 ParseKorvexID(const char* pszKorvexID)
{
    while (*pszKorvexID == ' ' || *pszKorvexID == '\t')
        ++pszKorvexID;
    return ParseHexOrDecimal(pszKorvexID);
}

void SetJobVariables(const char* pszKorvexID)
{
    for (const KnownFolderVariable_s& variable : k_rgKnownFolderVariables)
    {
        wchar_t wszFolder[MAX_PATH];
        if (SHGetFolderPathW(nullptr, variable.m_nFolder, nullptr, SHGFP_TYPE_CURRENT, wszFolder) == S_OK)
            SetEnvironmentVariableW(CWideText(variable.m_pszName).Get(), wszFolder);
    }
    char szKorvexID[24];
    snprintf(szKorvexID, sizeof(szKorvexID), "%llu", (unsigned long long)ParseKorvexID(pszKorvexID));
    SetVariable(k_szVariableKorvexID, szKorvexID);
}

void SetInstallPathVariables(const char* pszInstallPath)
{
    SetVariable(k_szVariableInstallDir, pszInstallPath);
    const char szRootDrive[2] = {V_toupper_ascii(pszInstallPath[0]), '\0'};
    SetVariable(k_szVariableRootDrive, szRootDrive);
}

void CInstallScriptManagerWin32::PrepareScriptForRun(RunInstallScript_s* pCurrentScript)
{
    Assert(pCurrentScript);
    if (!pCurrentScript)
        return;
    KeyValues* pkvScript = pCurrentScript->GetInstallScript();
    Assert(!pCurrentScript->m_kvInstallScript->IsEmpty());
    AssertFmt(V_IsAbsolutePath(pCurrentScript->m_strInstallPath.Get()),
              "V_IsAbsolutePath( pCurrentScript->m_strInstallPath )");
    m_pRunScript = pCurrentScript;
    m_pRunScript->m_bUTF8RegistryStrings = pkvScript->GetKeyBool(k_szUTF8RegistryStringsKey, false);
    SetInstallPathVariables(m_pRunScript->m_strInstallPath.Get());
}
