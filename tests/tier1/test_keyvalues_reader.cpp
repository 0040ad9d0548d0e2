// KeyValues text reader: tokens, value types, conditionals, error reporting and hostile
// input (deep nesting, huge tokens, garbage).

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kvtext_helpers.h"
#include "memorypeak.h"
#include "spewcapture.h"
#include "tier0/platform.h"
#include "tier1/utlbuffer.h"
#include "tracedcall.h"
#include "vstdlib/ikeyvaluessystem.h"

namespace
{
// Each document (text, expected tree) reads cleanly to its tree.
void ExpectTrees(const std::vector<std::pair<const char*, const char*>>& vecCases, bool bEscapes = false)
{
    for (const auto& [pszText, pszTree] : vecCases)
    {
        LoadResult_s result = LoadText(pszText, bEscapes);
        EXPECT_TRUE(result.m_bClean) << pszText << "\n" << result.m_strErrors;
        EXPECT_EQ(pszTree, DescribeTree(result.m_pkv.get())) << pszText;
    }
}
#define ExpectTrees(...) ISE_TRACED_CALL(ExpectTrees, __VA_ARGS__)

TEST(KeyValuesReader, ReadsEveryTokenForm)
{
    ExpectTrees({{"\"Job\"\n{\n\t\"mode\"\t\t\"2\"\n}\n", "Job{mode=i2}"},
                 {"a{b=c d\"e\"f{}}", "a{b=s'c',d=s'e',f{}}"},
                 {"// lead\na // after key\n{ // brace\n k v // tail\n}// end", "a{k=s'v'}"},
                 {"a { url http://x/y }", "a{url=s'http://x/y'}"},
                 {"a { \"}\" \"{\" \"=\" \"x\" }", "a{}=s'{',==s'x'}"},
                 {"\xEF\xBB\xBF\"a\" { k 1 }", "a{k=i1}"},
                 {"a { \"multi\nline\" \"v\nw\" }", "a{multi\nline=s'v\nw'}"},
                 {"a { k 1 k 2 K 3 }", "a{k=i1,k=i2,k=i3}"},
                 {"a { } b { x { } } c { }", "a{} | b{x{}} | c{}"},
                 {"a { k \"[x]\" }", "a{k=s'[x]'}"}, // quoted text is never a conditional
                 {"", "root{}"},
                 {"  // only a comment", "root{}"}});
}

// DEL, the no-escape conversion's escape, becomes a NUL.
TEST(KeyValuesReader, EscapesFollowTheEscapeFlag)
{
    ExpectTrees({{"a { k \"a\\nb\" }", "a{k=s'a\\nb'}"},
                 {"a { k \"c:\\dir\\\" }", "a{k=s'c:\\dir\\'}"},
                 {"a { k \"ab\177cd\" }", "a{k=s'ab'}"}});
    ExpectTrees({{"a { k \"a\\nb\" }", "a{k=s'a\nb'}"},
                 {"a { k \"say \\\"hi\\\"\" }", "a{k=s'say \"hi\"'}"},
                 {"a { k \"cut\\zrest\" }", "a{k=s'cut'}"},
                 {"a { k \"\\\\share\\\\x\" }", "a{k=s'\\share\\x'}"}},
                true);
    // What an unknown escape leaves of a text is read as any text is: a number here, in a
    // short text and in long ones (cut in their first 64 bytes, and in their last).
    std::string strCutEarly = "a { k \"12\\z" + std::string(100, 'p') + "\" }";
    std::string strCutLate = "a { k \"" + std::string(70, ' ') + "12\\z\" }";
    ExpectTrees({{"a { k \"12\\z\" }", "a{k=i12}"},
                 {strCutEarly.c_str(), "a{k=i12}"},
                 {strCutLate.c_str(), "a{k=i12}"}},
                true);
    LoadResult_s result = LoadText("a { k \"x\\", true); // an escape at the very end
    EXPECT_EQ("a{k=s'x'}", DescribeTree(result.m_pkv.get()));
}

// Long texts are copied 16 bytes a step with known escapes taken on the way: escapes on
// every offset of those steps, an unknown escape and a text longer than the token buffer
// read as the byte-by-byte rules say.
TEST(KeyValuesReader, EscapesInLongTextsAtEveryOffset)
{
    for (size_t cchPlain = 0; cchPlain < 40; ++cchPlain)
    {
        SCOPED_TRACE(cchPlain);
        std::string strPlain(cchPlain, 'p'), strTail(40, 'q');
        ExpectTrees({{("a { k \"" + strPlain + "\\\\x\\n\\\"" + strTail + "\" }").c_str(),
                      ("a{k=s'" + strPlain + "\\x\n\"" + strTail + "'}").c_str()},
                     {("a { k \"" + strPlain + "\\z" + strTail + "\" }").c_str(),
                      ("a{k=s'" + strPlain + "'}").c_str()}},
                    true);
    }
    // Past the token buffer, a top-level name keeps what fits; a value is an error, which
    // ends its section.
    CKeyValuesParser parser(32); // tokens of 31 characters
    parser.SetReportEnabled(false);
    std::string strLong = "\"" + std::string(20, 'p') + "\\\\" + std::string(40, 'q') + "\"";
    for (bool bValue : {false, true})
    {
        std::string strText = bValue ? "a { k " + strLong + " }" : strLong + " { }";
        CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
        KV pkv(new KeyValues("x"));
        pkv->SetUsesEscapeSequences(true, false);
        CSpewCapture capture;
        EXPECT_FALSE(pkv->LoadFromBuffer("o.vdf", buf, &parser));
        if (!bValue)
        {
            EXPECT_STREQ((std::string(20, 'p') + "\\" + std::string(10, 'q')).c_str(), pkv->GetName());
        }
        std::string strErrors = parser.GetErrorText();
        EXPECT_EQ(0u, strErrors.find("KeyValues Error:  ReadToken overflow in file o.vdf")) << strErrors;
        EXPECT_EQ(strErrors.find("overflow"), strErrors.rfind("overflow"));
    }
}

// Random escaped texts up to several hundred bytes, so escapes, escaped quotes, unknown
// escapes, NULs and bytes from 0x80 land on every offset of the wide steps and across
// their edges, read as the character rules say; the entry after them is still found.
TEST(KeyValuesReader, EscapedTextsDecodeAsTheCharacterRulesSay)
{
    struct Piece_s
    {
        const char* m_pszRaw;
        const char* m_pszDecoded; // an unknown escape: a NUL, then the byte as itself
        size_t m_cchDecoded;
    };
    static const Piece_s k_rgPieces[] = {
        {"a", "a", 1},           {"b", "b", 1},
        {" ", " ", 1},           {"\\\\", "\\", 1},
        {"\\n", "\n", 1},        {"\\t", "\t", 1},
        {"\\\"", "\"", 1},       {"\\z", "\0z", 2},
        {"\\\xC3", "\0\xC3", 2}, {"\xC3\xA9", "\xC3\xA9", 2},
        {"'", "'", 1},           {"\\\xEE", "\0\xEE", 2}, // 0xEE less its top bit is 'n': still unknown
    };
    auto Value = [](KeyValues* pkv, const char* pszName)
    {
        KeyValues* pkvFound = pkv->FindKey(pszName);
        return std::string(pkvFound ? pkvFound->GetString() : "(none)");
    };
    std::mt19937 rng(77);
    for (int iCase = 0; iCase < 3000; ++iCase)
    {
        std::string strRaw, strDecoded;
        size_t cPieces = rng() % 300;
        bool bNul = rng() % 8 == 0;
        for (size_t i = 0; i < cPieces; ++i)
        {
            // Mostly plain text, so runs of many blocks without an escape come too.
            const Piece_s& piece = k_rgPieces[rng() % 4 ? rng() % 3 : rng() % std::size(k_rgPieces)];
            strRaw += piece.m_pszRaw;
            strDecoded.append(piece.m_pszDecoded, piece.m_cchDecoded);
            if (bNul && i == cPieces / 2)
                strRaw += '\0', strDecoded += '\0';
        }
        SCOPED_TRACE(testing::Message() << "case " << iCase);
        LoadResult_s result = LoadText("a { k \"" + strRaw + "\" j x }", true);
        EXPECT_TRUE(result.m_bClean) << result.m_strErrors;
        EXPECT_EQ(strDecoded.c_str(), Value(result.m_pkv.get(), "k"));
        EXPECT_EQ("x", Value(result.m_pkv.get(), "j"));

        // As a top-level name read through a 100-character token buffer: what fits stays.
        CKeyValuesParser parser(101);
        parser.SetReportEnabled(false);
        std::string strText = "\"" + strRaw + "\" { j x }";
        CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
        KV pkv(new KeyValues("root"));
        pkv->SetUsesEscapeSequences(true, false);
        bool bFits = strDecoded.size() <= 100;
        EXPECT_EQ(bFits, pkv->LoadFromBuffer("e.vdf", buf, &parser));
        EXPECT_STREQ(strDecoded.substr(0, 100).c_str(), pkv->GetName());
        EXPECT_EQ("x", Value(pkv.get(), "j"));
    }
}

// A document of more distinct names than the reader keeps close, then the same names in
// other case: every key still gets its own name's symbol (the first spelling).
TEST(KeyValuesReader, ManyDistinctNamesThenRepeatsKeepTheirSymbols)
{
    const int cNames = 20000;
    std::string strText = "doc { first {";
    for (int i = 0; i < cNames; ++i)
        strText += " \"distinct" + std::to_string(i) + "\" " + std::to_string(i);
    strText += " } again {";
    for (int i = cNames - 1; i >= 0; --i)
        strText += " \"DISTINCT" + std::to_string(i) + "\" " + std::to_string(i);
    strText += " } }";
    LoadResult_s result = LoadText(strText, true);
    ASSERT_TRUE(result.m_bClean) << result.m_strErrors;
    int cChecked = 0;
    for (const char* pszSection : {"first", "again"})
    {
        for (KeyValues* pkv = result.m_pkv->FindKey(pszSection)->GetFirstSubKey(); pkv;
             pkv = pkv->GetNextKey())
        {
            std::string strExpected = "distinct" + std::to_string(pkv->GetInt());
            ASSERT_STREQ(strExpected.c_str(), pkv->GetName());
            ++cChecked;
        }
    }
    EXPECT_EQ(2 * cNames, cChecked);
}

// Once the key-name table outgrows the caches, the reader hashes names a few pairs ahead
// where names seldom repeat. Runs of distinct names are broken at random by what the
// look-ahead must not take for a name (escaped names, conditionals, comments, sections,
// unquoted keys, names in another case), and sections of a few repeated names turn it
// off and on again mid-run. Values number the keys, so each is checked against the name
// it was written with.
TEST(KeyValuesReader, NamesReadAheadInALargeTableStayWithTheirKeys)
{
    for (int i = 0; i < 150000; ++i)
        KeyValuesSystem()->GetSymbolForString(("filler" + std::to_string(i)).c_str(), true);
    ASSERT_TRUE(BKeyNamesOutgrowCaches());

    std::mt19937 rng(13);
    std::vector<std::string> vecExpected;
    std::string strText = "doc {";
    auto AddPair = [&](const std::string& strKey, const std::string& strName, const char* pszAfter = "")
    {
        strText += strKey + " \"" + std::to_string(vecExpected.size()) + "\"" + pszAfter +
                   (rng() % 40 == 0 ? " \"sub\" { }\n" : "\n");
        vecExpected.push_back(strName);
    };
    for (int iSection = 0; iSection < 6; ++iSection)
    {
        strText += " \"group" + std::to_string(iSection) + "\" {\n";
        for (int iPair = 0; iPair < 6000; ++iPair)
        {
            // Every "n" name is six characters, so a name queued for another key would
            // often fit this one's length.
            std::string strName = "n" + std::to_string(10000 + vecExpected.size());
            if (iSection % 2)
            {
                strName = "n" + std::to_string(10000 + rng() % 8);
                AddPair("\"" + strName + "\"", strName);
                continue;
            }
            // The first eight are plain: the names the rest repeat.
            switch (vecExpected.size() < 8 ? 5 : rng() % 24)
            {
                case 0:
                    AddPair("\"esc\\\\" + strName + "\"", "esc\\" + strName);
                    break;
                case 1:
                    AddPair("\"" + strName + "\"", strName, " [$WIN32]");
                    break;
                case 2:
                    strText += "// \"not\" \"a key\"\n";
                    AddPair("\"" + strName + "\"", strName);
                    break;
                case 3:
                    AddPair(strName, strName);
                    break;
                case 4:
                    strName = "n" + std::to_string(10000 + rng() % 8);
                    AddPair("\"N" + strName.substr(1) + "\"", strName);
                    break;
                default:
                    AddPair("\"" + strName + "\"", strName);
                    break;
            }
        }
        strText += "}\n";
    }
    strText += "}";

    LoadResult_s result = LoadText(strText, true);
    ASSERT_TRUE(result.m_bClean) << result.m_strErrors;
    size_t cChecked = 0;
    for (KeyValues* pkvGroup = result.m_pkv->GetFirstSubKey(); pkvGroup; pkvGroup = pkvGroup->GetNextKey())
    {
        for (KeyValues* pkv = pkvGroup->GetFirstSubKey(); pkv; pkv = pkv->GetNextKey())
        {
            if (!strcmp(pkv->GetName(), "sub"))
                continue;
            ASSERT_EQ(vecExpected[(size_t)pkv->GetInt()], pkv->GetName())
                << "the key valued " << pkv->GetInt();
            ++cChecked;
        }
    }
    EXPECT_EQ(vecExpected.size(), cChecked);
}

TEST(KeyValuesReader, OnlyPlainThirtyTwoBitIntegersBecomeIntegers)
{
    const auto ValueTree = [](const std::string& strValue)
    { return DescribeTree(LoadText("a { k " + strValue + " }").m_pkv.get()); };
    const std::pair<const char*, int> rgInts[] = {
        {"42", 42}, {"-7", -7}, {"\" 5\"", 5},           {"+5", 5},
        {"0", 0},   {"-0", 0},  {"2147483647", INT_MAX}, {"-2147483648", INT_MIN}};
    for (const auto& intCase : rgInts)
        EXPECT_EQ("a{k=i" + std::to_string(intCase.second) + "}", ValueTree(intCase.first)) << intCase.first;
    for (std::string strText : {"2147483648", "-2147483649", "007", "0123", "0x10", "1.5", "1,000", "-",
                                "1-2", "99999999999999999999", "\"\"", "\"5 \"", "\"\t5\""})
    {
        std::string strValue = strText;
        strText.erase(std::remove(strText.begin(), strText.end(), '"'), strText.end());
        EXPECT_EQ("a{k=s'" + strText + "'}", ValueTree(strValue)) << strValue;
    }
}

TEST(KeyValuesReader, ConditionalsDropTheValueOrSectionTheyFollow)
{
    ExpectTrees({{"a { k 0 k 1 [$WIN32] }", "a{k=i1}"},
                 {"a { k 0 k 1 [$LINUX] }", "a{k=i0}"},
                 {"a { k 0 j 5 k 1 [!$X360&&$WINDOWS] }", "a{j=i5,k=i1}"},
                 {"a { s [$LINUX] { x 1 } t 2 }", "a{t=i2}"},
                 {"a { s { x 1 } s [$WIN32] { y 2 } }", "a{s{x=i1},s{y=i2}}"},
                 {"a { k 0 k = [$WIN32] 1 }", "a{k=i1}"},
                 {"a { k 0 k = [$LINUX] 1 }", "a{k=i0}"},
                 {"a { k 0 k = 1 }", "a{k=i0,k=i1}"},
                 {"a { k [$LINUX] 1 }", "a{}"},
                 {"TopA [$LINUX] { x 1 } TopB { y 2 }", "TopB{y=i2}"},
                 {"TopA { } TopB [$LINUX] { } TopC { }", "TopA{} | TopC{}"},
                 {"TopA { } TopB [$LINUX] { }", "TopA{}"},
                 {"TopA [$WIN32] { x 1 }", "TopA{x=i1}"}});
}

TEST(KeyValuesReader, ErrorsNameTheirCause)
{
    const char* const rgpszCases[][2] = {
        {"a 5", "LoadFromBuffer: missing {   (current key: 'a')"},
        {"a { k", "RecursiveLoadFromBuffer:  got NULL key"},
        {"a { k 1", "RecursiveLoadFromBuffer:  got EOF instead of keyname"},
        {"a { \"\" 1 }", "RecursiveLoadFromBuffer:  got empty keyname"},
        {"a { k }", "RecursiveLoadFromBuffer:  got } in key"},
        {"a { k [$WIN32] [$LINUX] }", "RecursiveLoadFromBuffer:  got conditional between key and value"},
        {"#INCLUDE", "#include is NULL "},
        {"#include \"\"", "#include is NULL "}};
    for (const auto& rgpszCase : rgpszCases)
    {
        std::string strErrors = LoadText(rgpszCase[0]).m_strErrors;
        EXPECT_EQ(0u, strErrors.find(std::string("KeyValues Error: ") + rgpszCase[1] +
                                     " in file test.vdf [offset: "))
            << rgpszCase[0] << " -> " << strErrors;
    }
}

// Keys of branches already left show as (*name*); the nested section shows once.
TEST(KeyValuesReader, ErrorsListTheKeysOfTheirBranch)
{
    // "Branch": no other test of this program interns it, so its first spelling is this one.
    LoadResult_s result = LoadText("Top { Old { Deep { x 1 } } Branch { k } }");
    EXPECT_FALSE(result.m_bClean);
    EXPECT_EQ("KeyValues Error: RecursiveLoadFromBuffer:  got } in key in file test.vdf [offset: 39]\n"
              "Top, Branch, k, (*Deep*), (*x*), \n",
              result.m_strErrors);
}

// Reading goes on outside the section, and every error is kept.
TEST(KeyValuesReader, ErrorEndsOnlyItsSection)
{
    LoadResult_s result = LoadText("a { k } b 1 c { d 2 }");
    EXPECT_EQ("a{} | b{} | c{d=i2}", DescribeTree(result.m_pkv.get()));
    EXPECT_NE(std::string::npos, result.m_strErrors.find("got } in key"));
    EXPECT_NE(std::string::npos, result.m_strErrors.find("missing {   (current key: 'b')"));
}

// A load leaves the end-of-input bit, as the buffer's own reads do; a failed one prints its
// first error and reports the load.
TEST(KeyValuesReader, LoadReadsFromTheGetPositionToTheEnd)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("junk a { k 1 }");
    buf.SeekGet(CUtlBuffer::SEEK_HEAD, 5);
    KV pkv(new KeyValues("x"));
    EXPECT_TRUE(pkv->LoadFromBuffer("b.vdf", buf));
    EXPECT_EQ("a{k=i1}", DescribeTree(pkv.get()));
    EXPECT_EQ(buf.TellMaxPut(), buf.TellGet());
    EXPECT_TRUE(buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW);

