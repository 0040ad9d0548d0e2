#include "common/installscript_log.h"

#include <cstdio>

#include "tier1/utlstring.h"

namespace
{

void WriteLogLine(const CUtlString& strMessage)
{
    FILE* pFile = fopen("installscriptevalutor_log.txt", "a+");
    if (!pFile)
        return;
    // One write per message, so lines of programs sharing the file stay whole.
    CUtlString strLine(strMessage);
    strLine.Append("\n");
    fwrite(strLine.Get(), 1, strLine.Length(), pFile);
    fclose(pFile);
}

} // namespace

void InstallScriptLog(const char* pszFormat, ...)
{
    CUtlString strMessage;
    va_list args;
    va_start(args, pszFormat);
    strMessage.VFormat(pszFormat, args);
    va_end(args);
    WriteLogLine(strMessage);
}

void InstallScriptAppLogV(uint32 unAppID, const char* pszFormat, va_list args)
{
    CUtlString strMessage;
    strMessage.Format("[AppID %u] ", unAppID);
    CUtlString strText;
    strText.VFormat(pszFormat, args);
    strMessage.Append(strText.Get());
    WriteLogLine(strMessage);
}

void InstallScriptAppLog(uint32 unAppID, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    InstallScriptAppLogV(unAppID, pszFormat, args);
    va_end(args);
}
