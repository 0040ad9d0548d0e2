#pragma once
// Assertions and diagnostic messages ("spew"). Every message of the foundation and the
// services layer goes through SpewMessage and ends in one replaceable output handler.
// Diagnostics never reach the evaluator's own log file.

#include <cstdarg>

#include "tier0/basetypes.h"
#include "tier0/platform.h"

enum SpewType_t
{
    SPEW_MESSAGE = 0,
    SPEW_WARNING = 1,
    SPEW_ASSERT = 2,
    SPEW_ERROR = 3,
};

enum SpewRetval_t
{
    SPEW_DEBUGGER = 0, // break into the debugger
    SPEW_CONTINUE = 1,
    SPEW_ABORT = 2, // end the process with exit code 1
};

typedef SpewRetval_t (*SpewOutputFunc_t)(SpewType_t eType, const char* pszText);

// The default handler: debugger output, then standard output; SPEW_DEBUGGER for asserts.
SpewRetval_t DefaultSpewFunc(SpewType_t eType, const char* pszText);
// Installs an output handler; null puts the default back.
void SpewOutputFunc(SpewOutputFunc_t pfnFunc);
SpewOutputFunc_t GetSpewOutputFunc();

// The spew core: formats "%s (%d) : " and the message (asserts only carry the prefix),
// cut at 5,018 bytes, and hands it to the output handler under the recursive spew lock.
SpewRetval_t SpewMessage(SpewType_t eType, const char* pszFile, int nLine, const char* pszFormat,
                         va_list args);

void Msg(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
void Warning(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
SpewRetval_t Error(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
void ConMsg(const char* pszGroup, int nLevel, const char* pszFormat, ...)
    __attribute__((format(printf, 3, 4)));

// Spew groups: a group is active at a level when its own level (or the default level,
// for groups never set) is at least that level. "console" starts active at level 1.
bool IsSpewActive(const char* pszGroup, int nLevel);
void SpewActivate(const char* pszGroup, int nLevel);
void SpewSetDefaultLevel(int nLevel);

// The line word of an assertion: bits 29-0 the source line, bit 30 a flag for the crash
// reporter, bit 31 fatal.
constexpr uint32 k_unAssertLineMask = 0x3FFFFFFFu;
constexpr uint32 k_unAssertReporterFlag = 0x40000000u;
constexpr uint32 k_unAssertFatal = 0x80000000u;

// Reports a failed assertion whose text is already formatted. Returns false when the
// caller should break into an attached debugger, true to go on. A fatal assertion never
// returns: the process ends with exit code 1.
bool AssertMsg(const char* pszFile, uint32 unLineWord, const char* pszMessage);
// Prefixes "Assertion Failed: " (or "Fatal Assertion Failed: "), formats into 512 bytes
// and calls AssertMsg.
bool AssertMsgFormat(const char* pszFile, uint32 unLineWord, const char* pszFormat, ...)
    __attribute__((format(printf, 3, 4)));

// A process-wide switch that silences every assertion (tests and tools use it).
void SetAssertsDisabled(bool bDisabled);
bool AreAssertsDisabled();

#define ISE_ASSERT_REPORT(lineword, ...)                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (!AssertMsgFormat(__FILE__, (lineword), __VA_ARGS__) && Plat_IsDebuggerPresent())                 \
            PLAT_DEBUG_BREAK();                                                                              \
    } while (0)

// Assert(exp): reports the expression text and carries on.
#define Assert(exp)                                                                                          \
    do                                                                                                       \
    {                                                                                                        \
        if (!(exp))                                                                                          \
            ISE_ASSERT_REPORT((uint32)__LINE__, "%s", #exp);                                                 \
    } while (0)

// AssertFmt(exp, format, ...): reports a formatted message instead of the expression.
#define AssertFmt(exp, ...)                                                                                  \
    do                                                                                                       \
    {                                                                                                        \
        if (!(exp))                                                                                          \
            ISE_ASSERT_REPORT((uint32)__LINE__, __VA_ARGS__);                                                \
    } while (0)

// Fatal forms: report, then end the process with exit code 1.
#define AssertFatal(exp)                                                                                     \
    do                                                                                                       \
    {                                                                                                        \
        if (!(exp))                                                                                          \
            ISE_ASSERT_REPORT((uint32)__LINE__ | k_unAssertFatal, "%s", #exp);                               \
    } while (0)

#define AssertFatalFmt(exp, ...)                                                                             \
    do                                                                                                       \
    {                                                                                                        \
        if (!(exp))                                                                                          \
            ISE_ASSERT_REPORT((uint32)__LINE__ | k_unAssertFatal, __VA_ARGS__);                              \
    } while (0)
