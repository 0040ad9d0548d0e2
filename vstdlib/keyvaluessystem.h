#pragma once
// The key-name table behind KeyValuesSystem(). Exposed so tests and benchmarks can build
// private instances with a fresh pool; the process uses only the global one.

#include <atomic>
#include <map>
#include <shared_mutex>

#include "keynameindex.h"
#include "vstdlib/ikeyvaluessystem.h"

class CKeyValuesSystem final : public IKeyValuesSystem
{
public:
    static constexpr uint32 k_cubPoolBlock = 32768;
    static constexpr uint32 k_cPoolBlocksMax = 1024;
    static constexpr uint32 k_cubPoolMax = k_cubPoolBlock * k_cPoolBlocksMax; // 0x2000000
    static constexpr uint32 k_cubPoolWarn = k_cubPoolMax / 4 * 3;             // 0x1800000
    static constexpr uint32 k_cchKeyNameMax = 1023;
    static constexpr uint32 k_cRecentKeys = 4096;

    CKeyValuesSystem();
    ~CKeyValuesSystem();
    CKeyValuesSystem(const CKeyValuesSystem&) = delete;
    CKeyValuesSystem& operator=(const CKeyValuesSystem&) = delete;

    void RegisterSizeofKeyValues(int nSize) override;
    HKeySymbol GetSymbolForString(const char* pszName, bool bCreate = true) override;
    const char* GetStringForSymbol(HKeySymbol nSymbol) override;
    HKeySymbol GetSymbolForStringCaseSensitive(const char* pszName, HKeySymbol* pCaseHandle) override;
    void* AllocKeyValuesMemory(int nSize) override;
    void FreeKeyValuesMemory(void* pMem) override;
    void AddKeyValuesExpressionSymbol(const char* pszName, bool bValue) override;
    bool GetKeyValuesExpressionSymbol(const char* pszName) override;
    void AddKeyValueFile(const char* pszFile) override;
    bool LoadedKeyValueFile(const char* pszFile) override;
    void DumpRecentKeys(uint32 nCount) override;

    // GetSymbolForString for a name described by KeyNameOf.
    HKeySymbol SymbolForName(const KeyName_s& name, bool bCreate);
    // Starts loading the index line where a lookup of the name will probe.
    void PrefetchName(const KeyName_s& name) const;
    // The index is larger than a core's own caches, so its lookups wait for memory.
    bool BIndexOutgrowsCaches() const;

    int GetLargestKeyValuesSize() const { return m_nLargestKeyValuesSize.load(std::memory_order_relaxed); }
    // Bytes of the pool handed out so far (the next symbol, when it fits the current block).
    uint32 GetPoolUsed() const { return m_unPoolPos.load(std::memory_order_acquire); }

private:
    HKeySymbol Find(const KeyName_s& name) const;
    const char* PooledText(HKeySymbol nSymbol) const
    {
        return m_rgpPoolBlocks[(uint32)nSymbol / k_cubPoolBlock].load(std::memory_order_acquire) +
               (uint32)nSymbol % k_cubPoolBlock;
    }
    void GrowIndex();
    // Pool failures are collected here and reported once the write lock is released.
    struct PoolReport_s;
    HKeySymbol AddStringToPool(const char* pchName, uint32 cchName, PoolReport_s* pReport);
    bool BOpenNextPoolBlock(PoolReport_s* pReport);

    std::atomic<char*> m_rgpPoolBlocks[k_cPoolBlocksMax] = {};
    std::atomic<uint32> m_unPoolPos{0}; // symbol the next name would get
    uint32 m_cPoolBlocks = 0;

    CKeyNameIndex m_index;

    HKeySymbol m_rgnRecentKeys[k_cRecentKeys] = {};
    uint32 m_iRecentKey = 0;
    uint32 m_cKeysAdded = 0;

    std::map<HKeySymbol, bool> m_mapExpressionSymbols;
    mutable std::shared_mutex m_mutex;
    std::atomic<int> m_nLargestKeyValuesSize{0};
};
