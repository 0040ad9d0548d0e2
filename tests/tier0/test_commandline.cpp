#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "childprocess.h"
#include "tier0/commandline.h"
#include "tracedcall.h"

namespace
{

// The value of the probe's "key<TAB>value" line for strKey.
std::string Answer(const ChildRun_s& probe, const std::string& strKey)
{
    const std::string strOutput = "\n" + probe.m_strOutput;
    size_t iValue = strOutput.find("\n" + strKey + "\t");
    if (iValue == std::string::npos)
        return "<missing>";
    iValue += strKey.size() + 2;
    return strOutput.substr(iValue, strOutput.find_first_of("\r\n", iValue) - iValue);
}

// Every run also shows that a matched "-noassert" silences non-fatal assertions.
ChildRun_s RunProbe(const std::vector<std::string>& vecArgs)
{
    const ChildRun_s probe = RunSiblingProgram("tier0_cmdline_probe", vecArgs);
    EXPECT_TRUE(probe.m_bStarted);
    EXPECT_NE(Answer(probe, "has:-noassert"), Answer(probe, "assert_reported")) << vecArgs.size();
    return probe;
}
#define RunProbe(...) ISE_TRACED_CALL(RunProbe, __VA_ARGS__)

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

TEST(CommandLineChild, SwitchesMatchTheirWholeNameInAnyCase)
{
    const std::tuple<std::vector<std::string>, const char*, const char*> rgCases[] = {
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
    for (const auto& [vecArgs, pszKey, pszExpected] : rgCases)
        EXPECT_EQ(pszExpected, Answer(RunProbe(vecArgs), pszKey)) << vecArgs.size() << " " << pszKey;
}

TEST(CommandLineChild, ArgumentsArriveAsUTF8)
{
    const std::string strNonASCII = "-name=Gr\xC3\xBC\xC3\x9F"
                                    "e\xE2\x86\x92\xE6\x97\xA5\xE6\x9C\xAC";
    const ChildRun_s probe = RunProbe({strNonASCII, "two words", "", "-chromeos", "--", "-noassert"});
    EXPECT_EQ("7", Answer(probe, "argc"));
    EXPECT_EQ(strNonASCII, Answer(probe, "arg1"));
    EXPECT_EQ("two words", Answer(probe, "arg2"));
    EXPECT_EQ("", Answer(probe, "arg3"));
    EXPECT_EQ("1", Answer(probe, "has:-name="));
    EXPECT_EQ("1", Answer(probe, "chromeos"));
    EXPECT_EQ("0", Answer(probe, "has:-noassert"));
}

TEST(CommandLineChild, FatalAssertIgnoresNoAssert)
{
    const ChildRun_s fatal = RunProbe({"-noassert", "-probe-fatal"});
    EXPECT_EQ(1, fatal.m_nExitCode);
    EXPECT_NE(std::string::npos, fatal.m_strOutput.find("Fatal assert; application exiting"))
        << fatal.m_strOutput;
    EXPECT_NE(std::string::npos, fatal.m_strOutput.find("_ExitOnFatalAssert")) << fatal.m_strOutput;
    EXPECT_EQ("<missing>", Answer(fatal, "assert_reported"));
}

} // namespace
