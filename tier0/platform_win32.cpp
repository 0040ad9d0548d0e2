// The Windows side of the platform split.

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "argblock.h"
#include "tier0/platform.h"

namespace
{

// Arguments as UTF-16, with a note of whether this module allocated them (LocalAlloc).
struct WideArgs_s
{
    int m_nCount = 0;
    wchar_t** m_ppwszArgs = nullptr;
    bool m_bLocalAllocated = false;
};

struct WindowsVersion_s
{
    DWORD m_dwMajor;
    DWORD m_dwMinor;
};

std::string NarrowToUTF8(const wchar_t* pwszText, int cchText)
{
    const int cbText = WideCharToMultiByte(CP_UTF8, 0, pwszText, cchText, nullptr, 0, nullptr, nullptr);
    std::string strText(cbText > 0 ? cbText : 0, '\0');
    if (cbText > 0)
        WideCharToMultiByte(CP_UTF8, 0, pwszText, cchText, &strText[0], cbText, nullptr, nullptr);
    return strText;
}

std::wstring WidenUTF8(const char* pszText)
{
    const int cchText = MultiByteToWideChar(CP_UTF8, 0, pszText, -1, nullptr, 0);
    std::wstring wstrText(cchText > 0 ? cchText : 1, L'\0');
    if (cchText > 0)
        MultiByteToWideChar(CP_UTF8, 0, pszText, -1, &wstrText[0], cchText);
    return wstrText;
}

// The shell's splitter is only safe to call when gdi32 is, or can be, loaded.
bool BGdi32Available()
{
    if (GetModuleHandleW(L"gdi32.dll"))
        return true;
    HMODULE hGdi32 = LoadLibraryW(L"gdi32.dll");
    if (!hGdi32)
        return false;
    FreeLibrary(hGdi32);
    return true;
}

// The runtime's narrow arguments, widened from the local code page into one LocalAlloc
// block: (count + 1) pointers, then the strings, each at least one character long.
wchar_t** WidenRuntimeArgs(int nArgs, char** ppszArgs)
{
    size_t cchTotal = 0;
    for (int iArg = 0; iArg < nArgs; ++iArg)
        cchTotal += std::max(MultiByteToWideChar(CP_ACP, 0, ppszArgs[iArg], -1, nullptr, 0), 1);

    const size_t cbBlock = sizeof(wchar_t*) * (static_cast<size_t>(nArgs) + 1) + sizeof(wchar_t) * cchTotal;
    wchar_t** ppwszArgs = static_cast<wchar_t**>(LocalAlloc(LMEM_ZEROINIT, cbBlock));
    if (!ppwszArgs)
        return nullptr;
    wchar_t* pwszNext = reinterpret_cast<wchar_t*>(ppwszArgs + nArgs + 1);
    const wchar_t* pwszEnd = reinterpret_cast<const wchar_t*>(reinterpret_cast<char*>(ppwszArgs) + cbBlock);
    for (int iArg = 0; iArg < nArgs; ++iArg)
    {
        ppwszArgs[iArg] = pwszNext;
        const int cchWritten = MultiByteToWideChar(CP_ACP, 0, ppszArgs[iArg], -1, pwszNext,
                                                   static_cast<int>(pwszEnd - pwszNext));
        pwszNext += std::max(cchWritten, 1);
    }
    return ppwszArgs;
}

WideArgs_s GetWideArgs()
{
    WideArgs_s args;
    if (BGdi32Available())
    {
        args.m_ppwszArgs = CommandLineToArgvW(GetCommandLineW(), &args.m_nCount);
        args.m_bLocalAllocated = true;
    }
    else if (__wargv)
    {
        args.m_nCount = __argc;
        args.m_ppwszArgs = __wargv;
    }
    else if (__argv)
    {
        args.m_nCount = __argc;
        args.m_ppwszArgs = WidenRuntimeArgs(__argc, __argv);
        args.m_bLocalAllocated = true;
    }
    return args;
}

void* BuildUTF8BlockFromWide(const WideArgs_s& args)
{
    size_t cbStrings = 0;
    for (int iArg = 0; iArg < args.m_nCount; ++iArg)
        cbStrings += std::max(
            WideCharToMultiByte(CP_UTF8, 0, args.m_ppwszArgs[iArg], -1, nullptr, 0, nullptr, nullptr), 1);

    const size_t cbBlock = ArgBlockHeaderSize(args.m_nCount) + cbStrings + 1;
    void* pBlock = LocalAlloc(LMEM_ZEROINIT, cbBlock);
    if (!pBlock)
        return nullptr;
    char* pszNext = ArgBlockInit(pBlock, args.m_nCount);
    const char* pszEnd = static_cast<char*>(pBlock) + cbBlock;
    char** ppszArgv = ArgBlockArgv(pBlock);
    for (int iArg = 0; iArg < args.m_nCount; ++iArg)
    {
        ppszArgv[iArg] = pszNext;
        const int cbWritten = WideCharToMultiByte(CP_UTF8, 0, args.m_ppwszArgs[iArg], -1, pszNext,
                                                  static_cast<int>(pszEnd - pszNext), nullptr, nullptr);
        if (cbWritten <= 0)
            *pszNext = '\0'; // a failed conversion leaves an empty argument
        pszNext += std::max(cbWritten, 1);
    }
    return pBlock;
}

// The real running version: RtlGetVersion ignores the compatibility manifest.
WindowsVersion_s QueryRunningWindowsVersion()
{
    typedef LONG(WINAPI * PFNRtlGetVersion)(OSVERSIONINFOW*);
    HMODULE hNtdll = GetModuleHandleW(L"ntdll.dll");
    FARPROC pfnProc = hNtdll ? GetProcAddress(hNtdll, "RtlGetVersion") : nullptr;
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    if (!pfnProc || reinterpret_cast<PFNRtlGetVersion>(reinterpret_cast<void (*)()>(pfnProc))(&info) != 0)
        return {0, 0};
    return {info.dwMajorVersion, info.dwMinorVersion};
}

bool BRunningWindowsAtLeast(DWORD dwMajor, DWORD dwMinor)
{
    static const WindowsVersion_s s_version = QueryRunningWindowsVersion();
    return s_version.m_dwMajor > dwMajor ||
           (s_version.m_dwMajor == dwMajor && s_version.m_dwMinor >= dwMinor);
}

} // namespace

