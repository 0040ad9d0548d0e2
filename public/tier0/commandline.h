#pragma once
// The process command line as the foundation library sees it: one process-wide block of
// UTF-8 arguments, built once and never freed. Layout of the block: the argument count
// (8 bytes), count + 1 pointers to the strings (the last one null), then the strings.

#include "tier0/basetypes.h"

// Pointer to the first argument pointer; *pArgc receives the count. Builds the block on
// first use; a block that cannot be built is a fatal assertion.
char** GetUTF8ArgcArgv(int* pArgc);

// True when an argument after the program name begins with pszName (ASCII case ignored)
// and either pszName ends in "=" or the argument ends there or continues with "=". An
// argument "--" ends the search.
bool HasCommandLineParam(const char* pszName);

// True when "-chromeos" is among the arguments; cached after the first call.
bool IsChromeOSCommandLine();
