#pragma once
// Layout of the UTF-8 argument block shared by its builders and its reader: the count
// (8 bytes), count + 1 argument pointers (the last one null), then the strings back to back.

#include <cstring>

#include "tier0/basetypes.h"

inline size_t ArgBlockHeaderSize(int nArgs)
{
    return sizeof(int64) + sizeof(char*) * (static_cast<size_t>(nArgs) + 1);
}

inline char** ArgBlockArgv(void* pBlock)
{
    return reinterpret_cast<char**>(static_cast<char*>(pBlock) + sizeof(int64));
}

inline int ArgBlockCount(const void* pBlock)
{
    int64 nCount;
    memcpy(&nCount, pBlock, sizeof(nCount));
    return static_cast<int>(nCount);
}

// Stores the count in a zeroed block and returns where the strings begin.
inline char* ArgBlockInit(void* pBlock, int nArgs)
{
    const int64 nCount = nArgs;
    memcpy(pBlock, &nCount, sizeof(nCount));
    return static_cast<char*>(pBlock) + ArgBlockHeaderSize(nArgs);
}
