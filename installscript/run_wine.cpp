#include "installscript/run_wine.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

extern char** environ;

const char k_szRunMarkVariable[] = "INSTALLSCRIPT_RUN";

namespace
{

constexpr char k_szDebianWine[] = "/usr/lib/wine/wine64";

bool BIsExecutable(const std::string& strPath)
{
    struct stat st;
    return stat(strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(strPath.c_str(), X_OK) == 0;
}

std::string FindOnPath(const char* pszName)
{
    const char* pszPath = getenv("PATH");
    std::istringstream folders(pszPath ? pszPath : "");
    for (std::string strFolder; std::getline(folders, strFolder, ':');)
    {
        const std::string strCandidate = (strFolder.empty() ? "." : strFolder) + "/" + pszName;
        if (BIsExecutable(strCandidate))
            return strCandidate;
    }
    return std::string();
}

// The caller's environment with the prefix, the mark and, unless the caller chose
// otherwise, Wine's debug output off.
std::vector<std::string> RunEnvironment(const std::string& strPrefix, const std::string& strMark)
{
    std::vector<std::string> vecEnvironment;
    bool bHasDebug = false;
    for (char** ppsz = environ; *ppsz; ++ppsz)
    {
        const std::string strEntry = *ppsz;
        if (strEntry.rfind("WINEPREFIX=", 0) == 0 ||
            strEntry.rfind(std::string(k_szRunMarkVariable) + "=", 0) == 0)
            continue;
        bHasDebug |= strEntry.rfind("WINEDEBUG=", 0) == 0;
        vecEnvironment.push_back(strEntry);
    }
    vecEnvironment.push_back("WINEPREFIX=" + strPrefix);
    if (!strMark.empty())
        vecEnvironment.push_back(std::string(k_szRunMarkVariable) + "=" + strMark);
    if (!bHasDebug)
        vecEnvironment.push_back("WINEDEBUG=-all");
    return vecEnvironment;
}

std::vector<char*> Pointers(std::vector<std::string>& vecStrings)
{
    std::vector<char*> vecPointers;
    for (std::string& str : vecStrings)
        vecPointers.push_back(&str[0]);
    vecPointers.push_back(nullptr);
    return vecPointers;
}

pid_t Spawn(const std::string& strWine, std::vector<std::string> vecArgs, const std::string& strPrefix,
            const std::string& strMark, const std::string& strOutputFile)
{
    vecArgs.insert(vecArgs.begin(), strWine);
    std::vector<std::string> vecEnvironment = RunEnvironment(strPrefix, strMark);
    std::vector<char*> vecArgv = Pointers(vecArgs);
    std::vector<char*> vecEnvp = Pointers(vecEnvironment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, strOutputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t pid = -1;
    if (posix_spawn(&pid, strWine.c_str(), &actions, &attributes, vecArgv.data(), vecEnvp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return pid;
}

// The process's environment holds "NAME=VALUE".
bool BHasEnvironmentEntry(const char* pszPid, const std::string& strEntry)
{
    std::ifstream environment(std::string("/proc/") + pszPid + "/environ", std::ios::binary);
    for (std::string strVariable; std::getline(environment, strVariable, '\0');)
    {
        if (strVariable == strEntry)
            return true;
    }
    return false;
}

} // namespace

bool BFindWine(const std::string& strGiven, std::string* pstrWine, std::string* pstrProblem)
{
    if (!strGiven.empty())
    {
        *pstrWine = strGiven.find('/') == std::string::npos ? FindOnPath(strGiven.c_str()) : strGiven;
        if (!pstrWine->empty() && BIsExecutable(*pstrWine))
            return true;
        *pstrProblem = "no Wine program at " + strGiven;
        return false;
    }
    *pstrWine = FindOnPath("wine");
    if (pstrWine->empty() && BIsExecutable(k_szDebianWine))
        *pstrWine = k_szDebianWine;
    if (!pstrWine->empty())
        return true;
    *pstrProblem = "Wine is not installed (no \"wine\" on PATH, no " + std::string(k_szDebianWine) +
                   "); install it (Debian: apt-get install wine64) or name it with --wine";
    return false;
}

std::string ChoosePrefix(const std::string& strGiven)
{
    if (!strGiven.empty())
        return strGiven;
    const char* pszPrefix = getenv("WINEPREFIX");
    if (pszPrefix && *pszPrefix)
        return pszPrefix;
    const char* pszHome = getenv("HOME");
    return std::string(pszHome ? pszHome : "") + "/.wine";
}

bool BPrefixExists(const std::string& strPrefix)
{
    // The registry files come later: the server writes them when it goes idle.
    struct stat st;
    return stat((strPrefix + "/drive_c/windows").c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool BCreatePrefix(const std::string& strWine, const std::string& strPrefix, const std::string& strOutputFile)
{
    CWineRun run(strWine, strPrefix, std::string());
    if (!run.BStart({"wineboot", "--init"}, ".", strOutputFile))
        return false;
    int nExitCode = 0;
    while (!run.BEnded(&nExitCode))
        usleep(50 * 1000);
    return nExitCode == 0 && BPrefixExists(strPrefix);
}

CWineRun::CWineRun(const std::string& strWine, const std::string& strPrefix, const std::string& strMark)
    : m_strWine(strWine), m_strPrefix(strPrefix), m_strMark(strMark)
{
}

CWineRun::~CWineRun()
{
    if (m_pid > 0)
        EndEverything();
}

bool CWineRun::BStart(const std::vector<std::string>& vecArgs, const std::string& strFolder,
                      const std::string& strOutputFile)
{
    // posix_spawn has no working-directory action everywhere: the child inherits ours.
    char szPrevious[PATH_MAX];
    if (!getcwd(szPrevious, sizeof(szPrevious)) || chdir(strFolder.c_str()) != 0)
        return false;
    m_pid = Spawn(m_strWine, vecArgs, m_strPrefix, m_strMark, strOutputFile);
    const bool bBack = chdir(szPrevious) == 0;
    return m_pid > 0 && bBack;
}

bool CWineRun::BEnded(int* pnExitCode)
{
    if (m_pid <= 0)
        return true;
    int nStatus = 0;
    const pid_t pid = waitpid(m_pid, &nStatus, WNOHANG);
    if (pid == 0)
        return false;
    *pnExitCode = pid == m_pid && WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    m_pid = -1;
    return true;
}

void CWineRun::EndEverything()
{
    const std::string strEntry = std::string(k_szRunMarkVariable) + "=" + m_strMark;
    if (DIR* pDir = opendir("/proc"))
    {
        for (dirent* pEntry; (pEntry = readdir(pDir));)
        {
            const pid_t pid = (pid_t)atoi(pEntry->d_name);
            if (pid > 0 && pid != getpid() && !m_strMark.empty() &&
                BHasEnvironmentEntry(pEntry->d_name, strEntry))
                kill(pid, SIGKILL);
        }
        closedir(pDir);
    }
    if (m_pid > 0)
    {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}
