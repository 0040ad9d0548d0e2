#pragma once
// The typed groups of a "Registry" key ("string", "dword", "binary",
// "string_from_regkey"): the names the evaluator writes and the checker accepts.

enum ERegistryGroup
{
    k_ERegistryGroupString,
    k_ERegistryGroupDword,
    k_ERegistryGroupBinary,
    k_ERegistryGroupStringFromRegKey,
};

struct RegistryGroup_s
{
    const char* m_pszName;
    ERegistryGroup m_eGroup;
    bool m_bLanguageSubKeys; // subkeys named like the run's language are written after the group
};

// Null for a name that is no group (ASCII case ignored): such groups are skipped.
const RegistryGroup_s* FindRegistryGroup(const char* pszName);
// The names, for suggestions.
extern const RegistryGroup_s k_rgRegistryGroups[4];

// The name a script gives a key's default value.
constexpr const char k_szDefaultValueName[] = "(Default)";
