// KeyValues nodes and short heap texts come from 64 KiB chunks aligned to their size, so
// an object finds its chunk by masking its address and costs exactly its size class. The
// chunks come from the system's page allocator: an aligned heap block would cost twice
// its size in the C runtimes. Each thread works in one of eight shards, so threads rarely
// meet on a lock; an object goes back to the pool that made it. Every operation is O(1)
// under the pool's spin lock, whose critical sections are a few loads and stores; chunks
// are mapped and released outside it.

#include "keyvalues_pool.h"

#include <atomic>
#include <new>
#include <thread>

#include "tier0/dbg.h"
#include "tier1/keyvalues.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define ISE_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ISE_POOL_ASAN 1
#endif
#endif

#ifdef ISE_POOL_ASAN
#include <sanitizer/asan_interface.h>
// Free objects are poisoned so a use after destroy is caught in sanitizer runs.
#define POOL_POISON(p, cub) ASAN_POISON_MEMORY_REGION((p), (cub))
#define POOL_UNPOISON(p, cub) ASAN_UNPOISON_MEMORY_REGION((p), (cub))
#else
#define POOL_POISON(p, cub) ((void)(p), (void)(cub))
#define POOL_UNPOISON(p, cub) ((void)(p), (void)(cub))
#endif

namespace
{
constexpr size_t k_cubChunk = 65536;
constexpr size_t k_cubChunkHeader = 64;
constexpr int k_nShardBits = 3;
constexpr uint32 k_cShards = 1u << k_nShardBits;
constexpr uint32 k_cubTextGrain = 8;
// Class 0 holds nodes; class n holds texts of up to n * 8 bytes.
constexpr uint32 k_cClasses = 1 + k_cubPooledTextMax / k_cubTextGrain;

std::atomic<uint64> s_cubHeld{0};
std::atomic<uint64> s_cubHeldPeak{0};

#ifndef _WIN32
// New mappings usually sit right below the last one, so the first try tends to be
// aligned; otherwise twice the size is mapped and trimmed to the aligned middle.
char* MapAlignedChunk()
{
    const int nProt = PROT_READ | PROT_WRITE, nFlags = MAP_PRIVATE | MAP_ANONYMOUS;
    char* pch = (char*)mmap(nullptr, k_cubChunk, nProt, nFlags, -1, 0);
    if (pch == (char*)MAP_FAILED)
        return nullptr;
    if (((uintp)pch & (k_cubChunk - 1)) == 0)
        return pch;
    munmap(pch, k_cubChunk);
    pch = (char*)mmap(nullptr, 2 * k_cubChunk, nProt, nFlags, -1, 0);
    if (pch == (char*)MAP_FAILED)
        return nullptr;
    char* pchAligned = (char*)(((uintp)pch + k_cubChunk - 1) & ~(uintp)(k_cubChunk - 1));
    if (pchAligned != pch)
        munmap(pch, (size_t)(pchAligned - pch));
    munmap(pchAligned + k_cubChunk, (size_t)(pch + k_cubChunk - pchAligned));
    return pchAligned;
}
#endif

void* MapChunk(bool bPopulate)
{
#ifdef _WIN32
    // The system's allocation granularity is 64 KiB: every block starts aligned.
    (void)bPopulate;
    return VirtualAlloc(nullptr, k_cubChunk, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
#else
    char* pch = MapAlignedChunk();
#ifdef MADV_POPULATE_WRITE
    // A chunk about to be filled has its pages faulted in with one call rather than one
    // trap a page, which cost a sixth of reading a document of short pairs. Kernels
    // without the call leave the pages to fault as before.
    if (pch && bPopulate)
        madvise(pch, k_cubChunk, MADV_POPULATE_WRITE);
#else
    (void)bPopulate;
#endif
    return pch;
#endif
}

void UnmapChunk(void* pChunk)
{
#ifdef _WIN32
    VirtualFree(pChunk, 0, MEM_RELEASE);
#else
    munmap(pChunk, k_cubChunk);
#endif
}

void NoteHeld(int64 cubChange)
{
    uint64 cubNow = s_cubHeld.fetch_add((uint64)cubChange, std::memory_order_relaxed) + (uint64)cubChange;
    uint64 cubPeak = s_cubHeldPeak.load(std::memory_order_relaxed);
    while (cubNow > cubPeak &&
           !s_cubHeldPeak.compare_exchange_weak(cubPeak, cubNow, std::memory_order_relaxed))
    {
    }
}

struct FreeObject_s
{
    FreeObject_s* m_pNext;
};

class CSlabPool;

struct Chunk_s
{
    CSlabPool* m_pPool; // the pool that carved it
    Chunk_s* m_pPrevAvailable;
    Chunk_s* m_pNextAvailable;
    FreeObject_s* m_pFree;
    uint32 m_cubObject;
    uint32 m_cObjects; // objects the chunk has room for
    uint32 m_cLive;
    uint32 m_cBumped; // objects carved so far; the rest of the chunk is untouched
    bool m_bAvailable;
};

static_assert(sizeof(Chunk_s) <= k_cubChunkHeader, "the chunk header fits its reserved space");

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

// The objects of one size class in one shard.
class alignas(64) CSlabPool // a cache line each, so pools never share one
{
public:
    void* Alloc(uint32 cubObject);
    uint32 AllocBatch(uint32 cubObject, void** ppObjects, uint32 cObjects);
    void Free(void* pMem);
    void AddStats(KeyValuesPoolStats_s* pStats, bool bNodes);
    static Chunk_s* ChunkOf(void* pMem) { return (Chunk_s*)((uintp)pMem & ~(uintp)(k_cubChunk - 1)); }

private:
    Chunk_s* NewChunk(uint32 cubObject, bool bPopulate);
    void LinkAvailable(Chunk_s* pChunk);
    void UnlinkAvailable(Chunk_s* pChunk);
    // One object from the first chunk with room, which must exist; under the lock.
    void* TakeObject();

    CSpinLock m_lock;
    Chunk_s* m_pAvailable = nullptr;     // chunks with room, most recently freed into first
    Chunk_s* m_pRetainedEmpty = nullptr; // kept to absorb create/destroy loops
    uint32 m_cChunks = 0;
    uint64 m_cAlive = 0;
};

// Constant-initialized and never torn down: nodes may be freed during process exit.
CSlabPool s_rgPools[k_cShards][k_cClasses];

// Threads run on stacks megabytes apart, so the address of a local picks a shard per
// thread without thread-local storage (which under MinGW costs more than the whole
// allocation). Two threads that land on one shard only share its locks.
CSlabPool* ShardOfThisThread()
{
    char chOnStack;
    uint64 ulStackMiB = (uint64)(uintp)&chOnStack >> 20;
    return s_rgPools[(ulStackMiB * 0x9E3779B97F4A7C15ull) >> (64 - k_nShardBits)];
}

Chunk_s* CSlabPool::NewChunk(uint32 cubObject, bool bPopulate)
{
    void* pMem = MapChunk(bPopulate);
    AssertFatal(pMem && ((uintp)pMem & (k_cubChunk - 1)) == 0);
    NoteHeld((int64)k_cubChunk);
    Chunk_s* pChunk = new (pMem) Chunk_s{};
    pChunk->m_pPool = this;
    pChunk->m_cubObject = cubObject;
    pChunk->m_cObjects = (uint32)((k_cubChunk - k_cubChunkHeader) / cubObject);
    POOL_POISON((char*)pChunk + k_cubChunkHeader, k_cubChunk - k_cubChunkHeader);
    return pChunk;
}

void CSlabPool::LinkAvailable(Chunk_s* pChunk)
{
    pChunk->m_pPrevAvailable = nullptr;
    pChunk->m_pNextAvailable = m_pAvailable;
    if (m_pAvailable)
        m_pAvailable->m_pPrevAvailable = pChunk;
    m_pAvailable = pChunk;
    pChunk->m_bAvailable = true;
}

void CSlabPool::UnlinkAvailable(Chunk_s* pChunk)
{
    if (pChunk->m_pPrevAvailable)
        pChunk->m_pPrevAvailable->m_pNextAvailable = pChunk->m_pNextAvailable;
    else
        m_pAvailable = pChunk->m_pNextAvailable;
    if (pChunk->m_pNextAvailable)
        pChunk->m_pNextAvailable->m_pPrevAvailable = pChunk->m_pPrevAvailable;
    pChunk->m_bAvailable = false;
}

void* CSlabPool::TakeObject()
{
    Chunk_s* pChunk = m_pAvailable;
    if (pChunk == m_pRetainedEmpty)
        m_pRetainedEmpty = nullptr;
    void* pObject;
    if (pChunk->m_pFree)
    {
        pObject = pChunk->m_pFree;
        POOL_UNPOISON(pObject, pChunk->m_cubObject);
        pChunk->m_pFree = pChunk->m_pFree->m_pNext;
    }
    else
    {
        pObject = (char*)pChunk + k_cubChunkHeader + (size_t)pChunk->m_cBumped++ * pChunk->m_cubObject;
        POOL_UNPOISON(pObject, pChunk->m_cubObject);
    }
    ++pChunk->m_cLive;
    if (!pChunk->m_pFree && pChunk->m_cBumped == pChunk->m_cObjects)
        UnlinkAvailable(pChunk);
    ++m_cAlive;
    return pObject;
}

void* CSlabPool::Alloc(uint32 cubObject)
{
    m_lock.Lock();
    if (!m_pAvailable)
    {
        // A class that holds chunks already is being filled in bulk; its first chunk may
        // well serve a handful of objects for the life of the process.
        bool bInBulkUse = m_cChunks > 0;
        m_lock.Unlock();
        Chunk_s* pNew = NewChunk(cubObject, bInBulkUse);
        m_lock.Lock();
        LinkAvailable(pNew);
        ++m_cChunks;
    }
    void* pObject = TakeObject();
    m_lock.Unlock();
    return pObject;
}

uint32 CSlabPool::AllocBatch(uint32 cubObject, void** ppObjects, uint32 cObjects)
{
    uint32 cTaken = 0;
    m_lock.Lock();
    while (cTaken < cObjects && m_pAvailable)
        ppObjects[cTaken++] = TakeObject();
    m_lock.Unlock();
    if (cTaken == 0 && cObjects > 0)
        ppObjects[cTaken++] = Alloc(cubObject); // opens a chunk
    return cTaken;
}

void CSlabPool::Free(void* pMem)
{
    Chunk_s* pChunk = ChunkOf(pMem);
    Chunk_s* pRelease = nullptr;
    m_lock.Lock();
    FreeObject_s* pObject = (FreeObject_s*)pMem;
    pObject->m_pNext = pChunk->m_pFree;
    POOL_POISON(pObject, pChunk->m_cubObject);
    pChunk->m_pFree = pObject;
    --m_cAlive;
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
        UnmapChunk(pRelease);
        NoteHeld(-(int64)k_cubChunk);
    }
}

void CSlabPool::AddStats(KeyValuesPoolStats_s* pStats, bool bNodes)
{
    m_lock.Lock();
    pStats->m_cChunks += m_cChunks;
    if (bNodes)
        pStats->m_cNodesAlive += m_cAlive;
    m_lock.Unlock();
}

void FreeToOwner(void* pMem)
{
    CSlabPool::ChunkOf(pMem)->m_pPool->Free(pMem);
}

CSlabPool& NodePoolOfThisThread()
{
    static const bool s_bRegistered =
        (KeyValuesSystem()->RegisterSizeofKeyValues((int)sizeof(KeyValues)), true);
    (void)s_bRegistered;
    return ShardOfThisThread()[0];
}
} // namespace

