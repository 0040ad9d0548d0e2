// KeyValues text reader and writer throughput on generated documents (three shapes, 1 MB
// and 64 MB), with the reader's memory use beside it.

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

#include "kvdocgen.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvalues_pool.h"
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

const std::string& Document(EKVDocShape eShape, size_t cubSize)
{
    static std::map<std::pair<int, size_t>, std::string> s_mapDocuments;
    std::string& strDocument = s_mapDocuments[{(int)eShape, cubSize}];
    if (strDocument.empty())
        strDocument = GenerateKVDocument(eShape, cubSize);
    return strDocument;
}

std::unique_ptr<KeyValues> Read(const std::string& strDocument)
{
    CUtlBuffer buf(strDocument.data(), (int)strDocument.size(),
                   CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    std::unique_ptr<KeyValues> pkv(new KeyValues("doc"));
    if (!pkv->LoadFromBuffer("bench.vdf", buf))
        pkv.reset();
    return pkv;
}

void BM_Read(benchmark::State& state, EKVDocShape eShape)
{
    const std::string& strDocument = Document(eShape, (size_t)state.range(0));
    // The document's memory (the buffer) plus what the parsed tree adds, as a multiple
    // of the document's size; the token buffer of the load is freed by then.
    size_t cubBefore = 0, cubAfter = 0;
    bool bMeasured = BBytesInUse(&cubBefore);
    std::unique_ptr<KeyValues> pkv = Read(strDocument);
    bMeasured = bMeasured && BBytesInUse(&cubAfter);
    double flMemory = (double)(strDocument.size() + (cubAfter - cubBefore)) / (double)strDocument.size();
    if (!pkv)
        return state.SkipWithError("the document did not read cleanly");
    pkv.reset();
    for (auto _ : state)
    {
        pkv = Read(strDocument);
        state.PauseTiming();
        pkv.reset(); // destroying the tree is not reading
        state.ResumeTiming();
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)strDocument.size());
    if (bMeasured)
        state.counters["mem_x_doc"] = flMemory;
}

void BM_Write(benchmark::State& state, EKVDocShape eShape)
{
    const std::string& strDocument = Document(eShape, (size_t)state.range(0));
    std::unique_ptr<KeyValues> pkv = Read(strDocument);
    if (!pkv)
        return state.SkipWithError("the document did not read cleanly");
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
    for (EKVDocShape eShape : {k_EKVDocShapeInstallScript, k_EKVDocShapeFlat, k_EKVDocShapeLongStrings})
    {
        std::string strShape = KVDocShapeName(eShape);
        for (const char* pszKind : {"Read", "Write"})
        {
            auto pfn = pszKind[0] == 'R' ? BM_Read : BM_Write;
            benchmark::RegisterBenchmark(("BM_" + std::string(pszKind) + "/" + strShape).c_str(), pfn, eShape)
                ->Arg(1 << 20)
                ->Arg(64 << 20)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
    }
}

const int s_nRegistered = (RegisterAll(), 0);
} // namespace

BENCHMARK_MAIN();
