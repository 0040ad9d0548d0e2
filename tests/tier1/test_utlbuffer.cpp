// CUtlBuffer and the escape conversions: growth, the text-mode NUL, seeks and their
// reports, external memory, and the reads the document code relies on.

#include <climits>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "spewcapture.h"
#include "tier1/utlbuffer.h"

namespace
{

// Sizes a new buffer takes while n bytes are put one at a time.
std::vector<int> GrowthSteps(int nBytes, int nGrowSize = 0, int nInitSize = 0, int nFlags = 0)
{
    CUtlBuffer buf(nGrowSize, nInitSize, nFlags);
    std::vector<int> vecSizes;
    for (int i = 0; i < nBytes; ++i)
    {
        buf.PutChar('x');
        if (vecSizes.empty() || vecSizes.back() != buf.Size())
            vecSizes.push_back(buf.Size());
    }
    return vecSizes;
}

// What GetDelimitedString writes into an output of '#' (NULs shown as '@'), then "|" and
// the text left to read.
std::string Delimited(const char* pszText, CUtlCharConversion* pConv, int nMaxChars = 16)
{
    CUtlBuffer buf(pszText, (int)strlen(pszText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    std::string strOut(16, '#');
    buf.GetDelimitedString(pConv, &strOut[0], nMaxChars);
    strOut.erase(strOut.find_last_not_of('#') + 1);
    for (char& ch : strOut)
        ch = ch ? ch : '@';
    return strOut + "|" + (pszText + buf.TellGet());
}

} // namespace

TEST(UtlBufferGrowth, StepsFollowTheGrowSize)
{
    EXPECT_EQ((std::vector<int>{32, 48, 72, 108, 162, 243}), GrowthSteps(163));
    EXPECT_EQ((std::vector<int>{32, 48}), GrowthSteps(32, 0, 0, CUtlBuffer::TEXT_BUFFER)); // room for the NUL
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 6, 9}), GrowthSteps(7, 0, 1)); // at least one more
    EXPECT_EQ((std::vector<int>{10, 20, 30, 40}), GrowthSteps(31, 10));
}

// Growable external memory is copied, then grown.
TEST(UtlBufferGrowth, FullExternalMemoryOverflowsUnlessGrowable)
{
    char rgchFixed[8] = {};
    CUtlBuffer bufFixed(rgchFixed, sizeof(rgchFixed), CUtlBuffer::TEXT_BUFFER);
    bufFixed.PutString("1234567"); // seven characters and the NUL fill it
    EXPECT_TRUE(bufFixed.IsValid());
    bufFixed.PutChar('8');
    EXPECT_EQ(CUtlBuffer::PUT_OVERFLOW, bufFixed.GetErrorBits());
    EXPECT_EQ((void*)rgchFixed, bufFixed.Base());
    EXPECT_STREQ("1234567", rgchFixed);

    char rgchGrowable[8] = {};
    CUtlBuffer buf(rgchGrowable, sizeof(rgchGrowable), CUtlBuffer::EXTERNAL_GROWABLE);
    buf.Put("12345678", 8);
    EXPECT_EQ((void*)rgchGrowable, buf.Base());
    buf.Put("9", 1);
    EXPECT_EQ(12, buf.Size());
    EXPECT_FALSE(buf.IsExternallyAllocated());
    EXPECT_EQ("123456789", std::string((const char*)buf.Base(), 9));
}

TEST(UtlBufferText, TabsIndentEveryLineUntilDisabled)
{
    CUtlBuffer bufTabs(0, 0, CUtlBuffer::TEXT_BUFFER);
    bufTabs.PushTab();
    bufTabs.PushTab();
    for (char c : std::string("a\nb"))
        bufTabs.PutChar(c);
    bufTabs.EnableTabs(false);
    bufTabs.PutChar('\n');
    bufTabs.PutChar('c');
    EXPECT_STREQ("a\n\t\tb\nc", bufTabs.String());
}

