#include <climits>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "childprocess.h"

extern char** environ;

namespace
{

std::string SiblingPath(const char* pszName)
{
    char szSelf[PATH_MAX];
    const ssize_t cchSelf = readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1);
    if (cchSelf <= 0)
        return std::string();
    const std::string strSelf(szSelf, static_cast<size_t>(cchSelf));
    return strSelf.substr(0, strSelf.rfind('/') + 1) + pszName;
}

void ReadAll(int fd, std::string& strOut)
{
    char rgchChunk[4096];
    ssize_t cbRead;
    while ((cbRead = read(fd, rgchChunk, sizeof(rgchChunk))) > 0)
        strOut.append(rgchChunk, static_cast<size_t>(cbRead));
}

} // namespace

ChildRun_s RunSiblingProgram(const char* pszName, const std::vector<std::string>& vecArgs)
{
    ChildRun_s run;
    const std::string strPath = SiblingPath(pszName);
    int rgfdPipe[2];
    if (strPath.empty() || pipe(rgfdPipe) != 0)
        return run;

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, rgfdPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, rgfdPipe[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, rgfdPipe[0]);
    posix_spawn_file_actions_addclose(&actions, rgfdPipe[1]);

    std::vector<char*> vecArgv{const_cast<char*>(strPath.c_str())};
    for (const std::string& strArg : vecArgs)
        vecArgv.push_back(const_cast<char*>(strArg.c_str()));
    vecArgv.push_back(nullptr);

    pid_t pid = 0;
    const int nSpawnError = posix_spawn(&pid, strPath.c_str(), &actions, nullptr, vecArgv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(rgfdPipe[1]);
    if (nSpawnError == 0)
        ReadAll(rgfdPipe[0], run.m_strOutput);
    close(rgfdPipe[0]);
    if (nSpawnError != 0)
        return run;

    int nStatus = 0;
    if (waitpid(pid, &nStatus, 0) == pid)
    {
        run.m_bStarted = true;
        run.m_nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }
    return run;
}
