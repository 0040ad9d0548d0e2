// The display names of the OS types: what "Requirement_OS" compares its "OSType" with.

#include "common/ostype.h"

#include "tier0/dbg.h"
#include "vstdlib/strtools.h"

namespace
{

const char* const k_rgpszOSTypeNames[] = {
    "Unknown",        "Windows 95",          "Windows 98",          "Windows ME",
    "Windows NT 4.0", "Windows 2000",        "Windows XP",          "Windows Server 2003",
    "Windows Vista",  "Windows Server 2008", "Windows 7",           "Windows Server 2008 R2",
    "Windows 8",      "Windows Server 2012", "Windows 8.1",         "Windows Server 2012 R2",
    "Windows 10",     "Windows Server 2016", "Windows Server 2019", "Windows Server 2022",
    "Windows 11",     "Windows Server 2025",
};
static_assert(V_ARRAYSIZE(k_rgpszOSTypeNames) == k_EOSTypeCount, "one name per OS type");

} // namespace

const char* PchNameFromEOSType(EOSType eOSType)
{
    if (eOSType >= 0 && eOSType < k_EOSTypeCount)
        return k_rgpszOSTypeNames[eOSType];
    AssertFmt(
        false,
        "Missing String for %s (%d). If this comes from user data or could be valid, provide a default to "
        "avoid asserting.",
        "EOSType", (int)eOSType);
    return "Unknown";
}

EOSType GetOSTypeFromName(const char* pszName)
{
    for (int i = 0; i < k_EOSTypeCount; ++i)
    {
        if (V_stricmp(pszName, k_rgpszOSTypeNames[i]) == 0)
            return EOSType(i);
    }
    return k_EOSTypeCount;
}
