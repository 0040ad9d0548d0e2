#pragma once
// The hash index behind the key-name table: open addressing over 32-bit slots, each a
// symbol (25 bits) beside the top seven bits of its name's hash, 0 for an empty slot.
// Lookups take no lock. Inserts and growth are the caller's to serialise; growth builds
// an index twice the size off to the side and publishes it whole, and the replaced ones
// stay readable for the index's life, so a lookup that started on one still ends well
// (it can only miss names added after the switch, which it could have missed anyway).

#include <atomic>
#include <new>

#include "tier0/basetypes.h"
#include "tier0/dbg.h"
#include "vstdlib/ikeyvaluessystem.h"

class CKeyNameIndex
{
public:
    // 64 KiB to start: the few thousand names a program usually holds probe short.
    static constexpr uint32 k_cSlotsInitial = 16384;
    static constexpr uint32 k_nSymbolMask = 0x01FFFFFF; // the pool's 0x2000000 bytes
    static constexpr uint32 k_nTagMask = ~k_nSymbolMask;

    CKeyNameIndex() { m_pIndex.store(NewIndex(k_cSlotsInitial, nullptr), std::memory_order_release); }
    ~CKeyNameIndex();
    CKeyNameIndex(const CKeyNameIndex&) = delete;
    CKeyNameIndex& operator=(const CKeyNameIndex&) = delete;

    // The symbol with this hash whose name fnMatches(symbol) accepts, or 0.
    template <typename FnMatches>
    HKeySymbol Find(uint32 unHash, FnMatches fnMatches) const
    {
        const Index_s* pIndex = m_pIndex.load(std::memory_order_acquire);
        const uint32 nTag = unHash & k_nTagMask;
        // Never more than three quarters full, so an empty slot ends every walk.
        for (uint32 iSlot = unHash & pIndex->m_nMask;; iSlot = (iSlot + 1) & pIndex->m_nMask)
        {
            uint32 nSlot = pIndex->Slots()[iSlot].load(std::memory_order_acquire);
            if (nSlot == 0)
                return 0;
            if ((nSlot & k_nTagMask) == nTag && fnMatches((HKeySymbol)(nSlot & k_nSymbolMask)))
                return (HKeySymbol)(nSlot & k_nSymbolMask);
        }
    }

    void Prefetch(uint32 unHash) const
    {
        const Index_s* pIndex = m_pIndex.load(std::memory_order_acquire);
        __builtin_prefetch(&pIndex->Slots()[unHash & pIndex->m_nMask]);
    }

    // Writers only, one at a time. The symbol's name must be readable before the insert:
    // the slot's store is what publishes it to lookups.
    bool BFull() const { return m_cNames + 1 > Capacity(m_pIndex.load(std::memory_order_relaxed)); }
    void Insert(uint32 unHash, HKeySymbol nSymbol)
    {
        InsertInto(m_pIndex.load(std::memory_order_relaxed), unHash, nSymbol);
        ++m_cNames;
    }
    // Replaces the index by one twice its size, filled by fnEachName(fnAdd), which must
    // call fnAdd(hash, symbol) for every name inserted so far.
    template <typename FnEachName>
    void Grow(FnEachName fnEachName)
    {
        Index_s* pOld = m_pIndex.load(std::memory_order_relaxed);
        Index_s* pNew = NewIndex(2 * (pOld->m_nMask + 1), pOld);
        uint32 cAdded = 0;
        fnEachName(
            [&](uint32 unHash, HKeySymbol nSymbol)
            {
                InsertInto(pNew, unHash, nSymbol);
                ++cAdded;
            });
        Assert(cAdded == m_cNames);
        m_pIndex.store(pNew, std::memory_order_release);
    }

private:
    struct Index_s
    {
        uint32 m_nMask;
        Index_s* m_pReplaced; // the smaller index this one took over from
        // The slots follow the header in the same allocation.
        std::atomic<uint32>* Slots() { return reinterpret_cast<std::atomic<uint32>*>(this + 1); }
        const std::atomic<uint32>* Slots() const
        {
            return reinterpret_cast<const std::atomic<uint32>*>(this + 1);
        }
    };
    static_assert(sizeof(Index_s) % alignof(std::atomic<uint32>) == 0, "slots follow the header");

    static uint32 Capacity(const Index_s* pIndex) { return (pIndex->m_nMask + 1) / 4 * 3; }
    static Index_s* NewIndex(uint32 cSlots, Index_s* pReplaced);
    static void InsertInto(Index_s* pIndex, uint32 unHash, HKeySymbol nSymbol)
    {
        uint32 iSlot = unHash & pIndex->m_nMask;
        while (pIndex->Slots()[iSlot].load(std::memory_order_relaxed) != 0)
            iSlot = (iSlot + 1) & pIndex->m_nMask;
        pIndex->Slots()[iSlot].store((unHash & k_nTagMask) | (uint32)nSymbol, std::memory_order_release);
    }

    std::atomic<Index_s*> m_pIndex{nullptr};
    uint32 m_cNames = 0;
};
