// CUtlBuffer and the escape conversions: growth, the text-mode NUL, seeks and their
// reports, external memory, and the reads the document code relies on.

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "spewcapture.h"
#include "tier1/utlbuffer.h"

namespace
{

// Sizes the buffer takes while n bytes are put one at a time.
std::vector<int> GrowthSteps(CUtlBuffer& buf, int nBytes)
{
    std::vector<int> vecSizes;
    for (int i = 0; i < nBytes; ++i)
    {
        buf.PutChar('x');
        if (vecSizes.empty() || vecSizes.back() != buf.Size())
            vecSizes.push_back(buf.Size());
    }
    return vecSizes;
}

std::string Delimited(const char* pszText, CUtlCharConversion* pConv, int nMaxChars = 64)
{
    CUtlBuffer buf(pszText, (int)strlen(pszText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    std::string strOut(64, '#');
    buf.GetDelimitedString(pConv, &strOut[0], nMaxChars);
    return strOut.c_str();
}

} // namespace

TEST(UtlBufferGrowth, GrowsByHalfFrom32)
{
    CUtlBuffer buf;
    EXPECT_EQ(GrowthSteps(buf, 163), (std::vector<int>{32, 48, 72, 108, 162, 243}));
}

TEST(UtlBufferGrowth, TextModeKeepsRoomForTheNul)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    EXPECT_EQ(GrowthSteps(buf, 31), std::vector<int>{32});
    buf.PutChar('x');
    EXPECT_EQ(buf.Size(), 48);
}

TEST(UtlBufferGrowth, SmallCountsGrowByAtLeastOne)
{
    CUtlBuffer buf(0, 1);
    EXPECT_EQ(GrowthSteps(buf, 7), (std::vector<int>{1, 2, 3, 4, 6, 9}));
}

TEST(UtlBufferGrowth, PositiveGrowSizeRoundsUpToItsMultiple)
{
    CUtlBuffer buf(10);
    EXPECT_EQ(GrowthSteps(buf, 25), (std::vector<int>{10, 20, 30}));
    EXPECT_TRUE(buf.EnsureCapacity(31));
    EXPECT_EQ(buf.Size(), 40);
}

TEST(UtlBufferText, NulFollowsEveryPut)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("ab");
    buf.PutChar('c');
    buf.Printf("%d", 42);
    buf.Put("xyz", 1);
    EXPECT_STREQ(buf.String(), "abc42x");
    EXPECT_EQ(buf.TellMaxPut(), 6);

    std::string strLong(600, 'q');
    buf.Printf("%s", strLong.c_str());
    EXPECT_EQ(buf.String(), "abc42x" + strLong);
}

TEST(UtlBufferText, PutSeeksRewriteTheNul)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("abcdef");
    buf.SeekPut(CUtlBuffer::SEEK_HEAD, 3);
    EXPECT_STREQ(buf.String(), "abc");
    EXPECT_EQ(buf.TellMaxPut(), 6); // the end of data stays where it was

    buf.SeekPut(CUtlBuffer::SEEK_TAIL, 0);
    EXPECT_EQ(buf.TellPut(), 6);
    EXPECT_EQ(((const char*)buf.Base())[6], '\0');

    buf.SeekPut(CUtlBuffer::SEEK_CURRENT, 4); // past the end: the gap reads as zeros
    EXPECT_EQ(buf.TellMaxPut(), 10);
    EXPECT_EQ(std::string((const char*)buf.Base() + 6, 5), std::string(5, '\0'));
}

TEST(UtlBufferText, TabsOnlyAtLineStartsOfTextBuffers)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PushTab();
    buf.PushTab();
    for (char c : std::string("a\nb"))
        buf.PutChar(c);
    buf.EnableTabs(false);
    buf.PutChar('\n');
    buf.PutChar('c');
    EXPECT_STREQ(buf.String(), "a\n\t\tb\nc");
}