bool Plat_IsDebuggerPresent()
{
    return IsDebuggerPresent() != FALSE;
}

void Plat_DebugBreak()
{
    DebugBreak();
}

void Plat_OutputDebugString(const char* pszText)
{
    OutputDebugStringA(pszText);
}

void Plat_TerminateProcess(int nExitCode)
{
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(nExitCode));
    // Only reached when the process could not terminate itself.
    _exit(nExitCode);
}

uint32 Plat_GetCurrentThreadId()
{
    return GetCurrentThreadId();
}

const char* Plat_GetEnv(const char* pszName)
{
    // The process environment itself rather than the runtime's copy, so that values set
    // with SetEnvironmentVariableW are seen. The answer lives until this thread's next call.
    thread_local std::string t_strValue;
    const std::wstring wstrName = WidenUTF8(pszName);
    const DWORD cchValue = GetEnvironmentVariableW(wstrName.c_str(), nullptr, 0);
    if (cchValue == 0)
        return nullptr;
    std::wstring wstrValue(cchValue, L'\0');
    const DWORD cchCopied = GetEnvironmentVariableW(wstrName.c_str(), &wstrValue[0], cchValue);
    if (cchCopied >= cchValue)
        return nullptr;
    t_strValue = NarrowToUTF8(wstrValue.c_str(), static_cast<int>(cchCopied));
    return t_strValue.c_str();
}

void Plat_Sleep(uint32 nMilliseconds)
{
    Sleep(nMilliseconds);
}

bool Plat_IsWindowsVistaOrLater()
{
    return BRunningWindowsAtLeast(6, 0);
}

bool Plat_IsWindows7OrLater()
{
    return BRunningWindowsAtLeast(6, 1);
}

void* Plat_BuildUTF8ArgBlock()
{
    const WideArgs_s args = GetWideArgs();
    if (!args.m_ppwszArgs)
        return nullptr;
    void* pBlock = BuildUTF8BlockFromWide(args);
    if (args.m_bLocalAllocated)
        LocalFree(args.m_ppwszArgs);
    return pBlock;
}

void Plat_FreeArgBlock(void* pBlock)
{
    LocalFree(pBlock);
}
