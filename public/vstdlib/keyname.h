#pragma once
// A key name as the key-name table files it: its case-insensitive hash and its first
// word, computed once per name and used for the lookup and for the hint ahead of it.
// Inline: a reader computes one for every key it reads.

#include <cstring>

#include "tier0/basetypes.h"

// The name need not be terminated.
struct KeyName_s
{
    const char* m_pchName;
    uint32 m_cchName;
    uint64 m_ulHash;      // ignores ASCII case
    uint64 m_ulFirstWord; // the first eight characters, zero-padded
};

namespace KeyNameWords
{
constexpr uint64 k_ulHashSeed = 0x417;
constexpr uint64 k_ulEveryByte = 0x0101010101010101ull;

// A-Z to a-z in eight bytes at once; bytes 0x80 and above are left alone.
inline uint64 LowerAscii8(uint64 ulBytes)
{
    uint64 ulLow7 = ulBytes & (0x7F * k_ulEveryByte);
    uint64 ulFromA = ulLow7 + (0x80 - 'A') * k_ulEveryByte;     // bit 7 set where byte >= 'A'
    uint64 ulPastZ = ulLow7 + (0x80 - 'Z' - 1) * k_ulEveryByte; // bit 7 set where byte > 'Z'
    uint64 ulUpper = ulFromA & ~ulPastZ & ~ulBytes & (0x80 * k_ulEveryByte);
    return ulBytes | (ulUpper >> 2);
}

// Both halves of the 128-bit product, folded: one multiplication mixes every bit of the
// word into both the low bits (the index's slot) and the high ones (its tag).
inline uint64 Mix(uint64 ulHash, uint64 ulWord)
{
    unsigned __int128 ulProduct = (unsigned __int128)(ulHash ^ ulWord) * 0x9E3779B97F4A7C15ull;
    return (uint64)ulProduct ^ (uint64)(ulProduct >> 64);
}

// Up to eight characters from pch on as a word, zero-padded: the first cch of them. Bytes
// past them are read only where the memory allows (past a pooled name may be
// one another thread is writing); otherwise byte by byte, without a branch on the length:
// names differ in length from one to the next, and a mispredicted loop cost more than
// the whole look-up.
inline uint64 NameWord(const char* pch, uint32 cch, const char* pchReadableEnd)
{
    uint64 ulWord;
    if (pchReadableEnd - pch >= 8)
    {
        memcpy(&ulWord, pch, 8);
        return cch >= 8 ? ulWord : ulWord & ~(~0ull << (8 * cch));
    }
    if (cch == 0)
        return 0;
    const uint32 ichLast = cch - 1;
    ulWord = 0;
    for (uint32 i = 0; i < 8; ++i)
        ulWord |= (uint64)(uint8)pch[i < ichLast ? i : ichLast] << (8 * i);
    return cch >= 8 ? ulWord : ulWord & ~(~0ull << (8 * cch));
}

// The last cchTail (1 to 7) characters of a name of cchName (at least 8) characters.
inline uint64 TailWord(const char* pchName, uint32 cchName, uint32 cchTail)
{
    uint64 ulWord;
    memcpy(&ulWord, pchName + cchName - 8, 8); // a whole word avoids a store-forwarding stall
    return ulWord >> (8 * (8 - cchTail));
}
} // namespace KeyNameWords

// The name's hash (the index takes its slot from the low bits and a tag from the high
// ones), eight characters a step: a hit must cost far less than the node it names.
// Memory up to pchReadableEnd may be read.
inline KeyName_s KeyNameOf(const char* pchName, uint32 cchName, const char* pchReadableEnd)
{
    using namespace KeyNameWords;
    if (cchName == 0)
        return {pchName, 0, 0, 0};
    uint64 ulFirstWord = NameWord(pchName, cchName, pchReadableEnd);
    uint64 ulHash = Mix(k_ulHashSeed ^ ((uint64)cchName << 32), LowerAscii8(ulFirstWord));
    uint32 ich = 8;
    for (; ich + 8 <= cchName; ich += 8)
    {
        uint64 ulWord;
        memcpy(&ulWord, pchName + ich, 8);
        ulHash = Mix(ulHash, LowerAscii8(ulWord));
    }
    if (ich < cchName)
        ulHash = Mix(ulHash, LowerAscii8(TailWord(pchName, cchName, cchName - ich)));
    return {pchName, cchName, Mix(ulHash, 0xC2B2AE3D27D4EB4Full), ulFirstWord};
}
