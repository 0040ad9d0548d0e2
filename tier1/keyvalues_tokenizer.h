#pragma once
// Tokens of the KeyValues text format, read straight from a CUtlBuffer's memory. The
// buffer itself is only touched at the end (SyncBuffer), where its get position and its
// end-of-input bit are left as its own byte-by-byte reads would have left them. The
// common path (white space, a quoted token without escapes, a brace) is inline: the
// reader spends most of its time here.

#include <cstring>

#include "tier0/basetypes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

class CUtlBuffer;
class CUtlCharConversion;
class CWideEscapeDecoder;
class CKeyValuesParser;

struct KeyValuesToken_s
{
    const char* m_pchText; // null at the end of input; not terminated (see TerminatedText)
    uint32 m_cchText;      // up to the first NUL, as every terminated use sees it
    bool m_bQuoted;
    bool m_bConditional; // unquoted, with a "[" and a later "]"
    // Quoted text left as written, escapes and all (m_cchText counts the raw bytes): only
    // a read that asks for it gets one, and decodes it with DecodeInPlace.
    bool m_bEscaped;

    bool IsEnd() const { return m_pchText == nullptr; }
    bool IsUnquoted(char ch) const { return !m_bQuoted && m_cchText == 1 && m_pchText[0] == ch; }
};

namespace KeyValuesChars
{
enum ECharClass : uint8
{
    k_fSpace = 1,        // skipped between tokens
    k_fEndsUnquoted = 2, // white space, NUL, '"', '=', '{', '}'
    k_fBracket = 4,      // '[' and ']' mark conditionals
    k_fSingleCharToken = 8,
};

struct CharClassTable_s
{
    uint8 m_rgfClass[256];

    constexpr CharClassTable_s() : m_rgfClass()
    {
        for (const char* pch = " \t\n\v\f\r"; *pch; ++pch)
            m_rgfClass[(uint8)*pch] |= k_fSpace | k_fEndsUnquoted;
        for (const char* pch = "\"={}"; *pch; ++pch)
            m_rgfClass[(uint8)*pch] |= k_fEndsUnquoted;
        m_rgfClass[0] |= k_fEndsUnquoted;
        for (const char* pch = "={}"; *pch; ++pch)
            m_rgfClass[(uint8)*pch] |= k_fSingleCharToken;
        m_rgfClass[(uint8)'['] |= k_fBracket;
        m_rgfClass[(uint8)']'] |= k_fBracket;
    }
};

constexpr CharClassTable_s k_table;

inline uint8 ClassOf(char ch)
{
    return k_table.m_rgfClass[(uint8)ch];
}

#if defined(__SSE2__)
// Bit i set where byte i of v is a common blank (space, tab, newline, return); vertical
// tabs and form feeds are left to the byte-by-byte loops.
inline unsigned BlankMask(__m128i v)
{
    __m128i vTabOrNewline =
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\t')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\n')));
    __m128i vBlankOrReturn =
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\r')));
    return (unsigned)_mm_movemask_epi8(_mm_or_si128(vTabOrNewline, vBlankOrReturn));
}

// Bit i set where byte i of v ends a quoted run: a double quote, chEscape or NUL.
inline unsigned QuotedSpecialMask(__m128i v, char chEscape)
{
    __m128i vQuoteOrEscape =
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')), _mm_cmpeq_epi8(v, _mm_set1_epi8(chEscape)));
    return (unsigned)_mm_movemask_epi8(_mm_or_si128(vQuoteOrEscape, _mm_cmpeq_epi8(v, _mm_setzero_si128())));
}
#endif

// First byte in [pch, pchEnd) that is not white space; pchEnd if none.
inline const char* SkipSpaces(const char* pch, const char* pchEnd)
{
#if defined(__SSE2__)
    for (; pchEnd - pch >= 16; pch += 16)
    {
        if (unsigned nOther = ~BlankMask(_mm_loadu_si128((const __m128i*)pch)) & 0xFFFF)
        {
            pch += __builtin_ctz(nOther);
            break;
        }
    }
#endif
    while (pch < pchEnd && (ClassOf(*pch) & k_fSpace))
        ++pch;
    return pch;
}

