#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "childprocess.h"
#include "tier0/commandline.h"

namespace
{

struct ProbeRun_s : ChildRun_s
{
    std::map<std::string, std::string> m_mapAnswers;

    std::string Answer(const std::string& strKey) const
    {
        const auto itAnswer = m_mapAnswers.find(strKey);
        return itAnswer == m_mapAnswers.end() ? "<missing>" : itAnswer->second;
    }
};

// Starts the probe with the given arguments and reads its "key<TAB>value" lines. Every run
// also shows that a matched "-noassert" silences non-fatal assertions.
ProbeRun_s RunProbe(const std::vector<std::string>& vecArgs)
{
    const ChildRun_s child = RunSiblingProgram("tier0_cmdline_probe", vecArgs);
    EXPECT_TRUE(child.m_bStarted);
    ProbeRun_s probe{child, {}};
    std::istringstream output(child.m_strOutput);
    for (std::string strLine; std::getline(output, strLine);)
    {
        if (!strLine.empty() && strLine.back() == '\r')
            strLine.pop_back();
        const size_t iTab = strLine.find('\t');
        if (iTab != std::string::npos)
            probe.m_mapAnswers[strLine.substr(0, iTab)] = strLine.substr(iTab + 1);
    }
    EXPECT_NE(probe.Answer("has:-noassert"), probe.Answer("assert_reported")) << vecArgs.size();
    return probe;
}

TEST(CommandLineBlock, IsLaidOutAsCountPointersThenStrings)
{
    int nArgs = 0;
    char** ppszArgv = GetUTF8ArgcArgv(&nArgs);
    ASSERT_NE(nullptr, ppszArgv);
    ASSERT_GE(nArgs, 1);
    EXPECT_EQ(nullptr, ppszArgv[nArgs]);

    int64 nStoredCount = 0;
    memcpy(&nStoredCount, reinterpret_cast<char*>(ppszArgv) - sizeof(int64), sizeof(nStoredCount));
    EXPECT_EQ(nArgs, nStoredCount);

    EXPECT_EQ(reinterpret_cast<char*>(ppszArgv + nArgs + 1), ppszArgv[0]);
    for (int iArg = 1; iArg < nArgs; ++iArg)
        EXPECT_EQ(ppszArgv[iArg - 1] + strlen(ppszArgv[iArg - 1]) + 1, ppszArgv[iArg]) << iArg;
}

TEST(CommandLineChild, SwitchesMatchAnyCaseAndAValueButNotALongerName)
{
    const struct
    {
        std::vector<std::string> m_vecArgs;
        const char* m_pszKey;
        const char* m_pszExpected;
    } rgCases[] = {
        {{}, "argc", "1"},
        {{"-other", "-NoAssert"}, "has:-noassert", "1"},
        {{"-noassert=1"}, "has:-noassert", "1"},
        {{"-noassertx"}, "has:-noassert", "0"},
        {{"noassert"}, "has:-noassert", "0"},
        {{"-NAME=x"}, "has:-name=", "1"},
        {{"-name"}, "has:-name=", "0"},
        {{"-namex=1"}, "has:-name=", "0"},
        {{"-ChromeOS=yes"}, "chromeos", "1"},
        {{"-chromeosx"}, "chromeos", "0"},
        {{"---", "-noassert"}, "has:-noassert", "1"}, // only an exact "--" ends the search
    };
    for (const auto& testCase : rgCases)
        EXPECT_EQ(testCase.m_pszExpected, RunProbe(testCase.m_vecArgs).Answer(testCase.m_pszKey))
            << testCase.m_vecArgs.size() << " " << testCase.m_pszKey;
}

TEST(CommandLineChild, ArgumentsArriveAsUTF8AndNothingAfterDoubleDashIsASwitch)
{
    const std::string strNonASCII = "-name=Gr\xC3\xBC\xC3\x9F"
                                    "e\xE2\x86\x92\xE6\x97\xA5\xE6\x9C\xAC";
    const ProbeRun_s probe = RunProbe({strNonASCII, "two words", "", "-chromeos", "--", "-noassert"});
    EXPECT_EQ("7", probe.Answer("argc"));
    EXPECT_EQ(strNonASCII, probe.Answer("arg1"));
    EXPECT_EQ("two words", probe.Answer("arg2"));
    EXPECT_EQ("", probe.Answer("arg3"));
    EXPECT_EQ("1", probe.Answer("has:-name="));
    EXPECT_EQ("1", probe.Answer("chromeos"));
    EXPECT_EQ("0", probe.Answer("has:-noassert"));
}

TEST(CommandLineChild, FatalAssertionIgnoresNoAssert)
{
    const ProbeRun_s probe = RunProbe({"-noassert", "-probe-fatal"});
    EXPECT_EQ(1, probe.m_nExitCode);
    EXPECT_NE(std::string::npos, probe.m_strOutput.find("Fatal assert; application exiting"))
        << probe.m_strOutput;
    EXPECT_NE(std::string::npos, probe.m_strOutput.find("_ExitOnFatalAssert")) << probe.m_strOutput;
    EXPECT_EQ("<missing>", probe.Answer("assert_reported"));
}

} // namespace