TEST(UtlBufferText, EveryPutOrSeekLeavesTheTextTerminated)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("ab");
    buf.PutChar('c');
    buf.Printf("%d", 42);
    buf.Put("xyz", 1);
    EXPECT_STREQ("abc42x", buf.String());
    const std::string strLong(600, 'q'); // Printf grows too
    buf.Printf("%s", strLong.c_str());
    EXPECT_EQ("abc42x" + strLong, buf.String());

    buf.SeekPut(CUtlBuffer::SEEK_HEAD, 3);
    EXPECT_STREQ("abc", buf.String());
    EXPECT_EQ(606, buf.TellMaxPut()); // the end of data stays where it was
    buf.SeekPut(CUtlBuffer::SEEK_TAIL, 0);
    EXPECT_EQ(606, buf.TellPut());
    buf.SeekPut(CUtlBuffer::SEEK_CURRENT, 4); // past the end: the gap reads as zeros
    EXPECT_EQ(610, buf.TellMaxPut());
    EXPECT_EQ(std::string(5, '\0'), std::string((const char*)buf.Base() + 606, 5));
}

TEST(UtlBufferText, BadSeeksAreReportedButTaken)
{
    const char* pszTail = "offset != INT_MIN && offset <= m_nMaxPut && -offset <= INT_MAX-m_nMaxPut";
    CSpewCapture capture;
    CUtlBuffer bufSeek(0, 0, CUtlBuffer::TEXT_BUFFER);
    bufSeek.PutString("hello");
    bufSeek.SeekGet(CUtlBuffer::SEEK_TAIL, 5);
    EXPECT_EQ('h', bufSeek.GetChar());

    bufSeek.SeekGet(CUtlBuffer::SEEK_HEAD, -1);
    EXPECT_EQ(1, capture.CountFailedAssertions("offset >= 0"));
    EXPECT_EQ(-1, bufSeek.TellGet());
    EXPECT_EQ('\0', bufSeek.GetChar());
    EXPECT_EQ(CUtlBuffer::GET_OVERFLOW, bufSeek.GetErrorBits());

    bufSeek.SeekGet(CUtlBuffer::SEEK_HEAD, 2);
    bufSeek.SeekGet(CUtlBuffer::SEEK_CURRENT, INT_MAX);
    EXPECT_EQ(1, capture.CountFailedAssertions("offset >= -m_Get && offset <= INT_MAX-m_Get"));
    bufSeek.SeekGet(CUtlBuffer::SEEK_TAIL, 6);
    bufSeek.SeekGet(CUtlBuffer::SEEK_TAIL, INT_MIN);
    EXPECT_EQ(2, capture.CountFailedAssertions(pszTail));

    bufSeek.SeekPut(CUtlBuffer::SEEK_CURRENT, -6);
    EXPECT_EQ(1, capture.CountFailedAssertions("offset >= -m_Put && offset <= INT_MAX-m_Put"));
    EXPECT_EQ(1, capture.CountFailedAssertions("m_Put >= 0"));
    EXPECT_EQ(-1, bufSeek.TellPut());
    bufSeek.PutChar('z'); // refused: nothing before the memory gets written
    EXPECT_TRUE(bufSeek.GetErrorBits() & CUtlBuffer::PUT_OVERFLOW);
    EXPECT_STREQ("hello", bufSeek.String());
    EXPECT_EQ(6, capture.CountAsserts());
}

