#include "installscript/check_report.h"

#include <string>

namespace
{

std::string Plural(int n, const char* pszOne, const char* pszMany)
{
    return std::to_string(n) + " " + (n == 1 ? pszOne : pszMany);
}

void WriteJsonString(FILE* pOut, const std::string& str)
{
    fputc('"', pOut);
    for (unsigned char ch : str)
    {
        if (ch == '"' || ch == '\\')
            fprintf(pOut, "\\%c", ch);
        else if (ch < 0x20)
            fprintf(pOut, "\\u%04x", ch);
        else
            fputc(ch, pOut);
    }
    fputc('"', pOut);
}

} // namespace

CheckCounts_s CountFindings(const std::vector<FileReport_s>& vecReports)
{
    CheckCounts_s counts;
    for (const FileReport_s& report : vecReports)
    {
        counts.m_cUnreadable += report.m_bRead ? 0 : 1;
        for (const CheckFinding_s& finding : report.m_vecFindings)
        {
            int* rgpnCount[] = {&counts.m_cNotes, &counts.m_cWarnings, &counts.m_cErrors};
            ++*rgpnCount[finding.m_eSeverity];
        }
    }
    return counts;
}

void WriteTextReport(FILE* pOut, const std::vector<FileReport_s>& vecReports)
{
    for (const FileReport_s& report : vecReports)
    {
        if (!report.m_bRead)
            fprintf(pOut, "%s: cannot be read: %s\n", report.m_strPath.c_str(),
                    report.m_strReadProblem.c_str());
        for (const CheckFinding_s& finding : report.m_vecFindings)
        {
            if (finding.m_nLine > 0)
                fprintf(pOut, "%s:%d:%d: ", report.m_strPath.c_str(), finding.m_nLine, finding.m_nColumn);
            else
                fprintf(pOut, "%s: ", report.m_strPath.c_str());
            fprintf(pOut, "%s: %s [%s]\n", GetSeverityName(finding.m_eSeverity), finding.m_strMessage.c_str(),
                    GetCheckInfo(finding.m_eCheck).m_pszName);
        }
    }
    const CheckCounts_s counts = CountFindings(vecReports);
    fprintf(pOut, "%s, %s and %s in %s", Plural(counts.m_cErrors, "error", "errors").c_str(),
            Plural(counts.m_cWarnings, "warning", "warnings").c_str(),
            Plural(counts.m_cNotes, "note", "notes").c_str(),
            Plural((int)vecReports.size(), "file", "files").c_str());
    if (counts.m_cUnreadable)
        fprintf(pOut, " (%s)", Plural(counts.m_cUnreadable, "file unreadable", "files unreadable").c_str());
    fputc('\n', pOut);
}

void WriteJsonReport(FILE* pOut, const std::vector<FileReport_s>& vecReports)
{
    fputs("{\"files\":[", pOut);
    for (size_t iReport = 0; iReport < vecReports.size(); ++iReport)
    {
        const FileReport_s& report = vecReports[iReport];
        fputs(iReport ? ",\n{\"path\":" : "\n{\"path\":", pOut);
        WriteJsonString(pOut, report.m_strPath);
        fprintf(pOut, ",\"read\":%s", report.m_bRead ? "true" : "false");
        if (!report.m_bRead)
        {
            fputs(",\"problem\":", pOut);
            WriteJsonString(pOut, report.m_strReadProblem);
        }
        fputs(",\"findings\":[", pOut);
        for (size_t i = 0; i < report.m_vecFindings.size(); ++i)
        {
            const CheckFinding_s& finding = report.m_vecFindings[i];
            fprintf(pOut, "%s{\"line\":%d,\"column\":%d,\"severity\":\"%s\",\"check\":\"%s\",\"path\":",
                    i ? ",\n " : "\n ", finding.m_nLine, finding.m_nColumn,
                    GetSeverityName(finding.m_eSeverity), GetCheckInfo(finding.m_eCheck).m_pszName);
            WriteJsonString(pOut, finding.m_strKeyPath);
            fputs(",\"message\":", pOut);
            WriteJsonString(pOut, finding.m_strMessage);
            fputc('}', pOut);
        }
        fputs("]}", pOut);
    }
    const CheckCounts_s counts = CountFindings(vecReports);
    fprintf(pOut, "],\n\"summary\":{\"errors\":%d,\"warnings\":%d,\"notes\":%d,\"unreadable\":%d}}\n",
            counts.m_cErrors, counts.m_cWarnings, counts.m_cNotes, counts.m_cUnreadable);
}
