#pragma once
// The small-object pool behind KeyValues::operator new/delete. Nodes are carved from
// 64 KiB chunks; a chunk whose nodes are all free goes back to the heap (each of the eight
// shards keeps at most one empty chunk to absorb create/destroy loops), so memory follows
// the number of nodes alive.

#include "tier0/basetypes.h"

struct KeyValuesPoolStats_s
{
    uint32 m_cChunks;     // chunks currently held, all shards
    uint64 m_cNodesAlive; // nodes handed out and not yet freed
};

KeyValuesPoolStats_s GetKeyValuesPoolStats();

// Up to cNodes raw nodes from this thread's shard under one lock (at least one); returns
// how many. Each is constructed with a global placement new and, if never used, handed
// back with KeyValues::operator delete.
uint32 KeyValuesPoolAllocBatch(void** ppNodes, uint32 cNodes);
