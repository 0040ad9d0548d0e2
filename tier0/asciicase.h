#pragma once
// ASCII-only case folding: switch and group names are ASCII, and the locale must not
// change how they compare.

#include <cstddef>

inline char ASCIIToLower(char ch)
{
    return (ch >= 'A' && ch <= 'Z') ? static_cast<char>(ch - 'A' + 'a') : ch;
}

// Compares at most cchMax characters, ignoring ASCII case; strcmp-style result.
inline int ASCIIStrNICmp(const char* pszA, const char* pszB, size_t cchMax)
{
    for (size_t i = 0; i < cchMax; ++i)
    {
        const unsigned char chA = static_cast<unsigned char>(ASCIIToLower(pszA[i]));
        const unsigned char chB = static_cast<unsigned char>(ASCIIToLower(pszB[i]));
        if (chA != chB || chA == '\0')
            return chA - chB;
    }
    return 0;
}