// First byte in [pch, pchEnd) that is a double quote, chEscape or NUL; pchEnd if none.
inline const char* FindQuotedSpecial(const char* pch, const char* pchEnd, char chEscape)
{
#if defined(__SSE2__)
    auto Specials = [chEscape](const char* pchAt)
    { return QuotedSpecialMask(_mm_loadu_si128((const __m128i*)pchAt), chEscape); };
    // Long texts go 32 bytes a step.
    for (; pchEnd - pch >= 32; pch += 32)
    {
        // A document larger than the caches streams from memory: ask for it well ahead.
        __builtin_prefetch(pch + 1024);
        if (uint64 ulMask = Specials(pch) | (uint64)Specials(pch + 16) << 16)
            return pch + __builtin_ctzll(ulMask);
    }
    if (pchEnd - pch >= 16)
    {
        if (unsigned nMask = Specials(pch))
            return pch + __builtin_ctz(nMask);
        pch += 16;
    }
#endif
    while (pch < pchEnd && *pch != '"' && *pch != chEscape && *pch != '\0')
        ++pch;
    return pch;
}
} // namespace KeyValuesChars

class CKeyValuesTokenizer
{
public:
    CKeyValuesTokenizer(CUtlBuffer& buf, CKeyValuesParser& parser);

    void SkipByteOrderMark();
    // Reads one token; false when reading it recorded an error (the token is filled all
    // the same). Quoted text is unescaped when bUseEscapes is set; with bMayLeaveEscaped,
    // a quoted token that needs it may instead come back undecoded (m_bEscaped).
    bool BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken, bool bMayLeaveEscaped = false);
    // The text of a token left escaped, into pchOut, which has room for its m_cchText
    // bytes and gets no more than the text; returns the text's length. An unknown escape
    // ends the text, as the NUL it stands for would (*pbCut).
    uint32 DecodeInPlace(const KeyValuesToken_s& token, char* pchOut, bool* pbCut) const;
    // Reads the next token only if it is a conditional; anything else is left for the
    // next BReadToken, unless reading it recorded an error, which consumes it (*pbClean
    // false). Reading it may also reach the end of the input (a quote never closed), so
    // only braces and cleanly closed quoted tokens are judged without reading them.
    bool BReadConditional(bool bUseEscapes, KeyValuesToken_s* pToken, bool* pbClean);
    // Looking ahead without reading: from pchFrom, just past a pair's name in the
    // document, its value and the next name, both simple quoted tokens. Returns that
    // name's closing quote (its text starts at *ppchName), or null.
    const char* PeekNameAfterValue(const char* pchFrom, bool bUseEscapes, const char** ppchName) const
    {
        if (!m_bPlain)
            return nullptr;
        const char* pchClose;
        const char* pchStart = FindSimpleTokenFrom(pchFrom, bUseEscapes, &pchClose);
        if (!pchStart || *pchStart != '"')
            return nullptr;
        pchStart = FindSimpleTokenFrom(pchClose + 1, bUseEscapes, &pchClose);
        if (!pchStart || *pchStart != '"')
            return nullptr;
        *ppchName = pchStart + 1;
        return pchClose;
    }
    // The closing quote of a quoted token read straight from the document, else null. A
    // token decoded into the token buffer is not terminated there, and the byte after it
    // may well be a quote: a look-ahead from it would run through foreign memory.
    const char* QuotedTokenClose(const KeyValuesToken_s& token) const
    {
        if (!token.m_bQuoted || token.IsEnd() || ReadableEnd(token) != m_pchEnd)
            return nullptr;
        const char* pchClose = token.m_pchText + token.m_cchText;
        return (pchClose < m_pchEnd && *pchClose == '"') ? pchClose : nullptr;
    }
    // The token's text with its terminator, copied into the token buffer when needed.
    const char* TerminatedText(const KeyValuesToken_s& token);

    // The end of the memory the token's text lies in (the data or the token buffer).
    const char* ReadableEnd(const KeyValuesToken_s& token) const
    {
        bool bInTokenBuffer = token.m_pchText >= m_pchTokenBuffer && token.m_pchText < m_pchTokenBufferEnd;
        return bInTokenBuffer ? m_pchTokenBufferEnd : m_pchEnd;
    }
    // Where the token begins in the document: its opening quote when quoted. Only the
    // general path copies tokens into the token buffer, so only it notes where they began.
    int StartOffset(const KeyValuesToken_s& token) const
    {
        if (ReadableEnd(token) == m_pchTokenBufferEnd)
            return Offset(m_pchSlowTokenStart);
        return Offset(token.m_pchText) - (token.m_bQuoted ? 1 : 0);
    }
    // The buffer is exhausted or was in an error state.
    bool BInErrorState() const { return m_bGetOverflow || m_bOtherError; }
    void ReportError(const char* pszMessage);
    void SyncBuffer();

