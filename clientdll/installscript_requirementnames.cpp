#include "clientdll/installscript_requirementnames.h"

#include "vstdlib/strtools.h"

namespace
{

const char* const k_rgpszRequirementNames[] = {"Requirement_CPU", "Requirement_OS", "Requirement_Language"};
static_assert(V_ARRAYSIZE(k_rgpszRequirementNames) == k_ERequirementCount, "one name per requirement");

} // namespace

ERequirement GetRequirementFromName(const char* pszName)
{
    for (int i = 0; i < k_ERequirementCount; ++i)
    {
        if (V_stricmp(pszName, k_rgpszRequirementNames[i]) == 0)
            return ERequirement(i);
    }
    return k_ERequirementCount;
}

const char* GetRequirementName(ERequirement eRequirement)
{
    return eRequirement >= 0 && eRequirement < k_ERequirementCount ? k_rgpszRequirementNames[eRequirement]
                                                                   : "";
}