TEST(UtlBufferSeek, EveryBadSeekIsReportedAndStillTaken)
{
    const char* pszTail = "offset != INT_MIN && offset <= m_nMaxPut && -offset <= INT_MAX-m_nMaxPut";
    CSpewCapture capture;
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("hello");

    buf.SeekGet(CUtlBuffer::SEEK_HEAD, -1);
    EXPECT_EQ(capture.CountFailedAssertions("offset >= 0"), 1);
    EXPECT_EQ(buf.TellGet(), -1);
    EXPECT_EQ(buf.GetChar(), '\0');
    EXPECT_EQ(buf.GetErrorBits(), CUtlBuffer::GET_OVERFLOW);

    buf.SeekGet(CUtlBuffer::SEEK_HEAD, 2);
    buf.SeekGet(CUtlBuffer::SEEK_CURRENT, INT_MAX);
    EXPECT_EQ(capture.CountFailedAssertions("offset >= -m_Get && offset <= INT_MAX-m_Get"), 1);
    buf.SeekGet(CUtlBuffer::SEEK_TAIL, 6);
    buf.SeekGet(CUtlBuffer::SEEK_TAIL, INT_MIN);
    EXPECT_EQ(capture.CountFailedAssertions(pszTail), 2);

    buf.SeekPut(CUtlBuffer::SEEK_CURRENT, -6);
    EXPECT_EQ(capture.CountFailedAssertions("offset >= -m_Put && offset <= INT_MAX-m_Put"), 1);
    EXPECT_EQ(capture.CountFailedAssertions("m_Put >= 0"), 1);
    EXPECT_EQ(buf.TellPut(), -1);
    buf.PutChar('z'); // refused: nothing before the memory gets written
    EXPECT_TRUE(buf.GetErrorBits() & CUtlBuffer::PUT_OVERFLOW);
    EXPECT_STREQ(buf.String(), "hello");
    EXPECT_EQ(capture.CountAsserts(), 6);
}

TEST(UtlBufferSeek, TailByZeroIsTheEndOfData)
{
    CSpewCapture capture;
    CUtlBuffer buf;
    buf.Put("abcd", 4);
    buf.SeekGet(CUtlBuffer::SEEK_TAIL, 0);
    EXPECT_EQ(buf.TellGet(), 4);
    buf.SeekGet(CUtlBuffer::SEEK_TAIL, 4);
    EXPECT_EQ(buf.GetChar(), 'a');
    EXPECT_EQ(capture.CountAsserts(), 0);
}

TEST(UtlBufferExternal, FixedMemoryOverflowsInsteadOfGrowing)
{
    char rgchMemory[8] = {};
    CUtlBuffer buf(rgchMemory, sizeof(rgchMemory), CUtlBuffer::TEXT_BUFFER);
    buf.PutString("1234567"); // seven characters and the NUL fill it
    EXPECT_TRUE(buf.IsValid());
    buf.PutChar('8');
    EXPECT_EQ(buf.GetErrorBits(), CUtlBuffer::PUT_OVERFLOW);
    EXPECT_EQ(buf.Base(), (void*)rgchMemory);
    EXPECT_STREQ(rgchMemory, "1234567");
}

TEST(UtlBufferExternal, GrowableMemoryIsCopiedThenGrown)
{
    char rgchMemory[8] = {};
    CUtlBuffer buf(rgchMemory, sizeof(rgchMemory), CUtlBuffer::EXTERNAL_GROWABLE);
    buf.Put("12345678", 8);
    EXPECT_EQ(buf.Base(), (void*)rgchMemory);
    buf.Put("9", 1);
    EXPECT_NE(buf.Base(), (void*)rgchMemory);
    EXPECT_EQ(buf.Size(), 12);
    EXPECT_FALSE(buf.IsExternallyAllocated());
    EXPECT_EQ(std::string((const char*)buf.Base(), 9), "123456789");
}

