#pragma once
// Checking one file: read it, load it with the reader reporting where each key lies, run
// every check that is on and give each finding its line and column.

#include <string>
#include <vector>

#include "installscript/check_context.h"

struct FileReport_s
{
    std::string m_strPath;
    bool m_bRead;                 // false: the file could not be opened or read
    std::string m_strReadProblem; // why, when it could not
    std::vector<CheckFinding_s> m_vecFindings;
};

// vecDisabled holds one flag per ECheck.
FileReport_s CheckFile(const char* pszPath, const std::vector<bool>& vecDisabled);
// The same for text already in memory; pszName names it in the reader's messages.
std::vector<CheckFinding_s> CheckText(const char* pchText, size_t cchText, const char* pszName,
                                      const std::vector<bool>& vecDisabled);
// Orders findings by their place and fills in line and column (from 1; a column counts
// bytes) from their offsets into the text.
void ResolvePlaces(const char* pchText, size_t cchText, std::vector<CheckFinding_s>* pvecFindings);
