#include "common/registrypath.h"

#include <cstring>

#include "tier0/dbg.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr uint32 k_unHKLM = 0x80000002;
constexpr uint32 k_unHKCU = 0x80000001;
constexpr uint32 k_unHKCR = 0x80000000;
constexpr uint32 k_unView32 = 0x0200;
constexpr uint32 k_unView64 = 0x0100;

// Paths' spellings are tried in row order, so the first five rows keep theirs in the
// order a path is matched against them.
const RegKeyRootInfo_s k_rgRegKeyRoots[] = {
    {ERegKeyRoot(1), k_unHKLM, 0, "HKEY_LOCAL_MACHINE", {"HKEY_LOCAL_MACHINE", "HKLM"}},
    {ERegKeyRoot(2), k_unHKCU, 0, "HKEY_CURRENT_USER", {"HKEY_CURRENT_USER", "HKCU"}},
    {ERegKeyRoot(3), k_unHKCR, 0, "HKEY_CLASSES_ROOT", {"HKEY_CLASSES_ROOT", "HKCR"}},
    {ERegKeyRoot(17),
     k_unHKLM,
     k_unView32,
     "HKEY_LOCAL_MACHINE (force 32Bit)",
     {"HKEY_LOCAL_MACHINE_WOW64_32", "HKLM32"}},
    {ERegKeyRoot(33),
     k_unHKLM,
     k_unView64,
     "HKEY_LOCAL_MACHINE (force 64Bit)",
     {"HKEY_LOCAL_MACHINE_WOW64_64", "HKLM64"}},
    {ERegKeyRoot(18), k_unHKCU, k_unView32, "HKEY_CURRENT_USER (force 32Bit)", {nullptr, nullptr}},
    {ERegKeyRoot(34), k_unHKCU, k_unView64, "HKEY_CURRENT_USER (force 64Bit)", {nullptr, nullptr}},
    {ERegKeyRoot(19), k_unHKCR, k_unView32, "HKEY_CLASSES_ROOT (force 32Bit)", {nullptr, nullptr}},
    {ERegKeyRoot(35), k_unHKCR, k_unView64, "HKEY_CLASSES_ROOT (force 64Bit)", {nullptr, nullptr}},
};

const RegKeyRootInfo_s* FindRegKeyRoot(uint32 unRoot)
{
    for (const RegKeyRootInfo_s& row : k_rgRegKeyRoots)
    {
        if (row.m_eRoot == unRoot)
            return &row;
    }
    return nullptr;
}

} // namespace

const RegKeyRootInfo_s& GetRegKeyRootInfo(ERegKeyRoot eRoot)
{
    uint32 unHive = eRoot & ~k_unRegKeyRootViewMask;
    if (unHive != k_ERegKeyRootCurrentUser && unHive != k_ERegKeyRootClassesRoot)
        unHive = k_ERegKeyRootLocalMachine;
    const uint32 unView =
        (eRoot & k_ERegKeyRootForce32Bit) ? k_ERegKeyRootForce32Bit : (eRoot & k_ERegKeyRootForce64Bit);
    return *FindRegKeyRoot(unHive | unView);
}

const char* PchNameFromERegKeyRoot(ERegKeyRoot eRoot)
{
    if (const RegKeyRootInfo_s* pRow = FindRegKeyRoot(eRoot))
        return pRow->m_pszDisplayName;
    AssertFmt(
        false,
        "Missing String for %s (%d). If this comes from user data or could be valid, provide a default to "
        "avoid asserting.",
        "ERegKeyRoot", (int)eRoot);
    return "Unknown";
}

bool BIsProductRegKey(StringView svKey)
{
    const size_t cchProduct = V_ARRAYSIZE(k_szProductRegKey) - 1;
    if (svKey.Length() < cchProduct || V_strnicmp(svKey.Get(), k_szProductRegKey, cchProduct) != 0)
        return false;
    const char chNext = svKey.Get()[cchProduct];
    return chNext == '\\' || chNext == '\0';
}

bool BParseRegistryPath(StringView svRegPath, ERegKeyRoot* peRoot, char* pchKey, unsigned int cchKey,
                        char* pchValueName, unsigned int cchValueName)
{
    Assert(!svRegPath.IsNull());
    if (svRegPath.IsNull())
        return false;

    // 254 characters and the terminator; longer paths are cut.
    char szWork[256];
    V_strncpy(szWork, svRegPath.Get(), sizeof(szWork) - 1);
    char* pchFirstSlash = strchr(szWork, '\\');
    if (!pchFirstSlash || !pchFirstSlash[1])
        return false;

    if (pchValueName && cchValueName)
    {
        char* pchLastSlash = strrchr(szWork, '\\');
        V_strncpy(pchValueName, pchLastSlash + 1, cchValueName);
        *pchLastSlash = '\0';
    }
    V_strncpy(pchKey, pchFirstSlash + 1, cchKey);
    *pchFirstSlash = '\0';

    for (const RegKeyRootInfo_s& row : k_rgRegKeyRoots)
    {
        for (const char* pszSpelling : row.m_rgpszSpellings)
        {
            if (pszSpelling && V_stricmp(szWork, pszSpelling) == 0)
            {
                *peRoot = row.m_eRoot;
                return true;
            }
        }
    }
    return false;
}

bool BParseInstallScriptRegKey(StringView svPath, ERegKeyRoot* peRoot, CUtlString* pstrKey,
                               CUtlString* pstrValueName)
{
    Assert(peRoot);
    Assert(pstrKey);
    if (!peRoot || !pstrKey)
        return false;

    char szKey[255];
    char szValueName[255];
    if (!BParseRegistryPath(svPath, peRoot, szKey, sizeof(szKey), pstrValueName ? szValueName : nullptr,
                            pstrValueName ? sizeof(szValueName) : 0))
        return false;
    pstrKey->SetValue(szKey);
    if (pstrValueName)
        pstrValueName->SetValue(szValueName);

    if ((*peRoot & k_unRegKeyRootViewMask) ||
        (*peRoot == k_ERegKeyRootLocalMachine && BIsProductRegKey(szKey)))
        return true;
    // Script keys land in the 32-bit view unless the script names a view.
    *peRoot = ERegKeyRoot(*peRoot | k_ERegKeyRootForce32Bit);
    return true;
}
