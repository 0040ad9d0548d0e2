#pragma once
// The compatibility layer's translation of a host file-system path into a Windows path.

#include "tier1/utlstring.h"

// Returns a wide path on the process heap, or null.
typedef wchar_t* (*PFNTranslateHostPath)(const char* pszHostPath);

// The layer's export in kernel32; null when the program runs outside the layer.
PFNTranslateHostPath LookUpHostPathTranslation();
// The translated path in UTF-8; false when the layer gives none.
bool BTranslateHostPath(PFNTranslateHostPath pfnTranslate, const char* pszHostPath, CUtlString* pstrPath);
