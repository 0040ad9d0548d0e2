// String tools: ASCII-only case folding, bounded copies, the UTF-8/UTF-16 conversions at
// their edges (non-BMP text, malformed input, short destinations) and the path helpers.

#include <string>

#include <gtest/gtest.h>

#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

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
    EXPECT_EQ(0, V_stricmp("Software\\PELLAN", "software\\pellan"));
    EXPECT_LT(V_stricmp("a", "B"), 0);
    EXPECT_LT(V_stricmp("ab", "abc"), 0);
    EXPECT_GT(V_stricmp("\x80", "z"), 0); // bytes compare unsigned
    EXPECT_NE(0, V_stricmp("\xC3\x84", "\xC3\xA4"));
    EXPECT_EQ(0, V_strnicmp("abcX", "ABCY", 3));
    EXPECT_NE(0, V_strnicmp("abcX", "ABCY", 4));
    const char* pszHay = "Hello World";
    EXPECT_EQ(pszHay + 6, V_stristr(pszHay, "WORLD"));
    EXPECT_EQ(nullptr, V_stristr(pszHay, "worlds"));
    EXPECT_EQ(pszHay, V_stristr(pszHay, ""));
    EXPECT_TRUE(V_StringHasPrefixCaseless("Software\\Pellan", "SOFTWARE\\"));
    EXPECT_FALSE(V_StringHasPrefixCaseless("Soft", "Software"));
}

TEST(StrTools, BoundedCopiesTerminateReportingCuts)
{
    char szDest[5] = "####";
    V_strncpy(szDest, "abcdef", sizeof(szDest));
    EXPECT_STREQ("abcd", szDest);
    V_strncpy(szDest, "zz", 0);
    EXPECT_STREQ("abcd", szDest);
    char szCat[6] = "ab";
    V_strncat(szCat, "cdefgh", sizeof(szCat));
    EXPECT_STREQ("abcde", szCat);
    char szFull[3] = {'x', 'y', 'z'};
    V_strncat(szFull, "a", sizeof(szFull));
    EXPECT_STREQ("xy", szFull);

    EXPECT_EQ(3, V_snprintf(szDest, 4, "%d", 123));
    EXPECT_EQ(-1, V_snprintf(szDest, 4, "%d", 1234));
    EXPECT_STREQ("123", szDest);
    EXPECT_EQ(-1, V_snprintf(szDest, 0, "%s", ""));
}

// Results count the terminator; a null destination only measures.
TEST(StrToolsUnicode, RoundTripsWholeCharactersWithinTheDestination)
{
    const std::string strUTF8 = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
    const std::u16string strUTF16 = u"a\u00E9\u4E2D\U0001F600\U0010FFFF";
    EXPECT_EQ(strUTF16, ToUTF16(strUTF8));
    EXPECT_EQ(strUTF8, ToUTF8(strUTF16));
    wchar16 rgwch[16];
    EXPECT_EQ((int)strUTF16.size() + 1, V_UTF8ToUTF16(strUTF8.c_str(), rgwch, sizeof(rgwch)));
    char rgch[32];
    EXPECT_EQ((int)strUTF8.size() + 1, V_UTF16ToUTF8(rgwch, rgch, sizeof(rgch)));
    EXPECT_EQ(strUTF8, rgch);
    EXPECT_EQ(4, V_UTF8ToUTF16("a\xF0\x9F\x98\x80", nullptr, 0));
    EXPECT_EQ(6, V_UTF16ToUTF8(u"a\U0001F600", nullptr, 0));
    EXPECT_EQ(1, V_UTF8ToUTF16(nullptr, rgwch, sizeof(rgwch)));
    EXPECT_EQ(0, rgwch[0]);
    // Short destinations cut at character boundaries.
    EXPECT_EQ("a", ToUTF8(u"a\U0001F600", 5));        // four bytes and the NUL do not fit in five
    EXPECT_EQ(u"a", ToUTF16("a\xF0\x9F\x98\x80", 5)); // five bytes are two units: no room for a pair
    EXPECT_EQ(u"<none>", ToUTF16("abc", 1));
    EXPECT_EQ("", ToUTF8(u"ab", 1));
}

