#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "childprocess.h"
#include "tier0/commandline.h"

namespace
{

struct ProbeRun_s
{
    int m_nExitCode = -1;
    std::string m_strOutput;
    std::map<std::string, std::string> m_mapAnswers;

    std::string Answer(const std::string& strKey) const
    {
        const auto itAnswer = m_mapAnswers.find(strKey);
        return itAnswer == m_mapAnswers.end() ? "<missing>" : itAnswer->second;
    }
};

// Starts the probe with the given arguments and reads its "key<TAB>value" lines.
ProbeRun_s RunProbe(const std::vector<std::string>& vecArgs)
{
    const ChildRun_s child = RunSiblingProgram("tier0_cmdline_probe", vecArgs);
    EXPECT_TRUE(child.m_bStarted);
    ProbeRun_s probe;
    probe.m_nExitCode = child.m_nExitCode;
    probe.m_strOutput = child.m_strOutput;
    size_t iLine = 0;
    while (iLine < child.m_strOutput.size())
    {
        size_t iEnd = child.m_strOutput.find('\n', iLine);
        if (iEnd == std::string::npos)
            iEnd = child.m_strOutput.size();
        std::string strLine = child.m_strOutput.substr(iLine, iEnd - iLine);
        if (!strLine.empty() && strLine.back() == '\r')
            strLine.pop_back();
        const size_t iTab = strLine.find('\t');
        if (iTab != std::string::npos)
            probe.m_mapAnswers[strLine.substr(0, iTab)] = strLine.substr(iTab + 1);
        iLine = iEnd + 1;
    }
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

TEST(CommandLineChild, NoArgumentsGiveCountOneAndNoSwitches)
{
    const ProbeRun_s probe = RunProbe({});
    EXPECT_EQ(0, probe.m_nExitCode) << probe.m_strOutput;
    EXPECT_EQ("1", probe.Answer("argc"));
    EXPECT_EQ("1", probe.Answer("argv_terminated"));
    EXPECT_EQ("0", probe.Answer("has:-noassert"));
    EXPECT_EQ("0", probe.Answer("has:-chromeos"));
    EXPECT_EQ("0", probe.Answer("has:-name="));
    EXPECT_EQ("0", probe.Answer("chromeos"));
    EXPECT_EQ("1", probe.Answer("assert_reported"));
}

TEST(CommandLineChild, NoAssertMatchesAnyCaseAndAValueButNotALongerName)
{
    const struct
    {
        const char* m_pszArg;
        bool m_bMatches;
    } rgCases[] = {
        {"-noassert", true},   {"-NoAssert", true}, {"-noassert=1", true},
        {"-noassertx", false}, {"-noasser", false}, {"noassert", false},
    };
    for (const auto& testCase : rgCases)
    {
        const ProbeRun_s probe = RunProbe({"-other", testCase.m_pszArg});
        EXPECT_EQ(testCase.m_bMatches ? "1" : "0", probe.Answer("has:-noassert")) << testCase.m_pszArg;
        // A matched "-noassert" silences non-fatal assertions.
        EXPECT_EQ(testCase.m_bMatches ? "0" : "1", probe.Answer("assert_reported")) << testCase.m_pszArg;
    }
}

TEST(CommandLineChild, NameEndingInEqualsMatchesAnyValue)
{
    EXPECT_EQ("1", RunProbe({"-NAME=x"}).Answer("has:-name="));
    EXPECT_EQ("1", RunProbe({"-name="}).Answer("has:-name="));
    EXPECT_EQ("0", RunProbe({"-name"}).Answer("has:-name="));
    EXPECT_EQ("0", RunProbe({"-namex=1"}).Answer("has:-name="));
}

TEST(CommandLineChild, NothingAfterDoubleDashIsASwitch)
{
    const ProbeRun_s probe = RunProbe({"-chromeos", "--", "-noassert"});
    EXPECT_EQ("4", probe.Answer("argc"));
    EXPECT_EQ("1", probe.Answer("chromeos"));
    EXPECT_EQ("0", probe.Answer("has:-noassert"));
    EXPECT_EQ("1", probe.Answer("assert_reported"));

    // Only an argument that is exactly "--" stops the search.
    EXPECT_EQ("1", RunProbe({"---", "-noassert"}).Answer("has:-noassert"));
}

TEST(CommandLineChild, ChromeOSSwitch)
{
    EXPECT_EQ("1", RunProbe({"-chromeos"}).Answer("chromeos"));
    EXPECT_EQ("1", RunProbe({"-ChromeOS=yes"}).Answer("chromeos"));
    EXPECT_EQ("0", RunProbe({"-chromeosx"}).Answer("chromeos"));
}

TEST(CommandLineChild, ArgumentsArriveAsUTF8)
{
    const std::string strNonASCII = "-name=Gr\xC3\xBC\xC3\x9F"
                                    "e\xE2\x86\x92\xE6\x97\xA5\xE6\x9C\xAC";
    const ProbeRun_s probe = RunProbe({strNonASCII, "two words", ""});
    EXPECT_EQ("4", probe.Answer("argc"));
    EXPECT_EQ(strNonASCII, probe.Answer("arg1"));
    EXPECT_EQ("two words", probe.Answer("arg2"));
    EXPECT_EQ("", probe.Answer("arg3"));
    EXPECT_EQ("1", probe.Answer("has:-name="));
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
