// String tools: ASCII-only case folding, bounded copies, the UTF-8/UTF-16 conversions at
// their edges (non-BMP text, malformed input, short destinations) and the path helpers.

#include <string>

#include <gtest/gtest.h>

#include "vstdlib/strtools.h"

namespace
{

std::u16string ToUTF16(const std::string& str, int cubDest = 256)
{
    wchar16 rgwch[128];
    int cch = V_UTF8ToUTF16Len(str.data(), (int)str.size(), rgwch, cubDest);
    return cch ? std::u16string(rgwch, (size_t)cch - 1) : u"<none>";
}

std::string ToUTF8(const std::u16string& str, int cubDest = 256)
{
    char rgch[256];
    int cch = V_UTF16ToUTF8Len(str.data(), (int)str.size(), rgch, cubDest);
    return cch ? std::string(rgch, (size_t)cch - 1) : "<none>";
}

} // namespace

TEST(StrTools, CaseFoldingIsAsciiOnly)
{
    EXPECT_EQ(V_stricmp("Software\\PELLAN", "software\\pellan"), 0);
    EXPECT_LT(V_stricmp("a", "B"), 0);
    EXPECT_LT(V_stricmp("ab", "abc"), 0);
    EXPECT_GT(V_stricmp("\x80", "z"), 0); // bytes compare unsigned
    EXPECT_NE(V_stricmp("\xC3\x84", "\xC3\xA4"), 0);
    EXPECT_EQ(V_strnicmp("abcX", "ABCY", 3), 0);
    EXPECT_NE(V_strnicmp("abcX", "ABCY", 4), 0);

    char szText[] = "\xC3\x84"
                    "Bc";
    V_strlower(szText);
    EXPECT_STREQ(szText, "\xC3\x84"
                         "bc");
}

TEST(StrTools, CaselessSearchAndPrefix)
{
    const char* pszHay = "Hello World";
    EXPECT_EQ(V_stristr(pszHay, "WORLD"), pszHay + 6);
    EXPECT_EQ(V_stristr(pszHay, "worlds"), nullptr);
    EXPECT_EQ(V_stristr(pszHay, ""), pszHay);
    EXPECT_TRUE(V_StringHasPrefixCaseless("Software\\Pellan", "SOFTWARE\\"));
    EXPECT_FALSE(V_StringHasPrefixCaseless("Soft", "Software"));
}

TEST(StrTools, BoundedCopiesAlwaysTerminate)
{
    char szDest[5] = "####";
    V_strncpy(szDest, "abcdef", sizeof(szDest));
    EXPECT_STREQ(szDest, "abcd");
    V_strncpy(szDest, "zz", 0);
    EXPECT_STREQ(szDest, "abcd");

    char szCat[6] = "ab";
    V_strncat(szCat, "cdefgh", sizeof(szCat));
    EXPECT_STREQ(szCat, "abcde");
    char szFull[3] = {'x', 'y', 'z'};
    V_strncat(szFull, "a", sizeof(szFull));
    EXPECT_STREQ(szFull, "xy");
}

TEST(StrTools, SnprintfReportsCutOutput)
{
    char szDest[4];
    EXPECT_EQ(V_snprintf(szDest, sizeof(szDest), "%d", 123), 3);
    EXPECT_EQ(V_snprintf(szDest, sizeof(szDest), "%d", 1234), -1);
    EXPECT_STREQ(szDest, "123");
    EXPECT_EQ(V_snprintf(szDest, 0, "%s", ""), -1);
}

TEST(StrToolsUnicode, RoundTripsEveryEncodedLength)
{
    const std::string strUTF8 = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
    const std::u16string strUTF16 = u"a\u00E9\u4E2D\U0001F600\U0010FFFF";
    EXPECT_EQ(ToUTF16(strUTF8), strUTF16);
    EXPECT_EQ(ToUTF8(strUTF16), strUTF8);

    wchar16 rgwch[16];
    EXPECT_EQ(V_UTF8ToUTF16(strUTF8.c_str(), rgwch, sizeof(rgwch)), (int)strUTF16.size() + 1);
    char rgch[32];
    EXPECT_EQ(V_UTF16ToUTF8(rgwch, rgch, sizeof(rgch)), (int)strUTF8.size() + 1);
    EXPECT_EQ(rgch, strUTF8);
}

TEST(StrToolsUnicode, MeasuringWithoutADestination)
{
    EXPECT_EQ(V_UTF8ToUTF16("a\xF0\x9F\x98\x80", nullptr, 0), 4);
    EXPECT_EQ(V_UTF16ToUTF8(u"a\U0001F600", nullptr, 0), 6);
    wchar16 rgwch[2];
    EXPECT_EQ(V_UTF8ToUTF16(nullptr, rgwch, sizeof(rgwch)), 1);
    EXPECT_EQ(rgwch[0], 0);
}