TEST(StrToolsUnicode, MalformedTextBecomesReplacementCharacters)
{
    EXPECT_EQ(u"\uFFFD", ToUTF16("\xFF"));
    EXPECT_EQ(u"\uFFFD\uFFFD", ToUTF16("\xC0\xAF"));                     // overlong
    EXPECT_EQ(u"a\uFFFDz", ToUTF16("a\xE4\xB8z"));                       // cut-off sequence counts once
    EXPECT_EQ(u"\uFFFD\uFFFD\uFFFD", ToUTF16("\xED\xA0\x80"));           // encoded surrogate
    EXPECT_EQ(u"\uFFFD\uFFFD\uFFFD\uFFFD", ToUTF16("\xF4\x90\x80\x80")); // above U+10FFFF
    EXPECT_EQ(u"\uFFFD", ToUTF16("\xF0\x9F\x98"));
    EXPECT_EQ("\357\277\275a", ToUTF8(std::u16string{0xD800, u'a'}));
    EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD", ToUTF8(u"\xDC00\xD83D")); // unpaired surrogates
}

TEST(StrToolsPath, RecognisesAbsolutePaths)
{
    for (const char* pszPath : {"C:\\x", "c:/x", "\\\\server\\x", "/x", "\\x"})
        EXPECT_TRUE(V_IsAbsolutePath(pszPath)) << pszPath;
    for (const char* pszPath : {"C:x", "C:", "x\\y", "", "1:\\x"})
        EXPECT_FALSE(V_IsAbsolutePath(pszPath)) << pszPath;
}

TEST(StrToolsPath, ComponentsEndAtEitherSlash)
{
    char szPath[] = "C:/x\\dir/";
    V_StripTrailingSlash(szPath);
    EXPECT_STREQ("C:/x\\dir", szPath);
    V_FixSlashes(szPath);
    EXPECT_STREQ("C:\\x\\dir", szPath);
    EXPECT_STREQ("a.txt", V_UnqualifiedFileName("C:/x\\a.txt"));
    EXPECT_STREQ("a.txt", V_UnqualifiedFileName("a.txt"));
    EXPECT_TRUE(V_StripLastComponent(szPath));
    EXPECT_STREQ("C:\\x", szPath);
    char szBare[] = "file";
    EXPECT_FALSE(V_StripLastComponent(szBare));
    EXPECT_STREQ("file", szBare);
}

TEST(StrToolsPath, DotSlashesResolveBelowTheRoot)
{
    const char* const pszAboveRoot = "<above>";
    const char* const rgpszCases[][2] = {{"C:\\x\\a\\..\\b.txt", "C:\\x\\b.txt"},
                                         {"C:/x/./y//z", "C:\\x\\y\\z"},
                                         {"C:\\x\\a\\..", "C:\\x"},
                                         {"C:\\x\\a\\..\\", "C:\\x\\"},
                                         {"C:\\", "C:\\"},
                                         {"C:\\x\\..\\..\\y", pszAboveRoot},
                                         {"\\\\server\\share\\a\\..\\b", "\\\\server\\share\\b"},
                                         {"\\\\server\\share\\..", pszAboveRoot},
                                         {"\\\\?\\C:\\x\\..\\y", "\\\\?\\C:\\y"},
                                         {"/a/b/../../c", "\\c"},
                                         {"a\\..\\b", "b"},
                                         {"..\\a", pszAboveRoot}};
    for (const auto& rgpszCase : rgpszCases)
    {
        std::string strPath = rgpszCase[0];
        const bool bOk = V_RemoveDotSlashes(&strPath[0]);
        EXPECT_EQ(std::string(rgpszCase[1]), bOk ? strPath.c_str() : pszAboveRoot) << rgpszCase[0];
    }
    char szSlashes[] = "C:\\x\\.\\y";
    EXPECT_TRUE(V_RemoveDotSlashes(szSlashes, '/'));
    EXPECT_STREQ("C:/x/y", szSlashes);
}
