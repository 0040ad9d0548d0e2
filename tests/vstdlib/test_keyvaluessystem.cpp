// The key-name table, on private instances so every test starts from an empty pool.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "keyvaluessystem.h"
#include "spewcapture.h"
#include "vstdlib/strtools.h"

namespace
{
std::unique_ptr<CKeyValuesSystem> NewTable()
{
    return std::make_unique<CKeyValuesSystem>(); // too big for a test thread's stack
}

// A distinct name of cch characters: the number, then 'x' padding.
std::string NumberedName(int n, size_t cch)
{
    std::string strName = std::to_string(n);
    strName.resize(cch, 'x');
    return strName;
}

TEST(KeyValuesSystem, NamesDifferingInAsciiCaseShareTheFirstSpelling)
{
    auto pTable = NewTable();
    EXPECT_EQ(0, pTable->GetSymbolForString(nullptr, true));
    EXPECT_EQ(0, pTable->GetSymbolForString("", true));
    EXPECT_STREQ("", pTable->GetStringForSymbol(0));
    EXPECT_EQ(0, pTable->GetSymbolForString("Registry", false));
    EXPECT_EQ(1u, pTable->GetPoolUsed()); // nothing interned so far
    HKeySymbol nSymbol = pTable->GetSymbolForString("Registry");
    EXPECT_EQ(1, nSymbol); // the pool offset; offset 0 belongs to the empty name
    EXPECT_EQ(nSymbol, pTable->GetSymbolForString("registry"));
    EXPECT_EQ(nSymbol, pTable->GetSymbolForString("REGISTRY", false));
    EXPECT_STREQ("Registry", pTable->GetStringForSymbol(nSymbol));
    EXPECT_EQ(1 + 9, pTable->GetSymbolForString("Registr")); // a prefix is another name
    HKeySymbol nHandle = -1;
    EXPECT_EQ(nSymbol, pTable->GetSymbolForStringCaseSensitive("rEgIsTrY", &nHandle));
    EXPECT_EQ(nSymbol, nHandle);

    // Pairs that differ by the case bit (0x20) outside A-Z are different names.
    const char* rgpszPairs[][2] = {
        {"key@", "key`"}, {"key[", "key{"}, {"key\xC3\x84", "key\xE3\x84"}, {"A^", "A~"}};
    for (const auto& rgpszPair : rgpszPairs)
        EXPECT_NE(pTable->GetSymbolForString(rgpszPair[0]), pTable->GetSymbolForString(rgpszPair[1]))
            << rgpszPair[0];
    // Case differences in every position of a long name: first chunk, later chunks, tail.
    nSymbol = pTable->GetSymbolForString("HKEY_LOCAL_MACHINE\\Software\\Pellan");
    EXPECT_EQ(nSymbol, pTable->GetSymbolForString("hkey_local_machine\\SOFTWARE\\pellaN", false));
    EXPECT_EQ(0, pTable->GetSymbolForString("hkey_local_machine\\SOFTWARE\\pella", false));
}

// Names are compared a word at a time: a difference, or a case difference, at every
// position of names of every length around the word edges.
TEST(KeyValuesSystem, NamesMatchOnEveryCharacterAtEveryLength)
{
    auto pTable = NewTable();
    for (size_t cch = 1; cch <= 25; ++cch)
    {
        std::string strName(cch, 'k');
        HKeySymbol nSymbol = pTable->GetSymbolForString(strName.c_str());
        for (size_t ich = 0; ich < cch; ++ich)
        {
            SCOPED_TRACE(testing::Message() << cch << " characters, position " << ich);
            std::string strOther = strName, strUpper = strName;
            strOther[ich] = 'q';
            strUpper[ich] = 'K';
            EXPECT_EQ(0, pTable->GetSymbolForString(strOther.c_str(), false));
            EXPECT_EQ(nSymbol, pTable->GetSymbolForString(strUpper.c_str(), false));
        }
    }
}

// Two names of one length whose hashes agree on the index's tag and home slot: the lookup
// of one must read the pool and refuse the other. The pair is searched for among a million
// names (a collision on 42 bits: the hash of today has one there; another hash may need
// more names).
TEST(KeyValuesSystem, NamesWhoseHashesCollideStayApart)
{
    const uint32 cNames = 1u << 20;
    const int nTagShift = CKeyNameIndex::k_nTagShift;
    const uint64 ulSlotMask = CKeyNameIndex::k_cSlotsInitial - 1; // a fresh table's index
    const int cSlotBits = __builtin_popcountll(ulSlotMask);
    std::vector<std::pair<uint64, uint32>> vecKeys(cNames);
    char szName[16];
    for (uint32 i = 0; i < cNames; ++i)
    {
        snprintf(szName, sizeof(szName), "c%011u", i);
        uint64 ulHash = KeyNameOf(szName, 12, szName + 13).m_ulHash;
        vecKeys[i] = {(ulHash >> nTagShift << cSlotBits) | (ulHash & ulSlotMask), i};
    }
    std::sort(vecKeys.begin(), vecKeys.end());
    auto it = std::adjacent_find(vecKeys.begin(), vecKeys.end(),
                                 [](const auto& a, const auto& b) { return a.first == b.first; });
    ASSERT_NE(vecKeys.end(), it) << "no colliding pair among the names searched";
    char szOther[16];
    snprintf(szName, sizeof(szName), "c%011u", it->second);
    snprintf(szOther, sizeof(szOther), "c%011u", (it + 1)->second);
    auto pTable = NewTable();
    HKeySymbol nSymbol = pTable->GetSymbolForString(szName);
    EXPECT_EQ(0, pTable->GetSymbolForString(szOther, false)) << szName << " and " << szOther;
    HKeySymbol nOther = pTable->GetSymbolForString(szOther);
    EXPECT_NE(nSymbol, nOther);
    EXPECT_EQ(nOther, pTable->GetSymbolForString(szOther, false));
    EXPECT_EQ(nSymbol, pTable->GetSymbolForString(szName, false));
}

// 1,023 characters take 1,024 bytes: block 0 (offset 0 taken) holds 31 of them, the others
// 32; a name never straddles two blocks.
TEST(KeyValuesSystem, NamesOf1024CharactersAreRefused)
{
    auto pTable = NewTable();
    CSpewCapture log;
    EXPECT_EQ(0, pTable->GetSymbolForString(NumberedName(99, 1024).c_str()));
    EXPECT_EQ(1u, pTable->GetPoolUsed());
    EXPECT_EQ(
        1, log.CountAssertsContaining("CKeyValuesSystem::AddStringToPool: key name too long (1024 chars)"));
}

TEST(KeyValuesSystem, FullPoolWarnsThenRunsOutOfMemory)
{
    auto pTable = NewTable();
    CSpewCapture log;
    int nName = 0;
    HKeySymbol nSymbol;
    while ((nSymbol = pTable->GetSymbolForString(NumberedName(nName, 1023).c_str())) != 0)
    {
        if (nName++ == 31)
        {
            EXPECT_EQ((HKeySymbol)CKeyValuesSystem::k_cubPoolBlock, nSymbol);
        }
    }
    EXPECT_EQ(1024 * 32 - 1, nName);
    EXPECT_EQ(1 + 30 * 1024, pTable->GetSymbolForString(NumberedName(30, 1023).c_str(), false));
    EXPECT_EQ(1, log.CountAssertsContaining("CKeyValuesSystem::AddStringToPool: out of memory"));
    EXPECT_EQ(256, log.CountAssertsContaining("CKeyValuesSystem::AddStringToPool: over 75% full ("));
    EXPECT_EQ(1, log.CountAssertsContaining("over 75% full (8388608 bytes left)"));
    EXPECT_EQ(1, log.CountAssertsContaining("over 75% full (32768 bytes left)"));
    // Short names do not fit either, and everything interned still resolves.
    EXPECT_EQ(0, pTable->GetSymbolForString("a"));
    EXPECT_EQ(2, log.CountAssertsContaining("out of memory"));
    std::string strFirst = NumberedName(0, 1023);
    EXPECT_STREQ(strFirst.c_str(),
                 pTable->GetStringForSymbol(pTable->GetSymbolForString(strFirst.c_str(), false)));
}

// Six times as many names as buckets, so lookups and inserts race along overflow chains;
// half the threads walk backwards, and the spelling differs between threads.
TEST(KeyValuesSystem, ConcurrentInterningYieldsOneSymbolPerName)
{
    auto pTable = NewTable();
    constexpr int k_cThreads = 4, k_cNames = 100000;
    std::vector<std::atomic<HKeySymbol>> vecSymbols(k_cNames);
    std::atomic<int> cBad{0};
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < k_cThreads; ++t)
    {
        vecThreads.emplace_back(
            [&, t]
            {
                for (int k = 0; k < k_cNames; ++k)
                {
                    int i = (t % 2) ? k_cNames - 1 - k : k;
                    std::string strName = ((i + t) % 2 ? "KEY_" : "Key_") + std::to_string(i);
                    // A lock-free read racing the inserts sees nothing or the final symbol, and
                    // every thread gets the symbol the first one got.
                    HKeySymbol nSeen = pTable->GetSymbolForString(strName.c_str(), false);
                    HKeySymbol nSymbol = pTable->GetSymbolForString(strName.c_str());
                    HKeySymbol nFirst = 0;
                    cBad += (nSeen != 0 && nSeen != nSymbol) ||
                            (!vecSymbols[i].compare_exchange_strong(nFirst, nSymbol) && nFirst != nSymbol);
                }
            });
    }
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(0, cBad.load());
    std::set<HKeySymbol> setSymbols;
    for (int i = 0; i < k_cNames; ++i)
    {
        setSymbols.insert(vecSymbols[i]);
        ASSERT_EQ(0,
                  V_stricmp(("key_" + std::to_string(i)).c_str(), pTable->GetStringForSymbol(vecSymbols[i])));
    }
    EXPECT_EQ((size_t)k_cNames, setSymbols.size());
    EXPECT_EQ(0u, setSymbols.count(0));
}

