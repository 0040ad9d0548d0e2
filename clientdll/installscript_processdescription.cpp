#include "clientdll/installscript_processdescription.h"

#include "clientdll/installscript_redistributables.h"
#include "common/windowshelper.h"
#include "vstdlib/strtools.h"

CUtlString DeriveRunProcessDescription(const char* pszProcess, const char* pszCommand, ELanguage eLanguage)
{
    const CUtlString strSubject = GetDescriptionSubject(pszProcess, pszCommand);
    if (const char* pszDescription = PchRedistributableDescription(strSubject.Get()))
        return CUtlString(pszDescription);
    CUtlString strDescription;
    if (BGetFileVersionDescription(strSubject.Get(), &strDescription, eLanguage))
        return strDescription;
    return CUtlString(V_UnqualifiedFileName(strSubject.Get()));
}
