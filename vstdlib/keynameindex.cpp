#include "keynameindex.h"

#include <cstdlib>

CKeyNameIndex::~CKeyNameIndex()
{
    Index_s* pIndex = m_pIndex.load(std::memory_order_relaxed);
    while (pIndex)
    {
        Index_s* pReplaced = pIndex->m_pReplaced;
        free(pIndex);
        pIndex = pReplaced;
    }
}

CKeyNameIndex::Index_s* CKeyNameIndex::NewIndex(uint32 cSlots, Index_s* pReplaced)
{
    // The most names the pool can hold (two bytes each) fit at half load in 2^25 slots.
    AssertFatal(cSlots <= k_ulSymbolMask + 1);
    void* pMem = malloc(sizeof(Index_s) + cSlots * sizeof(std::atomic<uint64>));
    AssertFatal(pMem);
    Index_s* pIndex = new (pMem) Index_s{cSlots - 1, pReplaced};
    for (uint32 i = 0; i < cSlots; ++i)
        new (&pIndex->Slots()[i]) std::atomic<uint64>(0);
    return pIndex;
}
