// The installscript program itself: exit codes, the text and JSON forms, --werror,
// switching checks off and --help.

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "checktest.h"
#include "childprocess.h"

namespace
{

// A file in the test's own scratch directory, removed when the object goes.
class CScratchFile
{
public:
    CScratchFile(const char* pszName, const std::string& strText) : m_strPath(pszName)
    {
        std::ofstream(m_strPath, std::ios::binary) << strText;
    }
    ~CScratchFile() { remove(m_strPath.c_str()); }
    const std::string& Path() const { return m_strPath; }

private:
    std::string m_strPath;
};

// Windows programs end their lines with CR LF.
std::string Lines(std::string strOutput)
{
    strOutput.erase(std::remove(strOutput.begin(), strOutput.end(), '\r'), strOutput.end());
    return strOutput;
}

const char k_szClean[] = "\"s\" { \"Delete Files\" { \"e\" { \"File\" \"%INSTALLDIR%\\\\x\" } } }";
const char k_szWarning[] = "\"s\" { \"Delete Files\" { \"e\" { \"File\" \"%NOPE%\\\\x\" } } }";
const char k_szError[] = "\"s\"\n{\n  \"Registery\" { }\n}\n";

} // namespace

TEST(InstallScriptCommand, ExitCodeFollowsTheWorstProblem)
{
    CScratchFile clean("check_clean.vdf", k_szClean), warning("check_warning.vdf", k_szWarning),
        error("check_error.vdf", k_szError);
    // {arguments, exit code}
    const std::pair<std::vector<std::string>, int> rgCases[] = {
        {{"check", clean.Path()}, 0},
        {{"check", warning.Path()}, 0},
        {{"check", "--werror", warning.Path()}, 1},
        {{"check", error.Path()}, 1},
        {{"check", "--disable", "unknown-section", error.Path()}, 0},
        {{"check", clean.Path(), "no-such-file.vdf"}, 2},
        {{"check", "--disable", "no-such-check", clean.Path()}, 2},
        {{"check", "--help"}, 0},
        {{}, 2},
    };
    for (const auto& testCase : rgCases)
    {
        const ChildRun_s run = RunSiblingProgram("installscript", testCase.first);
        ASSERT_TRUE(run.m_bStarted);
        EXPECT_EQ(run.m_nExitCode, testCase.second) << run.m_strOutput;
    }
}

TEST(InstallScriptCommand, TextFormIsCompilerStyleWithASummary)
{
    CScratchFile error("check_text.vdf", k_szError);
    const ChildRun_s run = RunSiblingProgram("installscript", {"check", error.Path()});
    EXPECT_EQ(
        Lines(run.m_strOutput),
        "check_text.vdf:3:3: error: \"Registery\" is no section the evaluator walks; it is ignored (did you "
        "mean \"Registry\"?) [unknown-section]\n"
        "1 error, 0 warnings and 0 notes in 1 file\n");
}

TEST(InstallScriptCommand, JsonFormCarriesEveryFieldOfAFinding)
{
    CScratchFile error("check_json.vdf", k_szError);
    const ChildRun_s run = RunSiblingProgram("installscript", {"check", "--format", "json", error.Path()});
    EXPECT_EQ(run.m_nExitCode, 1);
    EXPECT_EQ(
        Lines(run.m_strOutput),
        "{\"files\":[\n{\"path\":\"check_json.vdf\",\"read\":true,\"findings\":[\n"
        " {\"line\":3,\"column\":3,\"severity\":\"error\",\"check\":\"unknown-section\",\"path\":"
        "\"Registery\","
        "\"message\":\"\\\"Registery\\\" is no section the evaluator walks; it is ignored (did you mean "
        "\\\"Registry\\\"?)\"}]}],\n"
        "\"summary\":{\"errors\":1,\"warnings\":0,\"notes\":0,\"unreadable\":0}}\n");
}
