// Byte-string tools: ASCII case folding, bounded copies and formatting, path helpers.

#include "vstdlib/strtools.h"

#include <cstdio>
#include <cstring>

int V_stricmp(const char* psz1, const char* psz2)
{
    return V_strnicmp(psz1, psz2, (size_t)-1);
}

int V_strnicmp(const char* psz1, const char* psz2, size_t nMaxChars)
{
    for (size_t i = 0; i < nMaxChars; ++i)
    {
        unsigned char c1 = (unsigned char)V_tolower_ascii(psz1[i]);
        unsigned char c2 = (unsigned char)V_tolower_ascii(psz2[i]);
        if (c1 != c2)
            return c1 < c2 ? -1 : 1;
        if (!c1)
            break;
    }
    return 0;
}

const char* V_stristr(const char* pszHaystack, const char* pszNeedle)
{
    size_t cchNeedle = strlen(pszNeedle);
    for (const char* pch = pszHaystack; *pch; ++pch)
    {
        if (V_strnicmp(pch, pszNeedle, cchNeedle) == 0)
            return pch;
    }
    return cchNeedle == 0 ? pszHaystack : nullptr;
}

bool V_StringHasPrefixCaseless(const char* pszText, const char* pszPrefix)
{
    return V_strnicmp(pszText, pszPrefix, strlen(pszPrefix)) == 0;
}

void V_strncpy(char* pszDest, const char* pszSrc, size_t cchDest)
{
    if (cchDest == 0)
        return;
    size_t cchCopy = strnlen(pszSrc, cchDest - 1);
    memmove(pszDest, pszSrc, cchCopy);
    pszDest[cchCopy] = '\0';
}

void V_strncat(char* pszDest, const char* pszSrc, size_t cchDest)
{
    size_t cchHave = strnlen(pszDest, cchDest);
    if (cchHave == cchDest)
    {
        // No terminator inside the destination: the best we can do is end it.
        if (cchDest)
            pszDest[cchDest - 1] = '\0';
        return;
    }
    V_strncpy(pszDest + cchHave, pszSrc, cchDest - cchHave);
}

int V_vsnprintf(char* pszDest, size_t cchDest, const char* pszFormat, va_list args)
{
    int nLen = vsnprintf(pszDest, cchDest, pszFormat, args);
    if (nLen >= 0 && (size_t)nLen < cchDest)
        return nLen;
    if (cchDest)
    {
        // A failed format leaves the destination undefined; a cut one is already terminated.
        if (nLen < 0)
            pszDest[0] = '\0';
        pszDest[cchDest - 1] = '\0';
    }
    return -1;
}

int V_snprintf(char* pszDest, size_t cchDest, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    int nLen = V_vsnprintf(pszDest, cchDest, pszFormat, args);
    va_end(args);
    return nLen;
}

bool V_IsAbsolutePath(const char* pszPath)
{
    if (PATHSEPARATOR(pszPath[0]))
        return true;
    bool bDriveLetter = (pszPath[0] >= 'A' && pszPath[0] <= 'Z') || (pszPath[0] >= 'a' && pszPath[0] <= 'z');
    return bDriveLetter && pszPath[1] == ':' && PATHSEPARATOR(pszPath[2]);
}

void V_FixSlashes(char* pszPath, char chSeparator)
{
    for (; *pszPath; ++pszPath)
    {
        if (PATHSEPARATOR(*pszPath))
            *pszPath = chSeparator;
    }
}

void V_StripTrailingSlash(char* pszPath)
{
    size_t cch = strlen(pszPath);
    if (cch && PATHSEPARATOR(pszPath[cch - 1]))
        pszPath[cch - 1] = '\0';
}

static char* FindLastSeparator(const char* pszPath)
{
    const char* pchLast = nullptr;
    for (const char* pch = pszPath; *pch; ++pch)
    {
        if (PATHSEPARATOR(*pch))
            pchLast = pch;
    }
    return const_cast<char*>(pchLast);
}

bool V_StripLastComponent(char* pszPath)
{
    char* pchLast = FindLastSeparator(pszPath);
    if (!pchLast)
        return false;
    *pchLast = '\0';
    return true;
}

const char* V_UnqualifiedFileName(const char* pszPath)
{
    const char* pchLast = FindLastSeparator(pszPath);
    return pchLast ? pchLast + 1 : pszPath;
}

static size_t ComponentLength(const char* pch)
{
    size_t cch = 0;
    while (pch[cch] && !PATHSEPARATOR(pch[cch]))
        ++cch;
    return cch;
}

// Length of the part ".." may not climb out of: "C:\", "C:", "\\server\share\", "\" or
// nothing for a relative path. A long-path prefix "\\?\C:\" parses as a UNC root.
static size_t RootLength(const char* pszPath)
{
    if (PATHSEPARATOR(pszPath[0]) && PATHSEPARATOR(pszPath[1]))
    {
        size_t cch = 2 + ComponentLength(pszPath + 2);
        if (!pszPath[cch])
            return cch;
        cch += 1 + ComponentLength(pszPath + cch + 1);
        return pszPath[cch] ? cch + 1 : cch;
    }
    if (PATHSEPARATOR(pszPath[0]))
        return 1;
    if (pszPath[0] && pszPath[1] == ':')
        return PATHSEPARATOR(pszPath[2]) ? 3 : 2;
    return 0;
}

bool V_RemoveDotSlashes(char* pszPath, char chSeparator)
{
    size_t cchRoot = RootLength(pszPath);
    for (size_t i = 0; i < cchRoot; ++i)
    {
        if (PATHSEPARATOR(pszPath[i]))
            pszPath[i] = chSeparator;
    }
    size_t cchPath = strlen(pszPath);
    bool bTrailingSeparator = cchPath > cchRoot && PATHSEPARATOR(pszPath[cchPath - 1]);

    // Every kept component is written followed by one separator; writing never overtakes
    // reading, so the work is done in place.
    char* pchRootEnd = pszPath + cchRoot;
    char* pchWrite = pchRootEnd;
    const char* pchRead = pchRootEnd;
    while (*pchRead)
    {
        size_t cchComponent = ComponentLength(pchRead);
        const char* pchNext = pchRead + cchComponent;
        bool bMore = *pchNext != '\0';
        bool bDot = cchComponent == 1 && pchRead[0] == '.';
        bool bDotDot = cchComponent == 2 && pchRead[0] == '.' && pchRead[1] == '.';
        if (bDotDot)
        {
            if (pchWrite == pchRootEnd)
                return false;
            --pchWrite;
            while (pchWrite > pchRootEnd && pchWrite[-1] != chSeparator)
                --pchWrite;
        }
        else if (cchComponent && !bDot)
        {
            memmove(pchWrite, pchRead, cchComponent);
            pchWrite += cchComponent;
            *pchWrite++ = chSeparator;
        }
        if (!bMore)
            break;
        pchRead = pchNext + 1;
    }
    if (pchWrite > pchRootEnd && !bTrailingSeparator)
        --pchWrite;
    *pchWrite = '\0';
    return true;
}
