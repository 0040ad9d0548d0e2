#pragma once
// The well-known redistributables a queued program is described as when its "Run
// Process" entry gives no "Description": shared by the evaluator and the script checker.

#include "tier1/utlstring.h"

// What is described: the program path, or for msiexec the package between the first two
// double quotes of its command line.
CUtlString GetDescriptionSubject(const char* pszProcess, const char* pszCommand);
// The description of the first table row whose pattern occurs in the subject (as
// written); null when none does.
const char* PchRedistributableDescription(const char* pszSubject);
