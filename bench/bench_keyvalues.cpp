// Key-name interning and node lifetime: the two costs every document read pays per key.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "keyvaluessystem.h"
#include "tier1/keyvalues.h"

namespace
{
constexpr size_t k_cNames = 4096; // a power of two, for cheap wrapping

// Names shaped like script keys: a word and a number, 10 to 16 characters.
std::vector<std::string> MakeNames(const char* pszStem)
{
    std::vector<std::string> vecNames;
    for (size_t i = 0; i < k_cNames; ++i)
        vecNames.push_back(pszStem + std::to_string(i * 7919));
    return vecNames;
}

// One table for the lookup benchmarks, filled before the first run and shared by threads.
CKeyValuesSystem& LookupTable()
{
    static CKeyValuesSystem* s_pTable = []
    {
        auto* pTable = new CKeyValuesSystem();
        for (const std::string& strName : MakeNames("InstallKey_"))
            pTable->GetSymbolForString(strName.c_str());
        return pTable;
    }();
    return *s_pTable;
}

void LookUpEach(benchmark::State& state, const char* pszStem, bool bCreate)
{
    CKeyValuesSystem& table = LookupTable();
    std::vector<std::string> vecNames = MakeNames(pszStem);
    size_t i = (size_t)state.thread_index() * 97;
    for (auto _ : state)
        benchmark::DoNotOptimize(table.GetSymbolForString(vecNames[i++ & (k_cNames - 1)].c_str(), bCreate));
    state.SetItemsProcessed(state.iterations());
}

void BM_InternHit(benchmark::State& state)
{
    LookUpEach(state, "InstallKey_", true);
}
BENCHMARK(BM_InternHit)->Threads(1)->Threads(2);

// Every character compared through the case fold.
void BM_InternHitOtherCase(benchmark::State& state)
{
    LookUpEach(state, "INSTALLKEY_", true);
}
BENCHMARK(BM_InternHitOtherCase);

void BM_InternMiss(benchmark::State& state)
{
    LookUpEach(state, "MissingKey_", false);
}
BENCHMARK(BM_InternMiss)->Threads(1)->Threads(2);

// A miss that adds the name: hash, write lock, pool copy, bucket entry.
void BM_InternInsert(benchmark::State& state)
{
    std::vector<std::string> vecNames = MakeNames("NewKey_");
    std::unique_ptr<CKeyValuesSystem> pTable;
    size_t i = k_cNames;
    for (auto _ : state)
    {
        if (i == k_cNames)
        {
            state.PauseTiming();
            pTable = std::make_unique<CKeyValuesSystem>();
            i = 0;
            state.ResumeTiming();
        }
        benchmark::DoNotOptimize(pTable->GetSymbolForString(vecNames[i++].c_str(), true));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_InternInsert);

void BM_NodeCreateDestroy(benchmark::State& state)
{
    HKeySymbol nSymbol = KeyValuesSystem()->GetSymbolForString("node");
    for (auto _ : state)
    {
        KeyValues* pkv = new KeyValues(nSymbol);
        benchmark::DoNotOptimize(pkv);
        delete pkv;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NodeCreateDestroy)->Threads(1)->Threads(2);

// A section of 1,000 named integer values built and destroyed, as a reader would.
void BM_SectionBuildDestroy(benchmark::State& state)
{
    constexpr int k_cChildren = 1000;
    IKeyValuesSystem* pSystem = KeyValuesSystem();
    for (auto _ : state)
    {
        KeyValues* pkvSection = new KeyValues("section");
        KeyValues* pkvTail = nullptr;
        for (int i = 0; i < k_cChildren; ++i)
        {
            KeyValues* pkvChild = new KeyValues(pSystem->GetSymbolForString("value", true));
            pkvChild->SetInt(i);
            if (pkvTail)
                pkvTail->SetNextKey(pkvChild);
            else
                pkvSection->AddSubKey(pkvChild);
            pkvTail = pkvChild;
        }
        delete pkvSection;
    }
    state.SetItemsProcessed(state.iterations() * (k_cChildren + 1));
}
BENCHMARK(BM_SectionBuildDestroy)->Threads(1)->Threads(2);
} // namespace

BENCHMARK_MAIN();
