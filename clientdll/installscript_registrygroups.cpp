#include "clientdll/installscript_registrygroups.h"

#include "vstdlib/strtools.h"

// Copies ("string_from_regkey") are made every time and have no language subkeys.
const RegistryGroup_s k_rgRegistryGroups[4] = {
    {"string", k_ERegistryGroupString, true},
    {"dword", k_ERegistryGroupDword, true},
    {"binary", k_ERegistryGroupBinary, true},
    {"string_from_regkey", k_ERegistryGroupStringFromRegKey, false},
};

const RegistryGroup_s* FindRegistryGroup(const char* pszName)
{
    for (const RegistryGroup_s& group : k_rgRegistryGroups)
    {
        if (V_stricmp(pszName, group.m_pszName) == 0)
            return &group;
    }
    return nullptr;
}
