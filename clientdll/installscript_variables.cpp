// Script variables and the preparation of a script for its walk.

#include "clientdll/installscript_variables.h"

#include <windows.h>
// windows.h first: shlobj.h depends on it.
#include <shlobj.h>

#include <cstdio>

#include "clientdll/installscript_win32.h"
#include "clientdll/numbertext.h"
#include "vstdlib/widetext.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

struct KnownFolderVariable_s
{
    const wchar_t* m_pwszName;
    int m_nFolder;
};

const KnownFolderVariable_s k_rgKnownFolderVariables[] = {
    {L"USER_MYDOCS", CSIDL_PERSONAL},
    {L"COMMON_MYDOCS", CSIDL_COMMON_DOCUMENTS},
    {L"LOCAL_APPDATA", CSIDL_LOCAL_APPDATA},
    {L"APPDATA", CSIDL_APPDATA},
};

// Values are UTF-8; the wide call keeps them intact whatever the code page.
void SetVariable(const wchar_t* pwszName, const char* pszValue)
{
    SetEnvironmentVariableW(pwszName, CWideText(pszValue).Get());
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
            SetEnvironmentVariableW(variable.m_pwszName, wszFolder);
    }
    char szKorvexID[24];
    snprintf(szKorvexID, sizeof(szKorvexID), "%llu", (unsigned long long)ParseKorvexID(pszKorvexID));
    SetVariable(L"KORVEXID", szKorvexID);
}

void SetInstallPathVariables(const char* pszInstallPath)
{
    SetVariable(L"INSTALLDIR", pszInstallPath);
    const char szRootDrive[2] = {V_toupper_ascii(pszInstallPath[0]), '\0'};
    SetVariable(L"ROOTDRIVE", szRootDrive);
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
    m_pRunScript->m_bUTF8RegistryStrings = pkvScript->GetKeyBool("utf8_registry_strings", false);
    SetInstallPathVariables(m_pRunScript->m_strInstallPath.Get());
}
