// Spew groups: a table sorted by name (ASCII case ignored) with one level each, and a
// default level for every name not in the table.

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "asciicase.h"
#include "tier0/dbg.h"

namespace
{

struct SpewGroup_s
{
    std::string m_strName;
    int32 m_nLevel;
};

struct SpewGroupTable_s
{
    std::mutex m_mutex;
    std::vector<SpewGroup_s> m_vecGroups{{"console", 1}};
    int32 m_nDefaultLevel = 0;
};

// Never torn down: messages may still be spewed from other objects' destructors at exit.
SpewGroupTable_s& GroupTable()
{
    static SpewGroupTable_s& s_table = *new SpewGroupTable_s;
    return s_table;
}

bool BGroupNameLess(const SpewGroup_s& group, const char* pszName)
{
    return ASCIIStrNICmp(group.m_strName.c_str(), pszName, group.m_strName.size() + 1) < 0;
}

// The entry for pszName, or the place where it belongs.
std::vector<SpewGroup_s>::iterator FindGroup(std::vector<SpewGroup_s>& vecGroups, const char* pszName,
                                             bool* pbFound)
{
    auto itGroup = std::lower_bound(vecGroups.begin(), vecGroups.end(), pszName, BGroupNameLess);
    *pbFound = itGroup != vecGroups.end() &&
               ASCIIStrNICmp(itGroup->m_strName.c_str(), pszName, itGroup->m_strName.size() + 1) == 0;
    return itGroup;
}

} // namespace

bool IsSpewActive(const char* pszGroup, int nLevel)
{
    SpewGroupTable_s& table = GroupTable();
    std::lock_guard<std::mutex> lock(table.m_mutex);
    bool bFound = false;
    const auto itGroup = pszGroup ? FindGroup(table.m_vecGroups, pszGroup, &bFound) : table.m_vecGroups.end();
    return (bFound ? itGroup->m_nLevel : table.m_nDefaultLevel) >= nLevel;
}

void SpewActivate(const char* pszGroup, int nLevel)
{
    if (!pszGroup)
        return;
    SpewGroupTable_s& table = GroupTable();
    std::lock_guard<std::mutex> lock(table.m_mutex);
    bool bFound = false;
    const auto itGroup = FindGroup(table.m_vecGroups, pszGroup, &bFound);
    if (bFound)
        itGroup->m_nLevel = nLevel;
    else
        table.m_vecGroups.insert(itGroup, SpewGroup_s{pszGroup, nLevel});
}

void SpewSetDefaultLevel(int nLevel)
{
    SpewGroupTable_s& table = GroupTable();
    std::lock_guard<std::mutex> lock(table.m_mutex);
    table.m_nDefaultLevel = nLevel;
}
