// With escapes on, whatever tree the reader makes of any input is written, read back to
// the same tree (names, types, values, order) without an error, and written again to
// the same bytes.

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "fuzz_common.h"
#include "tier1/utlbuffer.h"

namespace
{
typedef std::pair<KeyValues*, KeyValues*> NodePair_t;

bool BSameValue(KeyValues* pkvA, KeyValues* pkvB)
{
    if (pkvA->GetDataType() != pkvB->GetDataType() || pkvA->GetNameSymbol() != pkvB->GetNameSymbol())
        return false;
    switch (pkvA->GetDataType())
    {
        case KeyValues::TYPE_NONE:
            return true;
        case KeyValues::TYPE_INT:
            return pkvA->GetInt() == pkvB->GetInt();
        case KeyValues::TYPE_STRING:
            return !strcmp(pkvA->GetString(), pkvB->GetString());
        default:
            return false; // the reader makes nothing else
    }
}

// Walks both trees (and their peers) side by side without recursion.
bool BSameTrees(KeyValues* pkvA, KeyValues* pkvB)
{
    std::vector<NodePair_t> vecLists = {{pkvA, pkvB}};
    while (!vecLists.empty())
    {
        NodePair_t pair = vecLists.back();
        vecLists.pop_back();
        for (; pair.first && pair.second; pair = {pair.first->GetNextKey(), pair.second->GetNextKey()})
        {
            if (!BSameValue(pair.first, pair.second))
                return false;
            if (pair.first->GetDataType() == KeyValues::TYPE_NONE)
                vecLists.push_back({pair.first->GetFirstSubKey(), pair.second->GetFirstSubKey()});
        }
        if (pair.first || pair.second)
            return false;
    }
    return true;
}

// A key whose name could not be interned (1,024 characters or more) has no name, and
// below the top level an empty name is not readable text: such trees cannot round trip.
bool BHasUnnamedKeyBelowTop(KeyValues* pkvTop)
{
    std::vector<KeyValues*> vecLists;
    for (KeyValues* pkv = pkvTop; pkv; pkv = pkv->GetNextKey())
        vecLists.push_back(pkv->GetFirstSubKey());
    while (!vecLists.empty())
    {
        KeyValues* pkv = vecLists.back();
        vecLists.pop_back();
        for (; pkv; pkv = pkv->GetNextKey())
        {
            if (pkv->GetNameSymbol() == 0)
                return true;
            vecLists.push_back(pkv->GetFirstSubKey());
        }
    }
    return false;
}

void SaveText(KeyValues* pkv, CUtlBuffer* pBuf)
{
    if (!pkv->SaveToBuffer(*pBuf, true, 0))
        abort();
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSilenceSpew();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pubData, size_t cubData)
{
    static CKeyValuesParser s_parser;
    KeyValues* pkvFirst = new KeyValues("fuzz");
    FuzzLoad(pkvFirst, pubData, cubData, true, &s_parser);
    if (!BHasUnnamedKeyBelowTop(pkvFirst))
    {
        CUtlBuffer written(0, 0, CUtlBuffer::TEXT_BUFFER);
        SaveText(pkvFirst, &written);
        KeyValues* pkvSecond = new KeyValues("fuzz");
        if (!FuzzLoad(pkvSecond, (const uint8_t*)written.Base(), (size_t)written.TellPut(), true, &s_parser))
            abort(); // the writer's text did not read cleanly
        if (!BSameTrees(pkvFirst, pkvSecond))
            abort();
        CUtlBuffer rewritten(0, 0, CUtlBuffer::TEXT_BUFFER);
        SaveText(pkvSecond, &rewritten);
        if (rewritten.TellPut() != written.TellPut() ||
            memcmp(rewritten.Base(), written.Base(), (size_t)written.TellPut()) != 0)
            abort();
        delete pkvSecond;
    }
    delete pkvFirst;
    return 0;
}
