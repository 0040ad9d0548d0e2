#include "clientdll/installscript_runcontext.h"

#include <cstdarg>

#include "common/installscript_log.h"
#include "vstdlib/strtools.h"

void CInstallScriptRunContext::Log(const char* pszFormat, ...) const
{
    va_list args;
    va_start(args, pszFormat);
    InstallScriptAppLogV(m_unAppID, pszFormat, args);
    va_end(args);
}

CUtlString CInstallScriptRunContext::GetInstallDirFile(const char* pszFileName) const
{
    CUtlString strPath(m_pszInstallPath);
    if (!strPath.IsEmpty() && !PATHSEPARATOR(strPath.Get()[strPath.Length() - 1]))
        strPath.Append("\\");
    strPath.Append(pszFileName);
    return strPath;
}
