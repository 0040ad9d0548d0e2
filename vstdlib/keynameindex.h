#pragma once
// The hash index behind the key-name table: open addressing over 64-bit slots, each a
// symbol (25 bits), its name's length (10 bits) and the top 29 bits of its name's hash;
// 0 is an empty slot. A probe reads the pool only for a name that is almost surely it.
// Lookups take no lock. Inserts and growth
// are the caller's to serialise; growth builds an index twice the size off to the side
// and publishes it whole, and the replaced ones stay readable for the index's life, so a
// lookup that started on one still ends well (it can only miss names added after the
// switch, which it could have missed anyway).

#include <atomic>
#include <new>

#include "tier0/basetypes.h"
#include "tier0/dbg.h"
#include "vstdlib/ikeyvaluessystem.h"

class CKeyNameIndex
{
public:
    // 64 KiB to start: the few thousand names a program usually holds probe short.
    static constexpr uint32 k_cSlotsInitial = 8192;
    static constexpr uint64 k_ulSymbolMask = 0x01FFFFFF; // the pool's 0x2000000 bytes
    static constexpr int k_nLengthShift = 25;            // names are under 1,024 characters
    static constexpr int k_nTagShift = 35;

    CKeyNameIndex() { m_pIndex.store(NewIndex(k_cSlotsInitial, nullptr), std::memory_order_release); }
    ~CKeyNameIndex();
    CKeyNameIndex(const CKeyNameIndex&) = delete;
    CKeyNameIndex& operator=(const CKeyNameIndex&) = delete;

    // The symbol of the name whose slot agrees and whose pooled text fnMatches(symbol)
    // accepts, or 0.
    template <typename FnMatches>
    HKeySymbol Find(const KeyName_s& name, FnMatches fnMatches) const
    {
        const Index_s* pIndex = m_pIndex.load(std::memory_order_acquire);
        const uint64 ulKey = Key(name);
        // Never more than three quarters full, so an empty slot ends every walk.
        for (uint32 iSlot = (uint32)name.m_ulHash & pIndex->m_nMask;; iSlot = (iSlot + 1) & pIndex->m_nMask)
        {
            uint64 ulSlot = pIndex->Slots()[iSlot].load(std::memory_order_acquire);
            if (ulSlot == 0)
                return 0;
            HKeySymbol nSymbol = (HKeySymbol)(ulSlot & k_ulSymbolMask);
            if ((ulSlot & ~k_ulSymbolMask) == ulKey && fnMatches(nSymbol))
                return nSymbol;
        }
    }

    void Prefetch(const KeyName_s& name) const
    {
        const Index_s* pIndex = m_pIndex.load(std::memory_order_acquire);
        __builtin_prefetch(&pIndex->Slots()[(uint32)name.m_ulHash & pIndex->m_nMask]);
    }
    uint64 Bytes() const
    {
        return (uint64)(m_pIndex.load(std::memory_order_relaxed)->m_nMask + 1) * sizeof(std::atomic<uint64>);
    }

    // Writers only, one at a time. The symbol's name must be readable before the insert:
    // the slot's store is what publishes it to lookups.
    bool BFull() const { return m_cNames + 1 > Capacity(m_pIndex.load(std::memory_order_relaxed)); }
    void Insert(const KeyName_s& name, HKeySymbol nSymbol)
    {
        InsertInto(m_pIndex.load(std::memory_order_relaxed), name, nSymbol);
        ++m_cNames;
    }
    // Replaces the index by one twice its size, filled by fnEachName(fnAdd), which must
    // call fnAdd(name, symbol) for every name inserted so far.
    template <typename FnEachName>
    void Grow(FnEachName fnEachName)
    {
        Index_s* pOld = m_pIndex.load(std::memory_order_relaxed);
        Index_s* pNew = NewIndex(2 * (pOld->m_nMask + 1), pOld);
        uint32 cAdded = 0;
        fnEachName(
            [&](const KeyName_s& name, HKeySymbol nSymbol)
            {
                InsertInto(pNew, name, nSymbol);
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
        std::atomic<uint64>* Slots() { return reinterpret_cast<std::atomic<uint64>*>(this + 1); }
        const std::atomic<uint64>* Slots() const
        {
            return reinterpret_cast<const std::atomic<uint64>*>(this + 1);
        }
    };
    static_assert(sizeof(Index_s) % alignof(std::atomic<uint64>) == 0, "slots follow the header");

    // A slot without its symbol: the hash's top bits beside the name's length.
    static uint64 Key(const KeyName_s& name)
    {
        return (name.m_ulHash >> k_nTagShift << k_nTagShift) | ((uint64)name.m_cchName << k_nLengthShift);
    }
    static uint32 Capacity(const Index_s* pIndex) { return (pIndex->m_nMask + 1) / 4 * 3; }
    static Index_s* NewIndex(uint32 cSlots, Index_s* pReplaced);
    static void InsertInto(Index_s* pIndex, const KeyName_s& name, HKeySymbol nSymbol)
    {
        uint32 iSlot = (uint32)name.m_ulHash & pIndex->m_nMask;
        while (pIndex->Slots()[iSlot].load(std::memory_order_relaxed) != 0)
            iSlot = (iSlot + 1) & pIndex->m_nMask;
        pIndex->Slots()[iSlot].store(Key(name) | (uint64)nSymbol, std::memory_order_release);
    }

    std::atomic<Index_s*> m_pIndex{nullptr};
    uint32 m_cNames = 0;
};
