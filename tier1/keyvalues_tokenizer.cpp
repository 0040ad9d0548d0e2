// The KeyValues tokenizer: white space, "//" comments, quoted and unquoted tokens and the
// single-character tokens, scanned over the buffer's memory with a character-class table.

#include "keyvalues_tokenizer.h"

#include <cstring>

#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace
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

constexpr CharClassTable_s k_charClasses;

inline uint8 ClassOf(char ch)
{
    return k_charClasses.m_rgfClass[(uint8)ch];
}

// First byte in [pch, pchEnd) that is a double quote, chEscape or NUL; pchEnd if none.
const char* FindQuotedSpecial(const char* pch, const char* pchEnd, char chEscape)
{
#if defined(__SSE2__)
    const __m128i vQuote = _mm_set1_epi8('"');
    const __m128i vEscape = _mm_set1_epi8(chEscape);
    const __m128i vZero = _mm_setzero_si128();
    for (; pchEnd - pch >= 16; pch += 16)
    {
        __m128i v = _mm_loadu_si128((const __m128i*)pch);
        __m128i vHit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, vQuote), _mm_cmpeq_epi8(v, vEscape)),
                                    _mm_cmpeq_epi8(v, vZero));
        int nMask = _mm_movemask_epi8(vHit);
        if (nMask)
            return pch + __builtin_ctz((unsigned)nMask);
    }
#endif
    while (pch < pchEnd && *pch != '"' && *pch != chEscape && *pch != '\0')
        ++pch;
    return pch;
}

const char k_szTokenOverflow[] = " ReadToken overflow";
} // namespace

CKeyValuesTokenizer::CKeyValuesTokenizer(CUtlBuffer& buf, CKeyValuesParser& parser)
    : m_buf(buf), m_parser(parser), m_pchBase((const char*)buf.Base()), m_ich(buf.TellGet()),
      m_ichEnd(buf.TellMaxPut()), m_cchTokenMax(parser.TokenBufferSize() - 1),
      m_pchTokenBuffer(parser.TokenBuffer()), m_bText(buf.IsText()),
      m_bGetOverflow((buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW) != 0),
      m_bOtherError((buf.GetErrorBits() & ~CUtlBuffer::GET_OVERFLOW) != 0)
{
    if (!m_pchBase || m_ich < 0)
        m_ichEnd = m_ich = 0;
}

void CKeyValuesTokenizer::SkipByteOrderMark()
{
    if (!BInErrorState() && m_ichEnd - m_ich >= 3 && !memcmp(m_pchBase + m_ich, "\xEF\xBB\xBF", 3))
        m_ich += 3;
}

void CKeyValuesTokenizer::ReportError(const char* pszMessage)
{
    m_parser.ReportError(pszMessage, m_ich);
}

void CKeyValuesTokenizer::SyncBuffer()
{
    if (m_bGetOverflow && !(m_buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW))
    {
        // A read past the end is what sets the bit.
        m_buf.SeekGet(CUtlBuffer::SEEK_HEAD, m_ichEnd);
        m_buf.GetChar();
    }
    m_buf.SeekGet(CUtlBuffer::SEEK_HEAD, m_ich);
}

void CKeyValuesTokenizer::SkipWhiteSpaceAndComments()
{
    if (!m_bText)
        return;
    for (;;)
    {
        // The buffer skips white space only while it has no error, and notes the end.
        if (!BInErrorState())
        {
            while (m_ich < m_ichEnd && (ClassOf(m_pchBase[m_ich]) & k_fSpace))
                ++m_ich;
            m_bGetOverflow = (m_ich >= m_ichEnd);
        }
        bool bComment = !m_bGetOverflow && m_ichEnd - m_ich >= 2 && m_pchBase[m_ich] == '/' &&
                        m_pchBase[m_ich + 1] == '/';
        if (!bComment)
            return;
        const void* pNewline = memchr(m_pchBase + m_ich + 2, '\n', (size_t)(m_ichEnd - m_ich - 2));
        m_ich = pNewline ? (int)((const char*)pNewline - m_pchBase) + 1 : m_ichEnd;
    }
}