    CSpewCapture capture;
    buf.Clear();
    buf.PutString("a 1 b 2 #include \"other.vdf\"");
    EXPECT_FALSE(pkv->LoadFromBuffer("job.vdf", buf));
    std::vector<std::string> vecWarnings = capture.TextsOfType(SPEW_WARNING);
    ASSERT_EQ(1u, vecWarnings.size());
    EXPECT_EQ(0u, vecWarnings[0].find(
                      "KeyValues Error: LoadFromBuffer: missing {   (current key: 'a') in file job.vdf"));
    EXPECT_EQ(1,
              capture.CountAssertsContaining("KeyValues don't support #include anymore, file \"job.vdf\""));
    EXPECT_EQ(1, capture.CountAssertsContaining("Error while parsing text KeyValues for resource job.vdf"));
    EXPECT_EQ(buf.TellMaxPut(), buf.TellGet());
    EXPECT_TRUE(buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW);
}

TEST(KeyValuesReader, TokensPastTheLimitOverflow)
{
    CKeyValuesParser parser(16); // tokens of 15 characters
    parser.SetReportEnabled(false);
    KV pkv(new KeyValues("x"));
    for (const char* pszQuote : {"", "\""})
    {
        std::string strText = std::string("a { ") + pszQuote + std::string(40, 'k') + pszQuote + " 1 }";
        CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
        CSpewCapture capture;
        EXPECT_FALSE(pkv->LoadFromBuffer("o.vdf", buf, &parser));
        std::string strErrors = parser.GetErrorText();
        EXPECT_EQ(0u, strErrors.find("KeyValues Error:  ReadToken overflow in file o.vdf [offset: "))
            << strErrors;
        EXPECT_EQ(strErrors.find("overflow"), strErrors.rfind("overflow"));
    }
    // A token of exactly 15 characters fits.
    std::string strText = "a { " + std::string(15, 'k') + " 1 }";
    CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    EXPECT_TRUE(pkv->LoadFromBuffer("o.vdf", buf, &parser));
}

