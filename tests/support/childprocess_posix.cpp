// Starts the sibling through the shell, every word single-quoted so it arrives unchanged.

#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "childprocess.h"

namespace
{

std::string ShellQuoted(const std::string& strWord)
{
    std::string strQuoted = "'";
    for (char ch : strWord)
        strQuoted += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
    return strQuoted + "'";
}

} // namespace

ChildRun_s RunSiblingProgram(const char* pszName, const std::vector<std::string>& vecArgs)
{
    ChildRun_s run;
    char szSelf[PATH_MAX];
    const ssize_t cchSelf = readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1);
    if (cchSelf <= 0)
        return run;
    std::string strCommand(szSelf, static_cast<size_t>(cchSelf));
    strCommand = ShellQuoted(strCommand.substr(0, strCommand.rfind('/') + 1) + pszName);
    for (const std::string& strArg : vecArgs)
        strCommand += " " + ShellQuoted(strArg);
    FILE* pPipe = popen((strCommand + " 2>&1").c_str(), "r");
    if (pPipe == nullptr)
        return run;
    char rgchChunk[4096];
    for (size_t cbRead; (cbRead = fread(rgchChunk, 1, sizeof(rgchChunk), pPipe)) > 0;)
        run.m_strOutput.append(rgchChunk, cbRead);
    const int nStatus = pclose(pPipe);
    // The shell answers 127 when it cannot start the program.
    run.m_bStarted = nStatus != -1 && !(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 127);
    run.m_nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    return run;
}
