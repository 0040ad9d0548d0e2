#pragma once
// The crash reporter. This program writes no dumps: the reporter records each call, so
// that the once-per-site rule of assertions can be observed.

#include "tier0/basetypes.h"

// Records one report. The comment a dump would carry is "Assert( %s ):%s:%d\n".
void WriteAssertMiniDump(const char* pszMessage, const char* pszFile, int nLine);

uint32 GetAssertMiniDumpCount();
// The comment of the most recent report, "" when none was made.
const char* GetLastAssertMiniDumpComment();