TEST(KeyValuesReader, EmbeddedNulsEndTheInput)
{
    CSpewCapture capture; // the load reports go here
    std::string strNul("a { k 1 \0 j 2 }", 15);
    EXPECT_FALSE(LoadText(strNul).m_bClean);
    EXPECT_EQ("a{k=i1}", DescribeTree(LoadText(strNul).m_pkv.get()));
    EXPECT_EQ("a{k=s'x'}", DescribeTree(LoadText(std::string("a { k \"x\0y\" }", 13)).m_pkv.get()));
}

TEST(KeyValuesReader, GarbageIsReadWithoutCrashing)
{
    CSpewCapture capture;
    std::mt19937 rng(1234);
    const char k_rgchAlphabet[] = "{}\"=[]$!&|()\\/ \n\tab01\0\xEF\xBB\xBF#";
    for (int nRound = 0; nRound < 2000; ++nRound)
    {
        std::string strText((size_t)(rng() % 200), '\0');
        for (char& ch : strText)
            ch = (nRound & 1) ? (char)rng() : k_rgchAlphabet[rng() % (sizeof(k_rgchAlphabet) - 1)];
        LoadResult_s result = LoadText(strText, (nRound & 2) != 0);
        EXPECT_EQ(result.m_bClean, result.m_strErrors.empty());
    }
}

