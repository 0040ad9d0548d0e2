#include "keyvalues_escapedecoder.h"

#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define KV_WIDE_ESCAPES 1
#include <immintrin.h>
#endif

CWideEscapeDecoder::CWideEscapeDecoder(char chEscape, const char* rgchEscapes) : m_chEscape(chEscape)
{
    // Bytes from 0x80 up are left out of the table and always stop the block: the slower
    // path takes them as they come.
    memcpy(m_rgchTranslated, rgchEscapes, sizeof(m_rgchTranslated));
}

bool CWideEscapeDecoder::BAvailable()
{
#if KV_WIDE_ESCAPES
    static const bool s_bAvailable = __builtin_cpu_supports("avx512bw") &&
                                     __builtin_cpu_supports("avx512vbmi") &&
                                     __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi") &&
                                     __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    return s_bAvailable;
#else
    return false;
#endif
}

#if KV_WIDE_ESCAPES
#define KV_WIDE_TARGET __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")))

namespace
{
constexpr uint64 k_ulEvenBits = 0x5555555555555555ull;

// The bytes escaped by the escape characters in escapes (bit i for byte i), escapes read
// in pairs from the block's start: in a run of them, every second one is escaped, and
// the byte after an odd run too. Runs that start on an odd bit are shifted onto even
// parity by the carry of an add through the run.
inline uint64 EscapedBytes(uint64 ulEscapes)
{
    uint64 ulFollowsEscape = ulEscapes << 1;
    uint64 ulOddRunStarts = ulEscapes & ~k_ulEvenBits & ~ulFollowsEscape;
    uint64 ulRunEnds = ulOddRunStarts + ulEscapes;
    return (k_ulEvenBits ^ (ulRunEnds << 1)) & ulFollowsEscape;
}

struct WideConstants_s
{
    __m512i m_vEscape;
    __m512i m_vQuote;
    __m512i m_vTableLow;
    __m512i m_vTableHigh;
};

// One block of 64 bytes, decoded.
struct DecodedBlock_s
{
    __m512i m_vDecoded; // escaped bytes translated; the escapes themselves still in place
    uint64 m_ulStarts;  // the escape characters, which the output leaves out
    uint64 m_ulEnds;    // where the block must stop: mostly none
};

// Quotes and NULs in one mask: only there does a byte have a zero minimum with its
// difference from a quote. Vector work is cheaper than another compare into a mask.
KV_WIDE_TARGET inline uint64 QuotesAndNuls(__m512i v, __m512i vQuote)
{
    __m512i vLeast = _mm512_min_epu8(v, _mm512_xor_si512(v, vQuote));
    return _mm512_testn_epi8_mask(vLeast, vLeast);
}

// ulCarry: 1 when the block's first byte is escaped by the last byte before it. Without
// bQuotesPossible the block is known to hold no quote or NUL that is not escaped.
template <bool bQuotesPossible>
KV_WIDE_TARGET inline DecodedBlock_s DecodeBlock(__m512i v, uint64 ulCarry, const WideConstants_s& k)
{
    uint64 ulEscapes = _mm512_cmpeq_epi8_mask(v, k.m_vEscape);
    uint64 ulEscaped = EscapedBytes(ulEscapes);
    if (__builtin_expect(ulCarry != 0, 0)) // a pair split between blocks is rare
        ulEscaped = EscapedBytes(ulEscapes & ~1ull) | 1;
    __m512i vTranslated = _mm512_permutex2var_epi8(k.m_vTableLow, v, k.m_vTableHigh);
    // Bytes no escape may stand before: those without a translation, and bytes from 0x80
    // up, which the table leaves out (the permute reads seven bits of each).
    uint64 ulUnknown =
        ulEscaped & (_mm512_testn_epi8_mask(vTranslated, vTranslated) | _mm512_movepi8_mask(v));
    uint64 ulQuotesAndNuls = bQuotesPossible ? QuotesAndNuls(v, k.m_vQuote) : 0;
    DecodedBlock_s block = {_mm512_mask_mov_epi8(v, ulEscaped, vTranslated), ulEscapes & ~ulEscaped, 0};
    // An unknown escape ends the block at its escape character, which for a carried one is
    // the byte before the block; an escaped quote does not end it.
    if (__builtin_expect((ulUnknown | ulQuotesAndNuls) != 0, 0))
        block.m_ulEnds = (ulUnknown >> 1) | (ulUnknown & ulCarry) | (ulQuotesAndNuls & ~ulEscaped);
    return block;
}

// Stores the bytes of the block in ulTaken, less its escape characters, and nothing more;
// returns how many.
KV_WIDE_TARGET inline int Store(const DecodedBlock_s& block, uint64 ulTaken, char* pchOut)
{
    uint64 ulKept = ulTaken & ~block.m_ulStarts;
    int cchKept = __builtin_popcountll(ulKept);
    _mm512_mask_storeu_epi8(pchOut, _bzhi_u64(~0ull, (unsigned)cchKept),
                            _mm512_maskz_compress_epi8(ulKept, block.m_vDecoded));
    return cchKept;
}

KV_WIDE_TARGET inline WideConstants_s Constants(char chEscape, const char* rgchTranslated)
{
    return {_mm512_set1_epi8(chEscape), _mm512_set1_epi8('"'), _mm512_load_si512((const void*)rgchTranslated),
            _mm512_load_si512((const void*)(rgchTranslated + 64))};
}
} // namespace

