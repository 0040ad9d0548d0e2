#include <cstdio>
#include <cstring>
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

// The formatted message, prefix included, is cut at 511 bytes.
TEST(AssertMsg, MacrosCarryTheMessageCutAt511Bytes)
{
    CQuietStderr quiet;
    CSpewCapture capture;
    const int nValue = 2;
    Assert(nValue + 1 == 4);
    AssertFmt(nValue == 3, "value %d", nValue);
    Assert(nValue == 2);
    AssertFmt(nValue == 3, "%s", std::string(600, 'x').c_str());
    EXPECT_EQ(1, capture.CountFailedAssertions("nValue + 1 == 4"));
    EXPECT_EQ(1, capture.CountFailedAssertions("value 2"));
    EXPECT_EQ(1, capture.CountFailedAssertions(std::string(511 - strlen("Assertion Failed: "), 'x').c_str()));
    EXPECT_EQ(3, capture.CountAsserts());
}

TEST(AssertMsg, EachSiteIsReportedOnceUnlessAssertsAreDisabled)
{
    CQuietStderr quiet;
    // Sites are (line, file-name pointer) pairs; the line word's flags are not part of the line.
    static const char s_szFile[] = "C:\\tree\\src\\site.cpp";
    const std::string strSameNameElsewhere = s_szFile;
    const uint32 unLine = FreshLineBase();
    const uint32 unReportsBefore = GetAssertMiniDumpCount();
    CSpewCapture sites;

    AssertMsg(s_szFile, unLine | k_unAssertReporterFlag, "a");
    EXPECT_EQ(unReportsBefore + 1, GetAssertMiniDumpCount());
    EXPECT_EQ("Assert( a ):C:\\tree\\src\\site.cpp:" + std::to_string(unLine) + "\n",
              GetLastAssertMiniDumpComment());
    EXPECT_TRUE(GetLastAssertMiniDumpReporterFlag());

    AssertMsg(s_szFile, unLine, "b"); // spewed, not reported again
    EXPECT_EQ(unReportsBefore + 1, GetAssertMiniDumpCount());
    AssertMsg(s_szFile, unLine + 1, "c");
    EXPECT_FALSE(GetLastAssertMiniDumpReporterFlag());
    AssertMsg(strSameNameElsewhere.c_str(), unLine, "d");
    SetAssertsDisabled(true); // nothing is spewed or reported, not even a fatal assertion
    EXPECT_TRUE(AssertMsg("off.cpp", FreshLineBase(), "quiet"));
    EXPECT_TRUE(AssertMsg("off.cpp", FreshLineBase() | k_unAssertFatal, "quiet and alive"));
    SetAssertsDisabled(false);
    EXPECT_EQ(unReportsBefore + 3, GetAssertMiniDumpCount());
    EXPECT_EQ("src\\site.cpp (" + std::to_string(unLine) + ") : a", sites.TextsOfType(SPEW_ASSERT).at(0));
    EXPECT_EQ(4u, sites.Records().size());
}

// Dropped only on the reporting thread, and only while it reports.
TEST(AssertMsg, AssertionInsideTheHandlerIsDropped)
{
    CSpewCapture capture;
    bool bNestedResult = false;
    capture.SetHook(
        [&](const SpewRecord_s& record)
        {
            if (record.m_strText.find("outer") != std::string::npos)
                bNestedResult = AssertMsg("nest.cpp", 2, "inner");
            Plat_Sleep(5); // long enough for the threads below to overlap
        });
    EXPECT_TRUE(AssertMsg("nest.cpp", 1, "outer"));
    EXPECT_TRUE(bNestedResult);
    EXPECT_EQ(std::vector<std::string>{"nest.cpp (1) : outer"}, capture.TextsOfType(SPEW_ASSERT));

    std::vector<std::thread> vecThreads;
    for (int iThread = 0; iThread < 4; ++iThread)
        vecThreads.emplace_back([iThread] { AssertMsg("thread.cpp", 100 + iThread, "concurrent"); });
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(5u, capture.TextsOfType(SPEW_ASSERT).size());
}

// Shows on one stderr line, when the process announces its exit, what was spewed before
// and what the crash reporter got.
SpewRetval_t EchoOnFatalExit(SpewType_t, const char* pszText)
{
    static std::string s_strSpewed;
    if (strcmp(pszText, "_ExitOnFatalAssert\n") != 0)
        s_strSpewed += std::string(pszText) + "|";
    else
        fprintf(stderr, "%sreported=%s", s_strSpewed.c_str(), GetLastAssertMiniDumpComment());
    fflush(stderr); // the process ends without flushing
    return SPEW_CONTINUE;
}

TEST(FatalAssertDeathTest, ReportsThenEndsTheProcessWithExitCode1)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const bool bMustHold = false;
    EXPECT_EXIT(
        {
            SpewOutputFunc(EchoOnFatalExit);
            AssertFatal(bMustHold);
        },
        testing::ExitedWithCode(1),
        "Fatal Assertion Failed: bMustHold\\|.*Fatal assert; application exiting\\|"
        "reported=Assert\\( Fatal Assertion Failed: bMustHold \\)");
    EXPECT_EXIT(
        {
            SpewOutputFunc(EchoOnFatalExit);
            AssertMsg("fatal.cpp", 9 | k_unAssertFatal, "");
        },
        testing::ExitedWithCode(1), "reported=Assert\\( Fatal assert \\):fatal.cpp:9");
}

} // namespace
