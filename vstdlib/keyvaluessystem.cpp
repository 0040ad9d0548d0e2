// The process-wide key-name table. Hits never take a lock: readers probe the index with
// acquire loads, and an insert publishes the pooled text before the symbol that names it.

#include "keyvaluessystem.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "tier0/dbg.h"
#include "vstdlib/keyname.h"
#include "vstdlib/strtools.h"

// Emitted after the write lock is released, so a spew handler may intern names itself.
struct CKeyValuesSystem::PoolReport_s
{
    enum EPoolReport
    {
        k_EPoolReportNone,
        k_EPoolReportTooLong,
        k_EPoolReportOutOfMemory,
        k_EPoolReportOver75Percent,
    };

    EPoolReport m_eReport = k_EPoolReportNone;
    uint32 m_unValue = 0;

    void Emit() const;
};

void CKeyValuesSystem::PoolReport_s::Emit() const
{
    switch (m_eReport)
    {
        case k_EPoolReportNone:
            break;
        case k_EPoolReportTooLong:
            AssertFmt(false, "CKeyValuesSystem::AddStringToPool: key name too long (%u chars)", m_unValue);
            break;
        case k_EPoolReportOutOfMemory:
            AssertFmt(false, "CKeyValuesSystem::AddStringToPool: out of memory");
            break;
        case k_EPoolReportOver75Percent:
            AssertFmt(false, "CKeyValuesSystem::AddStringToPool: over 75%% full (%u bytes left)", m_unValue);
            break;
    }
}

namespace
{
// The pooled name is the name, ignoring ASCII case. The pooled one is known to be as long,
// so both are read a word a step.
bool BPooledNameEquals(const char* pchPooled, const KeyName_s& name)
{
    using namespace KeyNameWords;
    auto WordsEqual = [](uint64 ulPooled, uint64 ulName)
    { return ulPooled == ulName || LowerAscii8(ulPooled) == LowerAscii8(ulName); };
    const uint32 cch = name.m_cchName;
    if (!WordsEqual(NameWord(pchPooled, cch, pchPooled + cch + 1), name.m_ulFirstWord))
        return false;
    uint32 ich = 8;
    for (; ich + 8 <= cch; ich += 8)
    {
        uint64 ulPooled, ulName;
        memcpy(&ulPooled, pchPooled + ich, 8);
        memcpy(&ulName, name.m_pchName + ich, 8);
        if (!WordsEqual(ulPooled, ulName))
            return false;
    }
    return ich >= cch ||
           WordsEqual(TailWord(pchPooled, cch, cch - ich), TailWord(name.m_pchName, cch, cch - ich));
}

const char* SkipExpressionPrefix(const char* pszName)
{
    return (pszName && *pszName == '$') ? pszName + 1 : pszName;
}
} // namespace

CKeyValuesSystem::CKeyValuesSystem()
{
    // Offset 0 of block 0 holds the empty name, so symbol 0 reads as "".
    PoolReport_s report;
    AssertFatal(BOpenNextPoolBlock(&report));
    m_unPoolPos.store(1, std::memory_order_release);
}

CKeyValuesSystem::~CKeyValuesSystem()
{
    for (uint32 iBlock = 0; iBlock < m_cPoolBlocks; ++iBlock)
        free(m_rgpPoolBlocks[iBlock].load(std::memory_order_relaxed));
}

void CKeyValuesSystem::RegisterSizeofKeyValues(int nSize)
{
    AssertFmt(nSize < INT_MAX, "size < INT_MAX");
    int nLargest = m_nLargestKeyValuesSize.load(std::memory_order_relaxed);
    while (nSize > nLargest &&
           !m_nLargestKeyValuesSize.compare_exchange_weak(nLargest, nSize, std::memory_order_relaxed))
    {
    }
}

HKeySymbol CKeyValuesSystem::Find(const KeyName_s& name) const
{
    return m_index.Find(name, [this, &name](HKeySymbol nSymbol)
                        { return BPooledNameEquals(PooledText(nSymbol), name); });
}

