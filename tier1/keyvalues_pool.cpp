// KeyValues nodes come from 64 KiB chunks aligned to their size, so a node finds its
// chunk by masking its address and a node costs exactly its 32 bytes. Each thread works
// in one of eight shards, so threads rarely meet on a lock; a node goes back to the shard
// that made it. Every operation is O(1) under the shard's spin lock, whose critical
// sections are a few loads and stores; chunks are allocated and released outside it.

#include "tier1/keyvalues_pool.h"

#include <atomic>
#include <new>
#include <thread>

#include "tier0/dbg.h"
#include "tier1/keyvalues.h"

#if defined(__SANITIZE_ADDRESS__)
#define ISE_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ISE_POOL_ASAN 1
#endif
#endif

#ifdef ISE_POOL_ASAN
#include <sanitizer/asan_interface.h>
// Free nodes are poisoned so a use after destroy is caught in sanitizer runs.
#define POOL_POISON(p, cub) ASAN_POISON_MEMORY_REGION((p), (cub))
#define POOL_UNPOISON(p, cub) ASAN_UNPOISON_MEMORY_REGION((p), (cub))
#else
#define POOL_POISON(p, cub) ((void)(p), (void)(cub))
#define POOL_UNPOISON(p, cub) ((void)(p), (void)(cub))
#endif

namespace
{
constexpr size_t k_cubChunk = 65536;
constexpr int k_nShardBits = 3;
constexpr uint32 k_cShards = 1u << k_nShardBits;
constexpr size_t k_cubNode = sizeof(KeyValues);

struct FreeNode_s
{
    FreeNode_s* m_pNext;
};

class CKeyValuesPool;

struct Chunk_s
{
    CKeyValuesPool* m_pPool; // the shard that carved it
    Chunk_s* m_pPrevAvailable;
    Chunk_s* m_pNextAvailable;
    FreeNode_s* m_pFree;
    uint32 m_cLive;
    uint32 m_cBumped; // nodes carved so far; the rest of the chunk is untouched
    bool m_bAvailable;
};

constexpr size_t k_cubChunkHeader = (sizeof(Chunk_s) + k_cubNode - 1) / k_cubNode * k_cubNode;
constexpr uint32 k_cNodesPerChunk = (uint32)((k_cubChunk - k_cubChunkHeader) / k_cubNode);

class CSpinLock
{
public:
    void Lock()
    {
        while (m_bLocked.exchange(true, std::memory_order_acquire))
        {
            for (int nSpins = 0; m_bLocked.load(std::memory_order_relaxed); ++nSpins)
            {
                if (nSpins >= 64)
                    std::this_thread::yield();
            }
        }
    }
    void Unlock() { m_bLocked.store(false, std::memory_order_release); }

private:
    std::atomic<bool> m_bLocked{false};
};

class alignas(64) CKeyValuesPool // a cache line each, so shards never share one
{
public:
    void* Alloc();
    uint32 AllocBatch(void** ppNodes, uint32 cNodes);
    void Free(void* pMem);
    void AddStats(KeyValuesPoolStats_s* pStats);
    static Chunk_s* ChunkOf(void* pMem) { return (Chunk_s*)((uintp)pMem & ~(uintp)(k_cubChunk - 1)); }

private:
    Chunk_s* NewChunk();
    void LinkAvailable(Chunk_s* pChunk);
    void UnlinkAvailable(Chunk_s* pChunk);
    static void* TakeNode(Chunk_s* pChunk);

