#pragma once
// CUtlStringBuilder: an owned 8-bit string (UTF-8 by convention), always terminated, with
// an inline buffer. It never throws: limit breaches and allocation failures go through
// the assertion channel.

#include <cstdarg>
#include <cstddef>

#include "tier0/basetypes.h"

// A 24-byte string with an inline small buffer and a sticky error state. The last byte
// tells the layouts apart: inline, it holds 23 minus the length (so a full 23-character
// string ends in a 0 that is also its terminator); on the heap its top bit is set, and
// bit 0x40 marks the error state.
class CUtlStringBuilder
{
public:
    static constexpr size_t k_nMaxStringSize = 0x7FFFFFFF;
    static constexpr size_t k_cchInline = 23;

    CUtlStringBuilder();
    CUtlStringBuilder(const char* pszText);
    CUtlStringBuilder(const CUtlStringBuilder& other);
    ~CUtlStringBuilder();
    CUtlStringBuilder& operator=(const CUtlStringBuilder& other);

    const char* String() const;
    const char* Get() const { return String(); }
    size_t Length() const;
    size_t Capacity() const;
    bool IsHeap() const;
    bool HasError() const;
    bool IsEmpty() const { return Length() == 0; }

    void Clear();
    void SetValue(const char* pszText);
    void Append(const char* pchText, size_t cchText);
    void Append(const char* pszText);
    void AppendChar(char ch);

    // Format and append-format: return the resulting length; 0 and no change in the
    // error state. A format that fails leaves the text as it was.
    size_t Format(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    size_t VFormat(const char* pszFormat, va_list args);
    size_t AppendFormat(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    size_t VAppendFormat(const char* pszFormat, va_list args);

    // Makes room for nMinCapacity characters, keeping the first nChars when bCopyOld.
    // Returns the writable text, or null in the error state.
    char* InternalPrepareBuffer(size_t nChars, bool bCopyOld, size_t nMinCapacity);

private:
    struct HeapData_s
    {
        char* m_pchString;
        uint32 m_nLength;
        uint32 m_nCapacity;
        uint8 m_padding[7];
        uint8 m_bitsFlags;
    };
    union Data_u
    {
        char m_szInline[k_cchInline + 1];
        HeapData_s m_heap;
    };

    uint8 LastByte() const { return reinterpret_cast<const uint8*>(&m_data)[k_cchInline]; }
    char* Data() { return IsHeap() ? m_data.m_heap.m_pchString : m_data.m_szInline; }
    void InitInline();
    void FreeHeap();
    // Reports the failure and becomes an empty string in the error state.
    void SetError();
    void SetLength(size_t nLength);
    void MoveToHeap(size_t nCapacity);
    size_t FormatAt(size_t nStart, const char* pszFormat, va_list args);

    Data_u m_data;
};
static_assert(sizeof(CUtlStringBuilder) == 24, "CUtlStringBuilder is 24 bytes");
