// CUtlBuffer: memory, growth, seeking and the text operations the document code needs.

#include "tier1/utlbuffer.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tier0/dbg.h"

static constexpr int64 k_nFirstAllocation = 32;
static constexpr int64 k_nMaxGrowStep = 268435456;

// Indexed by SeekType_t: the conditions a seek must meet, as they are reported.
static const char* const s_rgpszGetSeekChecks[] = {
    "offset >= 0",
    "offset >= -m_Get && offset <= INT_MAX-m_Get",
    "offset != INT_MIN && offset <= m_nMaxPut && -offset <= INT_MAX-m_nMaxPut",
};
static const char* const s_rgpszPutSeekChecks[] = {
    "offset >= 0",
    "offset >= -m_Put && offset <= INT_MAX-m_Put",
    "offset != INT_MIN && offset <= m_nMaxPut && -offset <= INT_MAX-m_nMaxPut",
};

static bool IsTextSpace(unsigned char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The allocation count that holds nNeeded bytes: a multiple of a positive grow size, or
// the current count grown by half (32 to start with) until it is enough.
static int64 GrownAllocationCount(int nGrowSize, int64 nCurrent, int64 nNeeded)
{
    if (nGrowSize > 0)
        return (nNeeded + nGrowSize - 1) / nGrowSize * nGrowSize;
    int64 nCount = nCurrent ? nCurrent : k_nFirstAllocation;
    while (nCount < nNeeded)
        nCount += std::clamp(nCount / 2, (int64)1, k_nMaxGrowStep);
    return nCount;
}

// Every seek condition amounts to the new position lying in 0..INT_MAX. A breach is
// reported and the computed position is used all the same.
static int SeekPosition(CUtlBuffer::SeekType_t eType, int nCurrent, int nEnd, int nOffset,
                        const char* const* ppszChecks)
{
    int64 nPosition = nCurrent;
    switch (eType)
    {
        case CUtlBuffer::SEEK_HEAD:
            nPosition = nOffset;
            break;
        case CUtlBuffer::SEEK_CURRENT:
            nPosition = (int64)nCurrent + nOffset;
            break;
        case CUtlBuffer::SEEK_TAIL:
            nPosition = (int64)nEnd - nOffset;
            break;
        default:
            AssertFmt(false, "unknown seek type %d", (int)eType);
            return nCurrent;
    }
    AssertFmt(nPosition >= 0 && nPosition <= INT_MAX, "%s", ppszChecks[eType]);
    return (int)(uint32)nPosition;
}

CUtlBuffer::CUtlBuffer(int nGrowSize, int nInitialSize, int nFlags)
    : m_nGrowSize(nGrowSize), m_Flags((unsigned char)nFlags)
{
    Assert(nGrowSize >= 0);
    m_nGrowSize = std::max(m_nGrowSize, 0);
    m_nAllocationCount = nInitialSize;
    Assert(m_nAllocationCount >= 0);
    m_nAllocationCount = std::max(m_nAllocationCount, 0);
    if (m_nAllocationCount)
    {
        m_pMemory = (unsigned char*)malloc((size_t)m_nAllocationCount);
        Assert(m_pMemory);
        if (!m_pMemory)
            m_nAllocationCount = 0;
    }
    AddNullTermination();
}

CUtlBuffer::CUtlBuffer(const void* pBuffer, int nSize, int nFlags)
{
    SetExternalBuffer(const_cast<void*>(pBuffer), nSize, (nFlags & READ_ONLY) ? nSize : 0, nFlags);
}

CUtlBuffer::~CUtlBuffer()
{
    if (!IsExternallyAllocated())
        free(m_pMemory);
}

void CUtlBuffer::SetBufferType(bool bIsText, bool bContainsCRLF)
{
    m_Flags &= (unsigned char)~(TEXT_BUFFER | CONTAINS_CRLF);
    m_Flags |= (unsigned char)((bIsText ? TEXT_BUFFER : 0) | (bContainsCRLF ? CONTAINS_CRLF : 0));
    AddNullTermination();
}

void CUtlBuffer::SetExternalBuffer(void* pMemory, int nSize, int nInitialPut, int nFlags)
{
    Assert(nInitialPut >= 0 && nInitialPut <= nSize);
    if (!IsExternallyAllocated())
        free(m_pMemory);
    m_pMemory = (unsigned char*)pMemory;
    m_nAllocationCount = nSize;
    m_nGrowSize = -1;
    m_Flags = (unsigned char)nFlags;
    m_Get = 0;
    m_Put = nInitialPut;
    m_nMaxPut = nInitialPut;
    m_Error = 0;
    AddNullTermination();
}

bool CUtlBuffer::EnsureCapacity(int nSize)
{
    return GrowMemory((int64)nSize + (IsText() ? 1 : 0));
}

void CUtlBuffer::Clear()
{
    m_Get = 0;
    m_Put = 0;
    m_nMaxPut = 0;
    m_Error = 0;
    AddNullTermination();
}

void CUtlBuffer::Purge()
{
    if (!IsExternallyAllocated())
        free(m_pMemory);
    m_pMemory = nullptr;
    m_nAllocationCount = 0;
    m_nGrowSize = std::max(m_nGrowSize, 0);
    m_Flags &= (unsigned char)~EXTERNAL_GROWABLE;
    Clear();
}

bool CUtlBuffer::GrowMemory(int64 nNeeded)
{
    if (nNeeded <= m_nAllocationCount)
        return true;
    if (!IsGrowable() || nNeeded > INT_MAX)
        return false;
    int64 nCount = std::min(GrownAllocationCount(m_nGrowSize, m_nAllocationCount, nNeeded), (int64)INT_MAX);
    unsigned char* pNew;
    if (IsExternallyAllocated())
    {
        // The caller's memory stays the caller's: carry its bytes over into our own.
        pNew = (unsigned char*)malloc((size_t)nCount);
        if (pNew && m_nAllocationCount)
            memcpy(pNew, m_pMemory, (size_t)m_nAllocationCount);
    }
    else
    {
        pNew = (unsigned char*)realloc(m_pMemory, (size_t)nCount);
    }
    if (!pNew)
        return false;
    m_pMemory = pNew;
    m_nAllocationCount = (int)nCount;
    m_nGrowSize = std::max(m_nGrowSize, 0);
    m_Flags &= (unsigned char)~EXTERNAL_GROWABLE;
    return true;
}

bool CUtlBuffer::PutOverflow(int nSize)
{
    return GrowMemory((int64)m_Put + nSize + (IsText() ? 1 : 0));
}

bool CUtlBuffer::GetOverflow(int)
{
    return false;
}

void CUtlBuffer::SetOverflowFuncs(UtlBufferOverflowFunc_t pfnGetOverflow,
                                  UtlBufferOverflowFunc_t pfnPutOverflow)
{
    m_GetOverflowFunc = pfnGetOverflow;
    m_PutOverflowFunc = pfnPutOverflow;
}

bool CUtlBuffer::CheckPut(int nSize)
{
    // Text mode always keeps room for the NUL behind the data.
    auto bFits = [&] { return (int64)m_Put + nSize + (IsText() ? 1 : 0) <= m_nAllocationCount; };
    bool bWritable = !(m_Error & PUT_OVERFLOW) && !IsReadOnly() && m_Put >= 0 && nSize >= 0;
    if (bWritable && (bFits() || ((this->*m_PutOverflowFunc)(nSize) && bFits())))
        return true;
    m_Error |= PUT_OVERFLOW;
    return false;
}

bool CUtlBuffer::BHaveGetBytes(int64 nFrom, int64 nSize) const
{
    return nFrom >= 0 && nSize >= 0 && nFrom + nSize <= m_nMaxPut;
}

bool CUtlBuffer::CheckPeekGet(int nOffset, int nSize)
{
    if (m_Error & GET_OVERFLOW)
        return false;
    int64 nFrom = (int64)m_Get + nOffset;
    if (BHaveGetBytes(nFrom, nSize))
        return true;
    int64 nWanted = (int64)nOffset + nSize;
    if (nSize < 0 || nWanted <= 0 || nWanted > INT_MAX)
        return false;
    return (this->*m_GetOverflowFunc)((int)nWanted) && BHaveGetBytes((int64)m_Get + nOffset, nSize);
}

bool CUtlBuffer::CheckGet(int nSize)
{
    if (CheckPeekGet(0, nSize))
        return true;
    m_Error |= GET_OVERFLOW;
    return false;
}

void CUtlBuffer::AddNullTermination()
{
    if (m_Put > m_nMaxPut)
    {
        if (!CheckPut(0))
            return;
        // Bytes skipped by a seek read back as zeros rather than stale memory.
        memset(m_pMemory + m_nMaxPut, 0, (size_t)(m_Put - m_nMaxPut));
        m_nMaxPut = m_Put;
    }
    if (IsText() && !IsReadOnly() && m_Put >= 0 && m_Put < m_nAllocationCount)
        m_pMemory[m_Put] = '\0';
}

const char* CUtlBuffer::String() const
{
    return m_pMemory ? (const char*)m_pMemory : "";
}

void CUtlBuffer::SeekGet(SeekType_t eType, int nOffset)
{
    m_Get = SeekPosition(eType, m_Get, m_nMaxPut, nOffset, s_rgpszGetSeekChecks);
}

void CUtlBuffer::SeekPut(SeekType_t eType, int nOffset)
{
    m_Put = SeekPosition(eType, m_Put, m_nMaxPut, nOffset, s_rgpszPutSeekChecks);
    Assert(m_Put >= 0);
    AddNullTermination();
}

const void* CUtlBuffer::PeekGet(int nMaxSize, int nOffset)
{
    return CheckPeekGet(nOffset, nMaxSize) ? m_pMemory + m_Get + nOffset : nullptr;
}

const void* CUtlBuffer::PeekGet(int nOffset) const
{
    return BHaveGetBytes((int64)m_Get + nOffset, 0) ? m_pMemory + m_Get + nOffset : nullptr;
}

void* CUtlBuffer::PeekPut(int nOffset)
{
    int64 nAt = (int64)m_Put + nOffset;
    return nAt >= 0 && nAt < m_nAllocationCount ? m_pMemory + nAt : nullptr;
}

bool CUtlBuffer::PeekStringMatch(int nOffset, const char* pchText, int cchText)
{
    return CheckPeekGet(nOffset, cchText) &&
           memcmp(m_pMemory + m_Get + nOffset, pchText, (size_t)cchText) == 0;
}

char CUtlBuffer::GetChar()
{
    return CheckGet(1) ? (char)m_pMemory[m_Get++] : '\0';
}

void CUtlBuffer::Get(void* pMem, int nSize)
{
    if (nSize == 0 || !CheckGet(nSize))
        return;
    memcpy(pMem, m_pMemory + m_Get, (size_t)nSize);
    m_Get += nSize;
}

void CUtlBuffer::GetString(char* pszDest, int nMaxChars)
{
    Assert(nMaxChars >= 0);
    int nKeep = nMaxChars > 0 ? nMaxChars - 1 : INT_MAX;
    int nRead = 0;
    EatWhiteSpace();
    if (CheckGet(1))
    {
        while (CheckPeekGet(0, 1))
        {
            char c = (char)m_pMemory[m_Get];
            if (IsText() && IsTextSpace((unsigned char)c))
                break;
            ++m_Get;
            if (c == '\0')
                break;
            if (nRead < nKeep)
                pszDest[nRead++] = c;
        }
    }
    pszDest[nRead] = '\0';
}

void CUtlBuffer::EatWhiteSpace()
{
    if (!IsText() || !IsValid())
        return;
    while (CheckGet(1) && IsTextSpace(m_pMemory[m_Get]))
        ++m_Get;
}

bool CUtlBuffer::EatCPPComment()
{
    if (!IsText() || !PeekStringMatch(0, "//", 2))
        return false;
    m_Get += 2;
    while (CheckPeekGet(0, 1))
    {
        if (m_pMemory[m_Get++] == '\n')
            break;
    }
    return true;
}

char CUtlBuffer::GetDelimitedChar(CUtlCharConversion* pConv)
{
    char c = GetChar();
    if (!pConv || c != pConv->GetEscapeChar())
        return c;
    if (!CheckPeekGet(0, 1))
        return '\0';
    int nLength = std::min(pConv->MaxConversionLength(), m_nMaxPut - m_Get);
    char cActual = pConv->FindConversion((const char*)m_pMemory + m_Get, &nLength);
    m_Get += nLength;
    return cActual;
}

void CUtlBuffer::GetDelimitedString(CUtlCharConversion* pConv, char* pszDest, int nMaxChars)
{
    if (!IsText() || !pConv)
    {
        GetString(pszDest, nMaxChars);
        return;
    }
    Assert(pConv && pConv->GetDelimiterLength() > 0);
    Assert(nMaxChars >= 0);
    int nKeep = nMaxChars > 0 ? nMaxChars - 1 : INT_MAX;
    int nRead = 0;
    const char* pchDelimiter = pConv->GetDelimiter();
    int cchDelimiter = pConv->GetDelimiterLength();

    EatWhiteSpace();
    if (PeekStringMatch(0, pchDelimiter, cchDelimiter))
    {
        m_Get += cchDelimiter;
        while (IsValid())
        {
            if (PeekStringMatch(0, pchDelimiter, cchDelimiter))
            {
                m_Get += cchDelimiter;
                break;
            }
            char c = GetDelimitedChar(pConv);
            if (IsValid() && nRead < nKeep)
                pszDest[nRead++] = c;
        }
    }
    pszDest[nRead] = '\0';
}

void CUtlBuffer::Put(const void* pMem, int nSize)
{
    Assert(nSize >= 0);
    if (nSize <= 0 || !CheckPut(nSize))
        return;
    memcpy(m_pMemory + m_Put, pMem, (size_t)nSize);
    m_Put += nSize;
    m_nMaxPut = std::max(m_nMaxPut, m_Put);
    AddNullTermination();
}

void CUtlBuffer::PutChar(char c)
{
    bool bLineStart = m_Put > 0 && m_Put <= m_nMaxPut && m_pMemory[m_Put - 1] == '\n';
    if (IsText() && bLineStart && !(m_Flags & AUTO_TABS_DISABLED))
    {
        for (int i = 0; i < m_nTab; ++i)
            Put("\t", 1);
    }
    Put(&c, 1);
}

void CUtlBuffer::PutString(const char* pszText)
{
    Put(pszText, (int)strlen(pszText) + (IsText() ? 0 : 1));
}

void CUtlBuffer::Printf(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    VaPrintf(pszFormat, args);
    va_end(args);
}

void CUtlBuffer::VaPrintf(const char* pszFormat, va_list args)
{
    char szSmall[512];
    va_list argsAgain;
    va_copy(argsAgain, args);
    int nLen = vsnprintf(szSmall, sizeof(szSmall), pszFormat, args);
    if (nLen >= 0 && nLen < (int)sizeof(szSmall))
    {
        Put(szSmall, nLen);
    }
    else if (nLen > 0)
    {
        char* pszLarge = (char*)malloc((size_t)nLen + 1);
        if (pszLarge && vsnprintf(pszLarge, (size_t)nLen + 1, pszFormat, argsAgain) == nLen)
            Put(pszLarge, nLen);
        else
            m_Error |= PUT_OVERFLOW;
        free(pszLarge);
    }
    va_end(argsAgain);
}

void CUtlBuffer::PopTab()
{
    if (m_nTab > 0)
        --m_nTab;
}

void CUtlBuffer::EnableTabs(bool bEnable)
{
    if (bEnable)
        m_Flags &= (unsigned char)~AUTO_TABS_DISABLED;
    else
        m_Flags |= AUTO_TABS_DISABLED;
}
