#pragma once
// The job `installscript run` hands to the evaluator: a job file as it stands, or one
// built around a bare install script from the command line's options.

#include <string>

#include "tier0/basetypes.h"

struct JobOptions_s
{
    std::string m_strInstallDir; // host path; empty: the folder holding the script
    uint32 m_unAppID = 0;        // required for a bare script
    int m_nMode = 1;             // EInstallScriptMode
    std::string m_strLanguage = "english";
    std::string m_strAccountID;
};

struct RunJob_s
{
    std::string m_strText; // the job file's text, written with escapes on
    uint32 m_unAppID = 0;  // of the first group: it names the progress file
    bool m_bBuilt = false; // true when built around a bare script
};

// Reads FILE. False with *pstrProblem set when it cannot be read, is no KeyValues text, or
// is a bare script without an app id.
bool BPrepareRunJob(const std::string& strFile, const JobOptions_s& options, RunJob_s* pJob,
                    std::string* pstrProblem);

// "install", "update", "uninstall" or "cleanup" as the evaluator's mode; 0 for anything else.
int ModeFromName(const std::string& strName);
