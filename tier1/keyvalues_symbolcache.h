#pragma once
// Key-name symbols by the exact bytes of a name, for one reader. A document repeats the
// same names over and over; an exact match here skips the key-name table's case-folding
// hash and its reads of the index and the pool. Symbols and their pooled text never die, so an entry
// never goes stale. A name spelled in another case than its first spelling always goes
// to the table.
//
// A document of mostly distinct names misses it; there a probe only costs, so once probes
// seldom hit over a window of lookups, only one lookup in k_nSampleEvery probes, to
// notice when names start repeating again. Waiting for the cache to fill first cost a
// tenth of the read of such a document.

#include <cstdlib>
#include <cstring>

#include "tier0/basetypes.h"
#include "tier0/dbg.h"
#include "vstdlib/ikeyvaluessystem.h"

class CKeySymbolCache
{
public:
    // Where a name was looked for: what Store needs when the cache did not have it.
    struct Probe_s
    {
        uint64 m_ulHash = 0;
        uint64 m_ulFirstWord = 0;
        uint32 m_nSlot = 0;
    };

    CKeySymbolCache() { Allocate(k_cEntriesInitial); }
    ~CKeySymbolCache() { free(m_pEntries); }
    CKeySymbolCache(const CKeySymbolCache&) = delete;
    CKeySymbolCache& operator=(const CKeySymbolCache&) = delete;

    // Whether this lookup should probe the cache (and store what it learns).
    bool BProbe()
    {
        if (++m_cLookups == k_cLookupsPerWindow)
        {
            // Probes hitting less than a quarter of the time cost more than they save.
            m_bProbing = 4 * m_cHits >= m_cProbes;
            m_cLookups = m_cProbes = m_cHits = 0;
        }
        bool bProbe = m_bProbing || m_cLookups % k_nSampleEvery == 0;
        m_cProbes += bProbe;
        return bProbe;
    }

    // Whether the cache has stepped aside: most names now go to the key-name table.
    bool BSteppedAside() const { return !m_bProbing; }

    // The symbol cached for the cch bytes at pch, or INVALID_KEY_SYMBOL (and the probe
    // for Store). Memory up to pchReadableEnd may be read.
    HKeySymbol Find(const char* pch, uint32 cch, const char* pchReadableEnd, Probe_s* pProbe)
    {
        uint64 ulFirstWord = KeyNameWords::NameWord(pch, cch, pchReadableEnd);
        uint64 ulHash = Hash(ulFirstWord, pch, cch);
        uint32 nSlot = (uint32)ulHash & m_nMask;
        // Linear probing; the table is never more than half full, so an empty slot comes.
        for (;; nSlot = (nSlot + 1) & m_nMask)
        {
            const Entry_s& entry = m_pEntries[nSlot];
            if (entry.m_nSymbol == 0)
                break;
            if (entry.m_ulHash == ulHash && entry.m_cch == cch && entry.m_ulFirstWord == ulFirstWord &&
                (cch <= 8 || !memcmp(entry.m_pszPooled + 8, pch + 8, cch - 8)))
            {
                ++m_cHits;
                return entry.m_nSymbol;
            }
        }
        *pProbe = {ulHash, ulFirstWord, nSlot};
        return INVALID_KEY_SYMBOL;
    }
    // Only names whose pooled text is exactly these bytes are worth keeping.
    void Store(const Probe_s& probe, const char* pch, uint32 cch, HKeySymbol nSymbol)
    {
        const char* pszPooled = KeyValuesSystem()->GetStringForSymbol(nSymbol);
        if (nSymbol <= 0 || memcmp(pszPooled, pch, cch) != 0 || pszPooled[cch] != '\0')
            return;
        uint32 nSlot = probe.m_nSlot;
        if (2 * (m_cUsed + 1) > m_nMask + 1)
        {
            if (m_nMask + 1 >= k_cEntriesMax)
                return; // a document of this many names gets no more help
            Grow();
            nSlot = FreeSlotFor(probe.m_ulHash);
        }
        m_pEntries[nSlot] = {probe.m_ulHash, probe.m_ulFirstWord, pszPooled, cch, nSymbol};
        ++m_cUsed;
    }

private:
    // Small documents pay for a small table. At most 512 KiB, which stays in the second-
    // level cache: a document of more names than that (8,192) mostly meets each once, and
    // a bigger cache would only be built and missed while the key-name table answers.
    static constexpr uint32 k_cEntriesInitial = 512;
    static constexpr uint32 k_cEntriesMax = 16384;
    static constexpr uint32 k_cLookupsPerWindow = 4096;
    static constexpr uint32 k_nSampleEvery = 16;

    struct Entry_s
    {
        uint64 m_ulHash;
        uint64 m_ulFirstWord;
        const char* m_pszPooled;
        uint32 m_cch;
        HKeySymbol m_nSymbol; // 0: the slot is empty
    };

    void Allocate(uint32 cEntries)
    {
        m_pEntries = (Entry_s*)calloc(cEntries, sizeof(Entry_s));
        AssertFatal(m_pEntries);
        m_nMask = cEntries - 1;
    }
    uint32 FreeSlotFor(uint64 ulHash) const
    {
        uint32 nSlot = (uint32)ulHash & m_nMask;
        while (m_pEntries[nSlot].m_nSymbol != 0)
            nSlot = (nSlot + 1) & m_nMask;
        return nSlot;
    }
    void Grow()
    {
        Entry_s* pOld = m_pEntries;
        uint32 cOld = m_nMask + 1;
        Allocate(2 * cOld);
        for (uint32 i = 0; i < cOld; ++i)
        {
            if (pOld[i].m_nSymbol != 0)
                m_pEntries[FreeSlotFor(pOld[i].m_ulHash)] = pOld[i];
        }
        free(pOld);
    }

    // Exact bytes, eight per step: cheaper than the table's case-folding hash. Each word
    // goes through a multiply-and-fold, so every byte reaches the low bits the slot comes
    // from; a plain multiply left the last bytes out of them, and names such as "lang 120"
    // and "lang 121" shared one slot and chained. The last partial word is read whole
    // (TailWord) when the name has eight bytes.
    static uint64 Hash(uint64 ulFirstWord, const char* pch, uint32 cch)
    {
        uint64 ulHash = KeyNameWords::Mix(cch * 0x9E3779B97F4A7C15ull, ulFirstWord);
        uint32 ich = 8;
        for (; ich + 8 <= cch; ich += 8)
        {
            uint64 ulWord;
            memcpy(&ulWord, pch + ich, 8);
            ulHash = KeyNameWords::Mix(ulHash, ulWord);
        }
        if (ich < cch)
            ulHash = KeyNameWords::Mix(ulHash, KeyNameWords::TailWord(pch, cch, cch - ich));
        return ulHash;
    }

    Entry_s* m_pEntries;
    uint32 m_nMask;
    uint32 m_cUsed = 0;
    // This window's lookups, the probes among them and the probes that hit.
    uint32 m_cLookups = 0;
    uint32 m_cProbes = 0;
    uint32 m_cHits = 0;
    bool m_bProbing = true;
};
