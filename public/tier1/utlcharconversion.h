#pragma once
// CUtlCharConversion: the table-driven escape converter of quoted text, and the two
// conversions every reader and writer uses.

#include "tier0/basetypes.h"

// Escape conversion for delimited strings: an escape character, a delimiter and pairs of
// (character, replacement). Reading maps the text after an escape character back.
class CUtlCharConversion
{
public:
    struct ConversionArray_t
    {
        char m_nActualChar;
        const char* m_pReplacementString;
    };

    CUtlCharConversion(char nEscapeChar, const char* pDelimiter, int nCount, const ConversionArray_t* pArray);
    virtual ~CUtlCharConversion() = default;

    char GetEscapeChar() const { return m_nEscapeChar; }
    const char* GetDelimiter() const { return m_pDelimiter; }
    int GetDelimiterLength() const { return m_nDelimiterLength; }
    // The replacement written for c, or null when c is written as it is.
    const char* GetConversionString(char c) const;
    int GetConversionLength(char c) const;
    int MaxConversionLength() const { return m_nMaxConversionLength; }

    // Given the characters after an escape character (*pLength of them on entry), the
    // character they stand for; *pLength receives how many they take. 0 and 0 when none.
    virtual char FindConversion(const char* pString, int* pLength) = 0;

protected:
    struct ConversionInfo_t
    {
        int m_nLength;
        const char* m_pReplacementString;
    };

    char m_nEscapeChar;
    const char* m_pDelimiter;
    int m_nDelimiterLength;
    int m_nMaxConversionLength = 0;
    ConversionInfo_t m_pReplacements[256] = {};
};

// Escapes of the form escape character + one character, mapped back through a 256-entry
// reverse table.
class CUtlCStringConversion : public CUtlCharConversion
{
public:
    CUtlCStringConversion(char nEscapeChar, const char* pDelimiter, int nCount,
                          const ConversionArray_t* pArray);
    char FindConversion(const char* pString, int* pLength) override;

private:
    char m_pConversion[256] = {};
};

// A conversion whose look-up never matches: only its escape character is affected.
class CUtlNoEscConversion : public CUtlCharConversion
{
public:
    using CUtlCharConversion::CUtlCharConversion;
    char FindConversion(const char* pString, int* pLength) override;
};

// The backslash escapes of C strings ("\n", "\t", "\\", "\"" ...), delimiter '"'.
CUtlCharConversion* GetCStringCharConversion();
// No escapes: escape character DEL, delimiter '"'; its look-up never matches.
CUtlCharConversion* GetNoEscCharConversion();