private:
    // The common case, inline: white space, then a brace, "=" or a quoted token without
    // escapes or NULs that fits the token buffer. Null when the general path must run;
    // the read position is then unchanged.
    const char* FindSimpleToken(bool bUseEscapes, const char** ppchClose) const
    {
        if (!m_bPlain)
            return nullptr;
        if (m_pch == m_pchKnownFrom && bUseEscapes == m_bKnownEscapes)
        {
            *ppchClose = m_pchKnownClose;
            return m_pchKnownStart;
        }
        return FindSimpleTokenFrom(m_pch, bUseEscapes, ppchClose);
    }
    // FindSimpleToken from pch, which lies in the document, instead of the read position.
    const char* FindSimpleTokenFrom(const char* pch, bool bUseEscapes, const char** ppchClose) const
    {
        const char* pchClose = nullptr;
#if defined(__SSE2__)
        if (m_pchEnd - pch >= 16)
        {
            // One load usually holds the blanks, the token's start and, for a short
            // quoted token, its closing quote.
            __m128i v = _mm_loadu_si128((const __m128i*)pch);
            unsigned nOther = ~KeyValuesChars::BlankMask(v) & 0xFFFF;
            if (!nOther)
                return FindSimpleTokenAt(KeyValuesChars::SkipSpaces(pch + 16, m_pchEnd), bUseEscapes,
                                         ppchClose);
            unsigned iStart = (unsigned)__builtin_ctz(nOther);
            if (pch[iStart] == '"')
            {
                // The scan for the end goes on where the loaded bytes end.
                unsigned nClose =
                    (KeyValuesChars::QuotedSpecialMask(v, EscapeChar(bUseEscapes)) >> iStart) >> 1;
                pchClose =
                    nClose ? pch + iStart + 1 + __builtin_ctz(nClose)
                           : KeyValuesChars::FindQuotedSpecial(pch + 16, m_pchEnd, EscapeChar(bUseEscapes));
            }
            pch += iStart;
        }
        else
#endif
        {
            pch = KeyValuesChars::SkipSpaces(pch, m_pchEnd);
        }
        if (!pchClose)
            return FindSimpleTokenAt(pch, bUseEscapes, ppchClose);
        *ppchClose = pchClose;
        return QuotedIfSimple(pch, pchClose, bUseEscapes);
    }
    // FindSimpleToken once the white space is behind.
    const char* FindSimpleTokenAt(const char* pch, bool bUseEscapes, const char** ppchClose) const
    {
        if (pch >= m_pchEnd)
            return nullptr;
        if (*pch != '"')
        {
            *ppchClose = pch;
            return (KeyValuesChars::ClassOf(*pch) & KeyValuesChars::k_fSingleCharToken) ? pch : nullptr;
        }
        const char* pchClose = FindQuoteEnd(pch, bUseEscapes);
        *ppchClose = pchClose;
        return QuotedIfSimple(pch, pchClose, bUseEscapes);
    }
    // pchQuote when its token ends simply at pchClose, its first special character; else
    // null, with the scan noted for the general path, which need not repeat it.
    const char* QuotedIfSimple(const char* pchQuote, const char* pchClose, bool bUseEscapes) const
    {
        if (BClosesSimply(pchQuote, pchClose))
            return pchQuote;
        m_pchScannedQuote = pchQuote;
        m_pchScannedSpecial = pchClose;
        m_bScannedEscapes = bUseEscapes;
        return nullptr;
    }
    // A simple token found ahead of the read position, for the next read from there.
    void RememberSimpleToken(bool bUseEscapes, const char* pchStart, const char* pchClose)
    {
        m_pchKnownFrom = m_pch;
        m_pchKnownStart = pchStart;
        m_pchKnownClose = pchClose;
        m_bKnownEscapes = bUseEscapes;
    }
    // The quoted token at pchQuote ends at pchClose with its quote and fits the buffer.
    bool BClosesSimply(const char* pchQuote, const char* pchClose) const
    {
        return pchClose < m_pchEnd && *pchClose == '"' && (uint32)(pchClose - pchQuote - 1) <= m_cchTokenMax;
    }
    char EscapeChar(bool bUseEscapes) const
    {
        return bUseEscapes ? m_chEscape : m_chNoEscape;
    }
    // The first quote, escape character or NUL after the quote at pchQuote.
    const char* FindQuoteEnd(const char* pchQuote, bool bUseEscapes) const
    {
        return KeyValuesChars::FindQuotedSpecial(pchQuote + 1, m_pchEnd, EscapeChar(bUseEscapes));
    }
    bool BReadTokenSlow(bool bUseEscapes, KeyValuesToken_s* pToken);
    // The quote of the token the inline path declined at an escape, when that token is
    // the next one and the wide decoder is there to take it; else null.
    const char* EscapedQuoteAhead() const;
    // The read position past a quoted token the wide path took, from its opening quote to
    // its closing one.
    void MovePastQuoted(const char* pchQuote, const char* pchClose)
    {
        m_pchSlowTokenStart = pchQuote;
        m_pch = pchClose + 1;
    }
    bool BReadEscapedInPlace(KeyValuesToken_s* pToken);
    bool BReadConditionalSlow(bool bUseEscapes, KeyValuesToken_s* pToken, bool* pbClean);
    void SkipWhiteSpaceAndComments();
    void NoteGetOverflow()
    {
        m_bGetOverflow = true;
        m_bPlain = false;
    }
    bool BReadQuoted(bool bUseEscapes, KeyValuesToken_s* pToken);
    bool BReadEscapedWide(KeyValuesToken_s* pToken);
    bool BReadQuotedEscaped(CUtlCharConversion* pConv, const char* pchPlainEnd, KeyValuesToken_s* pToken);
    const char* CopyPlainAndEscapes(const char* pch, char chEscape, const char* rgchEscapes, int* pcchOut);
    bool BReadUnquoted(KeyValuesToken_s* pToken);
    bool BReadUntilNul(KeyValuesToken_s* pToken);
    // Cuts a token longer than the token buffer allows and records the overflow.
    bool BTruncate(KeyValuesToken_s* pToken, const char* pchFirstDropped);
    int Offset(const char* pch) const
    {
        return (int)(pch - m_pchBase);
    }

    CUtlBuffer& m_buf;
    CKeyValuesParser& m_parser;
    const char* m_pchBase;
    const char* m_pch;
    const char* m_pchEnd;
    uint32 m_cchTokenMax; // the token buffer's size less its terminator
    char* m_pchTokenBuffer;
    const char* m_pchTokenBufferEnd;
    const char* m_pchSlowTokenStart = nullptr; // the last token the general path read
    CUtlCharConversion* m_pEscapes;
    CUtlCharConversion* m_pNoEscapes;
    const char* m_rgchEscapes;                // m_pEscapes as a table (see CopyPlainAndEscapes)
    const CWideEscapeDecoder* m_pWideEscapes; // null where the processor has no such path
    // The simple token a look-ahead found from m_pchKnownFrom, so the next read from
    // there does not scan it again.
    const char* m_pchKnownFrom = nullptr;
    const char* m_pchKnownStart = nullptr;
    const char* m_pchKnownClose = nullptr;
    bool m_bKnownEscapes = false;
    // The first special character after a quote whose token the inline path declined.
    mutable const char* m_pchScannedQuote = nullptr;
    mutable const char* m_pchScannedSpecial = nullptr;
    mutable bool m_bScannedEscapes = false;
    char m_chEscape;
    char m_chNoEscape;
    bool m_bText;
    bool m_bGetOverflow; // the end of the data was read past
    bool m_bOtherError;  // the buffer came in with a write error
    bool m_bPlain;       // text mode and no error: the inline path may run
};

inline bool CKeyValuesTokenizer::BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken, bool bMayLeaveEscaped)
{
    const char* pchClose;
    const char* pchStart = FindSimpleToken(bUseEscapes, &pchClose);
    if (!pchStart)
        return (bUseEscapes && bMayLeaveEscaped && BReadEscapedInPlace(pToken)) ||
               BReadTokenSlow(bUseEscapes, pToken);
    if (*pchStart == '"')
    {
        *pToken = {pchStart + 1, (uint32)(pchClose - pchStart - 1), true, false, false};
        m_pch = pchClose + 1;
    }
    else
    {
        *pToken = {pchStart, 1, false, false, false};
        m_pch = pchStart + 1;
    }
    return true;
}

inline bool CKeyValuesTokenizer::BReadConditional(bool bUseEscapes, KeyValuesToken_s* pToken, bool* pbClean)
{
    const char* pchClose;
    const char* pchStart = FindSimpleToken(bUseEscapes, &pchClose);
    *pbClean = true;
    if (!pchStart)
        return BReadConditionalSlow(bUseEscapes, pToken, pbClean);
    RememberSimpleToken(bUseEscapes, pchStart, pchClose);
    return false;
}