// Every pooled name is in the index, so the pool, read in order, is the list to rebuild
// it from: a sequential read instead of one scattered read per name.
void CKeyValuesSystem::GrowIndex()
{
    const uint32 unPoolPos = m_unPoolPos.load(std::memory_order_relaxed);
    m_index.Grow(
        [&](auto fnAdd)
        {
            for (uint32 iBlock = 0; iBlock < m_cPoolBlocks; ++iBlock)
            {
                const char* pBlock = m_rgpPoolBlocks[iBlock].load(std::memory_order_relaxed);
                uint32 ichEnd = unPoolPos - iBlock * k_cubPoolBlock;
                if (ichEnd > k_cubPoolBlock)
                    ichEnd = k_cubPoolBlock;
                // Offset 0 of block 0 is the empty name; a block's unused tail is zeroed.
                for (uint32 ich = iBlock == 0 ? 1 : 0; ich < ichEnd && pBlock[ich];)
                {
                    uint32 cchName = (uint32)strlen(pBlock + ich);
                    fnAdd(KeyNameOf(pBlock + ich, cchName, pBlock + ich + cchName + 1),
                          (HKeySymbol)(iBlock * k_cubPoolBlock + ich));
                    ich += cchName + 1;
                }
            }
        });
}

bool CKeyValuesSystem::BOpenNextPoolBlock(PoolReport_s* pReport)
{
    if (m_cPoolBlocks == k_cPoolBlocksMax)
    {
        *pReport = {PoolReport_s::k_EPoolReportOutOfMemory, 0};
        return false;
    }
    uint32 cubAllocated = m_cPoolBlocks * k_cubPoolBlock;
    if (cubAllocated >= k_cubPoolWarn)
        *pReport = {PoolReport_s::k_EPoolReportOver75Percent, k_cubPoolMax - cubAllocated};
    char* pBlock = (char*)calloc(1, k_cubPoolBlock);
    if (!pBlock)
    {
        *pReport = {PoolReport_s::k_EPoolReportOutOfMemory, 0};
        return false;
    }
    m_rgpPoolBlocks[m_cPoolBlocks].store(pBlock, std::memory_order_release);
    m_unPoolPos.store(m_cPoolBlocks * k_cubPoolBlock, std::memory_order_release);
    ++m_cPoolBlocks;
    return true;
}

HKeySymbol CKeyValuesSystem::AddStringToPool(const char* pchName, uint32 cchName, PoolReport_s* pReport)
{
    if (cchName > k_cchKeyNameMax)
    {
        *pReport = {PoolReport_s::k_EPoolReportTooLong, cchName};
        return 0;
    }
    uint32 unPos = m_unPoolPos.load(std::memory_order_relaxed);
    uint32 unOffset = unPos - (m_cPoolBlocks - 1) * k_cubPoolBlock;
    if (unOffset + cchName + 1 > k_cubPoolBlock)
    {
        if (!BOpenNextPoolBlock(pReport))
            return 0;
        unPos = m_unPoolPos.load(std::memory_order_relaxed);
    }
    char* pBlock = m_rgpPoolBlocks[unPos / k_cubPoolBlock].load(std::memory_order_relaxed);
    memcpy(pBlock + unPos % k_cubPoolBlock, pchName, cchName);
    pBlock[unPos % k_cubPoolBlock + cchName] = '\0';
    m_unPoolPos.store(unPos + cchName + 1, std::memory_order_release);

    m_rgnRecentKeys[m_iRecentKey] = (HKeySymbol)unPos;
    m_iRecentKey = (m_iRecentKey + 1) % k_cRecentKeys;
    ++m_cKeysAdded;
    return (HKeySymbol)unPos;
}

HKeySymbol CKeyValuesSystem::GetSymbolForString(const char* pszName, bool bCreate)
{
    if (!pszName || !*pszName)
        return 0;
    uint32 cchName = (uint32)strlen(pszName);
    return SymbolForName(KeyNameOf(pszName, cchName, pszName + cchName + 1), bCreate);
}

HKeySymbol CKeyValuesSystem::SymbolForName(const KeyName_s& name, bool bCreate)
{
    if (name.m_cchName == 0)
        return 0;
    // A name too long for the pool is never in the index, whose keys hold ten bits of
    // length: it goes straight to the insert, which refuses it.
    bool bFits = name.m_cchName <= k_cchKeyNameMax;
    HKeySymbol nSymbol = bFits ? Find(name) : 0;
    if (nSymbol || !bCreate)
        return nSymbol;

    PoolReport_s report;
    {
        std::unique_lock<std::shared_mutex> lock(m_mutex);
        nSymbol = bFits ? Find(name) : 0;
        if (nSymbol)
            return nSymbol;
        // Grown before the name is pooled: the rebuild reads the pool.
        if (m_index.BFull())
            GrowIndex();
        nSymbol = AddStringToPool(name.m_pchName, name.m_cchName, &report);
        if (nSymbol)
            m_index.Insert(name, nSymbol);
    }
    report.Emit();
    return nSymbol;
}

