// The library's view of the process command line: one UTF-8 argument block, built on
// first use, published once and never freed.

#include <atomic>
#include <cstring>

#include "argblock.h"
#include "asciicase.h"
#include "tier0/commandline.h"
#include "tier0/dbg.h"
#include "tier0/platform.h"

namespace
{

std::atomic<void*> s_utf8_argc_argv{nullptr};

// Computing the answer twice on a race is harmless, so no lock.
std::atomic<bool> s_bChromeOSKnown{false};
std::atomic<bool> s_bChromeOS{false};

bool BArgMatchesParam(const char* pszArg, const char* pszName, size_t cchName)
{
    if (ASCIIStrNICmp(pszArg, pszName, cchName) != 0)
        return false;
    return pszName[cchName - 1] == '=' || pszArg[cchName] == '\0' || pszArg[cchName] == '=';
}

} // namespace

char** GetUTF8ArgcArgv(int* pArgc)
{
    if (!s_utf8_argc_argv.load(std::memory_order_acquire))
    {
        void* pBlock = Plat_BuildUTF8ArgBlock();
        void* pExpected = nullptr;
        if (pBlock && !s_utf8_argc_argv.compare_exchange_strong(pExpected, pBlock, std::memory_order_acq_rel))
            Plat_FreeArgBlock(pBlock); // another thread published first
    }
    AssertFatal(s_utf8_argc_argv != nullptr);

    // Still null only when the fatal assertion above was dropped as a nested one.
    void* pBlock = s_utf8_argc_argv.load(std::memory_order_acquire);
    if (pArgc)
        *pArgc = pBlock ? ArgBlockCount(pBlock) : 0;
    return pBlock ? ArgBlockArgv(pBlock) : nullptr;
}

bool HasCommandLineParam(const char* pszName)
{
    if (!pszName || !*pszName)
        return false;
    int nArgs = 0;
    char** ppszArgv = GetUTF8ArgcArgv(&nArgs);
    const size_t cchName = strlen(pszName);
    for (int iArg = 1; iArg < nArgs; ++iArg)
    {
        // Nothing after "--" is a library switch.
        if (strcmp(ppszArgv[iArg], "--") == 0)
            return false;
        if (BArgMatchesParam(ppszArgv[iArg], pszName, cchName))
            return true;
    }
    return false;
}

bool IsChromeOSCommandLine()
{
    if (!s_bChromeOSKnown.load(std::memory_order_acquire))
    {
        s_bChromeOS.store(HasCommandLineParam("-chromeos"), std::memory_order_relaxed);
        s_bChromeOSKnown.store(true, std::memory_order_release);
    }
    return s_bChromeOS.load(std::memory_order_relaxed);
}
