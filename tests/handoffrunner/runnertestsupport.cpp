#include "runnertestsupport.h"

#include <windows.h>

#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

void InstallRunnerAndInstaller(const CScratchDir& dir)
{
    fs::create_directories(Widen(dir.File("legacycompat")));
    fs::copy_file(Widen(DosPathOf(ISE_RUNNER_EXE)), Widen(dir.File("legacycompat\\KorvexService.exe")));
    fs::create_directories(Widen(dir.File("game\\redist")));
    fs::copy_file(Widen(DosPathOf(ISE_INSTALLER_EXE)), Widen(dir.File("game\\redist\\setup.exe")));
}

std::string InstallerArgs(const CScratchDir& dir, const std::string& strName, const std::string& strMore)
{
    return "--log \"" + dir.File("installers.log") + "\" --name " + strName + (strMore.empty() ? "" : " ") +
           strMore;
}

std::string Escaped(const std::string& strText)
{
    return Replaced(Replaced(strText, "\\", "\\\\"), "\"", "\\\"");
}

std::vector<std::string> InstallerRuns(const CScratchDir& dir, bool bWhole)
{
    std::istringstream text(dir.Read("installers.log"));
    std::vector<std::string> vecRuns;
    for (std::string strLine; std::getline(text, strLine);)
        vecRuns.push_back(bWhole ? strLine : strLine.substr(0, strLine.find(' ')));
    return vecRuns;
}

std::vector<std::string> LogLinesWith(const CScratchDir& dir, const std::string& strText)
{
    std::vector<std::string> vecLines;
    for (const std::string& strLine : dir.LogLines())
    {
        if (strLine.find(strText) != std::string::npos)
            vecLines.push_back(strLine);
    }
    return vecLines;
}