KV_WIDE_TARGET const char* CWideEscapeDecoder::Decode(const char* pch, const char* pchEnd, char* pchOut,
                                                      int* pcchOut, int cchOutMax) const
{
    const WideConstants_s k = Constants(m_chEscape, m_rgchTranslated);
    int cchOut = *pcchOut;
    // Whole blocks only, as far as both the input and the room allow.
    ptrdiff_t cBlocks = (pchEnd - pch) / 64;
    if (cBlocks > (cchOutMax - cchOut) / 64)
        cBlocks = (cchOutMax - cchOut) / 64;
    const char* pchStop = pch + (cBlocks > 0 ? cBlocks * 64 : 0);
    uint64 ulCarry = 0;
    for (; pch < pchStop; pch += 64)
    {
        __builtin_prefetch(pch + 1024); // a document bigger than the caches streams in
        DecodedBlock_s block = DecodeBlock<true>(_mm512_loadu_si512((const void*)pch), ulCarry, k);
        if (block.m_ulEnds)
        {
            uint64 ulTaken = (block.m_ulEnds & -block.m_ulEnds) - 1; // the bytes before the first end
            *pcchOut = cchOut + Store(block, ulTaken, pchOut + cchOut);
            // An end at a carried byte hands its escape character back too.
            return pch + __builtin_popcountll(ulTaken) - (block.m_ulEnds & ulCarry);
        }
        _mm512_storeu_si512((void*)(pchOut + cchOut),
                            _mm512_maskz_compress_epi8(~block.m_ulStarts, block.m_vDecoded));
        cchOut += 64 - __builtin_popcountll(block.m_ulStarts);
        ulCarry = block.m_ulStarts >> 63;
    }
    // Out of input or room between an escape and its byte: the escape goes back.
    *pcchOut = cchOut;
    return pch - ulCarry;
}

KV_WIDE_TARGET int CWideEscapeDecoder::DecodeWhole(const char* pch, const char* pchEnd, char* pchOut,
                                                   bool* pbCut) const
{
    const WideConstants_s k = Constants(m_chEscape, m_rgchTranslated);
    int cchOut = 0;
    uint64 ulCarry = 0;
    // Whole blocks store 64 bytes each, which the input they consume has room for.
    for (; pchEnd - pch >= 64; pch += 64)
    {
        DecodedBlock_s block = DecodeBlock<false>(_mm512_loadu_si512((const void*)pch), ulCarry, k);
        if (block.m_ulEnds)
        {
            *pbCut = true; // only an unknown escape ends a whole block
            return cchOut + Store(block, (block.m_ulEnds & -block.m_ulEnds) - 1, pchOut + cchOut);
        }
        _mm512_storeu_si512((void*)(pchOut + cchOut),
                            _mm512_maskz_compress_epi8(~block.m_ulStarts, block.m_vDecoded));
        cchOut += 64 - __builtin_popcountll(block.m_ulStarts);
        ulCarry = block.m_ulStarts >> 63;
    }
    // The last block is loaded in part: the NULs after the input end it there.
    unsigned cchLeft = (unsigned)(pchEnd - pch);
    DecodedBlock_s block =
        DecodeBlock<true>(_mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, cchLeft), pch), ulCarry, k);
    uint64 ulFirstEnd = block.m_ulEnds & -block.m_ulEnds;
    *pbCut = ulFirstEnd != 1ull << cchLeft;
    return cchOut + Store(block, ulFirstEnd - 1, pchOut + cchOut);
}

KV_WIDE_TARGET const char* CWideEscapeDecoder::FindQuoteOrNul(const char* pch, const char* pchEnd) const
{
    const __m512i vQuote = _mm512_set1_epi8('"');
    for (; pchEnd - pch >= 64; pch += 64)
    {
        __builtin_prefetch(pch + 1024); // a document bigger than the caches streams in
        if (uint64 ulFound = QuotesAndNuls(_mm512_loadu_si512((const void*)pch), vQuote))
            return pch + __builtin_ctzll(ulFound);
    }
    // The bytes past the end load as NULs: none found, the end is.
    unsigned cchLeft = (unsigned)(pchEnd - pch);
    return pch +
           __builtin_ctzll(QuotesAndNuls(_mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, cchLeft), pch), vQuote));
}
#else
const char* CWideEscapeDecoder::Decode(const char* pch, const char*, char*, int*, int) const
{
    return pch;
}

int CWideEscapeDecoder::DecodeWhole(const char*, const char*, char*, bool* pbCut) const
{
    *pbCut = true;
    return 0;
}

const char* CWideEscapeDecoder::FindQuoteOrNul(const char*, const char* pchEnd) const
{
    return pchEnd;
}
#endif
