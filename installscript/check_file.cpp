#include "installscript/check_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "installscript/check_script.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

namespace
{

// The reader's own reports (its first error, a conditional's complaint) would repeat the
// findings.
SpewRetval_t QuietSpew(SpewType_t, const char*)
{
    return SPEW_CONTINUE;
}

bool BReadWholeFile(const char* pszPath, std::string* pstrText, std::string* pstrProblem)
{
    FILE* pFile = fopen(pszPath, "rb");
    if (!pFile)
    {
        *pstrProblem = strerror(errno);
        return false;
    }
    // Sized up front where the file tells its size, so a large file is not copied as it grows.
    if (fseek(pFile, 0, SEEK_END) == 0)
    {
        const long cbFile = ftell(pFile);
        if (cbFile > 0)
            pstrText->reserve((size_t)cbFile);
        rewind(pFile);
    }
    char rgchChunk[1 << 16];
    size_t cchRead;
    while ((cchRead = fread(rgchChunk, 1, sizeof(rgchChunk), pFile)) > 0)
        pstrText->append(rgchChunk, cchRead);
    const bool bFailed = ferror(pFile) != 0;
    const int nError = errno;
    fclose(pFile);
    if (bFailed)
        *pstrProblem = strerror(nError);
    return !bFailed;
}

} // namespace

std::vector<CheckFinding_s> CheckText(const char* pchText, size_t cchText, const char* pszName,
                                      const std::vector<bool>& vecDisabled)
{
    std::vector<CheckFinding_s> vecFindings;
    CKeyLocations locations;
    CKeyValuesParser parser;
    parser.SetReportEnabled(false);
    parser.SetObserver(&locations);
    CUtlBuffer buf(pchText, (int)cchText, CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    // Read as the evaluator reads a job: escape sequences on.
    std::unique_ptr<KeyValues> pkvRoot(new KeyValues("document"));
    pkvRoot->SetUsesEscapeSequences(true, false);
    const SpewOutputFunc_t pfnSpew = GetSpewOutputFunc();
    const bool bAssertsDisabled = AreAssertsDisabled();
    SpewOutputFunc(QuietSpew);
    SetAssertsDisabled(true);
    pkvRoot->LoadFromBuffer(pszName, buf, &parser);

    CCheckContext context(locations, vecDisabled, &vecFindings);
    CheckReaderEvents(context, locations);
    CheckDocument(pkvRoot.get(), context);
    context.ResolveKeyOffsets();
    SetAssertsDisabled(bAssertsDisabled);
    SpewOutputFunc(pfnSpew);
    ResolvePlaces(pchText, cchText, &vecFindings);
    return vecFindings;
}

FileReport_s CheckFile(const char* pszPath, const std::vector<bool>& vecDisabled)
{
    FileReport_s report{pszPath, false, std::string(), {}};
    std::string strText;
    if (!BReadWholeFile(pszPath, &strText, &report.m_strReadProblem))
        return report;
    if (strText.size() > (size_t)INT_MAX)
    {
        report.m_strReadProblem = "larger than 2 GB";
        return report;
    }
    report.m_bRead = true;
    report.m_vecFindings = CheckText(strText.data(), strText.size(), pszPath, vecDisabled);
    return report;
}

void ResolvePlaces(const char* pchText, size_t cchText, std::vector<CheckFinding_s>* pvecFindings)
{
    std::stable_sort(pvecFindings->begin(), pvecFindings->end(),
                     [](const CheckFinding_s& a, const CheckFinding_s& b)
                     { return a.m_nOffset < b.m_nOffset; });
    // One pass over the text, however many findings.
    size_t ichLineStart = 0, ichScanned = 0;
    int nLine = 1;
    for (CheckFinding_s& finding : *pvecFindings)
    {
        if (finding.m_nOffset < 0)
            continue;
        const size_t ichTarget = std::min((size_t)finding.m_nOffset, cchText);
        while (const void* pNewline = memchr(pchText + ichScanned, '\n', ichTarget - ichScanned))
        {
            ichScanned = (size_t)((const char*)pNewline - pchText) + 1;
            ichLineStart = ichScanned;
            ++nLine;
        }
        ichScanned = ichTarget;
        finding.m_nLine = nLine;
        finding.m_nColumn = (int)(ichTarget - ichLineStart) + 1;
    }
}