void CKeyValuesTokenizer::PutBack(const KeyValuesToken_s& token, int ichStart, bool bUseEscapes)
{
    m_pending = token;
    m_ichPendingEnd = m_ich;
    m_ichPendingStart = m_ich = ichStart;
    m_bPendingEscapes = bUseEscapes;
    m_bHasPending = true;
}

bool CKeyValuesTokenizer::BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken)
{
    // A buffer that has reached its end reads nothing more, even where a token was put back.
    bool bPending = m_bHasPending && m_ich == m_ichPendingStart && bUseEscapes == m_bPendingEscapes;
    m_bHasPending = false;
    if (bPending && !BInErrorState())
    {
        *pToken = m_pending;
        m_ich = m_ichPendingEnd;
        return true;
    }
    *pToken = {nullptr, 0, false, false};
    SkipWhiteSpaceAndComments();
    if (m_bGetOverflow || m_ich >= m_ichEnd)
        return true;
    char ch = m_pchBase[m_ich];
    if (ch == '"')
    {
        pToken->m_bQuoted = true;
        if (!m_bText)
            return BReadUntilNul(pToken);
        return BReadQuoted(bUseEscapes ? GetCStringCharConversion() : GetNoEscCharConversion(), pToken);
    }
    if (ClassOf(ch) & k_fSingleCharToken)
    {
        pToken->m_pchText = m_pchBase + m_ich++;
        pToken->m_cchText = 1;
        return true;
    }
    return BReadUnquoted(pToken);
}

bool CKeyValuesTokenizer::BTruncate(KeyValuesToken_s* pToken, int ichFirstDropped)
{
    if (pToken->m_cchText <= (uint32)m_cchTokenMax)
        return true;
    pToken->m_cchText = (uint32)m_cchTokenMax;
    m_parser.ReportError(k_szTokenOverflow, ichFirstDropped);
    return false;
}

bool CKeyValuesTokenizer::BReadUnquoted(KeyValuesToken_s* pToken)
{
    const char* pchStart = m_pchBase + m_ich;
    const char* pchEnd = m_pchBase + m_ichEnd;
    const char* pch = pchStart;
    bool bOpenBracket = false;
    for (;;)
    {
        while (pch < pchEnd && !(ClassOf(*pch) & (k_fEndsUnquoted | k_fBracket)))
            ++pch;
        if (pch >= pchEnd || *pch == '[' || *pch == ']')
        {
            if (pch >= pchEnd)
                break;
            if (*pch == '[')
                bOpenBracket = true;
            else if (bOpenBracket)
                pToken->m_bConditional = true;
            ++pch;
            continue;
        }
        break;
    }
    m_ich = (int)(pch - m_pchBase);
    pToken->m_pchText = pchStart;
    pToken->m_cchText = (uint32)(pch - pchStart);
    return BTruncate(pToken, (int)(pchStart - m_pchBase) + m_cchTokenMax);
}

bool CKeyValuesTokenizer::BReadQuoted(CUtlCharConversion* pConv, KeyValuesToken_s* pToken)
{
    ++m_ich; // the opening quote
    // A buffer with a write error reads nothing between the quotes.
    if (BInErrorState())
    {
        pToken->m_pchText = m_pchTokenBuffer;
        m_pchTokenBuffer[0] = '\0';
        return true;
    }
    const char* pchStart = m_pchBase + m_ich;
    const char* pchEnd = m_pchBase + m_ichEnd;
    const char* pch = FindQuotedSpecial(pchStart, pchEnd, pConv->GetEscapeChar());
    if (pch < pchEnd && *pch == '"')
    {
        // No escapes and no NUL: the token is the text between the quotes, in place.
        m_ich = (int)(pch - m_pchBase) + 1;
        pToken->m_pchText = pchStart;
        pToken->m_cchText = (uint32)(pch - pchStart);
        return BTruncate(pToken, (int)(pchStart - m_pchBase) + m_cchTokenMax);
    }
    return BReadQuotedEscaped(pConv, pToken);
}

