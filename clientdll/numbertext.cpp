#include "clientdll/numbertext.h"

namespace
{

// The digit's value, or -1 outside the base.
int DigitValue(char ch, uint64 ulBase)
{
    int nValue = -1;
    if (ch >= '0' && ch <= '9')
        nValue = ch - '0';
    else if (ch >= 'a' && ch <= 'f')
        nValue = ch - 'a' + 10;
    else if (ch >= 'A' && ch <= 'F')
        nValue = ch - 'A' + 10;
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
