#include <atomic>
#include <cstdio>
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

std::string SpewedAssertText(const char* pszFile, int nLine, const char* pszMessage)
{
    CQuietStderr quiet;
    CSpewCapture capture;
    SpewAt(SPEW_ASSERT, pszFile, nLine, "%s", pszMessage);
    return capture.Records().empty() ? std::string() : capture.Records().back().m_strText;
}

TEST(SpewPrefix, AssertFileNameStartsAtFirstSrcComponent)
{
    EXPECT_EQ("src\\tier1\\x (7) : boom", SpewedAssertText("C:\\tree\\src\\tier1\\x", 7, "boom"));
    EXPECT_EQ("src/tier0/dbg.cpp (12) : m", SpewedAssertText("/home/dev/src/tier0/dbg.cpp", 12, "m"));
    EXPECT_EQ("src\\a/src\\b (1) : first", SpewedAssertText("C:\\src\\a/src\\b", 1, "first"));
}

TEST(SpewPrefix, NameWithoutSrcComponentIsPrintedWhole)
{
    const char* const rgpszNames[] = {
        "C:\\tree\\source\\x", // a longer component
        "C:\\tree\\srcx\\y",   // "src" must end at a separator
        "C:\\mysrc\\y",        // and begin at one
        "src\\y",              // no separator before it
        "C:\\tree\\src",       // nor after it
    };
    for (const char* pszName : rgpszNames)
        EXPECT_EQ(std::string(pszName) + " (3) : t", SpewedAssertText(pszName, 3, "t"));
}

TEST(SpewPrefix, OnlyAssertsWithAFileCarryThePrefix)
{
    CSpewCapture capture;
    SpewAt(SPEW_WARNING, "C:\\src\\x", 3, "warning");
    SpewAt(SPEW_ASSERT, nullptr, 3, "no file");
    ASSERT_EQ(2u, capture.Records().size());
    EXPECT_EQ("warning", capture.Records()[0].m_strText);
    EXPECT_EQ("no file", capture.Records()[1].m_strText);
}

TEST(SpewLength, TextIsCutAt5018Bytes)
{
    for (size_t cchMessage : {5017u, 5018u, 5019u, 6000u})
    {
        CSpewCapture capture;
        Msg("%s", std::string(cchMessage, 'a').c_str());
        ASSERT_EQ(1u, capture.Records().size());
        EXPECT_EQ(std::min<size_t>(cchMessage, 5018), capture.Records()[0].m_strText.size()) << cchMessage;
    }
}

TEST(SpewLength, AssertPrefixCountsTowardsTheCut)
{
    const std::string strText = SpewedAssertText("f.cpp", 3, std::string(6000, 'b').c_str());
    EXPECT_EQ(5018u, strText.size());
    EXPECT_EQ("f.cpp (3) : bbb", strText.substr(0, 15));
}

TEST(SpewLength, OverlongFileNameLeavesNoRoomForTheMessage)
{
    const std::string strFile(6000, 'f');
    EXPECT_EQ(std::string(5018, 'f'), SpewedAssertText(strFile.c_str(), 3, "lost"));
}

TEST(SpewTypes, EachFunctionSpewsItsOwnType)
{
    CSpewCapture capture;
    Msg("m%d", 1);
    Warning("w%d", 2);
    EXPECT_EQ(SPEW_CONTINUE, Error("e%d", 3));
    ASSERT_EQ(3u, capture.Records().size());
    EXPECT_EQ(SPEW_MESSAGE, capture.Records()[0].m_eType);
    EXPECT_EQ("m1", capture.Records()[0].m_strText);
    EXPECT_EQ(SPEW_WARNING, capture.Records()[1].m_eType);
    EXPECT_EQ("w2", capture.Records()[1].m_strText);
    EXPECT_EQ(SPEW_ERROR, capture.Records()[2].m_eType);
    EXPECT_EQ("e3", capture.Records()[2].m_strText);
}

TEST(SpewStreams, AssertsAndErrorsAlsoGoToStderrWithANewline)
{
    CSpewCapture capture;
    testing::internal::CaptureStderr();
    Msg("message");
    Warning("warning");
    Error("error");
    SpewAt(SPEW_ASSERT, "f.cpp", 4, "assert");
    EXPECT_EQ("error\nf.cpp (4) : assert\n", testing::internal::GetCapturedStderr());
}

TEST(SpewDefaultHandler, PrintsToStdoutAndAsksForABreakOnlyOnAsserts)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_MESSAGE, "a "));
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_WARNING, "%s "));
    EXPECT_EQ(SPEW_CONTINUE, DefaultSpewFunc(SPEW_ERROR, "c "));
    EXPECT_EQ(SPEW_DEBUGGER, DefaultSpewFunc(SPEW_ASSERT, "d"));
    fflush(stdout);
    EXPECT_EQ("a %s c d", testing::internal::GetCapturedStdout());
}

