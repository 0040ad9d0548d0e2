// CUtlStringBuilder: 23 characters in place, a heap block beyond that, and a sticky error
// state when memory runs out or the size limit is hit.

#include "tier1/utlstringbuilder.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tier0/dbg.h"

static constexpr uint8 k_bitsHeap = 0x80;
static constexpr uint8 k_bitsError = 0x40;
static constexpr size_t k_cchMaxHeapSlack = 1000000;

CUtlStringBuilder::CUtlStringBuilder()
{
    InitInline();
}

CUtlStringBuilder::CUtlStringBuilder(const char* pszText)
{
    InitInline();
    SetValue(pszText);
}

CUtlStringBuilder::CUtlStringBuilder(const CUtlStringBuilder& other)
{
    InitInline();
    *this = other;
}

CUtlStringBuilder::~CUtlStringBuilder()
{
    FreeHeap();
}

CUtlStringBuilder& CUtlStringBuilder::operator=(const CUtlStringBuilder& other)
{
    if (this == &other || HasError())
        return *this;
    if (other.HasError())
    {
        // The error state owns no memory: taking it over is a plain copy, reported already.
        FreeHeap();
        m_data = other.m_data;
        return *this;
    }
    SetValue(other.String());
    return *this;
}

void CUtlStringBuilder::InitInline()
{
    memset(&m_data, 0, sizeof(m_data));
    m_data.m_szInline[k_cchInline] = (char)k_cchInline;
}

void CUtlStringBuilder::FreeHeap()
{
    if (IsHeap())
        free(m_data.m_heap.m_pchString);
    InitInline();
}

void CUtlStringBuilder::SetError()
{
    AssertFmt(false, "Error State on string being set.");
    FreeHeap();
    m_data.m_heap.m_bitsFlags = k_bitsHeap | k_bitsError;
}

bool CUtlStringBuilder::IsHeap() const
{
    return (LastByte() & k_bitsHeap) != 0;
}

bool CUtlStringBuilder::HasError() const
{
    return (LastByte() & (k_bitsHeap | k_bitsError)) == (k_bitsHeap | k_bitsError);
}

const char* CUtlStringBuilder::String() const
{
    if (!IsHeap())
        return m_data.m_szInline;
    return m_data.m_heap.m_pchString ? m_data.m_heap.m_pchString : "";
}

size_t CUtlStringBuilder::Length() const
{
    return IsHeap() ? m_data.m_heap.m_nLength : k_cchInline - LastByte();
}

size_t CUtlStringBuilder::Capacity() const
{
    return IsHeap() ? m_data.m_heap.m_nCapacity : k_cchInline;
}

void CUtlStringBuilder::SetLength(size_t nLength)
{
    if (IsHeap())
    {
        m_data.m_heap.m_nLength = (uint32)nLength;
        m_data.m_heap.m_pchString[nLength] = '\0';
        return;
    }
    // At 23 characters both writes hit the last byte, which is then the terminator.
    m_data.m_szInline[nLength] = '\0';
    m_data.m_szInline[k_cchInline] = (char)(k_cchInline - nLength);
}

void CUtlStringBuilder::MoveToHeap(size_t nCapacity)
{
    char* pchHeap = (char*)malloc(nCapacity + 1);
    if (!pchHeap)
    {
        SetError();
        return;
    }
    size_t nLength = Length();
    memcpy(pchHeap, m_data.m_szInline, nLength + 1);
    memset(&m_data, 0, sizeof(m_data));
    m_data.m_heap.m_pchString = pchHeap;
    m_data.m_heap.m_nLength = (uint32)nLength;
    m_data.m_heap.m_nCapacity = (uint32)nCapacity;
    m_data.m_heap.m_bitsFlags = k_bitsHeap;
}

