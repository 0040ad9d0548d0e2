#include "clientdll/numbertext.h"

#include "vstdlib/strtools.h"

namespace
{

// The digit's value, or -1 outside the base.
int DigitValue(char ch, uint64 ulBase)
{
    const int nValue = V_HexDigitValue(ch);
    return nValue >= 0 && (uint64)nValue < ulBase ? nValue : -1;
}

} // namespace

uint64 ParseHexOrDecimal(const char* pszText)
{
    uint64 ulBase = 10;
    if (pszText[0] == '0' && (pszText[1] == 'x' || pszText[1] == 'X'))
    {
        ulBase = 16;
        pszText += 2;
    }
    uint64 ulValue = 0;
    for (int nDigit; (nDigit = DigitValue(*pszText, ulBase)) >= 0; ++pszText)
        ulValue = ulValue * ulBase + (uint64)nDigit;
    return ulValue;
}
