#include "clientdll/installscript_redistributables.h"

#include <cstring>

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

} // namespace

CUtlString GetDescriptionSubject(const char* pszProcess, const char* pszCommand)
{
    // msiexec itself says nothing about what it installs.
    if (V_StringHasPrefixCaseless(pszProcess, "msiexec"))
    {
        const char* pchOpen = strchr(pszCommand, '"');
        const char* pchClose = pchOpen ? strchr(pchOpen + 1, '"') : nullptr;
        if (pchClose && pchClose > pchOpen + 1)
            return CUtlString(pchOpen + 1, (uint32)(pchClose - pchOpen - 1));
    }
    return CUtlString(pszProcess);
}

const char* PchRedistributableDescription(const char* pszSubject)
{
    for (const RedistributableDescription_s& row : k_rgRedistributableDescriptions)
    {
        if (strstr(pszSubject, row.m_pszPattern))
            return row.m_pszDescription;
    }
    return nullptr;
}
