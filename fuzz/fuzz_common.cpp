// Helpers shared by the fuzz targets.

#include "fuzz_common.h"

#include "tier0/dbg.h"
#include "tier1/utlbuffer.h"

static SpewRetval_t SilentSpew(SpewType_t, const char*)
{
    return SPEW_CONTINUE;
}

void FuzzSilenceSpew()
{
    SpewOutputFunc(SilentSpew);
    SetAssertsDisabled(true);
}

bool FuzzLoad(KeyValues* pkv, const uint8_t* pubData, size_t cubData, bool bEscapes,
              CKeyValuesParser* pParser)
{
    CUtlBuffer buf(pubData, (int)cubData, CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    pkv->SetUsesEscapeSequences(bEscapes, false);
    pParser->SetReportEnabled(false);
    return pkv->LoadFromBuffer("fuzz.vdf", buf, pParser);
}