char* CUtlStringBuilder::InternalPrepareBuffer(size_t nChars, bool bCopyOld, size_t nMinCapacity)
{
    if (HasError())
        return nullptr;
    Assert(nMinCapacity > Capacity());
    Assert(nMinCapacity >= nChars);
    Assert(nMinCapacity <= k_nMaxStringSize);
    if (nMinCapacity > k_nMaxStringSize)
    {
        SetError();
        return nullptr;
    }
    size_t nKeep = bCopyOld ? std::min(nChars, Length()) : 0;

    if (nMinCapacity <= k_cchInline)
    {
        char szKeep[k_cchInline + 1];
        memcpy(szKeep, String(), nKeep);
        FreeHeap();
        memcpy(m_data.m_szInline, szKeep, nKeep);
        SetLength(nKeep);
        return m_data.m_szInline;
    }

    // Only a request that does not go beyond the kept text gets slack on top.
    size_t nCapacity = nMinCapacity;
    if (nMinCapacity <= nChars)
        nCapacity = std::min(nChars + std::min(nChars / 2 + 32, k_cchMaxHeapSlack), k_nMaxStringSize);

    if (!IsHeap())
    {
        MoveToHeap(nCapacity);
        if (HasError())
            return nullptr;
    }
    else
    {
        char* pchHeap = (char*)realloc(m_data.m_heap.m_pchString, nCapacity + 1);
        if (!pchHeap)
        {
            SetError();
            return nullptr;
        }
        m_data.m_heap.m_pchString = pchHeap;
        m_data.m_heap.m_nCapacity = (uint32)nCapacity;
    }
    SetLength(nKeep);
    return m_data.m_heap.m_pchString;
}

void CUtlStringBuilder::Clear()
{
    if (!HasError())
        FreeHeap();
}

void CUtlStringBuilder::SetValue(const char* pszText)
{
    if (HasError())
        return;
    size_t cchText = pszText ? strlen(pszText) : 0;
    char* pchText = cchText > Capacity() ? InternalPrepareBuffer(0, false, cchText) : Data();
    if (!pchText)
        return;
    memmove(pchText, pszText, cchText);
    SetLength(cchText);
}

void CUtlStringBuilder::Append(const char* pchText, size_t cchText)
{
    if (HasError() || !cchText)
        return;
    size_t nLength = Length();
    // Appending from our own text must survive the block moving.
    uintptr_t uOwn = (uintptr_t)String(), uText = (uintptr_t)pchText;
    bool bOwnText = uText >= uOwn && uText <= uOwn + nLength;
    size_t nNeeded = nLength + cchText;
    char* pchDest = nNeeded > Capacity() ? InternalPrepareBuffer(nLength, true, nNeeded) : Data();
    if (!pchDest)
        return;
    if (bOwnText)
        pchText = pchDest + (uText - uOwn);
    memmove(pchDest + nLength, pchText, cchText);
    SetLength(nNeeded);
}

void CUtlStringBuilder::Append(const char* pszText)
{
    Append(pszText, pszText ? strlen(pszText) : 0);
}

void CUtlStringBuilder::AppendChar(char ch)
{
    Append(&ch, 1);
}

size_t CUtlStringBuilder::FormatAt(size_t nStart, const char* pszFormat, va_list args)
{
    if (HasError())
        return 0;
    va_list argsMeasure;
    va_copy(argsMeasure, args);
    int mlen = vsnprintf(nullptr, 0, pszFormat, argsMeasure);
    va_end(argsMeasure);
    if (mlen < 0)
        return Length();
    size_t nNeeded = nStart + (size_t)mlen;
    char* pchText = nNeeded > Capacity() ? InternalPrepareBuffer(nStart, true, nNeeded) : Data();
    int len = pchText ? vsnprintf(pchText + nStart, (size_t)mlen + 1, pszFormat, args) : 0;
    Assert(len <= mlen);
    Assert(len > 0 || HasError());
    if (HasError())
        return 0;
    SetLength(nStart + (size_t)std::clamp(len, 0, mlen));
    return Length();
}

size_t CUtlStringBuilder::Format(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    size_t nLength = VFormat(pszFormat, args);
    va_end(args);
    return nLength;
}

size_t CUtlStringBuilder::VFormat(const char* pszFormat, va_list args)
{
    return FormatAt(0, pszFormat, args);
}

size_t CUtlStringBuilder::AppendFormat(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    size_t nLength = VAppendFormat(pszFormat, args);
    va_end(args);
    return nLength;
}

size_t CUtlStringBuilder::VAppendFormat(const char* pszFormat, va_list args)
{
    return FormatAt(Length(), pszFormat, args);
}
