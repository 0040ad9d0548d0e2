#include "clientdll/installscript_requirements.h"

#include "clientdll/installscript_requirementnames.h"
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

typedef bool (*PFNRequirementHolds)(KeyValues* pkvRequirement, const char* pszRunLanguage);

// In the order of ERequirement.
const PFNRequirementHolds k_rgpfnRequirementHolds[] = {
    BCpuRequirementHolds,
    BOSRequirementHolds,
    BLanguageRequirementHolds,
};
static_assert(V_ARRAYSIZE(k_rgpfnRequirementHolds) == k_ERequirementCount, "one check per requirement");

} // namespace

bool BCheckRequirements(KeyValues* pkvEntry, const char* pszRunLanguage)
{
    int nFailures = 0;
    for (KeyValues* pkvGroup = pkvEntry->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        const ERequirement eRequirement = GetRequirementFromName(pkvGroup->GetName());
        if (eRequirement != k_ERequirementCount &&
            !k_rgpfnRequirementHolds[eRequirement](pkvGroup, pszRunLanguage))
            ++nFailures;
    }
    return nFailures == 0;
}
