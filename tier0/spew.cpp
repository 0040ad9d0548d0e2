// The spew core: every message and assertion text passes through SpewMessage, one call
// at a time, and ends in the installed output handler.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "tier0/dbg.h"

namespace
{

// The text is cut at 5,018 bytes; one more byte holds the newline asserts get for the debugger.
constexpr size_t k_cbSpewText = 5019;

std::atomic<SpewOutputFunc_t> s_pfnSpewOutput{DefaultSpewFunc};

// Recursive, so that an output handler may spew again on the thread that holds the lock.
std::atomic<uint32> s_unSpewLockOwner{0};
std::atomic<int32> s_nSpewLockCount{0};

void LockSpew()
{
    const uint32 unThisThread = Plat_GetCurrentThreadId();
    if (s_unSpewLockOwner.load(std::memory_order_acquire) != unThisThread)
    {
        uint32 unExpected = 0;
        while (!s_unSpewLockOwner.compare_exchange_weak(unExpected, unThisThread, std::memory_order_acquire))
        {
            unExpected = 0;
            Plat_Sleep(0);
        }
    }
    s_nSpewLockCount.fetch_add(1, std::memory_order_relaxed);
}

void UnlockSpew()
{
    if (s_nSpewLockCount.fetch_sub(1, std::memory_order_relaxed) == 1)
        s_unSpewLockOwner.store(0, std::memory_order_release);
}

// Keeps the tree-relative part: "C:\tree\src\tier1\x" becomes "src\tier1\x".
const char* ShortenSourceFileName(const char* pszFile)
{
    for (const char* pch = pszFile; *pch; ++pch)
    {
        const bool bSeparator = (*pch == '/' || *pch == '\\');
        if (bSeparator && strncmp(pch + 1, "src", 3) == 0 && (pch[4] == '/' || pch[4] == '\\'))
            return pch + 1;
    }
    return pszFile;
}

void WriteToStderr(const char* pszText)
{
    fflush(stdout);
    fputs(pszText, stderr);
    fputs("\n", stderr);
    fflush(stderr);
}

void SendAssertToDebugger(char* pszText)
{
    const size_t cchText = strlen(pszText);
    pszText[cchText] = '\n';
    pszText[cchText + 1] = '\0';
    Plat_OutputDebugString(pszText);
    pszText[cchText] = '\0';
}

[[noreturn]] void ExitOnSpewAbort()
{
    // A handler that answers SPEW_ABORT to everything would recurse through this ConMsg.
    thread_local bool t_bExiting = false;
    if (!t_bExiting)
    {
        t_bExiting = true;
        ConMsg("console", 1, "Exiting on SPEW_ABORT\n");
    }
    Plat_TerminateProcess(1);
}

} // namespace

SpewRetval_t DefaultSpewFunc(SpewType_t eType, const char* pszText)
{
    Plat_OutputDebugString(pszText);
    printf("%s", pszText);
    return eType == SPEW_ASSERT ? SPEW_DEBUGGER : SPEW_CONTINUE;
}

void SpewOutputFunc(SpewOutputFunc_t pfnFunc)
{
    s_pfnSpewOutput.store(pfnFunc ? pfnFunc : DefaultSpewFunc);
}

SpewOutputFunc_t GetSpewOutputFunc()
{
    return s_pfnSpewOutput.load();
}

SpewRetval_t SpewMessage(SpewType_t eType, const char* pszFile, int nLine, const char* pszFormat,
                         va_list args)
{
    LockSpew();
    char szText[k_cbSpewText + 1];
    size_t cchPrefix = 0;
    if (eType == SPEW_ASSERT && pszFile)
    {
        const int cchWritten =
            snprintf(szText, k_cbSpewText, "%s (%d) : ", ShortenSourceFileName(pszFile), nLine);
        if (cchWritten < 0)
        {
            UnlockSpew();
            return SPEW_ABORT;
        }
        cchPrefix = std::min(static_cast<size_t>(cchWritten), k_cbSpewText - 1);
    }
    if (vsnprintf(szText + cchPrefix, k_cbSpewText - cchPrefix, pszFormat, args) < 0)
        szText[cchPrefix] = '\0';

    if (eType == SPEW_ASSERT || eType == SPEW_ERROR)
        WriteToStderr(szText);
    if (eType == SPEW_ASSERT)
        SendAssertToDebugger(szText);

    const SpewRetval_t eResult = GetSpewOutputFunc()(eType, szText);
    if (eResult == SPEW_DEBUGGER && eType != SPEW_ASSERT && Plat_IsDebuggerPresent())
        Plat_DebugBreak();
    else if (eResult == SPEW_ABORT)
        ExitOnSpewAbort();
    UnlockSpew();
    return eResult;
}

void Msg(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    SpewMessage(SPEW_MESSAGE, nullptr, 0, pszFormat, args);
    va_end(args);
}

void Warning(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    SpewMessage(SPEW_WARNING, nullptr, 0, pszFormat, args);
    va_end(args);
}

SpewRetval_t Error(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    const SpewRetval_t eResult = SpewMessage(SPEW_ERROR, nullptr, 0, pszFormat, args);
    va_end(args);
    return eResult;
}

void ConMsg(const char* pszGroup, int nLevel, const char* pszFormat, ...)
{
    if (!IsSpewActive(pszGroup, nLevel))
        return;
    va_list args;
    va_start(args, pszFormat);
    SpewMessage(SPEW_MESSAGE, nullptr, 0, pszFormat, args);
    va_end(args);
}
