// `installscript run` for real: the native program starting the cross-built evaluator and
// runner under Wine, in prefixes of the test's own.

#include <gtest/gtest.h>

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "childprocess.h"

namespace
{

namespace fs = std::filesystem;

const std::string k_strWindowsBuild = ISE_WINDOWS_BUILD_DIR;
const std::string k_strPrefix = ISE_RUN_TEST_PREFIX;

// A folder of the test's own under the system's temporary folder, removed afterwards.
class CScratchFolder
{
public:
    explicit CScratchFolder(const std::string& strName = "")
    {
        const testing::TestInfo* pInfo = testing::UnitTest::GetInstance()->current_test_info();
        m_path = fs::temp_directory_path() / ("ise_run_" + std::string(pInfo->name()) + strName);
        fs::remove_all(m_path);
        fs::create_directories(m_path);
    }
    ~CScratchFolder()
    {
        std::error_code error;
        fs::remove_all(m_path, error);
    }
    std::string Path(const std::string& strName = "") const { return (m_path / strName).string(); }
    void Write(const std::string& strName, const std::string& strText) const
    {
        fs::create_directories(fs::path(Path(strName)).parent_path());
        std::ofstream(Path(strName), std::ios::binary) << strText;
    }

private:
    fs::path m_path;
};

std::string Read(const std::string& strPath)
{
    std::ostringstream text;
    text << std::ifstream(strPath, std::ios::binary).rdbuf();
    return text.str();
}

// The options every run of the tests shares, then the test's own.
std::vector<std::string> RunArgs(std::vector<std::string> vecArgs, const std::string& strPrefix = k_strPrefix)
{
    vecArgs.insert(vecArgs.begin(), {"run", "--prefix", strPrefix, "--evaluator",
                                     k_strWindowsBuild + "/bin/installscriptevaluator.exe"});
    return vecArgs;
}

// A bare script: a registry value under HKCU, a folder and, with bInstaller, the example
// installer working for nMilliseconds.
std::string BareScript(bool bInstaller = false, int nMilliseconds = 0)
{
    std::string strScript =
        "\"InstallScript\" { \"Registry\" { \"HKEY_CURRENT_USER\\\\Software\\\\Run Test\" { "
        "\"string\" { \"Path\" \"%INSTALLDIR%\" } } } "
        "\"Create Folders\" { \"Saves\" { \"Folder\" \"%INSTALLDIR%\\\\saves\" } } ";
    if (bInstaller)
        // Run on every launch: the prefix keeps its run-once records from test to test.
        strScript += "\"Run Process\" { \"Tools\" { \"Description\" \"Slow tools\" \"IgnoreHasRunKey\" \"1\" "
                     "\"process\" "
                     "\"%INSTALLDIR%\\\\setup.exe\" \"command\" \"--ms " +
                     std::to_string(nMilliseconds) + "\" } } ";
    return strScript + "}";
}

void CopyInstaller(const CScratchFolder& folder, const std::string& strGame)
{
    fs::copy_file(k_strWindowsBuild + "/examples/redist-installer/example_tools_setup.exe",
                  folder.Path(strGame + "/setup.exe"), fs::copy_options::overwrite_existing);
}

// The value of HKCU\Software\Run Test\Path in the prefix, "" when there is none. Output
// goes through a file: a Wine server started by the query would hold a pipe open.
std::string RegisteredPath(const std::string& strPrefix = k_strPrefix)
{
    const std::string strOutputFile = strPrefix + "/reg-query.txt";
    system(("WINEPREFIX='" + strPrefix +
            "' WINEDEBUG=-all /usr/lib/wine/wine64 reg query 'HKCU\\Software\\Run Test' /v Path >'" +
            strOutputFile + "' 2>/dev/null </dev/null")
               .c_str());
    const std::string strOutput = Read(strOutputFile);
    const size_t iValue = strOutput.find("REG_SZ");
    if (iValue == std::string::npos)
        return std::string();
    const size_t iStart = strOutput.find_first_not_of(' ', iValue + 6);
    return strOutput.substr(iStart, strOutput.find_first_of("\r\n", iStart) - iStart);
}

TEST(InstallScriptRun, BareScriptRunsInAnInstallDirectoryWithAwkwardCharacters)
{
    CScratchFolder folder;
    const std::string strGame = "My \"Game\" Ünïcødé";
    folder.Write("script.vdf", BareScript());
    fs::create_directories(folder.Path(strGame));
    const ChildRun_s run = RunSiblingProgram(
        "installscript",
        RunArgs({"--appid", "990801", "--install-dir", folder.Path(strGame), folder.Path("script.vdf")}));
    EXPECT_EQ(0, run.m_nExitCode) << run.m_strOutput;
    // Wine's drive Z: is the host's root: the translated path is the host path, backslashed.
    std::string strTranslated = "Z:" + folder.Path(strGame);
    for (char& ch : strTranslated)
        ch = ch == '/' ? '\\' : ch;
    EXPECT_NE(std::string::npos,
              run.m_strOutput.find("[Standalone] translated install path: " + strTranslated))
        << run.m_strOutput;
    EXPECT_NE(std::string::npos, run.m_strOutput.find("the evaluator succeeded (exit code 0)"));
}

TEST(InstallScriptRun, UninstallUndoesWhatTheJobFileInstalled)
{
    CScratchFolder folder;
    folder.Write("script.vdf", BareScript());
    ASSERT_EQ(0, RunSiblingProgram("installscript", RunArgs({"--appid", "990802", "--mode", "uninstall",
                                                             folder.Path("script.vdf")}))
                     .m_nExitCode);
    const std::string strBefore = RegisteredPath();
    folder.Write("job.vdf", "\"job\" { \"g\" { \"appid\" \"990802\" \"mode\" \"1\" \"install_path\" \"" +
                                folder.Path() + "\" \"compat_installscript\" " + BareScript().substr(16) +
                                " } }");
    const ChildRun_s install = RunSiblingProgram("installscript", RunArgs({folder.Path("job.vdf")}));
    EXPECT_EQ(0, install.m_nExitCode) << install.m_strOutput;
    EXPECT_FALSE(RegisteredPath().empty());
    EXPECT_TRUE(fs::is_directory(folder.Path("saves")));

    const ChildRun_s uninstall = RunSiblingProgram(
        "installscript", RunArgs({"--appid", "990802", "--mode", "uninstall", folder.Path("script.vdf")}));
    EXPECT_EQ(0, uninstall.m_nExitCode) << uninstall.m_strOutput;
    EXPECT_EQ(strBefore, RegisteredPath());
}

TEST(InstallScriptRun, MissingPrefixIsCreatedWithALineSayingSo)
{
    CScratchFolder folder;
    folder.Write("script.vdf", BareScript());
    const std::string strPrefix = folder.Path("new prefix");
    const ChildRun_s run = RunSiblingProgram(
        "installscript", RunArgs({"--appid", "990803", folder.Path("script.vdf")}, strPrefix));
    EXPECT_EQ(0, run.m_nExitCode) << run.m_strOutput;
    EXPECT_EQ(0u, run.m_strOutput.find("installscript run: creating the Wine prefix " + strPrefix));
    EXPECT_FALSE(RegisteredPath(strPrefix).empty());
    // Wine's own programs of that prefix end with it.
    system(("WINEPREFIX='" + strPrefix + "' /usr/lib/wine/wineserver -k >/dev/null 2>&1 </dev/null").c_str());
}

TEST(InstallScriptRun, MissingWineExitsWith3)
{
    CScratchFolder folder;
    folder.Write("script.vdf", BareScript());
    const ChildRun_s run = RunSiblingProgram(
        "installscript",
        RunArgs({"--appid", "990804", "--wine", "/nonexistent/wine", folder.Path("script.vdf")}));
    EXPECT_EQ(3, run.m_nExitCode);
    EXPECT_EQ("installscript run: no Wine program at /nonexistent/wine\n", run.m_strOutput);
}

TEST(InstallScriptRun, CheckerErrorsStopTheRunBeforeWineStarts)
{
    CScratchFolder folder;
    folder.Write("script.vdf", "\"InstallScript\" { \"Run Proces\" { } \"Create Folders\" { \"Saves\" { "
                               "\"Folder\" \"%INSTALLDIR%\\\\saves\" } } }");
    const ChildRun_s run = RunSiblingProgram(
        "installscript", RunArgs({"--appid", "990805", "--check", folder.Path("script.vdf")}));
    EXPECT_EQ(1, run.m_nExitCode);
    EXPECT_NE(std::string::npos, run.m_strOutput.find("[unknown-section]")) << run.m_strOutput;
    EXPECT_NE(std::string::npos, run.m_strOutput.find("nothing was run"));
    EXPECT_FALSE(fs::exists(folder.Path("saves")));
}

TEST(InstallScriptRun, DryRunOnlyPrintsTheEscapedJob)
{
    CScratchFolder folder;
    folder.Write("script.vdf", BareScript());
    const std::string strGame = folder.Path("a\\b \"c\"");
    const ChildRun_s run = RunSiblingProgram(
        "installscript", RunArgs({"--appid", "990806", "--install-dir", strGame, "--dry-run", "--workdir",
                                  folder.Path("work"), folder.Path("script.vdf")}));
    EXPECT_EQ(0, run.m_nExitCode) << run.m_strOutput;
    EXPECT_NE(std::string::npos,
              run.m_strOutput.find("\"install_path\"\t\t\"" + folder.Path("a\\\\b \\\"c\\\"") + "\""))
        << run.m_strOutput;
    EXPECT_NE(std::string::npos, run.m_strOutput.find("would run: WINEPREFIX=" + k_strPrefix));
    EXPECT_FALSE(fs::exists(folder.Path("work")));
}

// What a terminal shows: the program under a pseudo-terminal while a slow installer runs.
TEST(InstallScriptRun, TerminalShowsAProgressBarRedrawnInPlace)
{
    CScratchFolder folder;
    folder.Write("game/script.vdf", BareScript(true, 2500));
    CopyInstaller(folder, "game");
    const std::string strProgram = fs::read_symlink("/proc/self/exe").parent_path() / "installscript";
    std::vector<std::string> vecArgs = RunArgs({"--appid", "990807", folder.Path("game/script.vdf")});
    vecArgs.insert(vecArgs.begin(), strProgram);
    std::vector<char*> vecArgv;
    for (std::string& strArg : vecArgs)
        vecArgv.push_back(&strArg[0]);
    vecArgv.push_back(nullptr);

    int fdTerminal = -1;
    const pid_t pid = forkpty(&fdTerminal, nullptr, nullptr, nullptr);
    ASSERT_NE(-1, pid);
    if (pid == 0)
    {
        execv(strProgram.c_str(), vecArgv.data());
        _exit(127);
    }
    std::string strScreen;
    char rgchChunk[4096];
    for (ssize_t cbRead; (cbRead = read(fdTerminal, rgchChunk, sizeof(rgchChunk))) > 0;)
        strScreen.append(rgchChunk, (size_t)cbRead);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    close(fdTerminal);
    EXPECT_EQ(0, WEXITSTATUS(nStatus)) << strScreen;
    EXPECT_NE(std::string::npos, strScreen.find("\r\033[K[........................] 1/1 Slow tools  0:0"))
        << strScreen;
    // The bar is gone before the summary.
    EXPECT_NE(std::string::npos, strScreen.find("\r\033[K  [Standalone]")) << strScreen;
}

// Every process that carries the run's mark in its environment, by the mark's value.
int CountRunProcesses(const std::string& strWorkdir)
{
    int cProcesses = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc"))
    {
        std::ifstream environment(entry.path() / "environ", std::ios::binary);
        for (std::string strVariable; std::getline(environment, strVariable, '\0');)
            cProcesses += strVariable == "INSTALLSCRIPT_RUN=" + strWorkdir;
    }
    return cProcesses;
}

TEST(InstallScriptRun, InterruptEndsTheRunReportingWhatWasLeftUndone)
{
    CScratchFolder folder;
    folder.Write("game/script.vdf", BareScript(true, 20000));
    CopyInstaller(folder, "game");
    const std::string strProgram = fs::read_symlink("/proc/self/exe").parent_path() / "installscript";
    const std::string strOutput = folder.Path("output.txt");
    std::vector<std::string> vecArgs =
        RunArgs({"--appid", "990810", "--workdir", folder.Path("work"), folder.Path("game/script.vdf")});
    vecArgs.insert(vecArgs.begin(), strProgram);
    std::vector<char*> vecArgv;
    for (std::string& strArg : vecArgs)
        vecArgv.push_back(&strArg[0]);
    vecArgv.push_back(nullptr);
    const pid_t pid = fork();
    ASSERT_NE(-1, pid);
    if (pid == 0)
    {
        if (!freopen(strOutput.c_str(), "w", stdout) || !freopen(strOutput.c_str(), "a", stderr))
            _exit(126);
        execv(strProgram.c_str(), vecArgv.data());
        _exit(127);
    }
    // Interrupted once the installer runs.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (Read(strOutput).find("step 1/1") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline)
        usleep(50 * 1000);
    kill(pid, SIGINT);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(130, WEXITSTATUS(nStatus)) << Read(strOutput);
    EXPECT_NE(std::string::npos, Read(strOutput).find("Left undone: step 1 of 1 (Slow tools)"))
        << Read(strOutput);
    usleep(500 * 1000);
    EXPECT_EQ(0, CountRunProcesses(folder.Path("work")));
}

TEST(InstallScriptRun, PipedOutputIsOnePlainLinePerStep)
{
    CScratchFolder folder;
    folder.Write("game/script.vdf", BareScript(true, 600));
    CopyInstaller(folder, "game");
    const ChildRun_s run =
        RunSiblingProgram("installscript", RunArgs({"--appid", "990808", folder.Path("game/script.vdf")}));
    EXPECT_EQ(0, run.m_nExitCode) << run.m_strOutput;
    EXPECT_EQ(0u, run.m_strOutput.find("step 1/1: Slow tools\n")) << run.m_strOutput;
    EXPECT_EQ(std::string::npos, run.m_strOutput.find_first_of("\r\033"));
}

} // namespace