// The general quoted read, one run between special characters at a time, with the
// buffer's escape rules: a known escape gives its character, an unknown one a NUL with
// the character after it read as itself, and the end of data sets the end-of-input bit.
bool CKeyValuesTokenizer::BReadQuotedEscaped(CUtlCharConversion* pConv, KeyValuesToken_s* pToken)
{
    const char chEscape = pConv->GetEscapeChar();
    const char* pchEnd = m_pchBase + m_ichEnd;
    const char* pch = m_pchBase + m_ich;
    int cchOut = 0;           // characters produced, kept or not
    int ichFirstDropped = -1; // buffer offset where the token buffer ran full
    int cchText = -1;         // position of the first NUL produced
    auto Emit = [&](const char* pchRun, int cchRun)
    {
        int cchRoom = m_cchTokenMax - cchOut;
        if (cchRun > cchRoom && ichFirstDropped < 0)
            ichFirstDropped = (int)(pch - m_pchBase);
        if (cchRoom > 0)
            memcpy(m_pchTokenBuffer + cchOut, pchRun, (size_t)(cchRun < cchRoom ? cchRun : cchRoom));
        cchOut += cchRun;
    };
    for (;;)
    {
        // Runs hold no quote, escape or NUL; those come one at a time below.
        const char* pchRun = pch;
        pch = FindQuotedSpecial(pch, pchEnd, chEscape);
        Emit(pchRun, (int)(pch - pchRun));
        if (pch >= pchEnd)
        {
            m_bGetOverflow = true; // the closing quote never came
            break;
        }
        char ch = *pch++;
        if (ch == '"')
            break;
        if (ch == chEscape)
        {
            int cchLook = (int)(pchEnd - pch);
            if (cchLook > pConv->MaxConversionLength())
                cchLook = pConv->MaxConversionLength();
            ch = cchLook > 0 ? pConv->FindConversion(pch, &cchLook) : '\0';
            pch += cchLook > 0 ? cchLook : 0;
        }
        if (ch == '\0' && cchText < 0)
            cchText = cchOut;
        Emit(&ch, 1);
    }
    m_ich = (int)(pch - m_pchBase);
    int cchKept = cchOut < m_cchTokenMax ? cchOut : m_cchTokenMax;
    m_pchTokenBuffer[cchKept] = '\0';
    pToken->m_pchText = m_pchTokenBuffer;
    pToken->m_cchText = (uint32)(cchText >= 0 && cchText < cchKept ? cchText : cchKept);
    if (ichFirstDropped < 0)
        return true;
    m_parser.ReportError(k_szTokenOverflow, ichFirstDropped);
    return false;
}

// A buffer outside text mode reads a "quoted" token as a plain string: from the quote
// itself up to a NUL, which is consumed.
bool CKeyValuesTokenizer::BReadUntilNul(KeyValuesToken_s* pToken)
{
    const char* pchStart = m_pchBase + m_ich;
    const void* pNul = memchr(pchStart, '\0', (size_t)(m_ichEnd - m_ich));
    const char* pchStop = pNul ? (const char*)pNul : m_pchBase + m_ichEnd;
    m_ich = (int)(pchStop - m_pchBase) + (pNul ? 1 : 0);
    pToken->m_pchText = pchStart;
    pToken->m_cchText = (uint32)(pchStop - pchStart);
    return BTruncate(pToken, (int)(pchStart - m_pchBase) + m_cchTokenMax);
}

const char* CKeyValuesTokenizer::ReadableEnd(const KeyValuesToken_s& token) const
{
    const char* pchTokenBufferEnd = m_pchTokenBuffer + m_cchTokenMax + 1;
    bool bInTokenBuffer = token.m_pchText >= m_pchTokenBuffer && token.m_pchText < pchTokenBufferEnd;
    return bInTokenBuffer ? pchTokenBufferEnd : m_pchBase + m_ichEnd;
}

const char* CKeyValuesTokenizer::TerminatedText(const KeyValuesToken_s& token)
{
    if (token.m_pchText != m_pchTokenBuffer)
        memcpy(m_pchTokenBuffer, token.m_pchText, token.m_cchText);
    m_pchTokenBuffer[token.m_cchText] = '\0';
    return m_pchTokenBuffer;
}