// Two million names grow the index from its first size eight times while inserts race
// and lookups run: a name interned before the threads started is found by every lock-free
// lookup, whichever index it reads, and each name gets one symbol in every thread.
TEST(KeyValuesSystem, SymbolsHoldWhileMillionsOfNamesGrowTheIndex)
{
    auto pTable = NewTable();
    constexpr int k_cInterners = 3, k_cLookers = 2, k_cNames = 2000000, k_cKnown = 1000;
    std::vector<std::string> vecKnownNames;
    std::vector<HKeySymbol> vecKnown;
    for (int i = 0; i < k_cKnown; ++i)
    {
        vecKnownNames.push_back("known" + std::to_string(i));
        vecKnown.push_back(pTable->GetSymbolForString(vecKnownNames.back().c_str()));
    }
    auto Name = [](int i, bool bUpper, char* pszName)
    { snprintf(pszName, 16, "%s%d", bUpper ? "NAME" : "name", i); };

    std::vector<std::vector<HKeySymbol>> vecSymbols(k_cInterners, std::vector<HKeySymbol>(k_cNames));
    std::atomic<int> cInterning{k_cInterners}, cBad{0};
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < k_cInterners; ++t)
    {
        // Each starts a third of the way further on, so all of them insert.
        vecThreads.emplace_back(
            [&, t]
            {
                char szName[16];
                for (int k = 0; k < k_cNames; ++k)
                {
                    int i = (k + t * (k_cNames / k_cInterners)) % k_cNames;
                    Name(i, t % 2 != 0, szName);
                    vecSymbols[t][i] = pTable->GetSymbolForString(szName);
                }
                --cInterning;
            });
    }
    for (int t = 0; t < k_cLookers; ++t)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (int i = 0; cInterning > 0; i = (i + 1) % k_cKnown)
                    cBad += pTable->GetSymbolForString(vecKnownNames[i].c_str(), false) != vecKnown[i];
            });
    }
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(0, cBad.load());
    char szName[16];
    for (int i = 0; i < k_cNames; ++i)
    {
        for (int t = 1; t < k_cInterners; ++t)
            ASSERT_EQ(vecSymbols[0][i], vecSymbols[t][i]) << i;
        Name(i, false, szName);
        ASSERT_EQ(0, V_stricmp(szName, pTable->GetStringForSymbol(vecSymbols[0][i]))) << i;
    }
}

