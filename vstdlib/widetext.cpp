#include "vstdlib/widetext.h"

#include "vstdlib/strtools.h"

CWideText::CWideText(const char* pszUTF8) : m_vecText(V_UTF8ToUTF16(pszUTF8, nullptr, 0) + 1)
{
    V_UTF8ToUTF16(pszUTF8, m_vecText.data(), (int)(m_vecText.size() * sizeof(wchar16)));
}

CUTF8Text::CUTF8Text(const wchar16* pwszUTF16) : m_vecText(V_UTF16ToUTF8(pwszUTF16, nullptr, 0) + 1)
{
    V_UTF16ToUTF8(pwszUTF16, m_vecText.data(), (int)m_vecText.size());
}
