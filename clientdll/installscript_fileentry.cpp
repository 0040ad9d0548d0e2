#include "clientdll/installscript_fileentry.h"

#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

bool BScriptPathExists(const CUtlString& strPath)
{
    return !strPath.IsEmpty() && BFileExists(strPath);
}

const char* PchSuffixAfter(const char* pszName, const char* pszNeedle)
{
    const char* pchFound = V_stristr(pszName, pszNeedle);
    return pchFound ? pchFound + strlen(pszNeedle) : nullptr;
}

bool BBuildKeyName(const char* pszPrefix, const char* pszSuffix, char (&szName)[k_cchMaxScriptKeyName])
{
    return V_snprintf(szName, sizeof(szName), "%s%s", pszPrefix, pszSuffix) >= 0;
}

KeyValues* FindKeyByName(KeyValues* pkvEntry, const char* pszName)
{
    const HKeySymbol nSymbol = KeyValuesSystem()->GetSymbolForString(pszName, false);
    return nSymbol ? pkvEntry->FindKey(nSymbol) : nullptr;
}

KeyValues* FindPartnerKey(KeyValues* pkvEntry, const char* pszPrefix, const char* pszSuffix)
{
    char szName[k_cchMaxScriptKeyName];
    return BBuildKeyName(pszPrefix, pszSuffix, szName) ? FindKeyByName(pkvEntry, szName) : nullptr;
}

bool BEntrySucceeded(KeyValues* pkvEntry, bool bAllItemsSucceeded)
{
    return bAllItemsSucceeded || pkvEntry->GetKeyInt("IgnoreExitCode", 0) != 0;
}
