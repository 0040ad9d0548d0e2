// The context of one text load: the key stack for error messages, the token buffer and
// the errors recorded.

#include "tier1/keyvaluesparser.h"

#include <cstdlib>
#include <cstring>

#include "tier0/dbg.h"
#include "vstdlib/strtools.h"

namespace
{
constexpr int k_cubErrorMessage = 512;
constexpr int k_cubMinTokenBuffer = 2; // one character and its terminator
} // namespace

CKeyValuesParser::CKeyValuesParser(int cubTokenBuffer)
{
    Assert(cubTokenBuffer >= k_cubMinTokenBuffer);
    m_cubTokenBuffer = cubTokenBuffer >= k_cubMinTokenBuffer ? cubTokenBuffer : k_cubMinTokenBuffer;
    m_pchTokenBuffer = (char*)malloc((size_t)m_cubTokenBuffer);
    AssertFatal(m_pchTokenBuffer);
    BeginLoad("NULL");
}

CKeyValuesParser::~CKeyValuesParser()
{
    free(m_pchTokenBuffer);
}

void CKeyValuesParser::BeginLoad(const char* pszResourceName)
{
    for (HKeySymbol& nSymbol : m_rgnKeyStack)
        nSymbol = INVALID_KEY_SYMBOL;
    m_nErrorIndex = 0;
    m_nMaxErrorIndex = 0;
    m_strResourceName = pszResourceName;
    m_bReported = false;
    m_cErrors = 0;
    m_strErrorText.Clear();
}

int CKeyValuesParser::PushKey(HKeySymbol nSymbol)
{
    int nLevel = m_nErrorIndex++;
    if (nLevel < k_cKeyStack)
        m_rgnKeyStack[nLevel] = nSymbol;
    if (m_nErrorIndex > m_nMaxErrorIndex)
        m_nMaxErrorIndex = m_nErrorIndex;
    return nLevel;
}

void CKeyValuesParser::PopKey()
{
    --m_nErrorIndex;
    AssertFmt(m_nErrorIndex >= 0, "m_errorIndex>=0");
}

void CKeyValuesParser::AppendKeyStack(char* pszMessage, size_t cubMessage) const
{
    // Keys of branches already left are shown in "(*...*)".
    int cLevels = m_nMaxErrorIndex < k_cKeyStack ? m_nMaxErrorIndex : k_cKeyStack;
    IKeyValuesSystem* pSystem = KeyValuesSystem();
    for (int i = 0; i < cLevels; ++i)
    {
        if (m_rgnKeyStack[i] <= 0)
            continue;
        const char* pszName = pSystem->GetStringForSymbol(m_rgnKeyStack[i]);
        if (i < m_nErrorIndex)
        {
            V_strncat(pszMessage, pszName, cubMessage);
            V_strncat(pszMessage, ", ", cubMessage);
        }
        else
        {
            V_strncat(pszMessage, "(*", cubMessage);
            V_strncat(pszMessage, pszName, cubMessage);
            V_strncat(pszMessage, "*), ", cubMessage);
        }
    }
    V_strncat(pszMessage, "\n", cubMessage);
}

void CKeyValuesParser::ReportError(const char* pszMessage, int nOffset)
{
    char szMessage[k_cubErrorMessage];
    V_snprintf(szMessage, sizeof(szMessage), "KeyValues Error: %s in file %s [offset: %d]\n", pszMessage,
               m_strResourceName.String(), nOffset);
    AppendKeyStack(szMessage, sizeof(szMessage));
    if (m_bReportEnabled && !m_bReported)
    {
        Warning("%s", szMessage);
        m_bReported = true;
    }
    ++m_cErrors;
    if (m_pObserver)
        m_pObserver->OnError(pszMessage, nOffset);
    if (m_strErrorText.Length() < k_cchErrorTextMax)
        m_strErrorText.Append(szMessage);
}
