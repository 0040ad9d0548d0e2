#include "clientdll/installscript_processdescription.h"

#include <string.h>

#include "common/windowshelper.h"
#include "vstdlib/strtools.h"

namespace
{

struct RedistributableDescription_s
{
    const char* m_pszPattern;
    const char* m_pszDescription;
};

// First row whose pattern occurs in the path wins; patterns match as written.
const RedistributableDescription_s k_rgRedistributableDescriptions[] = {
    {"dxsetup.exe", "Microsoft DirectX"},
    {"pbsetup.exe", "Punkbuster Anti-Cheat"},
    {"pbsvc.exe", "Punkbuster Anti-Cheat"},
    {"gfwlivesetup.exe", "Games for Windows - LIVE Setup"},
    {"\\directx\\", "Microsoft DirectX"},
    {"\\dotnet\\", "Microsoft .NET Framework"},
    {"\\openal\\", "OpenAL Installer"},
    {"\\physx\\", "PhysX Physics Engine"},
    {"\\vcredist\\", "Microsoft VC Redistributable"},
    {"\\xna\\", "Microsoft XNA Framework"},
    {"XLiveRedist", "Games for Windows - LIVE Setup"},
};

// msiexec itself says nothing about what it installs: the package between the first two
// double quotes of its command line does.
CUtlString GetDescriptionSubject(const char* pszProcess, const char* pszCommand)
{
    if (V_StringHasPrefixCaseless(pszProcess, "msiexec"))
    {
        const char* pchOpen = strchr(pszCommand, '"');
        const char* pchClose = pchOpen ? strchr(pchOpen + 1, '"') : nullptr;
        if (pchClose && pchClose > pchOpen + 1)
            return CUtlString(pchOpen + 1, (uint32)(pchClose - pchOpen - 1));
    }
    return CUtlString(pszProcess);
}

} // namespace

CUtlString DeriveRunProcessDescription(const char* pszProcess, const char* pszCommand, ELanguage eLanguage)
{
    const CUtlString strSubject = GetDescriptionSubject(pszProcess, pszCommand);
    for (const RedistributableDescription_s& row : k_rgRedistributableDescriptions)
    {
        if (strstr(strSubject.Get(), row.m_pszPattern))
            return CUtlString(row.m_pszDescription);
    }
    CUtlString strDescription;
    if (BGetFileVersionDescription(strSubject.Get(), &strDescription, eLanguage))
        return strDescription;
    return CUtlString(V_UnqualifiedFileName(strSubject.Get()));
}
