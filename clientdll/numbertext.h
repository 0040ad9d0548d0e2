#pragma once
// Numbers written by people in job files and on command lines.

#include "tier0/basetypes.h"

// A 0x or 0X prefix and hexadecimal digits, or decimal digits, read up to the first other
// character; 0 when there are no digits. Overflow wraps.
uint64 ParseHexOrDecimal(const char* pszText);
