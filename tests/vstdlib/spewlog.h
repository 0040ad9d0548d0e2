#pragma once
// Records every spew while alive and puts the previous output handler back afterwards.
// Header-only so the key-name table and KeyValues test programs can both use it.

#include <string>
#include <vector>

#include "tier0/dbg.h"

class CSpewLog
{
public:
    CSpewLog() : m_pfnPrevious(GetSpewOutputFunc())
    {
        Active() = this;
        SpewOutputFunc(Handler);
    }
    ~CSpewLog()
    {
        SpewOutputFunc(m_pfnPrevious);
        Active() = nullptr;
    }
    CSpewLog(const CSpewLog&) = delete;
    CSpewLog& operator=(const CSpewLog&) = delete;

    // Texts of one spew type, in order; asserts carry their "file (line) : " prefix.
    std::vector<std::string> Texts(SpewType_t eType) const
    {
        std::vector<std::string> vecTexts;
        for (const auto& entry : m_vecEntries)
        {
            if (entry.first == eType)
                vecTexts.push_back(entry.second);
        }
        return vecTexts;
    }
    int CountAssertsContaining(const char* pszText) const
    {
        int cFound = 0;
        for (const std::string& strText : Texts(SPEW_ASSERT))
            cFound += strText.find(pszText) != std::string::npos;
        return cFound;
    }

private:
    static CSpewLog*& Active()
    {
        static CSpewLog* s_pActive = nullptr;
        return s_pActive;
    }
    // Runs under the spew lock, so threads never append at the same time.
    static SpewRetval_t Handler(SpewType_t eType, const char* pszText)
    {
        Active()->m_vecEntries.emplace_back(eType, pszText);
        return SPEW_CONTINUE;
    }

    SpewOutputFunc_t m_pfnPrevious;
    std::vector<std::pair<SpewType_t, std::string>> m_vecEntries;
};
