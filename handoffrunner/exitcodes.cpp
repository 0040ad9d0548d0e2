#include "handoffrunner/exitcodes.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

constexpr char k_szSeparators[] = ",; \t\r\n";

// There is no machine to restart under Wine, so these count as plain success.
struct RestartCode_s
{
    uint32 m_unCode;
    const char* m_pszMeaning;
};
constexpr RestartCode_s k_rgRestartCodes[] = {
    {3010, "a restart is required"},
    {1641, "a restart was started"},
};

// "1638", "-1" or "0x80070BC2"; false for anything else.
bool BParseExitCode(const char* pszItem, uint32* punCode)
{
    const bool bHex = pszItem[0] == '0' && (pszItem[1] == 'x' || pszItem[1] == 'X');
    const char* pchDigits = bHex ? pszItem + 2 : pszItem;
    if (!*pchDigits || (!bHex && *pchDigits == '-' && !pchDigits[1]))
        return false;
    char* pchEnd = nullptr;
    errno = 0;
    if (bHex)
    {
        const unsigned long long ullCode = strtoull(pchDigits, &pchEnd, 16);
        *punCode = (uint32)ullCode;
        return *pchEnd == 0 && errno == 0 && ullCode <= 0xFFFFFFFFull && *pchDigits != '-' &&
               *pchDigits != '+';
    }
    const long long llCode = strtoll(pchDigits, &pchEnd, 10);
    *punCode = (uint32)llCode;
    return *pchEnd == 0 && errno == 0 && llCode >= -2147483648LL && llCode <= 0xFFFFFFFFLL &&
           *pchDigits != '+';
}

void AppendItem(CUtlString* pstrList, const char* pszItem)
{
    if (!pstrList->IsEmpty())
        pstrList->Append(", ");
    pstrList->Append(pszItem);
}

// Walks the list; true when unExitCode is in it.
bool BListed(uint32 unExitCode, const char* pszValidExitCodes, CUtlString* pstrMalformed)
{
    bool bListed = false;
    for (const char* pchItem = pszValidExitCodes; *pchItem;)
    {
        const size_t cchItem = strcspn(pchItem, k_szSeparators);
        const std::string strItem(pchItem, cchItem);
        uint32 unCode = 0;
        if (!strItem.empty())
        {
            if (BParseExitCode(strItem.c_str(), &unCode))
                bListed |= unCode == unExitCode;
            else
                AppendItem(pstrMalformed, strItem.c_str());
        }
        pchItem += cchItem + (pchItem[cchItem] ? 1 : 0);
    }
    return bListed;
}

} // namespace

ExitCodeVerdict_s JudgeExitCode(uint32 unExitCode, const char* pszValidExitCodes, bool bIgnoreExitCode,
                                CUtlString* pstrMalformed)
{
    ExitCodeVerdict_s verdict = {true, CUtlString()};
    const bool bListed = BListed(unExitCode, pszValidExitCodes, pstrMalformed);
    if (unExitCode == 0)
    {
        verdict.m_strWhy = "success";
        return verdict;
    }
    if (bListed)
    {
        verdict.m_strWhy.Format("success (listed in ValidExitCodes \"%s\")", pszValidExitCodes);
        return verdict;
    }
    for (const RestartCode_s& restart : k_rgRestartCodes)
    {
        if (restart.m_unCode == unExitCode)
        {
            verdict.m_strWhy.Format("success (%s; nothing to restart under Wine)", restart.m_pszMeaning);
            return verdict;
        }
    }
    if (bIgnoreExitCode)
    {
        verdict.m_strWhy = "success (IgnoreExitCode is set)";
        return verdict;
    }
    verdict.m_bSuccess = false;
    verdict.m_strWhy.Format("failure (not 0 and not in ValidExitCodes \"%s\")", pszValidExitCodes);
    return verdict;
}
