// The POSIX side of the platform split, for the native build and its sanitizer runs.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

#include "argblock.h"
#include "tier0/platform.h"

namespace
{

bool BReadWholeFile(const char* pszPath, std::string& strContents)
{
    FILE* pFile = fopen(pszPath, "rb");
    if (!pFile)
        return false;
    char rgchChunk[4096];
    size_t cbRead;
    while ((cbRead = fread(rgchChunk, 1, sizeof(rgchChunk), pFile)) > 0)
        strContents.append(rgchChunk, cbRead);
    fclose(pFile);
    return true;
}

} // namespace

bool Plat_IsDebuggerPresent()
{
    std::string strStatus;
    if (!BReadWholeFile("/proc/self/status", strStatus))
        return false;
    const size_t iTracer = strStatus.find("TracerPid:");
    return iTracer != std::string::npos && atoi(strStatus.c_str() + iTracer + strlen("TracerPid:")) != 0;
}

void Plat_DebugBreak()
{
    raise(SIGTRAP);
}

void Plat_OutputDebugString(const char*)
{
    // POSIX has no debugger output channel; spew reaches the console streams anyway.
}

void Plat_TerminateProcess(int nExitCode)
{
    _exit(nExitCode);
}

uint32 Plat_GetCurrentThreadId()
{
    return static_cast<uint32>(gettid());
}

const char* Plat_GetEnv(const char* pszName)
{
    return getenv(pszName);
}

void Plat_Sleep(uint32 nMilliseconds)
{
    const timespec ts = {static_cast<time_t>(nMilliseconds / 1000),
                         static_cast<long>(nMilliseconds % 1000) * 1000000L};
    nanosleep(&ts, nullptr);
}

bool Plat_IsWindowsVistaOrLater()
{
    return true;
}

bool Plat_IsWindows7OrLater()
{
    return true;
}

void* Plat_BuildUTF8ArgBlock()
{
    // The kernel keeps the arguments as NUL-terminated strings, already UTF-8.
    std::string strArgs;
    if (!BReadWholeFile("/proc/self/cmdline", strArgs))
        return nullptr;
    if (!strArgs.empty() && strArgs.back() != '\0')
        strArgs.push_back('\0');

    int nArgs = 0;
    for (char ch : strArgs)
        nArgs += (ch == '\0');

    // One spare byte behind the strings, as the Windows builder keeps.
    void* pBlock = calloc(1, ArgBlockHeaderSize(nArgs) + strArgs.size() + 1);
    if (!pBlock)
        return nullptr;
    char* pszNext = ArgBlockInit(pBlock, nArgs);
    memcpy(pszNext, strArgs.data(), strArgs.size());
    char** ppszArgv = ArgBlockArgv(pBlock);
    for (int iArg = 0; iArg < nArgs; ++iArg)
    {
        ppszArgv[iArg] = pszNext;
        pszNext += strlen(pszNext) + 1;
    }
    return pBlock;
}

void Plat_FreeArgBlock(void* pBlock)
{
    free(pBlock);
}
