// Any bytes, read with escapes off and on, then written: nothing may crash, leak or trip
// a sanitizer, and the load's verdict must agree with the errors it recorded.

#include <cstdlib>
#include <initializer_list>

#include "fuzz_common.h"
#include "tier1/utlbuffer.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSilenceSpew();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pubData, size_t cubData)
{
    static CKeyValuesParser s_parser;
    for (bool bEscapes : {false, true})
    {
        KeyValues* pkv = new KeyValues("fuzz");
        bool bClean = FuzzLoad(pkv, pubData, cubData, bEscapes, &s_parser);
        if (bClean != !s_parser.BHasErrors() || bClean != (s_parser.GetErrorText()[0] == '\0'))
            abort();
        CUtlBuffer out(0, 0, CUtlBuffer::TEXT_BUFFER);
        if (!pkv->SaveToBuffer(out, true, bEscapes ? k_EKVSaveLowerCaseNames : 0))
            abort();
        delete pkv;
    }
    return 0;
}