// cLevels sections opened with strOpen around "k 1", closed with strClose (maybe empty).
std::string NestedText(int cLevels, const std::string& strOpen, const std::string& strClose)
{
    std::string strText;
    for (int i = 0; i < cLevels; ++i)
        strText += strOpen;
    strText += "k 1";
    for (int i = 0; i < cLevels; ++i)
        strText += strClose;
    return strText;
}

// Sections below the top-level key, following first children.
int NestedSectionCount(const KeyValues* pkv)
{
    int cDepth = 0;
    while ((pkv = pkv->GetFirstTrueSubKey()) != nullptr)
        ++cDepth;
    return cDepth;
}

const char k_szTooDeep[] =
    "KeyValues Error: RecursiveLoadFromBuffer:  sections nested deeper than 10000 levels in "
    "file test.vdf [offset: ";

TEST(KeyValuesReader, NestingBoundEndsTheLoad)
{
    // 10,000 open sections (the top-level one included) read; the next level is refused,
    // the load ends there (a later top-level key is not read) and what was read stays.
    LoadResult_s result = LoadText(NestedText(10000, "a{", "}") + " next { j 2 }");
    EXPECT_TRUE(result.m_bClean) << result.m_strErrors.substr(0, 200);
    EXPECT_EQ(9999, NestedSectionCount(result.m_pkv.get()));
    ASSERT_NE(nullptr, result.m_pkv->GetNextKey());
    EXPECT_EQ(2, result.m_pkv->GetNextKey()->GetKeyInt("j", 0));

    result = LoadText(NestedText(10001, "a{", "}") + " next { j 2 }");
    EXPECT_FALSE(result.m_bClean);
    EXPECT_EQ(0u, result.m_strErrors.find(k_szTooDeep)) << result.m_strErrors.substr(0, 200);
    EXPECT_EQ(result.m_strErrors.find("KeyValues Error"), result.m_strErrors.rfind("KeyValues Error"));
    EXPECT_EQ(9999, NestedSectionCount(result.m_pkv.get()));
    EXPECT_EQ(nullptr, result.m_pkv->GetNextKey());

    // Values read before the refused section stay, in every enclosing level.
    result = LoadText("top { v 1 s { w 2 " + NestedText(9999, "a{", "}") + " x 3 } y 4 }");
    EXPECT_FALSE(result.m_bClean);
    EXPECT_EQ(1, result.m_pkv->GetKeyInt("v", 0));
    EXPECT_EQ(2, result.m_pkv->GetKeyInt("s/w", 0));
    EXPECT_EQ(0, result.m_pkv->GetKeyInt("s/x", 0));
    EXPECT_EQ(0, result.m_pkv->GetKeyInt("y", 0));
    EXPECT_EQ(9999, NestedSectionCount(result.m_pkv.get()));
}

