#include "clientdll/installscript_requirements.h"

#include "common/ostype.h"
#include "tier0/cputopology.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// "ProcessorID" defaults to the machine's own vendor and 0 physical processors means any.
bool BCpuRequirementHolds(KeyValues* pkvRequirement, const char*)
{
    const CPUInformation_s& cpu = GetCPUInformation();
    const int nPhysicalProcessors = pkvRequirement->GetKeyInt("PhysicalProcessors", 0);
    const char* pszProcessorID = pkvRequirement->GetKeyString("ProcessorID", cpu.m_pszProcessorID);
    return V_stricmp(pszProcessorID, cpu.m_pszProcessorID) == 0 &&
           (nPhysicalProcessors == 0 || nPhysicalProcessors == cpu.m_nPhysicalProcessors);
}

// Each key defaults to the running system's own answer, so an absent key always holds.
bool BOSRequirementHolds(KeyValues* pkvRequirement, const char*)
{
    const char* pszOSName = PchNameFromEOSType(GetRunningOSType());
    const int nIs64BitWindows = BIs64BitWindows() ? 1 : 0;
    const int nVistaKB940105 = GetVistaKB940105Flag();
    return V_stricmp(pkvRequirement->GetKeyString("OSType", pszOSName), pszOSName) == 0 &&
           pkvRequirement->GetKeyInt("Is64BitWindows", nIs64BitWindows) == nIs64BitWindows &&
           pkvRequirement->GetKeyInt("VistaKB940105", nVistaKB940105) == nVistaKB940105;
}

bool BLanguageRequirementHolds(KeyValues* pkvRequirement, const char* pszRunLanguage)
{
    return V_stricmp(pkvRequirement->GetKeyString("GameLanguage", "english"), pszRunLanguage) == 0;
}

struct Requirement_s
{
    const char* m_pszName;
    bool (*m_pfnHolds)(KeyValues* pkvRequirement, const char* pszRunLanguage);
};

const Requirement_s k_rgRequirements[] = {
    {"Requirement_CPU", BCpuRequirementHolds},
    {"Requirement_OS", BOSRequirementHolds},
    {"Requirement_Language", BLanguageRequirementHolds},
};

const Requirement_s* FindRequirement(const char* pszName)
{
    for (const Requirement_s& requirement : k_rgRequirements)
    {
        if (V_stricmp(requirement.m_pszName, pszName) == 0)
            return &requirement;
    }
    return nullptr;
}

} // namespace

bool BCheckRequirements(KeyValues* pkvEntry, const char* pszRunLanguage)
{
    int nFailures = 0;
    for (KeyValues* pkvGroup = pkvEntry->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        const Requirement_s* pRequirement = FindRequirement(pkvGroup->GetName());
        if (pRequirement && !pRequirement->m_pfnHolds(pkvGroup, pszRunLanguage))
            ++nFailures;
    }
    return nFailures == 0;
}
