#include "installscript/check_context.h"

#include <cstdarg>
#include <cstdio>

#include "tier1/keyvalues.h"

CCheckContext::CCheckContext(const CKeyLocations& locations, const std::vector<bool>& vecDisabled,
                             std::vector<CheckFinding_s>* pvecFindings)
    : m_locations(locations), m_vecDisabled(vecDisabled), m_pvecFindings(pvecFindings)
{
}

std::string CCheckContext::KeyPath(const KeyValues* pkv) const
{
    std::string strPath;
    for (const KeyValues* pkvStep : m_vecPath)
    {
        strPath += pkvStep->GetName();
        strPath += '/';
    }
    if (!m_vecPath.empty() && m_vecPath.back() == pkv)
        strPath.pop_back();
    else
        strPath += pkv->GetName();
    return strPath;
}

void CCheckContext::Add(ECheck eCheck, const KeyValues* pkv, int nOffset, std::string strKeyPath,
                        const char* pszFormat, va_list args)
{
    char szMessage[1024];
    if (++m_rgcFindings[eCheck] > k_cFindingsPerCheckMax)
        snprintf(szMessage, sizeof(szMessage), "further findings of this check are left out");
    else
        vsnprintf(szMessage, sizeof(szMessage), pszFormat, args);
    m_pvecFindings->push_back(
        {eCheck, GetCheckInfo(eCheck).m_eSeverity, pkv, nOffset, 0, 0, std::move(strKeyPath), szMessage});
}

void CCheckContext::Report(ECheck eCheck, const KeyValues* pkv, const char* pszFormat, ...)
{
    if (!BWants(eCheck))
        return;
    va_list args;
    va_start(args, pszFormat);
    Add(eCheck, pkv, -1, KeyPath(pkv), pszFormat, args);
    va_end(args);
}

void CCheckContext::ReportAt(ECheck eCheck, int nOffset, const char* pszFormat, ...)
{
    if (!BWants(eCheck))
        return;
    va_list args;
    va_start(args, pszFormat);
    Add(eCheck, nullptr, nOffset, std::string(), pszFormat, args);
    va_end(args);
}

void CCheckContext::ResolveKeyOffsets()
{
    std::vector<const KeyValues*> vecKeys;
    for (const CheckFinding_s& finding : *m_pvecFindings)
    {
        if (finding.m_pkvKey)
            vecKeys.push_back(finding.m_pkvKey);
    }
    const std::vector<int> vecOffsets = m_locations.FindOffsets(vecKeys);
    size_t iKey = 0;
    for (CheckFinding_s& finding : *m_pvecFindings)
    {
        if (finding.m_pkvKey)
        {
            finding.m_nOffset = vecOffsets[iKey++];
            finding.m_pkvKey = nullptr;
        }
    }
}