TEST(KeyValuesSystem, DumpRecentKeysPrintsTheRingOldestFirst)
{
    auto pTable = NewTable();
    for (const char* pszName : {"alpha", "beta", "gamma"})
        pTable->GetSymbolForString(pszName);
    pTable->GetSymbolForString("ALPHA"); // a hit adds nothing to the ring
    {
        CSpewCapture log;
        pTable->DumpRecentKeys(2);
        std::vector<std::string> vecExpected = {
            "CKeyValuesSystem dumping last 2 keys added to system (oldest first):\n", "beta\n", "gamma\n"};
        EXPECT_EQ(vecExpected, log.TextsOfType(SPEW_MESSAGE));
    }
    for (int i = 0; i < 5000; ++i)
        pTable->GetSymbolForString(("ring" + std::to_string(i)).c_str());
    CSpewCapture log;
    pTable->DumpRecentKeys(100000);
    std::vector<std::string> vecTexts = log.TextsOfType(SPEW_MESSAGE);
    ASSERT_EQ(4097u, vecTexts.size());
    EXPECT_EQ("CKeyValuesSystem dumping last 4096 keys added to system (oldest first):\n", vecTexts[0]);
    EXPECT_EQ("ring904\n", vecTexts[1]); // 5,003 added, the ring keeps the last 4,096
    EXPECT_EQ("ring4999\n", vecTexts[4096]);
}

TEST(KeyValuesSystem, ExpressionSymbolLookupsSkipTheDollarWithoutInterning)
{
    auto pTable = NewTable();
    pTable->AddKeyValuesExpressionSymbol("$WIN32", true);
    pTable->AddKeyValuesExpressionSymbol("Console", false);
    EXPECT_TRUE(pTable->GetKeyValuesExpressionSymbol("WIN32"));
    EXPECT_TRUE(pTable->GetKeyValuesExpressionSymbol("$win32"));
    EXPECT_NE(0, pTable->GetSymbolForString("win32", false)); // interned without the "$"
    EXPECT_FALSE(pTable->GetKeyValuesExpressionSymbol("$CONSOLE"));
    pTable->AddKeyValuesExpressionSymbol("win32", false);
    EXPECT_FALSE(pTable->GetKeyValuesExpressionSymbol("$WIN32"));

    pTable->GetSymbolForString("PlainKey"); // interned but never registered
    EXPECT_FALSE(pTable->GetKeyValuesExpressionSymbol("$PlainKey"));
    uint32 unUsed = pTable->GetPoolUsed();
    EXPECT_FALSE(pTable->GetKeyValuesExpressionSymbol("$NeverSeen"));
    EXPECT_EQ(unUsed, pTable->GetPoolUsed());
}
} // namespace
