#include "clientdll/installscript_log.h"

#include <cstdarg>
#include <cstdio>

#include "clientdll/installscript_win32.h"

namespace
{

void WriteLogLine(const char* pszFormat, va_list args)
{
    FILE* pFile = fopen("installscriptevalutor_log.txt", "a+");
    if (!pFile)
        return;
    // One write per message, so lines of evaluators sharing the file stay whole.
    CUtlString strLine;
    strLine.VFormat(pszFormat, args);
    strLine.Append("\n");
    fwrite(strLine.Get(), 1, strLine.Length(), pFile);
    fclose(pFile);
}

} // namespace

void InstallScriptLog(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    WriteLogLine(pszFormat, args);
    va_end(args);
}

void CInstallScriptManagerWin32::ScriptLog(const char* pszFormat, ...)
{
    CUtlString strMessage;
    va_list args;
    va_start(args, pszFormat);
    strMessage.VFormat(pszFormat, args);
    va_end(args);
    InstallScriptLog("[AppID %u] %s", GetRunScriptAppID(), strMessage.Get());
}
