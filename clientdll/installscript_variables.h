#pragma once
// Script variables: process environment variables that every handler expands at the
// moment it uses a value, so processes started for a script inherit them too.

#include "tier0/basetypes.h"

// "USER_MYDOCS", "COMMON_MYDOCS", "LOCAL_APPDATA" and "APPDATA" from the shell's folders
// (a folder that cannot be had keeps what the process inherited), and "KORVEXID" from the
// job's "korvexid" written back in decimal.
void SetJobVariables(const char* pszKorvexID);
// "INSTALLDIR" and "ROOTDRIVE" (the path's first character, upper-cased).
void SetInstallPathVariables(const char* pszInstallPath);
// Blanks and tabs, then a hexadecimal (0x) or decimal number; 0 without digits.
uint64 ParseKorvexID(const char* pszKorvexID);
