// KeyValues text reader and writer throughput on generated documents (four shapes, 1, 16
// and 64 MB, escape sequences off and on), with the reader's memory use beside it.

#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "keyvalues_pool.h"
#include "kvdocgen.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"

#ifndef _WIN32
#include <malloc.h>
#endif

namespace
{
// Bytes in use by the process right now: the heap (glibc's accounting; Wine reports no
// usable figure, so the cross build leaves the counter out) and the chunks of the
// KeyValues pool, which come straight from the system.
bool BBytesInUse(size_t* pcub)
{
#ifdef _WIN32
    (void)pcub;
    return false;
#else
    struct mallinfo2 info = mallinfo2();
    *pcub = info.uordblks + info.hblkhd + GetKeyValuesPoolStats().m_cubHeld;
    return true;
#endif
}

struct Case_s
{
    EKVDocShape m_eShape;
    bool m_bEscapes;
};

#ifdef __GLIBC__
// glibc hands freed heap memory back to the system, or not, by thresholds it moves as
// big blocks come and go: a repeated read then page-faults its strings in again, or
// not, by the luck of the last free, which swamped the reading itself (a 16 MB read
// took 3 ms one run and 5 ms the next). Fixed thresholds keep the heap between reads;
// first_MBps still shows a read into fresh memory.
const int s_nHeapKept = (mallopt(M_TRIM_THRESHOLD, 1 << 30), mallopt(M_MMAP_THRESHOLD, 32 << 20), 0);
#endif

const std::string& Document(const Case_s& c, size_t cubSize)
{
    static std::map<std::tuple<int, bool, size_t>, std::string> s_mapDocuments;
    std::string& strDocument = s_mapDocuments[{(int)c.m_eShape, c.m_bEscapes, cubSize}];
    if (strDocument.empty())
        strDocument = GenerateKVDocument(c.m_eShape, cubSize, c.m_bEscapes);
    return strDocument;
}

// As the evaluator loads a job file: a text buffer and a root with escape sequences on
// (or off, the format's default).
std::unique_ptr<KeyValues> Read(const std::string& strDocument, bool bEscapes)
{
    CUtlBuffer buf(strDocument.data(), (int)strDocument.size(),
                   CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    std::unique_ptr<KeyValues> pkv(new KeyValues("doc"));
    pkv->SetUsesEscapeSequences(bEscapes, false);
    if (!pkv->LoadFromBuffer("bench.vdf", buf))
        pkv.reset();
    return pkv;
}

// The first read of a document, with assertion reports off: once the key-name pool is
// full the table reports every key it cannot name, millions of lines for a document far
// too big for it, and BSkipUnlessWhole says it once instead.
std::unique_ptr<KeyValues> ReadFirst(const std::string& strDocument, bool bEscapes)
{
    bool bWereDisabled = AreAssertsDisabled();
    SetAssertsDisabled(true);
    std::unique_ptr<KeyValues> pkv = Read(strDocument, bEscapes);
    SetAssertsDisabled(bWereDisabled);
    return pkv;
}

// Keys left without a name: the key-name pool ran out while they were read.
size_t CountUnnamedKeys(KeyValues* pkvRoot)
{
    size_t cUnnamed = 0;
    std::vector<KeyValues*> vecPending{pkvRoot};
    while (!vecPending.empty())
    {
        KeyValues* pkv = vecPending.back();
        vecPending.pop_back();
        for (KeyValues* pkvChild = pkv->GetFirstSubKey(); pkvChild; pkvChild = pkvChild->GetNextKey())
        {
            cUnnamed += pkvChild->GetNameSymbol() == 0;
            if (pkvChild->GetDataType() == KeyValues::TYPE_NONE)
                vecPending.push_back(pkvChild);
        }
    }
    return cUnnamed;
}

// Skips the benchmark, saying why, unless the document read cleanly and every key has
// its name: timing a tree of empty names would time nothing the product meets.
bool BSkipUnlessWhole(benchmark::State& state, KeyValues* pkv)
{
    if (!pkv)
    {
        state.SkipWithError("the document did not read cleanly");
        return true;
    }
    size_t cUnnamed = CountUnnamedKeys(pkv);
    if (!cUnnamed)
        return false;
    std::string strError =
        "the key-name pool is full: " + std::to_string(cUnnamed) + " keys read without a name";
    state.SkipWithError(strError.c_str());
    return true;
}

void BM_Read(benchmark::State& state, Case_s c)
{
    const std::string& strDocument = Document(c, (size_t)state.range(0));
    // The document's memory (the buffer) plus what the parsed tree adds, as a multiple
    // of the document's size; the token buffer of the load is freed by then. The first
    // read is also the only one that meets names new to the process, as a program that
    // reads the document once does.
    size_t cubBefore = 0, cubAfter = 0;
    bool bMeasured = BBytesInUse(&cubBefore);
    auto timeStart = std::chrono::steady_clock::now();
    std::unique_ptr<KeyValues> pkv = ReadFirst(strDocument, c.m_bEscapes);
    std::chrono::duration<double> secFirst = std::chrono::steady_clock::now() - timeStart;
    bMeasured = bMeasured && BBytesInUse(&cubAfter);
    double flMemory = (double)(strDocument.size() + (cubAfter - cubBefore)) / (double)strDocument.size();
    if (BSkipUnlessWhole(state, pkv.get()))
        return;
    pkv.reset();
    for (auto _ : state)
    {
        pkv = Read(strDocument, c.m_bEscapes);
        state.PauseTiming();
        pkv.reset(); // destroying the tree is not reading
        state.ResumeTiming();
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)strDocument.size());
    state.counters["first_MBps"] = (double)strDocument.size() / 1e6 / secFirst.count();
    if (bMeasured)
        state.counters["mem_x_doc"] = flMemory;
}

void BM_Write(benchmark::State& state, Case_s c)
{
    const std::string& strDocument = Document(c, (size_t)state.range(0));
    std::unique_ptr<KeyValues> pkv = ReadFirst(strDocument, c.m_bEscapes);
    if (BSkipUnlessWhole(state, pkv.get()))
        return;
    // One buffer, emptied between runs: the write itself, not the buffer's growth.
    CUtlBuffer buf(0, (int)strDocument.size() + 1, CUtlBuffer::TEXT_BUFFER);
    for (auto _ : state)
    {
        buf.Clear();
        pkv->SaveToBuffer(buf);
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)buf.TellPut());
}

void RegisterAll()
{
    // The shape of distinct names last: it is the one that fills the key-name table.
    for (EKVDocShape eShape :
         {k_EKVDocShapeInstallScript, k_EKVDocShapeFlat, k_EKVDocShapeLongStrings, k_EKVDocShapeFlatDistinct})
    {
        for (const char* pszKind : {"Read", "Write"})
        {
            for (bool bEscapes : {false, true})
            {
                auto pfn = pszKind[0] == 'R' ? BM_Read : BM_Write;
                std::string strName = "BM_" + std::string(pszKind) + "/" + KVDocShapeName(eShape) +
                                      (bEscapes ? "/escapes" : "");
                benchmark::RegisterBenchmark(strName.c_str(), pfn, Case_s{eShape, bEscapes})
                    ->Arg(1 << 20)
                    ->Arg(16 << 20)
                    ->Arg(64 << 20)
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime();
            }
        }
    }
}

const int s_nRegistered = (RegisterAll(), 0);
} // namespace

BENCHMARK_MAIN();
