#pragma once
// An owned 8-bit string (UTF-8 by convention), always terminated. It never throws: limit
// breaches and allocation failures go through the assertion channel. The builder with its
// inline buffer is in utlstringbuilder.h.

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
