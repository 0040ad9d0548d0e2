// CUtlString: one heap block per string, replaced wholesale on every change.

#include "tier1/utlstring.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tier0/dbg.h"

// True when a string of nLength characters plus its NUL stays within the limit.
static bool BLengthAllowed(uint64 nLength)
{
    bool bAllowed = nLength < CUtlString::k_cchMaxString;
    AssertFmt(bAllowed, "Assertion failed: length > k_cchMaxString");
    return bAllowed;
}

static char* AllocText(uint64 nLength)
{
    char* pchText = (char*)malloc((size_t)nLength + 1);
    AssertFmt(pchText, "CUtlString: out of memory for %llu characters", (unsigned long long)nLength);
    return pchText;
}

// The two-pass format: measure, then format into a block of exactly length + 1 bytes.
// Returns the length, -1 when formatting fails; *ppchText receives the block.
static int FormatNewBlock(char** ppchText, const char* pszFormat, va_list args)
{
    *ppchText = nullptr;
    va_list argsMeasure;
    va_copy(argsMeasure, args);
    int mlen = vsnprintf(nullptr, 0, pszFormat, argsMeasure);
    va_end(argsMeasure);
    if (mlen < 0 || !BLengthAllowed((uint64)mlen))
        return -1;
    char* pchText = AllocText((uint64)mlen);
    if (!pchText)
        return -1;
    int len = vsnprintf(pchText, (size_t)mlen + 1, pszFormat, args);
    Assert(len <= mlen);
    Assert(len > 0);
    if (len < 0)
    {
        free(pchText);
        return -1;
    }
    *ppchText = pchText;
    return std::min(len, mlen);
}

CUtlString::CUtlString(const char* pszText)
{
    SetValue(pszText);
}

CUtlString::CUtlString(const char* pchText, uint32 cchText)
{
    SetDirect(pchText, cchText);
}

CUtlString::CUtlString(const CUtlString& other)
{
    SetValue(other.m_pchString);
}

CUtlString::CUtlString(CUtlString&& other) noexcept : m_pchString(other.m_pchString)
{
    other.m_pchString = nullptr;
}

CUtlString::~CUtlString()
{
    free(m_pchString);
}

CUtlString& CUtlString::operator=(const CUtlString& other)
{
    SetValue(other.m_pchString);
    return *this;
}

CUtlString& CUtlString::operator=(CUtlString&& other) noexcept
{
    std::swap(m_pchString, other.m_pchString);
    return *this;
}

CUtlString& CUtlString::operator=(const char* pszText)
{
    SetValue(pszText);
    return *this;
}

uint32 CUtlString::Length() const
{
    return m_pchString ? (uint32)strlen(m_pchString) : 0;
}

void CUtlString::SetValue(const char* pszText)
{
    SetDirect(pszText, pszText ? (uint32)strlen(pszText) : 0);
}

void CUtlString::SetDirect(const char* pchText, uint32 cchText)
{
    if (!pchText || !cchText)
    {
        Clear();
        return;
    }
    if (!BLengthAllowed(cchText))
        return;
    // Copy before freeing: the source may be this string's own text.
    char* pchNew = AllocText(cchText);
    if (!pchNew)
        return;
    memcpy(pchNew, pchText, cchText);
    pchNew[cchText] = '\0';
    free(m_pchString);
    m_pchString = pchNew;
}

void CUtlString::Append(const char* pchText, uint32 cchText)
{
    if (!pchText || !cchText)
        return;
    uint32 cchOld = Length();
    if (!BLengthAllowed((uint64)cchOld + cchText))
        return;
    char* pchNew = AllocText((uint64)cchOld + cchText);
    if (!pchNew)
        return;
    memcpy(pchNew, Get(), cchOld);
    memcpy(pchNew + cchOld, pchText, cchText);
    pchNew[cchOld + cchText] = '\0';
    free(m_pchString);
    m_pchString = pchNew;
}

void CUtlString::Append(const char* pszText)
{
    Append(pszText, pszText ? (uint32)strlen(pszText) : 0);
}

char* CUtlString::GetForModify(uint32 nLength)
{
    if (!BLengthAllowed(nLength))
        return nullptr;
    bool bWasEmpty = !m_pchString;
    char* pchNew = (char*)realloc(m_pchString, (size_t)nLength + 1);
    AssertFmt(pchNew, "CUtlString: out of memory for %u characters", nLength);
    if (!pchNew)
        return nullptr;
    if (bWasEmpty)
        pchNew[0] = '\0';
    pchNew[nLength] = '\0';
    m_pchString = pchNew;
    return pchNew;
}

void CUtlString::Clear()
{
    free(m_pchString);
    m_pchString = nullptr;
}

int CUtlString::Format(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    int nLen = VFormat(pszFormat, args);
    va_end(args);
    return nLen;
}

int CUtlString::VFormat(const char* pszFormat, va_list args)
{
    char* pchText;
    int nLen = FormatNewBlock(&pchText, pszFormat, args);
    if (nLen >= 0)
    {
        free(m_pchString);
        m_pchString = pchText;
    }
    return nLen;
}

int CUtlString::AppendFormat(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    int nLen = VAppendFormat(pszFormat, args);
    va_end(args);
    return nLen;
}

int CUtlString::VAppendFormat(const char* pszFormat, va_list args)
{
    char* pchText;
    int nLen = FormatNewBlock(&pchText, pszFormat, args);
    if (nLen > 0)
        Append(pchText, (uint32)nLen);
    free(pchText);
    return nLen;
}

bool CUtlString::operator==(const CUtlString& other) const
{
    return strcmp(Get(), other.Get()) == 0;
}

bool CUtlString::operator==(const char* pszText) const
{
    return strcmp(Get(), pszText ? pszText : "") == 0;
}
