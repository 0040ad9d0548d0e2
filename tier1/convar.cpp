// Console variables: an intrusive list of every registered variable.

#include "tier1/convar.h"

#include <cstdlib>

#include "vstdlib/strtools.h"

namespace
{

// Constant-initialised, so variables of any translation unit may register before it.
CConVar* g_pConVarList = nullptr;

} // namespace

CConVar::CConVar(const char* pszName, const char* pszDefault)
    : m_pszName(pszName), m_pszDefault(pszDefault), m_strValue(pszDefault), m_pNext(g_pConVarList)
{
    g_pConVarList = this;
}

CConVar::~CConVar()
{
    for (CConVar** ppLink = &g_pConVarList; *ppLink; ppLink = &(*ppLink)->m_pNext)
    {
        if (*ppLink == this)
        {
            *ppLink = m_pNext;
            return;
        }
    }
}

int CConVar::GetInt() const
{
    return atoi(m_strValue.Get());
}

void CConVar::SetValue(const char* pszValue)
{
    m_strValue.SetValue(pszValue);
}

CConVar* FindConVar(const char* pszName)
{
    for (CConVar* pVar = g_pConVarList; pVar; pVar = pVar->m_pNext)
    {
        if (V_stricmp(pVar->m_pszName, pszName) == 0)
            return pVar;
    }
    return nullptr;
}
