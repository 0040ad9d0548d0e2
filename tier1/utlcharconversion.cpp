// Table-driven escape conversion for delimited strings, and the two process-wide
// conversions built at start-up.

#include "tier1/utlcharconversion.h"

#include <cstring>

#include "tier0/dbg.h"

CUtlCharConversion::CUtlCharConversion(char nEscapeChar, const char* pDelimiter, int nCount,
                                       const ConversionArray_t* pArray)
    : m_nEscapeChar(nEscapeChar), m_pDelimiter(pDelimiter), m_nDelimiterLength((int)strlen(pDelimiter))
{
    for (int i = 0; i < nCount; ++i)
    {
        ConversionInfo_t& info = m_pReplacements[(unsigned char)pArray[i].m_nActualChar];
        Assert(info.m_pReplacementString == 0);
        info.m_pReplacementString = pArray[i].m_pReplacementString;
        info.m_nLength = (int)strlen(info.m_pReplacementString);
        if (info.m_nLength > m_nMaxConversionLength)
            m_nMaxConversionLength = info.m_nLength;
    }
}

const char* CUtlCharConversion::GetConversionString(char c) const
{
    return m_pReplacements[(unsigned char)c].m_pReplacementString;
}

int CUtlCharConversion::GetConversionLength(char c) const
{
    return m_pReplacements[(unsigned char)c].m_nLength;
}

CUtlCStringConversion::CUtlCStringConversion(char nEscapeChar, const char* pDelimiter, int nCount,
                                             const ConversionArray_t* pArray)
    : CUtlCharConversion(nEscapeChar, pDelimiter, nCount, pArray)
{
    // Each replacement is the escape character and one more; that one maps back.
    for (int i = 0; i < nCount; ++i)
        m_pConversion[(unsigned char)pArray[i].m_pReplacementString[1]] = pArray[i].m_nActualChar;
}

char CUtlCStringConversion::FindConversion(const char* pString, int* pLength)
{
    char c = *pLength > 0 ? m_pConversion[(unsigned char)pString[0]] : '\0';
    // A miss consumes nothing, so the character after an unknown escape is read as itself.
    *pLength = c ? 1 : 0;
    return c;
}

char CUtlNoEscConversion::FindConversion(const char*, int* pLength)
{
    *pLength = 0;
    return '\0';
}

static const CUtlCharConversion::ConversionArray_t s_rgCStringEscapes[] = {
    {'\n', "\\n"}, {'\t', "\\t"},  {'\v', "\\v"}, {'\b', "\\b"}, {'\r', "\\r"}, {'\f', "\\f"},
    {'\a', "\\a"}, {'\\', "\\\\"}, {'?', "\\?"},  {'\'', "\\'"}, {'"', "\\\""},
};

static const CUtlCharConversion::ConversionArray_t s_rgNoEscapes[] = {
    {0x7F, ""},
};

static CUtlCStringConversion s_CStringConversion('\\', "\"", (int)V_ARRAYSIZE(s_rgCStringEscapes),
                                                 s_rgCStringEscapes);
static CUtlNoEscConversion s_NoEscConversion(0x7F, "\"", (int)V_ARRAYSIZE(s_rgNoEscapes), s_rgNoEscapes);

CUtlCharConversion* GetCStringCharConversion()
{
    return &s_CStringConversion;
}

CUtlCharConversion* GetNoEscCharConversion()
{
    return &s_NoEscConversion;
}
