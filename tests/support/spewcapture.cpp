#include "spewcapture.h"

CSpewCapture* CSpewCapture::s_pActive = nullptr;

CSpewCapture::CSpewCapture() : m_pfnPrevious(GetSpewOutputFunc()), m_pPreviousCapture(s_pActive)
{
    s_pActive = this;
    SpewOutputFunc(Handler);
}

CSpewCapture::~CSpewCapture()
{
    s_pActive = m_pPreviousCapture;
    SpewOutputFunc(m_pfnPrevious);
}

std::vector<std::string> CSpewCapture::TextsOfType(SpewType_t eType) const
{
    std::vector<std::string> vecTexts;
    for (const SpewRecord_s& record : m_vecRecords)
    {
        if (record.m_eType == eType)
            vecTexts.push_back(record.m_strText);
    }
    return vecTexts;
}

int CSpewCapture::CountFailedAssertions(const char* pszExpression) const
{
    const std::string strTail = std::string(") : Assertion Failed: ") + pszExpression;
    int nCount = 0;
    for (const std::string& strText : TextsOfType(SPEW_ASSERT))
        nCount += strText.size() >= strTail.size() &&
                  strText.compare(strText.size() - strTail.size(), strTail.size(), strTail) == 0;
    return nCount;
}

int CSpewCapture::CountAssertsContaining(const char* pszText) const
{
    int nCount = 0;
    for (const std::string& strText : TextsOfType(SPEW_ASSERT))
        nCount += strText.find(pszText) != std::string::npos;
    return nCount;
}

// Runs under the spew lock, so records from several threads never interleave.
SpewRetval_t CSpewCapture::Handler(SpewType_t eType, const char* pszText)
{
    CSpewCapture* pCapture = s_pActive;
    pCapture->m_vecRecords.push_back({eType, pszText});
    if (pCapture->m_fnHook)
        pCapture->m_fnHook(pCapture->m_vecRecords.back());
    return pCapture->m_eResult;
}
