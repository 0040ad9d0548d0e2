#pragma once
// Key-name symbols by the exact bytes of a name, for one reader. A document repeats the
// same names over and over; an exact byte match against the name's pooled text skips the
// key-name table's case-folding hash and its bucket walk. Symbols and their pooled text
// never die, so an entry never goes stale. A name spelled in another case than its first
// spelling always goes to the table.

#include <cstdlib>
#include <cstring>

#include "tier0/basetypes.h"
#include "tier0/dbg.h"
#include "vstdlib/ikeyvaluessystem.h"

class CKeySymbolCache
{
public:
    // Zeroed pages come from the system on first touch, so a short document pays little.
    CKeySymbolCache() : m_pEntries((Entry_s*)calloc(k_cEntries, sizeof(Entry_s))) { AssertFatal(m_pEntries); }
    ~CKeySymbolCache() { free(m_pEntries); }
    CKeySymbolCache(const CKeySymbolCache&) = delete;
    CKeySymbolCache& operator=(const CKeySymbolCache&) = delete;

    // The symbol cached for the cch bytes at pch, or -1 (and the slot to store into)
    // when the caller must ask the table. Memory up to pchReadableEnd may be read.
    HKeySymbol Find(const char* pch, uint32 cch, const char* pchReadableEnd, uint32* pnSlot,
                    uint64* pulHash) const
    {
        uint64 ulHash = Hash(pch, cch, pchReadableEnd);
        *pulHash = ulHash;
        *pnSlot = (uint32)(ulHash >> 40) & (k_cEntries - 1);
        const Entry_s& entry = m_pEntries[*pnSlot];
        if (entry.m_ulHash != ulHash || entry.m_cch != cch)
            return INVALID_KEY_SYMBOL;
        // Short names are compared as one word, longer ones against the pooled text.
        bool bSame = cch <= 8 ? entry.m_ulShortName == ShortName(pch, cch, pchReadableEnd)
                              : !memcmp(entry.m_pszPooled, pch, cch);
        return bSame ? entry.m_nSymbol : INVALID_KEY_SYMBOL;
    }
    // Only names whose pooled text is exactly these bytes are worth keeping.
    void Store(uint32 nSlot, uint64 ulHash, const char* pch, uint32 cch, HKeySymbol nSymbol)
    {
        const char* pszPooled = KeyValuesSystem()->GetStringForSymbol(nSymbol);
        if (nSymbol <= 0 || memcmp(pszPooled, pch, cch) != 0)
            return;
        m_pEntries[nSlot] = {ulHash, pszPooled, cch, nSymbol, cch <= 8 ? ShortName(pch, cch, pch + cch) : 0};
    }

private:
    static constexpr uint32 k_cEntries = 8192;

    struct Entry_s
    {
        uint64 m_ulHash;
        const char* m_pszPooled;
        uint32 m_cch;
        HKeySymbol m_nSymbol;
        uint64 m_ulShortName; // names of up to 8 bytes, zero-padded
    };

    // Up to 8 bytes as a zero-padded word; the word is read whole when the memory allows.
    static uint64 ShortName(const char* pch, uint32 cch, const char* pchReadableEnd)
    {
        uint64 ulWord = 0;
        if (pchReadableEnd - pch >= 8)
        {
            memcpy(&ulWord, pch, 8);
            return cch >= 8 ? ulWord : ulWord & ~(~0ull << (8 * cch));
        }
        for (uint32 i = 0; i < cch && i < 8; ++i)
            ulWord |= (uint64)(uint8)pch[i] << (8 * i);
        return ulWord;
    }

    // Eight bytes per step; the last partial word is read whole when the memory allows.
    static uint64 Hash(const char* pch, uint32 cch, const char* pchReadableEnd)
    {
        uint64 ulHash = cch * 0x9E3779B97F4A7C15ull;
        for (; cch >= 8; pch += 8, cch -= 8)
        {
            uint64 ulWord;
            memcpy(&ulWord, pch, 8);
            ulHash = (ulHash ^ ulWord) * 0xFF51AFD7ED558CCDull;
        }
        uint64 ulTail = ShortName(pch, cch, pchReadableEnd);
        ulHash = (ulHash ^ ulTail) * 0xC4CEB9FE1A85EC53ull;
        return ulHash ^ (ulHash >> 29);
    }

    Entry_s* m_pEntries;
};
