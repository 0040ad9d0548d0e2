// `installscript check` against the reader alone, on the install-script-shaped document
// of kvdocgen (64 MB): what the key places, the walks and the findings add to a read.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "installscript/check_context.h"
#include "installscript/check_file.h"
#include "installscript/check_script.h"
#include "kvdocgen.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

namespace
{

constexpr size_t k_cubDocument = 64 << 20;

const std::string& Document()
{
    static const std::string s_strDocument =
        GenerateKVDocument(k_EKVDocShapeInstallScript, k_cubDocument, false);
    return s_strDocument;
}

// The reader as the checker runs it (escapes on, quiet), the tree destroyed in the timing
// as the checker's is.
void BM_ReadAlone(benchmark::State& state)
{
    const std::string& strDocument = Document();
    for (auto _ : state)
    {
        CKeyValuesParser parser;
        parser.SetReportEnabled(false);
        CUtlBuffer buf(strDocument.data(), (int)strDocument.size(),
                       CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
        std::unique_ptr<KeyValues> pkv(new KeyValues("document"));
        pkv->SetUsesEscapeSequences(true, false);
        benchmark::DoNotOptimize(pkv->LoadFromBuffer("bench.vdf", buf, &parser));
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)strDocument.size());
}

// What `installscript check FILE` does once the file is in memory: the document's root
// holds one group per application, none of them a section, so this is the reader with
// places, the variable walk over every value and the capped findings.
void BM_CheckDocument(benchmark::State& state)
{
    const std::string& strDocument = Document();
    const std::vector<bool> vecDisabled(k_ECheckCount, false);
    size_t cFindings = 0;
    for (auto _ : state)
        cFindings = CheckText(strDocument.data(), strDocument.size(), "bench.vdf", vecDisabled).size();
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)strDocument.size());
    state.counters["findings"] = (double)cFindings;
}

// Every application's group checked as an install script of its own: all the section
// checks run on every entry.
void BM_CheckEachApplication(benchmark::State& state)
{
    const std::string& strDocument = Document();
    const std::vector<bool> vecDisabled(k_ECheckCount, false);
    size_t cFindings = 0;
    for (auto _ : state)
    {
        std::vector<CheckFinding_s> vecFindings;
        CKeyLocations locations;
        CKeyValuesParser parser;
        parser.SetReportEnabled(false);
        parser.SetObserver(&locations);
        CUtlBuffer buf(strDocument.data(), (int)strDocument.size(),
                       CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
        std::unique_ptr<KeyValues> pkv(new KeyValues("document"));
        pkv->SetUsesEscapeSequences(true, false);
        pkv->LoadFromBuffer("bench.vdf", buf, &parser);
        CCheckContext context(locations, vecDisabled, &vecFindings);
        for (KeyValues* pkvApp = pkv->GetFirstTrueSubKey(); pkvApp; pkvApp = pkvApp->GetNextTrueSubKey())
        {
            CKeyScope scope(context, pkvApp);
            CheckInstallScript(pkvApp, context);
        }
        context.ResolveKeyOffsets();
        ResolvePlaces(strDocument.data(), strDocument.size(), &vecFindings);
        cFindings = vecFindings.size();
    }
    state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)strDocument.size());
    state.counters["findings"] = (double)cFindings;
}

BENCHMARK(BM_ReadAlone)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CheckDocument)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CheckEachApplication)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
