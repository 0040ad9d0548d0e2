#pragma once
// UTF-8 text as the terminated UTF-16 string a wide Windows call takes.

#include <vector>

#include "tier0/basetypes.h"

class CWideText
{
public:
    explicit CWideText(const char* pszUTF8);
    const wchar_t* Get() const { return reinterpret_cast<const wchar_t*>(m_vecText.data()); }

private:
    std::vector<wchar16> m_vecText;
};
