#include "clientdll/widetext.h"

#include "vstdlib/strtools.h"

CWideText::CWideText(const char* pszUTF8) : m_vecText(V_UTF8ToUTF16(pszUTF8, nullptr, 0) + 1)
{
    V_UTF8ToUTF16(pszUTF8, m_vecText.data(), (int)(m_vecText.size() * sizeof(wchar16)));
}
