#pragma once
// String tools of the foundation library. Case-insensitive operations fold ASCII A-Z only.

#include <cstdarg>
#include <cstddef>

#include "tier0/basetypes.h"

inline char V_tolower_ascii(char c)
{
    return (c >= 'A' && c <= 'Z') ? (char)(c + ('a' - 'A')) : c;
}
inline char V_toupper_ascii(char c)
{
    return (c >= 'a' && c <= 'z') ? (char)(c - ('a' - 'A')) : c;
}
// The value of a hexadecimal digit (either case), or -1 for any other character.
inline int V_HexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

int V_stricmp(const char* psz1, const char* psz2);
int V_strnicmp(const char* psz1, const char* psz2, size_t nMaxChars);
// First case-insensitive occurrence of pszNeedle in pszHaystack, or null.
const char* V_stristr(const char* pszHaystack, const char* pszNeedle);
// True when pszText begins with pszPrefix, case ignored.
bool V_StringHasPrefixCaseless(const char* pszText, const char* pszPrefix);

// Copies with truncation; the destination is always terminated when its size is non-zero.
void V_strncpy(char* pszDest, const char* pszSrc, size_t cchDest);
// Appends with truncation; always terminated.
void V_strncat(char* pszDest, const char* pszSrc, size_t cchDest);
// Formats with truncation; always terminated. Returns the formatted length that fitted,
// or -1 when the output was cut or formatting failed.
int V_snprintf(char* pszDest, size_t cchDest, const char* pszFormat, ...)
    __attribute__((format(printf, 3, 4)));
int V_vsnprintf(char* pszDest, size_t cchDest, const char* pszFormat, va_list args);

// Paths. Both separators are accepted on input.
inline bool PATHSEPARATOR(char c)
{
    return c == '\\' || c == '/';
}
// "C:\x", "C:/x", "\\server\x" and "/x" are absolute.
bool V_IsAbsolutePath(const char* pszPath);
// Turns every slash of either kind into chSeparator.
void V_FixSlashes(char* pszPath, char chSeparator = '\\');
// Removes one trailing separator, if any.
void V_StripTrailingSlash(char* pszPath);
// Cuts the path at its last separator (the separator goes too); false when there is none.
bool V_StripLastComponent(char* pszPath);
// The text after the last separator.
const char* V_UnqualifiedFileName(const char* pszPath);
// Removes "." and ".." components and empty ones in place, with chSeparator as the
// separator; false when a ".." would climb above the root ("C:\", "\\server\share\",
// "\", or the start of a relative path).
bool V_RemoveDotSlashes(char* pszPath, char chSeparator = '\\');
