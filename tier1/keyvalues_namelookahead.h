#pragma once
// Key names read ahead, for a reader whose key-name table has outgrown the caches: there
// each lookup waits for memory. In a run of simple pairs the names a few entries on are
// hashed and their index lines requested while this entry is read; one entry ahead
// leaves most of that wait in place. A queued name is used only for the token at the very
// place it was read from, so a wrong guess (a section, an escape, a comment) costs a
// wasted request, never a wrong name.

#include "keyvalues_tokenizer.h"
#include "vstdlib/ikeyvaluessystem.h"
#include "vstdlib/keyname.h"

class CKeyNameLookahead
{
public:
    // The name of the key just read if it was queued, else null; either way the queue is
    // then topped up from the end of the run of pairs known so far.
    const KeyName_s* Advance(const CKeyValuesTokenizer& tokenizer, bool bUseEscapes,
                             const KeyValuesToken_s& key)
    {
        const KeyName_s* pName = nullptr;
        if (m_cQueued && m_rgQueued[m_iFirst].m_pchName == key.m_pchText &&
            m_rgQueued[m_iFirst].m_cchName == key.m_cchText)
        {
            m_current = m_rgQueued[m_iFirst];
            pName = &m_current;
            m_iFirst = (m_iFirst + 1) % k_cAhead;
            --m_cQueued;
        }
        else
        {
            m_cQueued = 0;
            m_pchRunEnd = tokenizer.QuotedTokenClose(key);
        }
        while (m_pchRunEnd && m_cQueued < k_cAhead)
        {
            const char* pchName;
            m_pchRunEnd = tokenizer.PeekNameAfterValue(m_pchRunEnd + 1, bUseEscapes, &pchName);
            if (!m_pchRunEnd)
                break;
            uint32 cchName = (uint32)(m_pchRunEnd - pchName);
            KeyName_s& name = m_rgQueued[(m_iFirst + m_cQueued) % k_cAhead];
            name = KeyNameOf(pchName, cchName, tokenizer.ReadableEnd({pchName, cchName, true, false, false}));
            PrefetchKeyName(name);
            ++m_cQueued;
        }
        return pName;
    }

private:
    // Four entries cover the wait for memory at the rate pairs are read; more gained nothing.
    static constexpr uint32 k_cAhead = 4;

    KeyName_s m_rgQueued[k_cAhead] = {};
    KeyName_s m_current = {};
    uint32 m_iFirst = 0;
    uint32 m_cQueued = 0;
    const char* m_pchRunEnd = nullptr; // the closing quote of the last name queued; null once the run breaks
};