#if !defined(_WIN32)
// Hostile sizes, measured natively: read or rejected, with memory below four times the
// input.
TEST(KeyValuesReaderHostile, MillionLevelsDeep)
{
    // Three bytes a level, never closed, quoted names, the writer's layout.
    const char* const rgpszShapes[][2] = {{"a{", "}"}, {"a{", ""}, {"\"a\"{", "}"}, {"\"Level\"\n{\n", "}"}};
    for (const auto& rgpszShape : rgpszShapes)
    {
        std::string strText = NestedText(1000000, rgpszShape[0], rgpszShape[1]);
        CMemoryPeak peak;
        LoadResult_s result = LoadText(strText);
        EXPECT_EQ(0u, result.m_strErrors.find(k_szTooDeep)) << rgpszShape[0];
        EXPECT_EQ(9999, NestedSectionCount(result.m_pkv.get())) << rgpszShape[0];
        {
            // The writer's output grows with the square of the depth; a fixed buffer ends it.
            std::vector<char> vecOut(1 << 20);
            CUtlBuffer out(vecOut.data(), (int)vecOut.size(), CUtlBuffer::TEXT_BUFFER);
            EXPECT_FALSE(result.m_pkv->SaveToBuffer(out));
        }
        result.m_pkv.reset();
        if (peak.BMeasured())
            EXPECT_LT(peak.PeakBytes(), 4 * strText.size()) << rgpszShape[0];
    }
}

