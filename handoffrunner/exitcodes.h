#pragma once
// Judging an installer's exit code: 0, a code listed in the record's "ValidExitCodes", any
// code when "IgnoreExitCode" is set, and the two restart codes count as success.

#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

struct ExitCodeVerdict_s
{
    bool m_bSuccess;
    CUtlString m_strWhy; // how the code was judged, for the log
};

// pszValidExitCodes: decimal or 0x-hexadecimal numbers separated by commas, semicolons or
// blanks. Items that are not numbers are named in *pstrMalformed (comma-separated) and
// otherwise ignored.
ExitCodeVerdict_s JudgeExitCode(uint32 unExitCode, const char* pszValidExitCodes, bool bIgnoreExitCode,
                                CUtlString* pstrMalformed);
