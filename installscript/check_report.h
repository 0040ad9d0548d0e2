#pragma once
// The two forms of a check's result: lines as compilers write them, with a summary, and
// one JSON document for tools.

#include <cstdio>
#include <vector>

#include "installscript/check_file.h"

struct CheckCounts_s
{
    int m_cErrors = 0;
    int m_cWarnings = 0;
    int m_cNotes = 0;
    int m_cUnreadable = 0;
};

CheckCounts_s CountFindings(const std::vector<FileReport_s>& vecReports);

// FILE:LINE:COL: SEVERITY: MESSAGE [CHECK], then "N errors, N warnings and N notes in N files".
void WriteTextReport(FILE* pOut, const std::vector<FileReport_s>& vecReports);
void WriteJsonReport(FILE* pOut, const std::vector<FileReport_s>& vecReports);