TEST(KeyValuesReaderHostile, ThreeHundredMegabyteToken)
{
    const size_t k_cubToken = 300u << 20;
    std::string strText(k_cubToken + 8, 'x');
    for (const char* pszShape : {"a { k  ", "a { k \""}) // unquoted, quoted
    {
        memcpy(&strText[0], pszShape, 7);
        CMemoryPeak peak;
        LoadResult_s result = LoadText(strText);
        EXPECT_FALSE(result.m_bClean) << pszShape;
        EXPECT_EQ(0u, result.m_strErrors.find("KeyValues Error:  ReadToken overflow")) << pszShape;
        if (peak.BMeasured())
            EXPECT_LT(peak.PeakBytes(), 4 * strText.size()) << pszShape;
    }
}
#endif

bool TestLookup(const char* pszName)
{
    return !strcmp(pszName, "$T") || !strcmp(pszName, "$YES_1");
}

TEST(KeyValuesConditional, FollowsItsGrammar)
{
    CSpewCapture capture;
    for (const char* pszTrue : {"$T]", "!$F]", "$T||$F]", "$F&&$F||$T]", "( $F || $T ) && $T]", "($F||$T]",
                                "$T!$F]", "1]", "007]", "$YES_1]", "  $T  &&  $T  ]"})
        EXPECT_TRUE(EvaluateConditional(pszTrue, TestLookup)) << pszTrue;
    for (const char* pszFalse :
         {"$F]", "!$T]", "$T&&$F]", "$F||$T&&$F]", "$T||$T&&$F]", "$F!$T]", "0]", "$T&'x]", "$T&&]", "]", ""})
        EXPECT_FALSE(EvaluateConditional(pszFalse, TestLookup)) << pszFalse;
}

