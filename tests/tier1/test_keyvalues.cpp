// KeyValues nodes: layout, conversions, paths, lifetime of huge trees and the node pool.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "keyvalues_pool.h"
#include "keyvaluessystem.h"
#include "spewcapture.h"
#include "tier1/keyvalues.h"

namespace
{
using KV = std::unique_ptr<KeyValues>;
constexpr int k_nDefault = -77;

// The name/type/flags word follows the 16-byte value.
uint32 FlagWord(const KeyValues* pkv)
{
    uint32 unWord;
    memcpy(&unWord, (const char*)pkv + 16, sizeof(unWord));
    return unWord;
}

void ForceTypeBits(KeyValues* pkv, uint32 unType)
{
    uint32 unWord = (FlagWord(pkv) & ~(0xFu << 25)) | unType << 25;
    memcpy((char*)pkv + 16, &unWord, sizeof(unWord));
}

KV NewString(const char* pszValue)
{
    KV pkv(new KeyValues("value"));
    pkv->SetString(pszValue);
    return pkv;
}

TEST(KeyValuesLayout, FlagWordMarksInlineOrHeapText)
{
    KV pkv = NewString("0123456789abcde"); // 15 characters: inline
    pkv->SetUsesEscapeSequences(true, false);
    uint32 unWord = FlagWord(pkv.get());
    EXPECT_EQ((uint32)KeyValuesSystem()->GetSymbolForString("value", false), unWord & 0x1FFFFFF);
    EXPECT_EQ((uint32)KeyValues::TYPE_STRING, unWord >> 25 & 0xF);
    EXPECT_EQ(1u, unWord >> 30 & 1);
    EXPECT_EQ(0u, unWord >> 31);
    const char* pszInline = pkv->GetString();
    EXPECT_TRUE(pszInline >= (const char*)pkv.get() && pszInline < (const char*)pkv.get() + 16);
    pkv->SetString("0123456789abcdef");
    EXPECT_EQ(1u, FlagWord(pkv.get()) >> 31);
    pkv->SetWString(u"1234567"); // seven units and the NUL fit inline
    EXPECT_EQ(0u, FlagWord(pkv.get()) >> 31);
    pkv->SetWString(u"12345678");
    EXPECT_EQ(1u, FlagWord(pkv.get()) >> 31);
    pkv->SetInt(3); // the heap flag goes with the heap string
    EXPECT_EQ(0u, FlagWord(pkv.get()) >> 31);
}

// Bit 29 of the flag word marks pooled text: 255 characters and the NUL fill the
// largest class, one more goes to the heap. Each text is then set from its own tail.
TEST(KeyValuesLayout, FlagWordMarksPooledText)
{
    for (size_t cch : {8, 16, 23, 24, 255, 256, 1000})
    {
        std::string str = "a" + std::string(cch - 2, 'x') + "z";
        KV pkv = NewString(str.c_str());
        EXPECT_EQ(str, pkv->GetString());
        EXPECT_EQ(cch >= 16 && cch < 256 ? 1u : 0u, FlagWord(pkv.get()) >> 29 & 1) << cch;
        pkv->SetString(pkv->GetString() + 1);
        EXPECT_EQ(str.substr(1), pkv->GetString()) << cch;
        pkv->SetInt(1);
        EXPECT_EQ(0u, FlagWord(pkv.get()) >> 29 & 1);
    }
    for (size_t cch : {8, 127, 128})
    {
        std::u16string wstr(cch, u'\u00FC');
        KV pkv(new KeyValues("w"));
        pkv->SetWString(wstr.c_str());
        EXPECT_EQ((cch + 1) * 2 <= 256 ? 1u : 0u, FlagWord(pkv.get()) >> 29 & 1) << cch;
        EXPECT_EQ(0, memcmp(wstr.c_str(), pkv->GetWString(), (cch + 1) * sizeof(wchar16)));
        std::string strUTF8;
        for (size_t i = 0; i < cch; ++i)
            strUTF8 += "\xC3\xBC";
        EXPECT_EQ(strUTF8, pkv->GetString()) << cch; // converted in place, pooled again
    }
}

TEST(KeyValuesPool, MemoryFollowsWhatIsAlive)
{
    KeyValuesPoolStats_s before = GetKeyValuesPoolStats();
    std::vector<KeyValues*> vecNodes;
    std::string strText(99, 't');
    for (int i = 0; i < 20000; ++i)
    {
        vecNodes.push_back(new KeyValues(0));
        vecNodes.back()->SetString(strText.c_str());
    }
    // 100-byte texts take a 104-byte slot: 630 of them to a 64 KiB chunk.
    EXPECT_GE(GetKeyValuesPoolStats().m_cChunks, before.m_cChunks + 20000 / 630 + 20000 * 32 / 65536);
    EXPECT_GE(GetKeyValuesPoolStats().m_cubHeldPeak, before.m_cubHeld + (20000 / 630) * 65536);
    std::shuffle(vecNodes.begin(), vecNodes.end(), std::mt19937(11));
    for (KeyValues* pkv : vecNodes)
        delete pkv;
    // One empty chunk is kept per class: the nodes' and the texts'.
    EXPECT_EQ(before.m_cNodesAlive, GetKeyValuesPoolStats().m_cNodesAlive);
    EXPECT_LE(GetKeyValuesPoolStats().m_cChunks, before.m_cChunks + 2);
    EXPECT_EQ(GetKeyValuesPoolStats().m_cChunks * 65536ull, GetKeyValuesPoolStats().m_cubHeld);
    EXPECT_EQ(32, static_cast<CKeyValuesSystem*>(KeyValuesSystem())->GetLargestKeyValuesSize());
}

TEST(KeyValuesConversions, IntegersReadEveryTextForm)
{
    const EKVGetStatus k_eOK = k_EKVGetStatusOK, k_eTrailing = k_EKVGetStatusTrailingText,
                       k_eEmpty = k_EKVGetStatusEmptyText;
    const std::tuple<const char*, int, EKVGetStatus> rgCases[] = {
        {"12abc", 12, k_eTrailing}, {"", k_nDefault, k_eEmpty},
        {"0x1F", 31, k_eOK},        {" 5", 0, k_eTrailing},
        {"-12", -12, k_eOK},        {"+7", 7, k_eOK},
        {"0XfF", 255, k_eOK},       {"-0x10", -16, k_eOK},
        {"0x", 0, k_eTrailing},     {"'A", 65, k_eOK},
        {"-'A", -65, k_eOK},        {"'AB", 65, k_eTrailing},
        {"'", 0, k_eTrailing},      {"abc", 0, k_eTrailing},
        {"-", 0, k_eTrailing},      {"2147483648", INT_MIN, k_eOK},
        {"4294967297", 1, k_eOK},   {"0x1FFFFFFFF", -1, k_eOK},
        {"007", 7, k_eOK}};
    for (const auto& [pszText, nExpected, eExpected] : rgCases)
    {
        KV pkv = NewString(pszText);
        EKVGetStatus eStatus = k_EKVGetStatusNoValue;
        EXPECT_EQ(nExpected, pkv->GetInt(k_nDefault, &eStatus)) << '"' << pszText << '"';
        EXPECT_EQ(eExpected, eStatus) << '"' << pszText << '"';
    }
}

TEST(KeyValuesConversions, BooleansReadTheWordsThenIntegers)
{
    const std::tuple<const char*, bool, bool, EKVGetStatus> rgBoolCases[] = {
        // text, default, result
        {"TRUE", false, true, k_EKVGetStatusOK},          {"fAlSe", true, false, k_EKVGetStatusOK},
        {"yes", true, false, k_EKVGetStatusTrailingText}, {"1", false, true, k_EKVGetStatusOK},
        {"", true, true, k_EKVGetStatusEmptyText},        {"truex", true, false, k_EKVGetStatusTrailingText}};
    for (const auto& [pszText, bDefault, bExpected, eExpected] : rgBoolCases)
    {
        KV pkv = NewString(pszText);
        EKVGetStatus eStatus = k_EKVGetStatusNoValue;
        EXPECT_EQ(bExpected, pkv->GetBool(bDefault, &eStatus)) << pszText;
        EXPECT_EQ(eExpected, eStatus) << pszText;
    }
    KV pkv(new KeyValues("b"));
    EKVGetStatus eStatus = k_EKVGetStatusOK;
    EXPECT_TRUE(pkv->GetBool(true, &eStatus)); // a section has no value
    EXPECT_EQ(k_EKVGetStatusNoValue, eStatus);
    pkv->SetWString(u"tRuE");
    EXPECT_TRUE(pkv->GetBool(false));
}

// Each type read as an integer, then as text: a value with text of its own turns into a
// string node holding it, returned as the node's own text rather than a scratch buffer.
TEST(KeyValuesConversions, EveryTypeAsIntegerThenAsText)
{
    const std::tuple<void (*)(KeyValues*), int, const char*> rgCases[] = {
        {[](KeyValues* p) { p->SetInt(-42); }, -42, "-42"},
        {[](KeyValues* p) { p->SetFloat(-3.9f); }, -3, "-3.900000"},
        {[](KeyValues* p) { p->SetFloat(1e20f); }, INT_MAX, "100000002004087734272.000000"},
        {[](KeyValues* p) { p->SetPtr((void*)(uintp)0xFFFFFFFEu); }, -2, "-2"},
        {[](KeyValues* p) { p->SetUint64(0xFFFFFFFFull); }, -1, "4294967295"},
        {[](KeyValues* p) { p->SetUint64(0x80000000ull); }, INT_MIN, "2147483648"},
        {[](KeyValues* p) { p->SetUint64(0x100000000ull); }, k_nDefault, "4294967296"},
        {[](KeyValues* p) { p->SetUint64(UINT64_MAX); }, k_nDefault, "18446744073709551615"},
        {[](KeyValues* p) { p->SetInt64(-5); }, -5, "-5"},
        {[](KeyValues* p) { p->SetInt64(INT32_MIN); }, INT_MIN, "-2147483648"},
        {[](KeyValues* p) { p->SetInt64(INT32_MIN - 1ll); }, k_nDefault, "-2147483649"},
        {[](KeyValues* p) { p->SetInt64(INT32_MAX + 1ll); }, k_nDefault, "2147483648"},
        {[](KeyValues* p) { p->SetInt64(INT64_MIN); }, k_nDefault, "-9223372036854775808"},
        {[](KeyValues* p) { p->SetWString(u"-42"); }, -42, "-42"},
        {[](KeyValues* p) { p->SetWString(u"0x10"); }, 0, "0x10"}, // wide text is read in base 10 only
        {[](KeyValues* p) { p->SetWString(u"Grüße €!"); }, 0, "Grüße €!"},
        {[](KeyValues* p) { p->SetString(nullptr); }, k_nDefault, ""},
        {[](KeyValues* p) { p->SetColor(0x04030201); }, 0x04030201, nullptr}};
    CSpewCapture log; // the five 64-bit values that do not fit report a data loss
    for (const auto& [pfnSet, nExpected, pszText] : rgCases)
    {
        KV pkv(new KeyValues("n"));
        pfnSet(pkv.get());
        EXPECT_EQ(nExpected, pkv->GetInt(k_nDefault)) << pszText;
        const char* pszGot = pkv->GetString("dflt");
        EXPECT_STREQ(pszText ? pszText : "dflt", pszGot);
        EXPECT_EQ(pszText ? KeyValues::TYPE_STRING : KeyValues::TYPE_COLOR, pkv->GetDataType()) << pszText;
        EXPECT_EQ(pszGot, pkv->GetString(pszGot)); // a string node's own text: the same pointer again
    }
    EXPECT_EQ(5, log.CountAssertsContaining("can't convert uint64 to int32 (data loss)"));
}

TEST(KeyValuesConversions, ValuelessNodesGiveTheDefault)
{
    KV pkv(new KeyValues("n"));
    EKVGetStatus eStatus = k_EKVGetStatusOK;
    EXPECT_EQ(k_nDefault, pkv->GetInt(k_nDefault, &eStatus)); // an empty section
    EXPECT_EQ(k_EKVGetStatusNoValue, eStatus);
    pkv->SetInt(42);
    pkv->GetString();
    EXPECT_EQ(42, pkv->GetInt(0, &eStatus)); // read back from its text
    EXPECT_EQ(k_EKVGetStatusOK, eStatus);
    pkv->SetColor(1);
    for (uint32 unType : {8u, 11u, 15u})
    {
        ForceTypeBits(pkv.get(), unType);
        EXPECT_EQ(k_nDefault, pkv->GetInt(k_nDefault, &eStatus)) << unType;
        EXPECT_EQ(k_EKVGetStatusNoValue, eStatus);
        EXPECT_STREQ("dflt", pkv->GetString("dflt"));
    }
    ForceTypeBits(pkv.get(), KeyValues::TYPE_COLOR);
}

// Binary bytes are read as text and returned raw.
TEST(KeyValuesConversions, BinaryBytesComeBackRaw)
{
    KV pkv(new KeyValues("n"));
    EKVGetStatus eStatus = k_EKVGetStatusOK;
    const uint8 rgub[] = {'1', '2', '3', 'x', 0, 0xFF};
    pkv->SetBinary(rgub, sizeof(rgub));
    uint32 cub = 0;
    const uint8* pub = pkv->GetBinary(&cub);
    ASSERT_EQ(sizeof(rgub), cub);
    EXPECT_EQ(0, memcmp(rgub, pub, sizeof(rgub)));
    EXPECT_EQ((const char*)pub, pkv->GetString());
    EXPECT_EQ(KeyValues::TYPE_BINARY, pkv->GetDataType());
    EXPECT_EQ(123, pkv->GetInt(0, &eStatus));
    EXPECT_EQ(k_EKVGetStatusTrailingText, eStatus);
    pkv->SetBinary(nullptr, 0);
    EXPECT_EQ(k_nDefault, pkv->GetInt(k_nDefault, &eStatus));
    EXPECT_EQ(k_EKVGetStatusEmptyText, eStatus);
}

TEST(KeyValuesFindKey, PathsFindOrCreateNestedSections)
{
    KV pkvRoot(new KeyValues("root"));
    EXPECT_EQ(pkvRoot.get(), pkvRoot->FindKey(nullptr, true));
    EXPECT_EQ(pkvRoot.get(), pkvRoot->FindKey(""));
    KeyValues* pkvC = pkvRoot->FindKey("a/b/c", true);
    ASSERT_NE(nullptr, pkvC);
    EXPECT_TRUE(pkvC->IsEmpty());
    KeyValues* pkvA = pkvRoot->GetFirstSubKey();
    EXPECT_EQ(pkvC, pkvA->GetFirstSubKey()->GetFirstSubKey());
    EXPECT_EQ(pkvC, pkvRoot->FindKey("A/B/C"));
    EXPECT_EQ(pkvA, pkvRoot->FindKey("a/"));
    EXPECT_EQ(nullptr, pkvRoot->FindKey("a//b"));
    EXPECT_EQ(nullptr, pkvRoot->FindKey("a/c"));

    EXPECT_EQ(nullptr, pkvRoot->FindKey("a/kvtest_never_interned_1"));
    EXPECT_EQ(nullptr, pkvRoot->FindKey("kvtest_never_interned_2/kvtest_never_interned_3"));
    for (const char* pszName :
         {"kvtest_never_interned_1", "kvtest_never_interned_2", "kvtest_never_interned_3"})
        EXPECT_EQ(0, KeyValuesSystem()->GetSymbolForString(pszName, false)) << pszName;

    KeyValues* pkvLeaf = pkvRoot->FindKey((std::string(1500, 'q') + "/leaf").c_str(), true);
    ASSERT_NE(nullptr, pkvLeaf); // the segment was cut to 1,023 characters
    EXPECT_EQ(pkvLeaf, pkvRoot->FindKey((std::string(1023, 'q') + "/leaf").c_str()));
}

TEST(KeyValuesFindKey, KeyedHelpersUseTheFirstMatch)
{
    KV pkv(new KeyValues("root"));
    pkv->SetKeyString("Job/Mode", "2");
    EXPECT_EQ(2, pkv->GetKeyInt("job/mode", 0));
    EXPECT_STREQ("d", pkv->GetKeyString("Job/Missing", "d"));
    EXPECT_TRUE(pkv->GetKeyBool("Nothing/Here", true));
    KeyValues* pkvSecond = new KeyValues("JOB");
    pkvSecond->SetKeyInt("Mode", 3);
    pkv->AddSubKey(pkvSecond);
    EXPECT_STREQ("Job", pkvSecond->GetName()); // the first spelling wins
    EXPECT_EQ(2, pkv->GetKeyInt("job/mode", 0));
    KeyValues* pkvNew = pkv->FindKey("another", true);
    EXPECT_EQ(pkvNew, pkvSecond->GetNextKey());
    EXPECT_EQ(nullptr, pkvNew->GetNextKey());
}

TEST(KeyValuesFindKey, CreatingBelowAValueTurnsItIntoASection)
{
    KV pkv(new KeyValues("root"));
    pkv->SetKeyString("v", "a value long enough for the heap");
    EXPECT_EQ(nullptr, pkv->FindKey("v/child"));
    pkv->SetKeyInt("v/child", 1);
    KeyValues* pkvV = pkv->FindKey("V");
    EXPECT_EQ(KeyValues::TYPE_NONE, pkvV->GetDataType());
    EXPECT_TRUE(pkv->GetKeyBool("V/CHILD", false));
    EXPECT_EQ(nullptr, pkvV->GetFirstSubKey()->GetNextKey());
}

TEST(KeyValuesStructure, SubKeysIterateByKindUntilRemoved)
{
    KV pkv(new KeyValues("root"));
    pkv->SetKeyInt("v1", 1);
    KeyValues* pkvS1 = pkv->FindKey("s1", true);
    pkv->SetKeyString("v2", "x");
    KeyValues* pkvS2 = pkv->FindKey("s2", true);
    std::string strSections, strValues;
    for (KeyValues* p = pkv->GetFirstTrueSubKey(); p; p = p->GetNextTrueSubKey())
        strSections += p->GetName();
    for (KeyValues* p = pkv->GetFirstValue(); p; p = p->GetNextValue())
        strValues += p->GetName();
    EXPECT_EQ("s1s2", strSections);
    EXPECT_EQ("v1v2", strValues);
    KeyValues* pkvV1 = pkv->FindKey("v1");
    KeyValues* pkvV2 = pkv->FindKey("v2");
    EXPECT_EQ(nullptr, pkvV1->GetFirstSubKey());
    EXPECT_FALSE(pkvV1->IsEmpty());

    KV pkvOutsider(new KeyValues("outsider"));
    pkv->RemoveSubKey(pkvOutsider.get());
    pkv->RemoveSubKey(nullptr);
    pkv->RemoveSubKey(pkvS1);
    EXPECT_EQ(nullptr, pkvS1->GetNextKey());
    EXPECT_EQ(pkvV2, pkvV1->GetNextKey());
    pkv->RemoveSubKey(pkvV1);
    EXPECT_EQ(pkvV2, pkv->GetFirstSubKey());
    pkv->RemoveSubKey(pkvS2);
    EXPECT_EQ(nullptr, pkvV2->GetNextKey());
    pkv->RemoveSubKey(pkvV2);
    EXPECT_TRUE(pkv->IsEmpty());
    for (KeyValues* pkvRemoved : {pkvS1, pkvV1, pkvS2, pkvV2})
        delete pkvRemoved;
}

// The escape flag is inherited by new nodes and set on descendants only when asked.
TEST(KeyValuesStructure, EscapeFlagReachesDescendantsOnlyWhenAsked)
{
    KV pkvEsc(new KeyValues("root"));
    pkvEsc->SetUsesEscapeSequences(true, false);
    KeyValues* pkvB = pkvEsc->FindKey("a/b", true);
    EXPECT_TRUE(pkvB->UsesEscapeSequences());
    pkvEsc->SetUsesEscapeSequences(false, false);
    EXPECT_FALSE(pkvEsc->FindKey("c", true)->UsesEscapeSequences());
    EXPECT_TRUE(pkvB->UsesEscapeSequences()); // not recursive: descendants keep theirs
    pkvEsc->SetKeyInt("a/b/value", 1);
    pkvEsc->SetUsesEscapeSequences(true, true);
    for (const char* pszPath : {"a", "a/b", "a/b/value", "c"})
        EXPECT_TRUE(pkvEsc->FindKey(pszPath)->UsesEscapeSequences()) << pszPath;
}

// Huge trees are destroyed, cleared and walked without recursion: in the cross build this
// runs on the 2 MiB main-thread stack.
TEST(KeyValuesHugeTree, MillionNodeTreesNeedNoRecursion)
{
    constexpr int k_cNodes = 1000000;
    const uint64 cAliveBefore = GetKeyValuesPoolStats().m_cNodesAlive;
    const auto NodesAdded = [cAliveBefore] { return GetKeyValuesPoolStats().m_cNodesAlive - cAliveBefore; };
    // A chain of first children below pkvRoot (bNested), or peers after it; returns the last.
    const auto Build = [](KeyValues* pkvRoot, bool bNested)
    {
        HKeySymbol nSymbol = KeyValuesSystem()->GetSymbolForString("deep");
        KeyValues* pkvTip = pkvRoot;
        for (int i = 0; i < k_cNodes; ++i)
        {
            KeyValues* pkvNew = new KeyValues(nSymbol);
            bNested ? pkvTip->AddSubKey(pkvNew) : pkvTip->SetNextKey(pkvNew);
            pkvTip = pkvNew;
        }
        return pkvTip;
    };
    KeyValues* pkvRoot = new KeyValues("root");
    KeyValues* pkvTip = Build(pkvRoot, true);
    pkvTip->SetString("a string long enough for the heap");
    pkvRoot->SetUsesEscapeSequences(true, true);
    EXPECT_TRUE(pkvTip->UsesEscapeSequences());
    EXPECT_EQ((uint64)k_cNodes + 1, NodesAdded());
    pkvRoot->Clear();
    EXPECT_EQ(1u, NodesAdded());
    Build(pkvRoot, true);
    delete pkvRoot;
    EXPECT_EQ(0u, NodesAdded());

    KeyValues* pkvParent = new KeyValues("parent");
    KeyValues* pkvHead = new KeyValues("head");
    Build(pkvHead, false);
    pkvParent->AddSubKey(pkvHead);
    EXPECT_EQ(pkvHead->GetNextKey(), pkvParent->FindKey("deep")); // the first of a million namesakes
    EXPECT_EQ((uint64)k_cNodes + 2, NodesAdded());
    delete pkvParent;
    EXPECT_EQ(0u, NodesAdded());
    pkvHead = new KeyValues("head");
    Build(pkvHead, false);
    delete pkvHead; // a top-level head owns every peer after it
    EXPECT_EQ(0u, NodesAdded());

    std::string strPath;
    for (int i = 0; i < 100000; ++i)
        strPath += "a/";
    strPath += "leaf";
    KV pkv(new KeyValues("root"));
    KeyValues* pkvLeaf = pkv->FindKey(strPath.c_str(), true);
    ASSERT_NE(nullptr, pkvLeaf);
    EXPECT_EQ(pkvLeaf, pkv->FindKey(strPath.c_str()));
    EXPECT_EQ(100001u + 1, NodesAdded());
}

// Phase 0 fills each thread's list; phase 1 destroys a neighbour's nodes while making and
// destroying fresh ones. Every other node holds pooled text, freed by the neighbour too. A
// node handed out twice shows up as a wrong value.
TEST(KeyValuesPool, ThreadsFreeEachOthersNodes)
{
    uint64 cAliveBefore = GetKeyValuesPoolStats().m_cNodesAlive;
    constexpr int k_cThreads = 4, k_cPerThread = 50000;
    std::vector<std::vector<KeyValues*>> vecMade(k_cThreads);
    std::atomic<int> cCorrupt{0};
    const auto fnWork = [&](int t, int nPhase)
    {
        for (int i = 0; i < k_cPerThread; ++i)
        {
            KeyValues* pkv = new KeyValues(0);
            int nValue = t * k_cPerThread + i;
            if (i & 1)
                pkv->SetString((std::to_string(nValue) + " and a text for the pool").c_str());
            else
                pkv->SetInt(nValue);
            if (nPhase == 0)
            {
                vecMade[t].push_back(pkv);
                continue;
            }
            delete pkv;
            int tNeighbour = (t + 1) % k_cThreads;
            cCorrupt += vecMade[tNeighbour][i]->GetInt() != tNeighbour * k_cPerThread + i;
            delete vecMade[tNeighbour][i];
        }
    };
    for (int nPhase = 0; nPhase < 2; ++nPhase)
    {
        std::vector<std::thread> vecThreads;
        for (int t = 0; t < k_cThreads; ++t)
            vecThreads.emplace_back(fnWork, t, nPhase);
        for (std::thread& thread : vecThreads)
            thread.join();
    }
    EXPECT_EQ(0, cCorrupt.load());
    EXPECT_EQ(cAliveBefore, GetKeyValuesPoolStats().m_cNodesAlive);
}
} // namespace
