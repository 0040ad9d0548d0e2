#pragma once
// The admin script the evaluator hands over ("runasadmin.vdf"): a "symlink" section of link
// records, then a "Run Process" section of installer job records. Records are checked
// here, so the rest of the runner works from typed fields only.

#include <vector>

#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

struct LinkRecord_s
{
    CUtlString m_strName;
    CUtlString m_strFrom; // the link to make
    CUtlString m_strTo;   // what it points at
    bool m_bIgnoreExitCode = false;
};

struct EnvironmentVariable_s
{
    CUtlString m_strName;
    CUtlString m_strValue;
};

struct InstallerJob_s
{
    CUtlString m_strName;
    CUtlString m_strProcess;
    CUtlString m_strCommand;
    CUtlString m_strDescription;
    CUtlString m_strHasRunKey;
    CUtlString m_strRunKeyName;
    uint32 m_unMinimumHasRunValue = 1;
    bool m_bIgnoreExitCode = false;
    bool m_bIgnoreHasRunKey = false;
    CUtlString m_strValidExitCodes;
    uint32 m_unSequence = 0;
    std::vector<EnvironmentVariable_s> m_vecEnvironment;
};

struct AdminScript_s
{
    std::vector<LinkRecord_s> m_vecLinks;
    std::vector<InstallerJob_s> m_vecJobs; // in file order
    uint32 m_cMalformedRecords = 0;        // logged and left out
    uint32 m_cJobRecords = 0;              // every job record, malformed ones included
};

// Reads and checks the file; each malformed record is logged under the app id and left
// out. False (with a log line) when the file cannot be read or is not KeyValues text.
bool BReadAdminScript(const char* pszPath, uint32 unAppID, AdminScript_s* pScript);