TEST(KeyValuesConditional, BadTokensPrintTheirFirstMessageOnly)
{
    const char* const rgpszCases[][2] = {
        {"$T & $T]", "Bad expression token: &  \n"},
        {"$T |x]", "Bad expression token: | x\n"},
        {"$T&&]", "Bad expression token: ] at 4 in $T&&]\n"},
        {"#$T]", "Bad expression token: # at 0 in #$T]\n"},
        {"!!$T && % && %]", "Bad expression token: ! at 1 in !!$T && % && %]\n"}};
    for (const auto& rgpszCase : rgpszCases)
    {
        CSpewCapture capture;
        EXPECT_FALSE(EvaluateConditional(rgpszCase[0], TestLookup));
        EXPECT_EQ(std::vector<std::string>{rgpszCase[1]}, capture.TextsOfType(SPEW_WARNING)) << rgpszCase[0];
    }
    // Nesting deeper than the evaluator goes is a bad token, not a crash.
    CSpewCapture capture;
    EXPECT_FALSE(EvaluateConditional((std::string(100000, '(') + "$T]").c_str(), TestLookup));
}

// Every Windows the evaluator runs on, and the native stand-in, is at least Windows 7.
TEST(KeyValuesConditional, PlatformNamesAnswerForWindows7)
{
    for (const char* pszTrue : {"$WINDOWS", "$win32", "$Win64", "$1", "$VISTA", "$WIN7"})
        EXPECT_TRUE(KeyValuesPlatformLookup(pszTrue)) << pszTrue;
    for (const char* pszFalse :
         {"$0", "$OSX", "$OSX1010", "$POSIX", "$LINUX", "$linux32", "$LINUX64", "$ANDROID", "$ANDROID32",
          "$ANDROID64", "$X360", "$PS3", "$CHROMEOS", "$NOSUCHNAME"})
        EXPECT_FALSE(KeyValuesPlatformLookup(pszFalse)) << pszFalse;
    KeyValuesSystem()->AddKeyValuesExpressionSymbol("$ReaderTestFlag", true);
    EXPECT_TRUE(KeyValuesPlatformLookup("$READERTESTFLAG"));
    ExpectTrees({{"a { k 1 [$ReaderTestFlag] j 2 [!$readertestflag] }", "a{k=i1}"}});
}

} // namespace
