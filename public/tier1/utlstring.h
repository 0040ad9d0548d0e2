#pragma once
// Owned 8-bit strings (UTF-8 by convention), always terminated. Neither type throws:
// limit breaches and allocation failures go through the assertion channel.

#include <cstdarg>
#include <cstddef>

#include "tier0/basetypes.h"

// A plain owned heap string: one pointer, null for the empty string.
class CUtlString
{
public:
    // Longest string, terminator included.
    static constexpr uint32 k_cchMaxString = 0x7FFF0000;

    CUtlString() = default;
    CUtlString(const char* pszText);
    CUtlString(const char* pchText, uint32 cchText);
    CUtlString(const CUtlString& other);
    CUtlString(CUtlString&& other) noexcept;
    ~CUtlString();

    CUtlString& operator=(const CUtlString& other);
    CUtlString& operator=(CUtlString&& other) noexcept;
    CUtlString& operator=(const char* pszText);

    // Never null: "" when empty.
    const char* Get() const { return m_pchString ? m_pchString : ""; }
    const char* String() const { return Get(); }
    operator const char*() const { return Get(); }
    uint32 Length() const;
    bool IsEmpty() const { return !m_pchString || !m_pchString[0]; }

    void SetValue(const char* pszText);
    void SetDirect(const char* pchText, uint32 cchText);
    void Append(const char* pchText, uint32 cchText);
    void Append(const char* pszText);
    // Makes the string nLength characters long (the old text kept, anything beyond it left
    // for the caller to fill, terminated at nLength) and returns its writable text; null
    // when it cannot.
    char* GetForModify(uint32 nLength);
    void Clear();

    // Formats into a new block that replaces (or is appended to) the text. Returns the
    // formatted length, -1 when formatting fails.
    int Format(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    int VFormat(const char* pszFormat, va_list args);
    int AppendFormat(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    int VAppendFormat(const char* pszFormat, va_list args);

    bool operator==(const CUtlString& other) const;
    bool operator==(const char* pszText) const;
    bool operator!=(const CUtlString& other) const { return !(*this == other); }
    bool operator!=(const char* pszText) const { return !(*this == pszText); }

private:
    char* m_pchString = nullptr;
};

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