    CSpinLock m_lock;
    Chunk_s* m_pAvailable = nullptr;     // chunks with room, most recently freed into first
    Chunk_s* m_pRetainedEmpty = nullptr; // kept to absorb create/destroy loops
    uint32 m_cChunks = 0;
    uint64 m_cNodesAlive = 0;
};

// Constant-initialized and never torn down: nodes may be freed during process exit.
CKeyValuesPool s_rgShards[k_cShards];

// Threads run on stacks megabytes apart, so the address of a local picks a shard per
// thread without thread-local storage (which under MinGW costs more than the whole
// allocation). Two threads that land on one shard only share its lock.
CKeyValuesPool& ShardOfThisThread()
{
    char chOnStack;
    uint64 ulStackMiB = (uint64)(uintp)&chOnStack >> 20;
    return s_rgShards[(ulStackMiB * 0x9E3779B97F4A7C15ull) >> (64 - k_nShardBits)];
}

Chunk_s* CKeyValuesPool::NewChunk()
{
    void* pMem = ::operator new(k_cubChunk, std::align_val_t(k_cubChunk), std::nothrow);
    AssertFatal(pMem);
    Chunk_s* pChunk = new (pMem) Chunk_s{};
    pChunk->m_pPool = this;
    POOL_POISON((char*)pChunk + k_cubChunkHeader, k_cubChunk - k_cubChunkHeader);
    KeyValuesSystem()->RegisterSizeofKeyValues((int)sizeof(KeyValues));
    return pChunk;
}

void CKeyValuesPool::LinkAvailable(Chunk_s* pChunk)
{
    pChunk->m_pPrevAvailable = nullptr;
    pChunk->m_pNextAvailable = m_pAvailable;
    if (m_pAvailable)
        m_pAvailable->m_pPrevAvailable = pChunk;
    m_pAvailable = pChunk;
    pChunk->m_bAvailable = true;
}

void CKeyValuesPool::UnlinkAvailable(Chunk_s* pChunk)
{
    if (pChunk->m_pPrevAvailable)
        pChunk->m_pPrevAvailable->m_pNextAvailable = pChunk->m_pNextAvailable;
    else
        m_pAvailable = pChunk->m_pNextAvailable;
    if (pChunk->m_pNextAvailable)
        pChunk->m_pNextAvailable->m_pPrevAvailable = pChunk->m_pPrevAvailable;
    pChunk->m_bAvailable = false;
}

void* CKeyValuesPool::TakeNode(Chunk_s* pChunk)
{
    void* pNode;
    if (pChunk->m_pFree)
    {
        pNode = pChunk->m_pFree;
        POOL_UNPOISON(pNode, k_cubNode);
        pChunk->m_pFree = pChunk->m_pFree->m_pNext;
    }
    else
    {
        pNode = (char*)pChunk + k_cubChunkHeader + (size_t)pChunk->m_cBumped++ * k_cubNode;
        POOL_UNPOISON(pNode, k_cubNode);
    }
    ++pChunk->m_cLive;
    return pNode;
}

void* CKeyValuesPool::Alloc()
{
    m_lock.Lock();
    if (!m_pAvailable)
    {
        m_lock.Unlock();
        Chunk_s* pNew = NewChunk();
        m_lock.Lock();
        LinkAvailable(pNew);
        ++m_cChunks;
    }
    Chunk_s* pChunk = m_pAvailable;
    if (pChunk == m_pRetainedEmpty)
        m_pRetainedEmpty = nullptr;
    void* pNode = TakeNode(pChunk);
    if (!pChunk->m_pFree && pChunk->m_cBumped == k_cNodesPerChunk)
        UnlinkAvailable(pChunk);
    ++m_cNodesAlive;
    m_lock.Unlock();
    return pNode;
}

uint32 CKeyValuesPool::AllocBatch(void** ppNodes, uint32 cNodes)
{
    uint32 cTaken = 0;
    m_lock.Lock();
    while (cTaken < cNodes && m_pAvailable)
    {
        Chunk_s* pChunk = m_pAvailable;
        if (pChunk == m_pRetainedEmpty)
            m_pRetainedEmpty = nullptr;
        ppNodes[cTaken++] = TakeNode(pChunk);
        if (!pChunk->m_pFree && pChunk->m_cBumped == k_cNodesPerChunk)
            UnlinkAvailable(pChunk);
    }
    m_cNodesAlive += cTaken;
    m_lock.Unlock();
    if (cTaken == 0 && cNodes > 0)
        ppNodes[cTaken++] = Alloc(); // opens a chunk
    return cTaken;
}

void CKeyValuesPool::Free(void* pMem)
{
    Chunk_s* pChunk = ChunkOf(pMem);
    Chunk_s* pRelease = nullptr;
    m_lock.Lock();
    FreeNode_s* pNode = (FreeNode_s*)pMem;
    pNode->m_pNext = pChunk->m_pFree;
    POOL_POISON(pNode, k_cubNode);
    pChunk->m_pFree = pNode;
    --m_cNodesAlive;
    if (!pChunk->m_bAvailable)
        LinkAvailable(pChunk);
    if (--pChunk->m_cLive == 0)
    {
        if (!m_pRetainedEmpty)
        {
            m_pRetainedEmpty = pChunk;
        }
        else
        {
            UnlinkAvailable(pChunk);
            --m_cChunks;
            pRelease = pChunk;
        }
    }
    m_lock.Unlock();
    if (pRelease)
    {
        POOL_UNPOISON(pRelease, k_cubChunk);
        ::operator delete(pRelease, std::align_val_t(k_cubChunk));
    }
}

void CKeyValuesPool::AddStats(KeyValuesPoolStats_s* pStats)
{
    m_lock.Lock();
    pStats->m_cChunks += m_cChunks;
    pStats->m_cNodesAlive += m_cNodesAlive;
    m_lock.Unlock();
}
} // namespace

void* KeyValues::operator new(size_t nSize)
{
    AssertFatal(nSize == sizeof(KeyValues));
    return ShardOfThisThread().Alloc();
}

void KeyValues::operator delete(void* pMem)
{
    if (pMem)
        CKeyValuesPool::ChunkOf(pMem)->m_pPool->Free(pMem);
}

uint32 KeyValuesPoolAllocBatch(void** ppNodes, uint32 cNodes)
{
    return ShardOfThisThread().AllocBatch(ppNodes, cNodes);
}

KeyValuesPoolStats_s GetKeyValuesPoolStats()
{
    KeyValuesPoolStats_s stats = {0, 0};
    for (CKeyValuesPool& shard : s_rgShards)
        shard.AddStats(&stats);
    return stats;
}
