#pragma once
// What the user is told a queued Run Process program is, when its entry gives no
// "Description" of its own.

#include "common/language.h"
#include "tier1/utlstring.h"

// A well-known redistributable's name, else the program's version-resource description in
// the run's language, else its file name. For msiexec the quoted package path in the
// command line is described instead of msiexec itself.
CUtlString DeriveRunProcessDescription(const char* pszProcess, const char* pszCommand, ELanguage eLanguage);