TEST(StrToolsUnicode, MalformedUTF8BecomesReplacementCharacters)
{
    EXPECT_EQ(ToUTF16("\xFF"), u"\uFFFD");
    EXPECT_EQ(ToUTF16("\xC0\xAF"), u"\uFFFD\uFFFD");                     // overlong
    EXPECT_EQ(ToUTF16("a\xE4\xB8z"), u"a\uFFFDz");                       // cut-off sequence counts once
    EXPECT_EQ(ToUTF16("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");           // encoded surrogate
    EXPECT_EQ(ToUTF16("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD"); // above U+10FFFF
    EXPECT_EQ(ToUTF16("\xF0\x9F\x98"), u"\uFFFD");
}

TEST(StrToolsUnicode, UnpairedSurrogatesBecomeReplacementCharacters)
{
    EXPECT_EQ(ToUTF8(u"\xD800"
                     u"a"),
              "\xEF\xBF\xBD"
              "a");
    EXPECT_EQ(ToUTF8(u"\xDC00\xD83D"), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(StrToolsUnicode, ShortDestinationsCutAtCharacterBoundaries)
{
    EXPECT_EQ(ToUTF8(u"a\U0001F600", 5), "a");        // four bytes and the NUL do not fit in five
    EXPECT_EQ(ToUTF16("a\xF0\x9F\x98\x80", 5), u"a"); // five bytes are two units: no room for a pair
    EXPECT_EQ(ToUTF16("abc", 1), u"<none>");
    EXPECT_EQ(ToUTF8(u"ab", 1), "");
}

TEST(StrToolsPath, AbsolutePaths)
{
    for (const char* pszPath : {"C:\\x", "c:/x", "\\\\server\\x", "/x", "\\x"})
        EXPECT_TRUE(V_IsAbsolutePath(pszPath)) << pszPath;
    for (const char* pszPath : {"C:x", "C:", "x\\y", "", "1:\\x"})
        EXPECT_FALSE(V_IsAbsolutePath(pszPath)) << pszPath;
}

TEST(StrToolsPath, ComponentsAndSeparators)
{
    char szPath[] = "C:/x\\dir/";
    V_StripTrailingSlash(szPath);
    EXPECT_STREQ(szPath, "C:/x\\dir");
    V_FixSlashes(szPath);
    EXPECT_STREQ(szPath, "C:\\x\\dir");
    EXPECT_STREQ(V_UnqualifiedFileName("C:/x\\a.txt"), "a.txt");
    EXPECT_STREQ(V_UnqualifiedFileName("a.txt"), "a.txt");
    EXPECT_TRUE(V_StripLastComponent(szPath));
    EXPECT_STREQ(szPath, "C:\\x");
    char szBare[] = "file";
    EXPECT_FALSE(V_StripLastComponent(szBare));
    EXPECT_STREQ(szBare, "file");
}

TEST(StrToolsPath, RemoveDotSlashes)
{
    struct Case_s
    {
        const char* m_pszIn;
        const char* m_pszOut; // null: the path climbs above its root
    };
    const Case_s rgCases[] = {
        {"C:\\x\\a\\..\\b.txt", "C:\\x\\b.txt"},
        {"C:/x/./y//z", "C:\\x\\y\\z"},
        {"C:\\x\\a\\..", "C:\\x"},
        {"C:\\x\\a\\..\\", "C:\\x\\"},
        {"C:\\", "C:\\"},
        {"C:\\..", nullptr},
        {"C:\\x\\..\\..\\y", nullptr},
        {"\\\\server\\share\\a\\..\\b", "\\\\server\\share\\b"},
        {"\\\\server\\share\\..", nullptr},
        {"\\\\?\\C:\\x\\..\\y", "\\\\?\\C:\\y"},
        {"/a/b/../../c", "\\c"},
        {"a\\..\\b", "b"},
        {"..\\a", nullptr},
    };
    for (const Case_s& c : rgCases)
    {
        std::string strPath = c.m_pszIn;
        bool bOk = V_RemoveDotSlashes(&strPath[0]);
        EXPECT_EQ(bOk, c.m_pszOut != nullptr) << c.m_pszIn;
        if (bOk && c.m_pszOut)
        {
            EXPECT_STREQ(strPath.c_str(), c.m_pszOut) << c.m_pszIn;
        }
    }

    char szSlashes[] = "C:\\x\\.\\y";
    EXPECT_TRUE(V_RemoveDotSlashes(szSlashes, '/'));
    EXPECT_STREQ(szSlashes, "C:/x/y");
}