void* KeyValues::operator new(size_t nSize)
{
    AssertFatal(nSize == sizeof(KeyValues));
    return NodePoolOfThisThread().Alloc((uint32)sizeof(KeyValues));
}

void KeyValues::operator delete(void* pMem)
{
    if (pMem)
        FreeToOwner(pMem);
}

uint32 KeyValuesPoolAllocBatch(void** ppNodes, uint32 cNodes)
{
    return NodePoolOfThisThread().AllocBatch((uint32)sizeof(KeyValues), ppNodes, cNodes);
}

void* KeyValuesPoolAllocText(uint32 cub)
{
    AssertFatal(cub > 0 && cub <= k_cubPooledTextMax);
    uint32 nClass = (cub + k_cubTextGrain - 1) / k_cubTextGrain;
    return ShardOfThisThread()[nClass].Alloc(nClass * k_cubTextGrain);
}

void KeyValuesPoolFreeText(void* pText)
{
    if (pText)
        FreeToOwner(pText);
}

KeyValuesPoolStats_s GetKeyValuesPoolStats()
{
    KeyValuesPoolStats_s stats = {};
    for (CSlabPool(&rgShard)[k_cClasses] : s_rgPools)
    {
        for (uint32 nClass = 0; nClass < k_cClasses; ++nClass)
            rgShard[nClass].AddStats(&stats, nClass == 0);
    }
    stats.m_cubHeld = s_cubHeld.load(std::memory_order_relaxed);
    stats.m_cubHeldPeak = s_cubHeldPeak.load(std::memory_order_relaxed);
    return stats;
}

void KeyValuesPoolResetPeak()
{
    s_cubHeldPeak.store(s_cubHeld.load(std::memory_order_relaxed), std::memory_order_relaxed);
}
