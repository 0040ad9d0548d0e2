// CUtlString and CUtlStringBuilder: limits, the inline/heap boundary, exact capacities and
// the sticky error state.

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

#include <gtest/gtest.h>

#include "spewcapture.h"
#include "tier1/utlstring.h"
#include "tier1/utlstringbuilder.h"

namespace
{

// The builder's last byte: 23 - length inline, flag bits on the heap.
uint8 LastByte(const CUtlStringBuilder& sb)
{
    return reinterpret_cast<const uint8*>(&sb)[23];
}

} // namespace

// Growing past the limit is reported and refused; the limit is checked before the source is
// read, so no 2 GiB is needed.
TEST(UtlString, AppendsCopyBothPartsWithinTheLimit)
{
    CSpewCapture capture;
    CUtlString str(nullptr);
    EXPECT_STREQ("", str.Get());
    str = "abc";
    const char* pszBefore = str.Get();
    str.Append(nullptr);
    str.Append("", 0);
    EXPECT_EQ(pszBefore, str.Get()); // nothing reallocated
    str.Append(str.Get());
    str.Append("xyz", 2);
    EXPECT_EQ(str, "abcabcxy");
    char* pch = str.GetForModify(10); // keeps the old text and terminates
    memcpy(pch + 8, "!!", 2);
    EXPECT_EQ(str, "abcabcxy!!");
    str.GetForModify(2);
    EXPECT_EQ(0, capture.CountAsserts());
    str.Append("x", CUtlString::k_cchMaxString - 2);
    EXPECT_EQ(nullptr, str.GetForModify(CUtlString::k_cchMaxString));
    EXPECT_EQ(2, capture.CountFailedAssertions("Assertion failed: length > k_cchMaxString"));
    CUtlString strMoved(static_cast<CUtlString&&>(str));
    EXPECT_TRUE(str.IsEmpty());
    EXPECT_EQ(strMoved, "ab");
}

TEST(UtlString, FormatsGiveTheLengthOrKeepTheText)
{
    CSpewCapture capture;
    CUtlString str("old");
    EXPECT_EQ(4, str.Format("%s-%d", "x", 42));
    EXPECT_EQ(1, str.AppendFormat("%c", '!'));
    EXPECT_EQ(str, "x-42!");
    EXPECT_EQ(0, capture.CountAsserts());
    EXPECT_EQ(0, str.Format("%s", ""));
    EXPECT_EQ(1, capture.CountFailedAssertions("len > 0"));
    // A wide character outside the C locale's character set fails to format where the
    // runtime reports encoding errors; some runtimes silently drop it instead.
    str = "keep";
    if (snprintf(nullptr, 0, "%ls", L"\u4e2d") < 0)
    {
        EXPECT_EQ(-1, str.Format("%ls", L"\u4e2d"));
        EXPECT_EQ(str, "keep");
    }
}

// The 24th character moves the text to the heap with exactly the capacity asked for.
TEST(UtlStringBuilder, TwentyThreeCharactersStayInline)
{
    CUtlStringBuilder sb("12345678901234567890");
    EXPECT_EQ(3, LastByte(sb));
    sb.Append("abc");
    EXPECT_FALSE(sb.IsHeap());
    EXPECT_EQ(0, LastByte(sb)); // the spare count doubles as the terminator
    EXPECT_STREQ("12345678901234567890abc", sb.String());
    sb.AppendChar('d');
    EXPECT_TRUE(sb.IsHeap());
    EXPECT_EQ(0x80, LastByte(sb) & 0xC0);
    EXPECT_EQ(24u, sb.Capacity());
    EXPECT_STREQ("12345678901234567890abcd", sb.String());

    CUtlStringBuilder sbSelf("0123456789abcdefghij");
    sbSelf.Append(sbSelf.String()); // the source moves with the text
    EXPECT_STREQ("0123456789abcdefghij0123456789abcdefghij", sbSelf.String());
}

// Small requests go back inline.
TEST(UtlStringBuilder, RequestsWithinTheKeptTextGetSlack)
{
    CSpewCapture capture;
    CUtlStringBuilder sbSlack("inline text");
    sbSlack.InternalPrepareBuffer(40, true, 40);
    EXPECT_EQ(40u + 20 + 32, sbSlack.Capacity());
    EXPECT_STREQ("inline text", sbSlack.String());
    sbSlack.InternalPrepareBuffer(5, true, 10);
    EXPECT_EQ(1, capture.CountFailedAssertions("nMinCapacity > Capacity()"));
    EXPECT_FALSE(sbSlack.IsHeap());
    EXPECT_STREQ("inlin", sbSlack.String());

    CUtlStringBuilder sbLarge;
    sbLarge.InternalPrepareBuffer(3000000, false, 3000000);
    EXPECT_EQ(4000000u, sbLarge.Capacity()); // the slack stops at 1,000,000
}

TEST(UtlStringBuilder, FormatGivesTheLength)
{
    CSpewCapture capture;
    CUtlStringBuilder sb("old");
    EXPECT_EQ(5u, sb.Format("%d", 12345));
    EXPECT_EQ(9u, sb.AppendFormat("/%s", "six"));
    EXPECT_STREQ("12345/six", sb.String());
    EXPECT_EQ(0, capture.CountAsserts());
    EXPECT_EQ(30u, sb.Format("%030d", 7));
    EXPECT_EQ(30u, sb.Capacity());
    EXPECT_EQ(0u, sb.Format("%s", ""));
    EXPECT_EQ(1, capture.CountFailedAssertions("len > 0 || HasError()"));
}

TEST(UtlStringBuilder, ErrorStateSticksSilently)
{
    CSpewCapture capture;
    CUtlStringBuilder sb("some text");
    EXPECT_EQ(nullptr, sb.InternalPrepareBuffer(0, false, 0x80000000u));
    EXPECT_EQ(1, capture.CountFailedAssertions("nMinCapacity <= k_nMaxStringSize"));
    EXPECT_EQ(1, capture.CountFailedAssertions("Error State on string being set."));
    EXPECT_EQ(0xC0, LastByte(sb));

    const int nReports = capture.CountAsserts();
    sb.SetValue("ignored");
    sb.Append("ignored");
    sb.Clear();
    EXPECT_EQ(0u, sb.Format("%s", ""));
    EXPECT_EQ(0u, sb.AppendFormat("%d", 1));
    EXPECT_STREQ("", sb.String());
    EXPECT_EQ(nReports, capture.CountAsserts());
    EXPECT_TRUE(CUtlStringBuilder(sb).HasError());
}
