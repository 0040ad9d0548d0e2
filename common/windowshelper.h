#pragma once
// Thin wrappers over Windows calls that speak UTF-8 (or the local code page where the
// name says so) to the rest of the evaluator.

#include <windows.h>

#include "common/language.h"
#include "common/windowsvocabulary.h"
#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

// Every %NAME% reference replaced; empty on failure (reported as an assertion).
CUtlString ExpandEnvironmentStringsUTF8(const char* pszText);
CUtlString ExpandEnvironmentStringsMultiByte(const char* pszText);

// The FileDescription (else ProductName) of the executable's version resource in the
// given language or in English (United States); the last such translation wins.
bool BGetFileVersionDescription(const char* pszPath, CUtlString* pstrDescription, ELanguage eLanguage);

// Reads a REG_SZ or REG_EXPAND_SZ value as UTF-8. Returns a Windows error code: 8 for a
// size above 0x7FFFFFFF, 87 for a name that is not local-code-page text, 13 for another
// type, 14 for 1,000,000 characters or more, 234 when the buffer is too small.
LSTATUS RegQueryValueUTF8(HKEY hKey, const char* pszValueName, char* pchValue, unsigned int cubValue);
LSTATUS RegQueryValueUTF8String(HKEY hKey, const char* pszValueName, CUtlString* pstrValue);
// Writes a UTF-8 value as REG_SZ; returns the RegSetValueExW status (87 for a bad name).
LSTATUS RegSetValueUTF8(HKEY hKey, const char* pszValueName, const char* pszValue);

// Stores pszLayer (as given) as the executable's compatibility layer under an existing
// Layers key of HKCU or HKLM; an empty layer removes the entry.
bool BSetAppCompatLayer(bool bCurrentUser, const char* pszExePath, const char* pszLayer);

// Kept on purpose: looked up in psapi.dll at start-up; nothing calls through them, and a
// missing library leaves them null without a report.
typedef BOOL(WINAPI* PFNEnumProcessModules)(HANDLE hProcess, HMODULE* phModules, DWORD cb, DWORD* pcbNeeded);
typedef BOOL(WINAPI* PFNEnumProcesses)(DWORD* pidProcesses, DWORD cb, DWORD* pcbNeeded);
typedef DWORD(WINAPI* PFNGetModuleBaseNameA)(HANDLE hProcess, HMODULE hModule, char* pszBaseName,
                                             DWORD nSize);
extern PFNEnumProcessModules g_pfnEnumProcessModules;
extern PFNEnumProcesses g_pfnEnumProcesses;
extern PFNGetModuleBaseNameA g_pfnGetModuleBaseNameA;
