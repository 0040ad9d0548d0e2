#pragma once
// Collects assertion reports while in scope, so a test can check that a broken invariant
// was reported and that the code went on afterwards.

#include <string>
#include <vector>

#include "tier0/dbg.h"

class CAssertCapture
{
public:
    CAssertCapture() : m_pfnPrevious(GetSpewOutputFunc())
    {
        s_vecTexts.clear();
        SpewOutputFunc(Capture);
    }
    ~CAssertCapture() { SpewOutputFunc(m_pfnPrevious); }
    CAssertCapture(const CAssertCapture&) = delete;
    CAssertCapture& operator=(const CAssertCapture&) = delete;

    // Reports whose message is exactly "Assertion Failed: " followed by pszMessage.
    int Count(const char* pszMessage) const
    {
        std::string strTail = std::string(") : Assertion Failed: ") + pszMessage;
        int nCount = 0;
        for (const std::string& strText : s_vecTexts)
        {
            bool bEndsWith = strText.size() >= strTail.size() &&
                             strText.compare(strText.size() - strTail.size(), strTail.size(), strTail) == 0;
            nCount += bEndsWith ? 1 : 0;
        }
        return nCount;
    }
    int Total() const { return (int)s_vecTexts.size(); }

private:
    static SpewRetval_t Capture(SpewType_t eType, const char* pszText)
    {
        if (eType == SPEW_ASSERT)
            s_vecTexts.push_back(pszText);
        return SPEW_CONTINUE;
    }

    static inline std::vector<std::string> s_vecTexts;
    SpewOutputFunc_t m_pfnPrevious;
};
