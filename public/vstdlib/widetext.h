#pragma once
// Text conversion, the one home for it: UTF-8 <-> UTF-16 (the program speaks UTF-8, the
// wide Windows calls UTF-16), and on Windows the local code page that registry names and
// template variables are written in.

#include <cstddef>
#include <vector>

#include "tier0/basetypes.h"

// UTF-8 <-> UTF-16, the program's own conversions (no platform calls). Invalid input
// sequences become U+FFFD. The output is always terminated when any room is given.
// Return: units (UTF-16) or bytes (UTF-8) written including the terminator; with a null
// destination, the number needed including the terminator. 0 means nothing could be
// converted (null source counts as "").
int V_UTF8ToUTF16(const char* pszUTF8, wchar16* pwchDest, int cubDestSizeInBytes);
int V_UTF16ToUTF8(const wchar16* pwchUTF16, char* pszDest, int cubDestSizeInBytes);
// Forms that take an explicit source length in units (no terminator needed in the source);
// the output is still terminated.
int V_UTF8ToUTF16Len(const char* pchUTF8, int cchSrc, wchar16* pwchDest, int cubDestSizeInBytes);
int V_UTF16ToUTF8Len(const wchar16* pwchUTF16, int cchSrc, char* pszDest, int cubDestSizeInBytes);
size_t V_wcslen16(const wchar16* pwch);

// UTF-8 text as the terminated UTF-16 string a wide Windows call takes.
class CWideText
{
public:
    explicit CWideText(const char* pszUTF8);
    const wchar16* GetUTF16() const { return m_vecText.data(); }
#ifdef _WIN32
    const wchar_t* Get() const
    {
        return reinterpret_cast<const wchar_t*>(m_vecText.data());
    }
#endif

private:
    std::vector<wchar16> m_vecText;
};

// UTF-16 text (a wide Windows call's answer) as terminated UTF-8.
class CUTF8Text
{
public:
    explicit CUTF8Text(const wchar16* pwszUTF16);
#ifdef _WIN32
    explicit CUTF8Text(const wchar_t* pwszUTF16) : CUTF8Text(reinterpret_cast<const wchar16*>(pwszUTF16)) {}
#endif
    const char* Get() const
    {
        return m_vecText.data();
    }

private:
    std::vector<char> m_vecText;
};

#ifdef _WIN32
// Local-code-page text as the terminated UTF-16 string a wide Windows call takes.
// bRejectInvalid fails on bytes the code page does not define instead of replacing them.
class CLocalCodePageWideText
{
public:
    explicit CLocalCodePageWideText(const char* pszText, bool bRejectInvalid = false);
    // False when the text could not be converted.
    bool BValid() const { return !m_vecText.empty(); }
    const wchar_t* Get() const { return m_vecText.data(); }
    // Characters without the terminator.
    size_t Length() const { return m_vecText.empty() ? 0 : m_vecText.size() - 1; }

private:
    std::vector<wchar_t> m_vecText;
};
#endif