void CKeyValuesSystem::PrefetchName(const KeyName_s& name) const
{
    m_index.Prefetch(name);
}

bool CKeyValuesSystem::BIndexOutgrowsCaches() const
{
    // About what a core's second-level cache holds.
    return m_index.Bytes() > (1u << 20);
}

const char* CKeyValuesSystem::GetStringForSymbol(HKeySymbol nSymbol)
{
    AssertFmt(nSymbol >= 0 && (uint32)nSymbol < k_cubPoolMax, "bad key symbol %d", (int)nSymbol);
    if (nSymbol < 0 || (uint32)nSymbol >= k_cubPoolMax)
        return "";
    const char* pBlock = m_rgpPoolBlocks[(uint32)nSymbol / k_cubPoolBlock].load(std::memory_order_acquire);
    return pBlock ? pBlock + (uint32)nSymbol % k_cubPoolBlock : "";
}

HKeySymbol CKeyValuesSystem::GetSymbolForStringCaseSensitive(const char* pszName, HKeySymbol* pCaseHandle)
{
    HKeySymbol nSymbol = GetSymbolForString(pszName, true);
    if (pCaseHandle)
        *pCaseHandle = nSymbol;
    return nSymbol;
}

void* CKeyValuesSystem::AllocKeyValuesMemory(int nSize)
{
    return nSize > 0 ? malloc((size_t)nSize) : nullptr;
}

void CKeyValuesSystem::FreeKeyValuesMemory(void* pMem)
{
    free(pMem);
}

void CKeyValuesSystem::AddKeyValuesExpressionSymbol(const char* pszName, bool bValue)
{
    HKeySymbol nSymbol = GetSymbolForString(SkipExpressionPrefix(pszName), true);
    if (!nSymbol)
        return;
    std::unique_lock<std::shared_mutex> lock(m_mutex);
    m_mapExpressionSymbols[nSymbol] = bValue;
}

bool CKeyValuesSystem::GetKeyValuesExpressionSymbol(const char* pszName)
{
    HKeySymbol nSymbol = GetSymbolForString(SkipExpressionPrefix(pszName), false);
    if (!nSymbol)
        return false;
    std::shared_lock<std::shared_mutex> lock(m_mutex);
    auto it = m_mapExpressionSymbols.find(nSymbol);
    return it != m_mapExpressionSymbols.end() && it->second;
}

void CKeyValuesSystem::AddKeyValueFile(const char*) {}

bool CKeyValuesSystem::LoadedKeyValueFile(const char*)
{
    return false;
}

void CKeyValuesSystem::DumpRecentKeys(uint32 nCount)
{
    // Copied under the lock, printed after it, so the spew handler may use the table.
    static_assert(sizeof(HKeySymbol) * k_cRecentKeys <= 16384, "the ring copy lives on the stack");
    HKeySymbol rgnKeys[k_cRecentKeys];
    uint32 cKeys;
    {
        std::shared_lock<std::shared_mutex> lock(m_mutex);
        cKeys = nCount;
        if (cKeys > k_cRecentKeys)
            cKeys = k_cRecentKeys;
        if (cKeys > m_cKeysAdded)
            cKeys = m_cKeysAdded;
        uint32 iFirst = (m_iRecentKey + k_cRecentKeys - cKeys) % k_cRecentKeys;
        for (uint32 i = 0; i < cKeys; ++i)
            rgnKeys[i] = m_rgnRecentKeys[(iFirst + i) % k_cRecentKeys];
    }
    Msg("CKeyValuesSystem dumping last %u keys added to system (oldest first):\n", cKeys);
    for (uint32 i = 0; i < cKeys; ++i)
        Msg("%s\n", GetStringForSymbol(rgnKeys[i]));
}

namespace
{
CKeyValuesSystem* GlobalKeyValuesSystem()
{
    // Never destroyed: nodes in static storage may still name keys while the process ends.
    static CKeyValuesSystem* s_pSystem = new CKeyValuesSystem();
    return s_pSystem;
}
} // namespace

IKeyValuesSystem* KeyValuesSystem()
{
    return GlobalKeyValuesSystem();
}

HKeySymbol InternKeyName(const KeyName_s& name)
{
    return GlobalKeyValuesSystem()->SymbolForName(name, true);
}

void PrefetchKeyName(const KeyName_s& name)
{
    GlobalKeyValuesSystem()->PrefetchName(name);
}

bool BKeyNamesOutgrowCaches()
{
    return GlobalKeyValuesSystem()->BIndexOutgrowsCaches();
}
