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
                                     __builtin_cpu_supports("avx512vbmi2");
    return s_bAvailable;
#else
    return false;
#endif
}

#if KV_WIDE_ESCAPES
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

// Quotes and NULs in one mask: only there does a byte have a zero minimum with its
// difference from a quote. Vector work is cheaper than another compare into a mask.
__attribute__((target("avx512f,avx512bw"))) inline uint64 QuoteOrNul(__m512i v, __m512i vQuote)
{
    __m512i vLeast = _mm512_min_epu8(v, _mm512_xor_si512(v, vQuote));
    return _mm512_testn_epi8_mask(vLeast, vLeast);
}
} // namespace

__attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2"))) const char*
CWideEscapeDecoder::Decode(const char* pch, const char* pchEnd, char* pchOut, int* pcchOut,
                           int cchOutMax) const
{
    const __m512i vEscape = _mm512_set1_epi8(m_chEscape);
    const __m512i vQuote = _mm512_set1_epi8('"');
    const __m512i vTableLow = _mm512_load_si512((const void*)m_rgchTranslated);
    const __m512i vTableHigh = _mm512_load_si512((const void*)(m_rgchTranslated + 64));
    int cchOut = *pcchOut;
    uint64 ulCarry = 0; // 1: the block's first byte is escaped by the last one before it
    while (pchEnd - pch >= 64 && cchOut + 64 <= cchOutMax)
    {
        __builtin_prefetch(pch + 1024); // a document bigger than the caches streams in
        __m512i v = _mm512_loadu_si512((const void*)pch);
        uint64 ulEscapes = _mm512_cmpeq_epi8_mask(v, vEscape);
        // Both readings of the block, with and without the carry, so the step from one
        // block to the next waits for a select, not for the whole pairing.
        uint64 ulEscapedFree = EscapedBytes(ulEscapes);
        uint64 ulEscapedCarried = EscapedBytes(ulEscapes & ~1ull) | 1;
        uint64 ulEscaped = ulCarry ? ulEscapedCarried : ulEscapedFree;
        uint64 ulStarts = ulEscapes & ~ulEscaped;
        __m512i vTranslated = _mm512_permutex2var_epi8(vTableLow, v, vTableHigh);
        // A byte from 0x80 up shuffles to zero, so it tests as an unknown escape.
        __m512i vBelow80 = _mm512_shuffle_epi8(_mm512_set1_epi8(-1), v);
        uint64 ulUnknown = _mm512_mask_testn_epi8_mask(ulEscaped, vTranslated, vBelow80);
        uint64 ulQuotesAndNuls = QuoteOrNul(v, vQuote);
        __m512i vDecoded = _mm512_mask_mov_epi8(v, ulEscaped, vTranslated);
        // Most blocks hold none of these, so the exact ends are worked out only when one
        // does. An unknown escape ends the block at its escape character, which for a
        // carried one is the byte before the block; an escaped quote does not end it.
        uint64 ulEnds = 0;
        if (ulUnknown | ulQuotesAndNuls)
            ulEnds = (ulUnknown >> 1) | (ulUnknown & ulCarry) | (ulQuotesAndNuls & ~ulEscaped);
        if (ulEnds)
        {
            uint64 ulTaken = (ulEnds & -ulEnds) - 1; // the bytes before the first end
            uint64 ulKept = ulTaken & ~ulStarts;
            _mm512_storeu_si512((void*)(pchOut + cchOut), _mm512_maskz_compress_epi8(ulKept, vDecoded));
            cchOut += __builtin_popcountll(ulKept);
            pch += __builtin_popcountll(ulTaken);
            // An end at a carried byte hands its escape character back too.
            pch -= (ulEnds & ulCarry);
            *pcchOut = cchOut;
            return pch;
        }
        _mm512_storeu_si512((void*)(pchOut + cchOut), _mm512_maskz_compress_epi8(~ulStarts, vDecoded));
        cchOut += __builtin_popcountll(~ulStarts);
        pch += 64;
        ulCarry = ulStarts >> 63;
    }
    // Out of input or room between an escape and its byte: the escape goes back.
    pch -= ulCarry;
    *pcchOut = cchOut;
    return pch;
}
#else
const char* CWideEscapeDecoder::Decode(const char* pch, const char*, char*, int*, int) const
{
    return pch;
}
#endif
