#pragma once
// The thin platform split of the foundation library. Everything that differs between
// Windows and the native (POSIX) build is behind these functions; the implementations
// live in tier0/platform_win32.cpp and tier0/platform_posix.cpp.

#include "tier0/basetypes.h"

bool Plat_IsDebuggerPresent();
void Plat_DebugBreak();
// Sends text to the debugger's output channel (OutputDebugStringA on Windows).
void Plat_OutputDebugString(const char* pszText);
// Ends the process at once with the given exit code, running no exit handlers.
[[noreturn]] void Plat_TerminateProcess(int nExitCode);
uint32 Plat_GetCurrentThreadId();
// The value of an environment variable, or null when it is not set. On Windows the text
// lives until the calling thread asks again.
const char* Plat_GetEnv(const char* pszName);
void Plat_Sleep(uint32 nMilliseconds);

// Running operating system version, for the KeyValues platform conditionals. The native
// build answers as a current Windows would (both true).
bool Plat_IsWindowsVistaOrLater();
bool Plat_IsWindows7OrLater();

// Builds the UTF-8 command-line block from the platform's own arguments. Called once by
// GetUTF8ArgcArgv; returns a block laid out as described in tier0/commandline.h, or null.
void* Plat_BuildUTF8ArgBlock();
void Plat_FreeArgBlock(void* pBlock);

#ifdef _WIN32
#define PLAT_DEBUG_BREAK() __debugbreak()
#else
#define PLAT_DEBUG_BREAK() __builtin_trap()
#endif
