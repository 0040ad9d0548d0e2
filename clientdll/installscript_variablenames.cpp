#include "clientdll/installscript_variablenames.h"

#include <initializer_list>

#include "vstdlib/strtools.h"

bool BIsScriptVariable(const char* pszName)
{
    for (const char* pszVariable :
         {k_szVariableInstallDir, k_szVariableRootDrive, k_szVariableUserMyDocs, k_szVariableCommonMyDocs,
          k_szVariableLocalAppData, k_szVariableAppData, k_szVariableKorvexID})
    {
        if (V_stricmp(pszName, pszVariable) == 0)
            return true;
    }
    return false;
}
