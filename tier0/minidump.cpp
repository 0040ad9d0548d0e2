// The recording crash reporter.

#include <cstdio>
#include <mutex>

#include "tier0/commandline.h"
#include "tier0/minidump.h"

namespace
{

struct ReportLog_s
{
    std::mutex m_mutex;
    uint32 m_unCount = 0;
    char m_szLastComment[1024] = "";
    bool m_bLastReporterFlag = false;
};

// Never torn down: a fatal assertion may be reported from a destructor at exit.
ReportLog_s& ReportLog()
{
    static ReportLog_s& s_log = *new ReportLog_s;
    return s_log;
}

} // namespace

void WriteAssertMiniDump(const char* pszMessage, const char* pszFile, int nLine, bool bReporterFlag)
{
    ReportLog_s& log = ReportLog();
    std::lock_guard<std::mutex> lock(log.m_mutex);
    ++log.m_unCount;
    snprintf(log.m_szLastComment, sizeof(log.m_szLastComment), "Assert( %s ):%s:%d\n",
             pszMessage ? pszMessage : "", pszFile ? pszFile : "", nLine);
    log.m_bLastReporterFlag = bReporterFlag;
}

uint32 GetAssertMiniDumpCount()
{
    ReportLog_s& log = ReportLog();
    std::lock_guard<std::mutex> lock(log.m_mutex);
    return log.m_unCount;
}

const char* GetLastAssertMiniDumpComment()
{
    return ReportLog().m_szLastComment;
}

bool GetLastAssertMiniDumpReporterFlag()
{
    ReportLog_s& log = ReportLog();
    std::lock_guard<std::mutex> lock(log.m_mutex);
    return log.m_bLastReporterFlag;
}

bool BAssertDialogAsksBreak()
{
    if (HasCommandLineParam("-debugbreak"))
        return true;
    return !HasCommandLineParam("-nocrashdialog");
}
