#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "spewcapture.h"
#include "tier0/dbg.h"
#include "tier0/minidump.h"

namespace
{

// Sites are remembered for the whole process: every run of a test gets fresh line numbers,
// so that --gtest_repeat sees first reports again.
uint32 FreshLineBase()
{
    static uint32 s_unNextBase = 10000;
    s_unNextBase += 100;
    return s_unNextBase;
}

// The message part of an assertion's spew text, behind the "file (line) : " prefix.
std::string MessageOf(const std::string& strText)
{
    const size_t iColon = strText.find(" : ");
    return iColon == std::string::npos ? std::string() : strText.substr(iColon + 3);
}

TEST(AssertMacros, CarryTheExpressionOrTheFormattedMessage)
{
    CSpewCapture capture;
    const int nValue = 2;
    Assert(nValue + 1 == 4);
    AssertFmt(nValue == 3, "value %d", nValue);
    Assert(nValue == 2);
    const std::vector<std::string> vecAsserts = capture.TextsOfType(SPEW_ASSERT);
    ASSERT_EQ(2u, vecAsserts.size());
    EXPECT_EQ("Assertion Failed: nValue + 1 == 4", MessageOf(vecAsserts[0]));
    EXPECT_EQ("Assertion Failed: value 2", MessageOf(vecAsserts[1]));
}

TEST(AssertMsgFormat, MessageIsLimitedTo511Bytes)
{
    const std::string strPrefix = "Assertion Failed: ";
    const size_t cchRoom = 511 - strPrefix.size();
    for (size_t cchMessage : {cchRoom, cchRoom + 1, size_t(600)})
    {
        CQuietStderr quiet;
        CSpewCapture capture;
        AssertMsgFormat("f.cpp", 5, "%s", std::string(cchMessage, 'x').c_str());
        ASSERT_EQ(1u, capture.Records().size());
        EXPECT_EQ("f.cpp (5) : " + strPrefix + std::string(cchRoom, 'x'), capture.Records()[0].m_strText)
            << cchMessage;
    }
}

TEST(AssertMsg, ReportsToTheCrashReporterOncePerSite)
{
    static const char s_szFile[] = "C:\\tree\\src\\site.cpp";
    char szSameNameElsewhere[sizeof(s_szFile)];
    memcpy(szSameNameElsewhere, s_szFile, sizeof(s_szFile));
    const uint32 unLine = FreshLineBase();
    const uint32 unReportsBefore = GetAssertMiniDumpCount();
    CSpewCapture capture;

    AssertMsg(s_szFile, unLine, "a");
    EXPECT_EQ(unReportsBefore + 1, GetAssertMiniDumpCount());
    EXPECT_EQ("Assert( a ):C:\\tree\\src\\site.cpp:" + std::to_string(unLine) + "\n",
              GetLastAssertMiniDumpComment());

    AssertMsg(s_szFile, unLine, "b"); // same site: spewed, not reported again
    EXPECT_EQ(unReportsBefore + 1, GetAssertMiniDumpCount());
    AssertMsg(s_szFile, unLine + 1, "c");
    EXPECT_EQ(unReportsBefore + 2, GetAssertMiniDumpCount());
    AssertMsg(szSameNameElsewhere, unLine, "d"); // sites are told apart by the name's address
    EXPECT_EQ(unReportsBefore + 3, GetAssertMiniDumpCount());
    EXPECT_EQ(4u, capture.TextsOfType(SPEW_ASSERT).size());
}

TEST(AssertMsg, LineWordFlagsStayOutOfTheLine)
{
    const uint32 unLine = FreshLineBase();
    CSpewCapture capture;
    AssertMsg("flag.cpp", unLine | k_unAssertReporterFlag, "flagged");
    EXPECT_TRUE(GetLastAssertMiniDumpReporterFlag());
    EXPECT_EQ("Assert( flagged ):flag.cpp:" + std::to_string(unLine) + "\n", GetLastAssertMiniDumpComment());
    ASSERT_EQ(1u, capture.Records().size());
    EXPECT_EQ("flag.cpp (" + std::to_string(unLine) + ") : flagged", capture.Records()[0].m_strText);

    AssertMsg("flag.cpp", unLine + 1, "plain");
    EXPECT_FALSE(GetLastAssertMiniDumpReporterFlag());
}

TEST(AssertMsg, AssertionInsideTheHandlerIsDroppedOnTheSameThread)
{
    CSpewCapture capture;
    bool bNestedResult = false;
    capture.SetHook(
        [&](const SpewRecord_s& record)
        {
            if (record.m_strText.find("outer") != std::string::npos)
                bNestedResult = AssertMsg("nest.cpp", 2, "inner");
        });
    EXPECT_TRUE(AssertMsg("nest.cpp", 1, "outer"));
    EXPECT_TRUE(bNestedResult);
    EXPECT_EQ(std::vector<std::string>{"nest.cpp (1) : outer"}, capture.TextsOfType(SPEW_ASSERT));

    // The guard is released afterwards.
    AssertMsg("nest.cpp", 3, "after");
    EXPECT_EQ(2u, capture.TextsOfType(SPEW_ASSERT).size());
}

TEST(AssertMsg, AssertionsOnOtherThreadsAreNotTakenForNested)
{
    constexpr int k_nThreads = 4;
    CSpewCapture capture;
    // Hold the handler long enough for the threads to overlap.
    capture.SetHook([](const SpewRecord_s&) { Plat_Sleep(5); });
    std::vector<std::thread> vecThreads;
    for (int iThread = 0; iThread < k_nThreads; ++iThread)
        vecThreads.emplace_back([iThread] { AssertMsg("thread.cpp", 100 + iThread, "concurrent"); });
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(static_cast<size_t>(k_nThreads), capture.TextsOfType(SPEW_ASSERT).size());
}

TEST(AssertMsg, DisabledAssertionsReportNothingNotEvenFatalOnes)
{
    const uint32 unReportsBefore = GetAssertMiniDumpCount();
    CSpewCapture capture;
    SetAssertsDisabled(true);
    EXPECT_TRUE(AssertMsg("off.cpp", FreshLineBase(), "quiet"));
    EXPECT_TRUE(AssertMsg("off.cpp", FreshLineBase() | k_unAssertFatal, "quiet and alive"));
    SetAssertsDisabled(false);
    EXPECT_TRUE(capture.Records().empty());
    EXPECT_EQ(unReportsBefore, GetAssertMiniDumpCount());
}

class FatalAssertDeathTest : public testing::Test
{
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// Shows on stderr, when the process announces its exit, what the crash reporter got.
SpewRetval_t EchoCrashReportOnExit(SpewType_t, const char* pszText)
{
    if (strcmp(pszText, "_ExitOnFatalAssert\n") == 0)
    {
        fprintf(stderr, "reported=%s", GetLastAssertMiniDumpComment());
        fflush(stderr); // the process ends without flushing
    }
    return SPEW_CONTINUE;
}

TEST_F(FatalAssertDeathTest, EndsTheProcessWithExitCode1)
{
    const bool bMustHold = false;
    EXPECT_EXIT(AssertFatal(bMustHold), testing::ExitedWithCode(1), "Fatal Assertion Failed: bMustHold");
    EXPECT_EXIT(AssertFatal(bMustHold), testing::ExitedWithCode(1), "Fatal assert; application exiting");
}

TEST_F(FatalAssertDeathTest, ReportsToTheCrashReporterBeforeExiting)
{
    EXPECT_EXIT(
        {
            SpewOutputFunc(EchoCrashReportOnExit);
            AssertMsg("fatal.cpp", 9 | k_unAssertFatal, "boom");
        },
        testing::ExitedWithCode(1), "reported=Assert\\( boom \\):fatal.cpp:9");
    EXPECT_EXIT(
        {
            SpewOutputFunc(EchoCrashReportOnExit);
            AssertMsg("fatal.cpp", 9 | k_unAssertFatal, "");
        },
        testing::ExitedWithCode(1), "reported=Assert\\( Fatal assert \\):fatal.cpp:9");
}

} // namespace
