#include "installscript/run_layout.h"

#include <climits>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace
{

constexpr char k_szEvaluatorName[] = "installscriptevaluator.exe";
constexpr char k_szRunnerBesideEvaluator[] = "legacycompat/KorvexService.exe";

bool BIsFile(const std::string& strPath)
{
    struct stat st;
    return stat(strPath.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string FolderOf(const std::string& strPath)
{
    const size_t iSlash = strPath.rfind('/');
    return iSlash == std::string::npos ? "." : strPath.substr(0, iSlash);
}

std::string OwnFolder()
{
    char szExe[PATH_MAX];
    const ssize_t cchExe = readlink("/proc/self/exe", szExe, sizeof(szExe) - 1);
    return cchExe > 0 ? FolderOf(std::string(szExe, (size_t)cchExe)) : ".";
}

// Installed (a package's /usr/bin and /usr/lib/installscript), then the cross tree of a
// build folder whose native tree this program came from (build/native/installscript/,
// or a test's folder below build/native/tests/).
std::vector<std::string> EvaluatorCandidates()
{
    const std::string strOwn = OwnFolder();
    return {strOwn + "/../lib/installscript/" + k_szEvaluatorName, strOwn + "/" + k_szEvaluatorName,
            strOwn + "/../../cross/bin/" + k_szEvaluatorName,
            strOwn + "/../../../cross/bin/" + k_szEvaluatorName};
}

} // namespace

bool BFindWindowsPrograms(const std::string& strEvaluator, const std::string& strRunner,
                          WindowsPrograms_s* pPrograms, std::string* pstrProblem)
{
    pPrograms->m_strEvaluator = strEvaluator;
    if (strEvaluator.empty())
    {
        for (const std::string& strCandidate : EvaluatorCandidates())
        {
            if (BIsFile(strCandidate))
            {
                pPrograms->m_strEvaluator = strCandidate;
                break;
            }
        }
    }
    if (!BIsFile(pPrograms->m_strEvaluator))
    {
        *pstrProblem = strEvaluator.empty()
                           ? std::string("cannot find ") + k_szEvaluatorName +
                                 " (installed beside this program, or in a cross build tree); "
                                 "name it with --evaluator"
                           : "no evaluator at " + strEvaluator;
        return false;
    }
    pPrograms->m_strRunner =
        strRunner.empty() ? FolderOf(pPrograms->m_strEvaluator) + "/" + k_szRunnerBesideEvaluator : strRunner;
    if (!BIsFile(pPrograms->m_strRunner))
    {
        *pstrProblem = "no hand-off runner at " + pPrograms->m_strRunner + "; name it with --runner";
        return false;
    }
    return true;
}
