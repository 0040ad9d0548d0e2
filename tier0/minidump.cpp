// The recording crash reporter.

#include <cstdio>
#include <mutex>

#include "tier0/commandline.h"
#include "tier0/minidump.h"

namespace
{

std::mutex s_mutexReports;
uint32 s_unReportCount = 0;
char s_szLastComment[1024] = "";
bool s_bLastReporterFlag = false;

} // namespace

void WriteAssertMiniDump(const char* pszMessage, const char* pszFile, int nLine, bool bReporterFlag)
{
    std::lock_guard<std::mutex> lock(s_mutexReports);
    ++s_unReportCount;
    snprintf(s_szLastComment, sizeof(s_szLastComment), "Assert( %s ):%s:%d\n", pszMessage ? pszMessage : "",
             pszFile ? pszFile : "", nLine);
    s_bLastReporterFlag = bReporterFlag;
}

uint32 GetAssertMiniDumpCount()
{
    std::lock_guard<std::mutex> lock(s_mutexReports);
    return s_unReportCount;
}

const char* GetLastAssertMiniDumpComment()
{
    return s_szLastComment;
}

bool GetLastAssertMiniDumpReporterFlag()
{
    std::lock_guard<std::mutex> lock(s_mutexReports);
    return s_bLastReporterFlag;
}

bool BAssertDialogAsksBreak()
{
    if (HasCommandLineParam("-debugbreak"))
        return true;
    return !HasCommandLineParam("-nocrashdialog");
}
