#pragma once
// Terminated text in the other encoding, for calls that speak UTF-16 (the wide Windows
// calls) while the program speaks UTF-8.

#include <vector>

#include "tier0/basetypes.h"

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
