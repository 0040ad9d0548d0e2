#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "spewcapture.h"
#include "tier0/dbg.h"

namespace
{

SpewRetval_t SpewAt(SpewType_t eType, const char* pszFile, int nLine, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    const SpewRetval_t eResult = SpewMessage(eType, pszFile, nLine, pszFormat, args);
    va_end(args);
    return eResult;
}

// The text of the one record a spew at line 7 hands to the output handler.
std::string SpewedText(SpewType_t eType, const char* pszFile, const std::string& strMessage)
{
    CQuietStderr quiet;
    CSpewCapture capture;
    SpewAt(eType, pszFile, 7, "%s", strMessage.c_str());
    return capture.Records().size() == 1 ? capture.Records()[0].m_strText : "<not one record>";
}

// An assert's file name starts at its first "src" component; the text is cut at 5,018 bytes,
// the prefix included.
TEST(SpewText, AssertPrefixStartsAtSrcWithinTheCut)
{
    const char* const rgpszCases[][2] = {
        {"C:\\tree\\src\\tier1\\x", "src\\tier1\\x"},
        {"/home/dev/src/tier0/dbg.cpp", "src/tier0/dbg.cpp"},
        {"C:\\src\\a/src\\b", "src\\a/src\\b"},
        {"C:\\tree\\srcx\\y", "C:\\tree\\srcx\\y"}, // "src" must end at a separator
        {"C:\\mysrc\\y", "C:\\mysrc\\y"},           // and begin at one
        {"C:\\tree\\src", "C:\\tree\\src"},
    };
    for (const auto& rgpszCase : rgpszCases)
        EXPECT_EQ(std::string(rgpszCase[1]) + " (7) : t", SpewedText(SPEW_ASSERT, rgpszCase[0], "t"));

    EXPECT_EQ(std::string(5018, 'a'), SpewedText(SPEW_MESSAGE, nullptr, std::string(5018, 'a')));
    EXPECT_EQ(std::string(5018, 'a'), SpewedText(SPEW_MESSAGE, nullptr, std::string(5019, 'a')));
    EXPECT_EQ("f.cpp (7) : " + std::string(5018 - 12, 'b'),
              SpewedText(SPEW_ASSERT, "f.cpp", std::string(6000, 'b')));
    EXPECT_EQ(std::string(5018, 'f'), SpewedText(SPEW_ASSERT, std::string(6000, 'f').c_str(), "lost"));
}

TEST(SpewFunctions, EachSpewsItsTypeWithSevereOnesCopiedToStderr)
{
    // Only asserts with a file carry the prefix; only errors and asserts also go to stderr.
    CSpewCapture capture;
    testing::internal::CaptureStderr();
    Msg("m%d", 1);
    SpewAt(SPEW_WARNING, "src/w.cpp", 2, "w%d", 2);
    capture.SetResult(SPEW_DEBUGGER);
    EXPECT_EQ(SPEW_DEBUGGER, Error("e%d", 3)); // the handler's answer comes back
    SpewAt(SPEW_ASSERT, "f.cpp", 4, "a");
    SpewAt(SPEW_ASSERT, nullptr, 5, "b");
    EXPECT_EQ("e3\nf.cpp (4) : a\nb\n", testing::internal::GetCapturedStderr());
    std::string strSeen;
    for (const SpewRecord_s& record : capture.Records())
        strSeen += std::to_string(record.m_eType) + ":" + record.m_strText + "|";
    EXPECT_EQ("0:m1|1:w2|3:e3|2:f.cpp (4) : a|2:b|", strSeen);
}

TEST(SpewDefaultHandler, AsksForABreakOnlyOnAsserts)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_MESSAGE, "a "));
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_WARNING, "%s "));
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_ERROR, "c "));
    EXPECT_EQ(SPEW_DEBUGGER, DefaultSpewFunc(SPEW_ASSERT, "d"));
    fflush(stdout);
    EXPECT_EQ("a %s c d", testing::internal::GetCapturedStdout());
}

// Every handler call spews again from inside; only one thread's pair may be in at a time.
TEST(SpewLock, AdmitsOnlyItsOwningThreadAgain)
{
    std::atomic<int> nInHandler{0};
    std::atomic<int> nMostInHandler{0};
    CSpewCapture capture;
    capture.SetHook(
        [&](const SpewRecord_s& record)
        {
            nMostInHandler = std::max(nMostInHandler.load(), ++nInHandler);
            if (record.m_strText == "outer")
                Warning("inner");
            std::this_thread::yield();
            --nInHandler;
        });
    std::vector<std::thread> vecThreads;
    for (int iThread = 0; iThread < 4; ++iThread)
        vecThreads.emplace_back(
            []
            {
                for (int iMessage = 0; iMessage < 100; ++iMessage)
                    Msg("outer");
            });
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(400u, capture.TextsOfType(SPEW_WARNING).size());
    EXPECT_EQ(800u, capture.Records().size());
    EXPECT_EQ(2, nMostInHandler.load());
}

TEST(SpewGroups, LevelIsTheGroupsOwnElseTheDefault)
{
    const char* const rgpszNames[] = {"test.mid",  "test.alpha", "test.zeta",
                                      "TEST.Beta", "test.omega", "test.a"};
    for (int iName = 0; iName < 6; ++iName)
        SpewActivate(rgpszNames[iName], 10 + iName);
    for (int iName = 0; iName < 6; ++iName)
    {
        EXPECT_TRUE(IsSpewActive(rgpszNames[iName], 10 + iName)) << rgpszNames[iName];
        EXPECT_FALSE(IsSpewActive(rgpszNames[iName], 11 + iName)) << rgpszNames[iName];
    }
    SpewActivate("TEST.ALPHA", 2); // the one entry changes
    EXPECT_FALSE(IsSpewActive("test.alpha", 3));
    EXPECT_TRUE(IsSpewActive("test.beta", 13));

    CSpewCapture capture;
    EXPECT_TRUE(IsSpewActive("CONSOLE", 1));
    ConMsg("console", 1, "shown %d", 1);
    ConMsg("console", 2, "hidden");
    ConMsg("test.unknown", 1, "hidden");
    EXPECT_TRUE(IsSpewActive("test.unknown", 0));
    SpewSetDefaultLevel(3);
    EXPECT_TRUE(IsSpewActive("test.unknown", 3));
    EXPECT_FALSE(IsSpewActive("test.unknown", 4));
    EXPECT_FALSE(IsSpewActive("console", 2)); // a group's own level wins over a higher default
    SpewSetDefaultLevel(0);
    EXPECT_EQ(1u, capture.Records().size());
    EXPECT_EQ(std::vector<std::string>{"shown 1"}, capture.TextsOfType(SPEW_MESSAGE));
}

TEST(SpewAbortDeathTest, AbortAnswerEndsTheProcessWithExitCode1)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Every text to stderr, where the death test looks; the process ends unflushed.
            SpewOutputFunc(
                [](SpewType_t, const char* pszText)
                {
                    fputs(pszText, stderr);
                    fflush(stderr);
                    return SPEW_ABORT;
                });
            Warning("going down");
        },
        testing::ExitedWithCode(1), "going downExiting on SPEW_ABORT");
}

} // namespace