// White space is skipped in text mode only, and not after an error; the end of input shows
// in the get-overflow bit; peeks leave the error state alone.
TEST(UtlBufferRead, SkipsFillerOnlyInValidText)
{
    CUtlBuffer bufBinary(" x", 2, CUtlBuffer::READ_ONLY);
    bufBinary.EatWhiteSpace();
    EXPECT_EQ(0, bufBinary.TellGet());
    char rgchReadOnly[] = " x";
    CUtlBuffer bufFailed(rgchReadOnly, 2, CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    bufFailed.SeekPut(CUtlBuffer::SEEK_HEAD, 0);
    bufFailed.PutChar('y'); // refused: read-only memory is never written
    EXPECT_STREQ(" x", rgchReadOnly);
    bufFailed.EatWhiteSpace();
    EXPECT_EQ(0, bufFailed.TellGet());

    const char szText[] = "// one\nx// two\n\n \t\v\f\r";
    CUtlBuffer buf(szText, (int)strlen(szText), CUtlBuffer::TEXT_BUFFER | CUtlBuffer::READ_ONLY);
    EXPECT_TRUE(buf.EatCPPComment());
    EXPECT_FALSE(buf.EatCPPComment());
    EXPECT_EQ('x', buf.GetChar());
    EXPECT_EQ(nullptr, buf.PeekGet(14, 0));
    EXPECT_EQ((const char*)buf.Base() + 8, buf.PeekGet(13, 0));
    EXPECT_TRUE(buf.EatCPPComment());
    EXPECT_TRUE(buf.IsValid());
    buf.EatWhiteSpace();
    EXPECT_EQ(buf.TellMaxPut(), buf.TellGet());
    EXPECT_EQ(CUtlBuffer::GET_OVERFLOW, buf.GetErrorBits());
    EXPECT_EQ('\0', buf.GetChar());
}

TEST(UtlBufferRead, DelimitedStringsFollowTheirConversion)
{
    CUtlCharConversion* pEsc = GetCStringCharConversion();
    CUtlCharConversion* pNoEsc = GetNoEscCharConversion();
    const std::tuple<CUtlCharConversion*, const char*, const char*> rgCases[] = {
        {pEsc, "  \"plain\" tail", "plain@| tail"},
        {pEsc, "\"say \\\"hi\\\"\"x", "say \"hi\"@|x"},
        {pEsc, "\"ab\\zcd\"x", "ab@zcd@|x"}, // an unknown escape is a NUL and consumes nothing
        {pEsc, "\"no end", "no end@|"},
        {pEsc, "\"ab\\", "ab@@|"},
        {pEsc, "unquoted", "@|unquoted"},
        {pNoEsc, "\"a\\nb\"", "a\\nb@|"},
        {pNoEsc, "\"a\\\"b\"", "a\\@|b\""},
        {pNoEsc, "\"a\177b\"", "a@b@|"},
        {nullptr, "  word \"x\"", "word@| \"x\""}}; // the plain string read
    for (const auto& [pConv, pszText, pszExpected] : rgCases)
        EXPECT_EQ(pszExpected, Delimited(pszText, pConv)) << pszText;
    EXPECT_EQ("abc@|x", Delimited("\"abcdef\"x", pEsc, 4)); // cut, but read to its end

    CUtlBuffer bufNul("ab\0cd", 6, CUtlBuffer::READ_ONLY);
    char szOut[8];
    bufNul.GetDelimitedString(pEsc, szOut, sizeof(szOut));
    EXPECT_STREQ("ab", szOut);
    EXPECT_EQ(3, bufNul.TellGet());
}

TEST(UtlCharConversion, EveryEscapeReadsBack)
{
    CUtlCharConversion* pConv = GetCStringCharConversion();
    int nConversions = 0;
    for (int iChar = 1; iChar < 256; ++iChar)
    {
        const char* pszEscape = pConv->GetConversionString((char)iChar);
        if (!pszEscape)
            continue;
        ++nConversions;
        const std::string strQuoted = "\"" + std::string(pszEscape) + "\"";
        EXPECT_EQ(std::string(1, (char)iChar) + "@|", Delimited(strQuoted.c_str(), pConv)) << pszEscape;
    }
    EXPECT_EQ(11, nConversions);
    EXPECT_EQ(2, pConv->MaxConversionLength());
    EXPECT_STREQ("", GetNoEscCharConversion()->GetConversionString('\x7F'));
    EXPECT_EQ(nullptr, GetNoEscCharConversion()->GetConversionString('\\'));
}

TEST(UtlCharConversion, BadTablesAreReported)
{
    CSpewCapture capture;
    const CUtlCharConversion::ConversionArray_t rgTwice[] = {{'\n', "\\n"}, {'\n', "\\N"}};
    CUtlCStringConversion conv('\\', "", 2, rgTwice);
    EXPECT_EQ(1, capture.CountFailedAssertions("info.m_pReplacementString == 0"));

    EXPECT_EQ("@|\"x\"", Delimited("\"x\"", &conv)); // nothing is read
    EXPECT_EQ(1, capture.CountFailedAssertions("pConv && pConv->GetDelimiterLength() > 0"));
}