TEST(UtlBufferExternal, ReadOnlyDataIsReadableButNotWritable)
{
    CUtlBuffer buf("abc", 3, CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    EXPECT_EQ(buf.TellMaxPut(), 3);
    buf.PutChar('d');
    EXPECT_EQ(buf.GetErrorBits(), CUtlBuffer::PUT_OVERFLOW);
    buf.ClearErrorBits(CUtlBuffer::PUT_OVERFLOW);
    EXPECT_EQ(buf.GetChar(), 'a');
}

TEST(UtlBufferRead, EndOfInputShowsInTheGetOverflowBit)
{
    CUtlBuffer buf("a \t\n\v\f\r", 7, CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    EXPECT_EQ(buf.GetChar(), 'a');
    buf.EatWhiteSpace();
    EXPECT_EQ(buf.TellGet(), 7);
    EXPECT_EQ(buf.GetErrorBits(), CUtlBuffer::GET_OVERFLOW);
    EXPECT_EQ(buf.GetChar(), '\0');
}

TEST(UtlBufferRead, WhiteSpaceIsNotSkippedInBinaryModeOrAfterAnError)
{
    CUtlBuffer bufBinary(" x", 2, CUtlBuffer::READ_ONLY);
    bufBinary.EatWhiteSpace();
    EXPECT_EQ(bufBinary.TellGet(), 0);

    CUtlBuffer bufText(" x", 2, CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    bufText.PutChar('y'); // refused: the put-overflow bit is set
    bufText.EatWhiteSpace();
    EXPECT_EQ(bufText.TellGet(), 0);
}

TEST(UtlBufferRead, CommentsRunThroughTheirNewline)
{
    const char szText[] = "// one\nx// two";
    CUtlBuffer buf(szText, (int)strlen(szText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    EXPECT_TRUE(buf.EatCPPComment());
    EXPECT_FALSE(buf.EatCPPComment());
    EXPECT_EQ(buf.GetChar(), 'x');
    EXPECT_TRUE(buf.EatCPPComment());
    EXPECT_EQ(buf.TellGet(), buf.TellMaxPut());
    EXPECT_TRUE(buf.IsValid());
}

TEST(UtlBufferRead, PeekGetLeavesTheErrorStateAlone)
{
    CUtlBuffer buf("abc", 3, CUtlBuffer::READ_ONLY);
    EXPECT_EQ(buf.PeekGet(3, 0), buf.Base());
    EXPECT_EQ(buf.PeekGet(3, 1), nullptr);
    EXPECT_TRUE(buf.IsValid());
}

// A buffer whose read handler supplies more data on demand.
class CRefillingBuffer : public CUtlBuffer
{
public:
    CRefillingBuffer() : CUtlBuffer(0, 0, TEXT_BUFFER)
    {
        SetOverflowFuncs(static_cast<UtlBufferOverflowFunc_t>(&CRefillingBuffer::Refill),
                         &CRefillingBuffer::PutOverflow);
    }
    std::vector<int> m_vecRequests;

private:
    bool Refill(int nSize)
    {
        m_vecRequests.push_back(nSize);
        PutString("\"more\"");
        return m_vecRequests.size() < 2;
    }
};

TEST(UtlBufferRead, ReadHandlerIsAskedForMissingBytes)
{
    CRefillingBuffer buf;
    ASSERT_NE(buf.PeekGet(4, 2), nullptr);
    EXPECT_EQ(buf.m_vecRequests, std::vector<int>{6});
    char szOut[16];
    buf.GetDelimitedString(GetCStringCharConversion(), szOut, sizeof(szOut));
    EXPECT_STREQ(szOut, "more");
    EXPECT_EQ(buf.GetChar(), '\0');
    EXPECT_EQ(buf.GetErrorBits(), CUtlBuffer::GET_OVERFLOW);
}

TEST(UtlBufferDelimited, EscapesOfTheCStringConversion)
{
    CUtlCharConversion* pConv = GetCStringCharConversion();
    EXPECT_EQ(Delimited("  \"plain\" tail", pConv), "plain");
    EXPECT_EQ(Delimited("\"a\\nb\"", pConv), "a\nb");
    EXPECT_EQ(Delimited("\"say \\\"hi\\\"\"", pConv), "say \"hi\"");
    EXPECT_EQ(Delimited("\"\\t\\v\\b\\r\\f\\a\\\\\\?\\'\"", pConv), "\t\v\b\r\f\a\\?'");
    EXPECT_EQ(Delimited("\"ab\\zcd\"", pConv), "ab"); // unknown escape: a NUL cuts the string
    EXPECT_EQ(Delimited("\"no end", pConv), "no end");
    EXPECT_EQ(Delimited("\"ab\\", pConv), "ab");
    EXPECT_EQ(Delimited("unquoted", pConv), "");
}

TEST(UtlBufferDelimited, UnknownEscapeConsumesNothing)
{
    const char szText[] = "\"ab\\zcd\"x";
    CUtlBuffer buf(szText, (int)strlen(szText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    char szOut[8];
    buf.GetDelimitedString(GetCStringCharConversion(), szOut, sizeof(szOut));
    EXPECT_EQ(std::string(szOut, 6), std::string("ab\0zcd", 6));
    EXPECT_EQ(buf.GetChar(), 'x');
}

TEST(UtlBufferDelimited, LongStringsAreCutButReadToTheirEnd)
{
    const char szText[] = "\"abcdef\"x";
    CUtlBuffer buf(szText, (int)strlen(szText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    char szOut[8] = "#######";
    buf.GetDelimitedString(GetCStringCharConversion(), szOut, 4);
    EXPECT_STREQ(szOut, "abc");
    EXPECT_EQ(szOut[4], '#');
    EXPECT_EQ(buf.GetChar(), 'x');
}

TEST(UtlBufferDelimited, NoEscapeConversionOnlyTouchesDel)
{
    CUtlCharConversion* pConv = GetNoEscCharConversion();
    EXPECT_EQ(Delimited("\"a\\nb\"", pConv), "a\\nb");
    EXPECT_EQ(Delimited("\"a\\\"b\"", pConv), "a\\");
    EXPECT_EQ(Delimited("\"a\x7F"
                        "b\"",
                        pConv),
              "a");
}

TEST(UtlBufferDelimited, PlainStringReadWithoutTextModeOrConversion)
{
    CUtlBuffer bufBinary("ab\0cd", 6, CUtlBuffer::READ_ONLY);
    char szOut[8];
    bufBinary.GetDelimitedString(GetCStringCharConversion(), szOut, sizeof(szOut));
    EXPECT_STREQ(szOut, "ab");
    EXPECT_EQ(bufBinary.TellGet(), 3);

    EXPECT_EQ(Delimited("  word \"x\"", nullptr), "word");
}

TEST(UtlCharConversion, TablesOfTheTwoConversions)
{
    CUtlCharConversion* pConv = GetCStringCharConversion();
    const char* rgpszExpected[][2] = {{"\n", "\\n"}, {"\t", "\\t"}, {"\v", "\\v"}, {"\b", "\\b"},
                                      {"\r", "\\r"}, {"\f", "\\f"}, {"\a", "\\a"}, {"\\", "\\\\"},
                                      {"?", "\\?"},  {"'", "\\'"},  {"\"", "\\\""}};
    for (auto& rgpsz : rgpszExpected)
        EXPECT_STREQ(pConv->GetConversionString(rgpsz[0][0]), rgpsz[1]) << rgpsz[1];
    EXPECT_EQ(pConv->GetConversionString('x'), nullptr);
    EXPECT_EQ(pConv->MaxConversionLength(), 2);

    CUtlCharConversion* pNoEsc = GetNoEscCharConversion();
    EXPECT_EQ(pNoEsc->GetEscapeChar(), '\x7F');
    EXPECT_STREQ(pNoEsc->GetConversionString('\x7F'), "");
    EXPECT_EQ(pNoEsc->GetConversionString('\\'), nullptr);
    EXPECT_STREQ(pNoEsc->GetDelimiter(), "\"");
}

TEST(UtlCharConversion, DoubleEntriesAndEmptyDelimitersAreReported)
{
    CSpewCapture capture;
    const CUtlCharConversion::ConversionArray_t rgTwice[] = {{'\n', "\\n"}, {'\n', "\\N"}};
    CUtlCStringConversion conv('\\', "", 2, rgTwice);
    EXPECT_EQ(capture.CountFailedAssertions("info.m_pReplacementString == 0"), 1);

    CUtlBuffer buf("\"x\"", 3, CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    char szOut[4];
    buf.GetDelimitedString(&conv, szOut, sizeof(szOut));
    EXPECT_EQ(capture.CountFailedAssertions("pConv && pConv->GetDelimiterLength() > 0"), 1);
    EXPECT_STREQ(szOut, "");
}
