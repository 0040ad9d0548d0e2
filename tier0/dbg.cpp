// Assertions: every broken invariant is spewed as type SPEW_ASSERT, reported to the crash
// reporter once per site, and a fatal one ends the process with exit code 1.

#include <atomic>
#include <cstdio>
#include <mutex>
#include <set>
#include <utility>

#include "tier0/commandline.h"
#include "tier0/dbg.h"
#include "tier0/minidump.h"

namespace
{

constexpr size_t k_cbAssertMessage = 512;

std::atomic<bool> s_bAssertsDisabled{false};

// Assertions raised while this thread is already reporting one (from an output handler,
// say) are dropped.
thread_local int t_nAssertNesting = 0;

// Sites already handed to the crash reporter, keyed by line and file-name pointer.
struct ReportedSites_s
{
    std::mutex m_mutex;
    std::set<std::pair<uint32, uintp>> m_setSites;
};

// Never torn down: assertions may still fire from other objects' destructors at exit.
ReportedSites_s& ReportedSites()
{
    static ReportedSites_s& s_sites = *new ReportedSites_s;
    return s_sites;
}

bool BDontBreakOnAssert()
{
    static const bool s_bDontBreak = Plat_GetEnv("DONT_BREAK_ON_ASSERT") != nullptr;
    return s_bDontBreak;
}

bool BFirstReportAtSite(uint32 unLine, const char* pszFile)
{
    ReportedSites_s& sites = ReportedSites();
    std::lock_guard<std::mutex> lock(sites.m_mutex);
    return sites.m_setSites.insert({unLine, reinterpret_cast<uintp>(pszFile)}).second;
}

SpewRetval_t SpewAssert(const char* pszFile, int nLine, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    const SpewRetval_t eResult = SpewMessage(SPEW_ASSERT, pszFile, nLine, pszFormat, args);
    va_end(args);
    return eResult;
}

[[noreturn]] void ExitOnFatalAssert(const char* pszFile, int nLine, const char* pszMessage,
                                    bool bReporterFlag)
{
    SpewAssert(pszFile, nLine, "%s", "Fatal assert; application exiting");
    if (!Plat_IsDebuggerPresent())
        WriteAssertMiniDump(*pszMessage ? pszMessage : "Fatal assert", pszFile, nLine, bReporterFlag);
    else if (!BDontBreakOnAssert() && !HasCommandLineParam("-nocrashdialog"))
        Plat_DebugBreak();
    ConMsg("console", 1, "_ExitOnFatalAssert\n");
    Plat_TerminateProcess(1);
}

} // namespace

void SetAssertsDisabled(bool bDisabled)
{
    s_bAssertsDisabled.store(bDisabled);
}

bool AreAssertsDisabled()
{
    return s_bAssertsDisabled.load();
}

bool AssertMsg(const char* pszFile, uint32 unLineWord, const char* pszMessage)
{
    const bool bFatal = (unLineWord & k_unAssertFatal) != 0;
    if (AreAssertsDisabled())
        return true;
    if (!bFatal && HasCommandLineParam("-noassert"))
        return true;
    if (t_nAssertNesting > 0)
        return true;

    ++t_nAssertNesting;
    const int nLine = static_cast<int>(unLineWord & k_unAssertLineMask);
    const bool bReporterFlag = (unLineWord & k_unAssertReporterFlag) != 0;
    const char* pszText = pszMessage ? pszMessage : "";
    const SpewRetval_t eSpewResult = SpewAssert(pszFile, nLine, "%s", pszText);
    if (bFatal)
        ExitOnFatalAssert(pszFile, nLine, pszText, bReporterFlag);

    if (!Plat_IsDebuggerPresent() && BFirstReportAtSite(static_cast<uint32>(nLine), pszFile))
        WriteAssertMiniDump(pszText, pszFile, nLine, bReporterFlag);

    const bool bBreak = eSpewResult == SPEW_DEBUGGER && !BDontBreakOnAssert() && Plat_IsDebuggerPresent() &&
                        BAssertDialogAsksBreak();
    --t_nAssertNesting;
    return !bBreak;
}

bool AssertMsgFormat(const char* pszFile, uint32 unLineWord, const char* pszFormat, ...)
{
    char szMessage[k_cbAssertMessage];
    const char* pszPrefix =
        (unLineWord & k_unAssertFatal) ? "Fatal Assertion Failed: " : "Assertion Failed: ";
    const size_t cchPrefix = snprintf(szMessage, sizeof(szMessage), "%s", pszPrefix);
    va_list args;
    va_start(args, pszFormat);
    vsnprintf(szMessage + cchPrefix, sizeof(szMessage) - cchPrefix, pszFormat, args);
    va_end(args);
    return AssertMsg(pszFile, unLineWord, szMessage);
}
