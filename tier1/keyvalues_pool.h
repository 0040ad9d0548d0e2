#pragma once
// The small-object pool behind KeyValues: nodes, and the heap text of strings up to
// k_cubPooledTextMax bytes in size classes of 8 bytes. Objects are carved from 64 KiB
// chunks taken straight from the system; a chunk whose objects are all free goes back
// (each class of each of the eight shards keeps at most one empty chunk to absorb
// create/destroy loops), so memory follows the objects alive.

#include "tier0/basetypes.h"

struct KeyValuesPoolStats_s
{
    uint32 m_cChunks;     // chunks currently held, all classes and shards
    uint64 m_cNodesAlive; // nodes handed out and not yet freed
    uint64 m_cubHeld;     // bytes of the chunks held
    uint64 m_cubHeldPeak; // the most held at once since the last KeyValuesPoolResetPeak
};

KeyValuesPoolStats_s GetKeyValuesPoolStats();
void KeyValuesPoolResetPeak();

// Up to cNodes raw nodes from this thread's shard under one lock (at least one); returns
// how many. Each is constructed with a global placement new and, if never used, handed
// back with KeyValues::operator delete.
uint32 KeyValuesPoolAllocBatch(void** ppNodes, uint32 cNodes);

// Heap text: cub from 1 to k_cubPooledTextMax bytes, 8-byte aligned. The block goes back
// with KeyValuesPoolFreeText, from any thread.
constexpr uint32 k_cubPooledTextMax = 256;
void* KeyValuesPoolAllocText(uint32 cub);
void KeyValuesPoolFreeText(void* pText);