TEST(SpewLock, HandlerMaySpewAgainOnItsOwnThread)
{
    CSpewCapture capture;
    capture.SetHook(
        [](const SpewRecord_s& record)
        {
            if (record.m_strText == "outer")
                Warning("inner");
        });
    Msg("outer");
    ASSERT_EQ(2u, capture.Records().size());
    EXPECT_EQ("inner", capture.Records()[1].m_strText);
}

TEST(SpewLock, CallsFromManyThreadsRunOneAtATime)
{
    constexpr int k_nThreads = 4;
    constexpr int k_nMessagesPerThread = 200;
    std::atomic<int> nInHandler{0};
    std::atomic<int> nMostInHandler{0};
    CSpewCapture capture;
    capture.SetHook(
        [&](const SpewRecord_s&)
        {
            const int nNow = ++nInHandler;
            if (nNow > nMostInHandler)
                nMostInHandler = nNow;
            std::this_thread::yield();
            --nInHandler;
        });

    std::vector<std::thread> vecThreads;
    for (int iThread = 0; iThread < k_nThreads; ++iThread)
    {
        vecThreads.emplace_back(
            [iThread]
            {
                for (int iMessage = 0; iMessage < k_nMessagesPerThread; ++iMessage)
                    Msg("%d:%d", iThread, iMessage);
            });
    }
    for (std::thread& thread : vecThreads)
        thread.join();

    EXPECT_EQ(static_cast<size_t>(k_nThreads * k_nMessagesPerThread), capture.Records().size());
    EXPECT_EQ(1, nMostInHandler.load());
}

TEST(SpewGroups, ConsoleIsActiveAtLevelOne)
{
    EXPECT_TRUE(IsSpewActive("console", 1));
    EXPECT_TRUE(IsSpewActive("CONSOLE", 1));
    EXPECT_FALSE(IsSpewActive("console", 2));
}

TEST(SpewGroups, UnknownGroupsFollowTheDefaultLevel)
{
    EXPECT_TRUE(IsSpewActive("test.unknown", 0));
    EXPECT_FALSE(IsSpewActive("test.unknown", 1));
    SpewSetDefaultLevel(3);
    EXPECT_TRUE(IsSpewActive("test.unknown", 3));
    EXPECT_FALSE(IsSpewActive("test.unknown", 4));
    EXPECT_FALSE(IsSpewActive("console", 2)); // a group's own level wins over a higher default
    SpewSetDefaultLevel(0);
}

TEST(SpewGroups, ActivatedGroupsAreFoundWhateverTheInsertionOrder)
{
    const char* const rgpszNames[] = {"test.mid",  "test.alpha", "test.zeta",
                                      "TEST.Beta", "test.omega", "test.a"};
    for (int iName = 0; iName < static_cast<int>(V_ARRAYSIZE(rgpszNames)); ++iName)
        SpewActivate(rgpszNames[iName], 10 + iName);
    for (int iName = 0; iName < static_cast<int>(V_ARRAYSIZE(rgpszNames)); ++iName)
    {
        EXPECT_TRUE(IsSpewActive(rgpszNames[iName], 10 + iName)) << rgpszNames[iName];
        EXPECT_FALSE(IsSpewActive(rgpszNames[iName], 11 + iName)) << rgpszNames[iName];
    }

    // Activating again under another case changes the one entry.
    SpewActivate("TEST.ALPHA", 2);
    EXPECT_TRUE(IsSpewActive("test.alpha", 2));
    EXPECT_FALSE(IsSpewActive("test.alpha", 3));
    EXPECT_TRUE(IsSpewActive("test.beta", 13));
}

TEST(SpewGroups, ConMsgSpewsOnlyWhenTheGroupIsActive)
{
    CSpewCapture capture;
    ConMsg("console", 1, "shown %d", 1);
    ConMsg("console", 2, "hidden");
    ConMsg("test.never.activated", 1, "hidden");
    ASSERT_EQ(1u, capture.Records().size());
    EXPECT_EQ(SPEW_MESSAGE, capture.Records()[0].m_eType);
    EXPECT_EQ("shown 1", capture.Records()[0].m_strText);
}

class SpewAbortDeathTest : public testing::Test
{
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// Echoes every text to stderr, where the death test looks, and asks to abort each time.
SpewRetval_t EchoAndAbort(SpewType_t, const char* pszText)
{
    fputs(pszText, stderr);
    fflush(stderr); // the process ends without flushing
    return SPEW_ABORT;
}

TEST_F(SpewAbortDeathTest, AbortAnswerEndsTheProcessWithExitCode1)
{
    EXPECT_EXIT(
        {
            SpewOutputFunc(EchoAndAbort);
            Warning("going down");
        },
        testing::ExitedWithCode(1), "going downExiting on SPEW_ABORT");
}

} // namespace
