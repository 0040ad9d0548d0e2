// The KeyValues tokenizer's general path: comments, unquoted tokens, quoted tokens with
// escapes or NULs, buffers outside text mode or with an error, the end of the input and
// overflow. It starts over from the read position whenever the inline path declines.

#include "keyvalues_tokenizer.h"

#include "keyvalues_escapedecoder.h"

#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"

using namespace KeyValuesChars;

namespace
{
const char k_szTokenOverflow[] = " ReadToken overflow";

// The C-string escapes are a backslash and one character: as a table, each costs one
// look-up instead of a call (a path in a text has one every few characters).
struct EscapeTable_s
{
    char m_rgch[256];
};

EscapeTable_s BuildEscapeTable(CUtlCharConversion* pConv)
{
    EscapeTable_s table = {};
    for (int i = 1; i < 256; ++i)
    {
        char ch = (char)i;
        int cch = 1;
        char chConverted = pConv->FindConversion(&ch, &cch);
        table.m_rgch[i] = cch == 1 ? chConverted : '\0';
    }
    return table;
}

const char* CStringEscapeTable()
{
    static const EscapeTable_s s_table = BuildEscapeTable(GetCStringCharConversion());
    return s_table.m_rgch;
}

const CWideEscapeDecoder* CStringWideEscapeDecoder()
{
    if (!CWideEscapeDecoder::BAvailable())
        return nullptr;
    static const CWideEscapeDecoder s_decoder(GetCStringCharConversion()->GetEscapeChar(),
                                              CStringEscapeTable());
    return &s_decoder;
}
} // namespace

CKeyValuesTokenizer::CKeyValuesTokenizer(CUtlBuffer& buf, CKeyValuesParser& parser)
    : m_buf(buf), m_parser(parser), m_pchBase((const char*)buf.Base()),
      m_cchTokenMax((uint32)(parser.TokenBufferSize() - 1)), m_pchTokenBuffer(parser.TokenBuffer()),
      m_pchTokenBufferEnd(parser.TokenBuffer() + parser.TokenBufferSize()),
      m_pEscapes(GetCStringCharConversion()), m_pNoEscapes(GetNoEscCharConversion()),
      m_rgchEscapes(CStringEscapeTable()), m_pWideEscapes(CStringWideEscapeDecoder()),
      m_chEscape(m_pEscapes->GetEscapeChar()), m_chNoEscape(m_pNoEscapes->GetEscapeChar()),
      m_bText(buf.IsText()), m_bGetOverflow((buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW) != 0),
      m_bOtherError((buf.GetErrorBits() & ~CUtlBuffer::GET_OVERFLOW) != 0),
      m_bPlain(m_bText && !m_bGetOverflow && !m_bOtherError)
{
    int ichGet = buf.TellGet();
    if (!m_pchBase || ichGet < 0)
        m_pchBase = m_pch = m_pchEnd = "";
    else
        m_pch = m_pchBase + ichGet, m_pchEnd = m_pchBase + buf.TellMaxPut();
}

void CKeyValuesTokenizer::SkipByteOrderMark()
{
    if (!BInErrorState() && m_pchEnd - m_pch >= 3 && !memcmp(m_pch, "\xEF\xBB\xBF", 3))
        m_pch += 3;
}

void CKeyValuesTokenizer::ReportError(const char* pszMessage)
{
    m_parser.ReportError(pszMessage, Offset(m_pch));
}

void CKeyValuesTokenizer::SyncBuffer()
{
    if (m_bGetOverflow && !(m_buf.GetErrorBits() & CUtlBuffer::GET_OVERFLOW))
    {
        // A read past the end is what sets the bit.
        m_buf.SeekGet(CUtlBuffer::SEEK_HEAD, Offset(m_pchEnd));
        m_buf.GetChar();
    }
    m_buf.SeekGet(CUtlBuffer::SEEK_HEAD, Offset(m_pch));
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
            m_pch = SkipSpaces(m_pch, m_pchEnd);
            if (m_pch >= m_pchEnd)
                NoteGetOverflow();
        }
        if (m_bGetOverflow || m_pchEnd - m_pch < 2 || m_pch[0] != '/' || m_pch[1] != '/')
            return;
        const void* pNewline = memchr(m_pch + 2, '\n', (size_t)(m_pchEnd - m_pch - 2));
        m_pch = pNewline ? (const char*)pNewline + 1 : m_pchEnd;
    }
}

bool CKeyValuesTokenizer::BReadTokenSlow(bool bUseEscapes, KeyValuesToken_s* pToken)
{
    if (bUseEscapes && BReadEscapedWide(pToken))
        return true;
    *pToken = {nullptr, 0, false, false, false};
    SkipWhiteSpaceAndComments();
    if (m_bGetOverflow || m_pch >= m_pchEnd)
        return true;
    m_pchSlowTokenStart = m_pch;
    char ch = *m_pch;
    if (ch == '"')
    {
        pToken->m_bQuoted = true;
        return m_bText ? BReadQuoted(bUseEscapes, pToken) : BReadUntilNul(pToken);
    }
    if (ClassOf(ch) & k_fSingleCharToken)
    {
        pToken->m_pchText = m_pch++;
        pToken->m_cchText = 1;
        return true;
    }
    return BReadUnquoted(pToken);
}

bool CKeyValuesTokenizer::BReadConditionalSlow(bool bUseEscapes, KeyValuesToken_s* pToken, bool* pbClean)
{
    // A token put back returns the read position to where the look-ahead began: at the
    // end of the input (which reads nothing more) the white space stays unread.
    const char* pchBefore = m_pch;
    *pbClean = BReadTokenSlow(bUseEscapes, pToken);
    if (!pToken->IsEnd() && pToken->m_bConditional)
        return true;
    if (*pbClean)
        m_pch = pchBefore;
    return false;
}

bool CKeyValuesTokenizer::BTruncate(KeyValuesToken_s* pToken, const char* pchFirstDropped)
{
    pToken->m_cchText = m_cchTokenMax;
    m_parser.ReportError(k_szTokenOverflow, Offset(pchFirstDropped));
    return false;
}

bool CKeyValuesTokenizer::BReadUnquoted(KeyValuesToken_s* pToken)
{
    const char* pchStart = m_pch;
    const char* pch = pchStart;
    bool bOpenBracket = false;
    for (;;)
    {
        while (pch < m_pchEnd && !(ClassOf(*pch) & (k_fEndsUnquoted | k_fBracket)))
            ++pch;
        if (pch >= m_pchEnd || !(ClassOf(*pch) & k_fBracket))
            break;
        if (*pch == '[')
            bOpenBracket = true;
        else if (bOpenBracket)
            pToken->m_bConditional = true;
        ++pch;
    }
    m_pch = pch;
    pToken->m_pchText = pchStart;
    pToken->m_cchText = (uint32)(pch - pchStart);
    return pToken->m_cchText <= m_cchTokenMax || BTruncate(pToken, pchStart + m_cchTokenMax);
}

bool CKeyValuesTokenizer::BReadQuoted(bool bUseEscapes, KeyValuesToken_s* pToken)
{
    const char* pchQuote = m_pch++;
    // A buffer with a write error reads nothing between the quotes.
    if (BInErrorState())
    {
        pToken->m_pchText = m_pchTokenBuffer;
        m_pchTokenBuffer[0] = '\0';
        return true;
    }
    const char* pchClose = pchQuote == m_pchScannedQuote && bUseEscapes == m_bScannedEscapes
                               ? m_pchScannedSpecial
                               : FindQuoteEnd(pchQuote, bUseEscapes);
    if (pchClose < m_pchEnd && *pchClose == '"')
    {
        // No escapes and no NUL: the token is the text between the quotes, in place.
        m_pch = pchClose + 1;
        pToken->m_pchText = pchQuote + 1;
        pToken->m_cchText = (uint32)(pchClose - pchQuote - 1);
        return pToken->m_cchText <= m_cchTokenMax || BTruncate(pToken, pchQuote + 1 + m_cchTokenMax);
    }
    return BReadQuotedEscaped(bUseEscapes ? m_pEscapes : m_pNoEscapes, pchClose, pToken);
}

const char* CKeyValuesTokenizer::EscapedQuoteAhead() const
{
    const char* pchQuote = m_pchScannedQuote;
    const char* pchSpecial = m_pchScannedSpecial;
    if (!m_pWideEscapes || !m_bPlain || !m_bScannedEscapes || !pchQuote || pchSpecial >= m_pchEnd ||
        *pchSpecial != m_chEscape || (uint32)(pchSpecial - pchQuote - 1) > m_cchTokenMax ||
        SkipSpaces(m_pch, m_pchEnd) != pchQuote)
        return nullptr;
    return pchQuote;
}

// The quoted token the inline path declined at an escape, decoded in one go when it is
// the next token and the wide decoder takes it to its closing quote; anything else (an
// unknown escape, a NUL, the end of the data, a token too long) is left, untouched, to
// the general path. Texts with paths in them, the common escaped token, take no detours.
bool CKeyValuesTokenizer::BReadEscapedWide(KeyValuesToken_s* pToken)
{
    const char* pchQuote = EscapedQuoteAhead();
    if (!pchQuote)
        return false;
    const char* pchSpecial = m_pchScannedSpecial;
    int cchOut = (int)(pchSpecial - pchQuote - 1);
    memcpy(m_pchTokenBuffer, pchQuote + 1, (size_t)cchOut);
    const char* pch =
        m_pWideEscapes->Decode(pchSpecial, m_pchEnd, m_pchTokenBuffer, &cchOut, (int)m_cchTokenMax);
    if (pch >= m_pchEnd || *pch != '"')
        return false;
    MovePastQuoted(pchQuote, pch);
    *pToken = {m_pchTokenBuffer, (uint32)cchOut, true, false, false};
    return true;
}

// The same token left in the document for its reader to decode where the text is to
// live: a value read through the token buffer is written twice. Only its end is looked
// for here, a scan for quotes and NULs with no decoding: a quote is escaped when an odd
// run of escape characters stands before it, for every escape is one character and the
// escape character escapes itself. A NUL, the end of the data or a token longer than
// the buffer leaves the token to the general path.
bool CKeyValuesTokenizer::BReadEscapedInPlace(KeyValuesToken_s* pToken)
{
    const char* pchQuote = EscapedQuoteAhead();
    if (!pchQuote)
        return false;
    const char* pch = m_pchScannedSpecial;
    for (;; ++pch)
    {
        pch = m_pWideEscapes->FindQuoteOrNul(pch, m_pchEnd);
        if (pch >= m_pchEnd || *pch != '"')
            return false;
        const char* pchRun = pch; // the opening quote bounds the run
        while (pchRun[-1] == m_chEscape)
            --pchRun;
        if (((pch - pchRun) & 1) == 0)
            break;
    }
    if ((uint32)(pch - pchQuote - 1) > m_cchTokenMax)
        return false;
    MovePastQuoted(pchQuote, pch);
    *pToken = {pchQuote + 1, (uint32)(pch - pchQuote - 1), true, false, true};
    return true;
}

uint32 CKeyValuesTokenizer::DecodeInPlace(const KeyValuesToken_s& token, char* pchOut, bool* pbCut) const
{
    return m_pWideEscapes->DecodeWhole(token.m_pchText, token.m_pchText + token.m_cchText, pchOut, pbCut);
}

// Copies plain text into the token buffer 64 bytes a step where the processor allows (see
// CWideEscapeDecoder), else and then 16 bytes a step, and takes the known escapes
// of rgchEscapes (the character a backslash and c stand for, 0 for none) as they come,
// while the input and the buffer both have 16 bytes to spare. Stops at a quote, a NUL, an
// unknown escape or short of the edges, all left to the careful loop. Bytes copied past a
// stop are overwritten by what comes next or lie past the token's end.
const char* CKeyValuesTokenizer::CopyPlainAndEscapes(const char* pch, char chEscape, const char* rgchEscapes,
                                                     int* pcchOut)
{
    if (rgchEscapes && m_pWideEscapes)
        pch = m_pWideEscapes->Decode(pch, m_pchEnd, m_pchTokenBuffer, pcchOut, (int)m_cchTokenMax);
#if defined(__SSE2__)
    int cchOut = *pcchOut;
    while (m_pchEnd - pch >= 16 && cchOut + 16 <= (int)m_cchTokenMax)
    {
        __builtin_prefetch(pch + 1024); // as FindQuotedSpecial does, for documents in memory
        __m128i v = _mm_loadu_si128((const __m128i*)pch);
        _mm_storeu_si128((__m128i*)(m_pchTokenBuffer + cchOut), v);
        unsigned nMask = QuotedSpecialMask(v, chEscape);
        if (!nMask)
        {
            pch += 16;
            cchOut += 16;
            continue;
        }
        unsigned cchPlain = (unsigned)__builtin_ctz(nMask);
        pch += cchPlain;
        cchOut += (int)cchPlain;
        char chEscaped =
            (rgchEscapes && *pch == chEscape && m_pchEnd - pch >= 2) ? rgchEscapes[(uint8)pch[1]] : '\0';
        if (!chEscaped)
            break;
        m_pchTokenBuffer[cchOut++] = chEscaped;
        pch += 2;
    }
    *pcchOut = cchOut;
#else
    (void)chEscape;
    (void)rgchEscapes;
    (void)pcchOut;
#endif
    return pch;
}

// The general quoted read, one run between special characters at a time, with the
// buffer's escape rules: a known escape gives its character, an unknown one a NUL with
// the character after it read as itself, and the end of data sets the end-of-input bit.
// [m_pch, pchPlainEnd) is known to hold no special character.
bool CKeyValuesTokenizer::BReadQuotedEscaped(CUtlCharConversion* pConv, const char* pchPlainEnd,
                                             KeyValuesToken_s* pToken)
{
    const char chEscape = pConv->GetEscapeChar();
    const int cchTokenMax = (int)m_cchTokenMax;
    const char* pch = m_pch;
    int cchOut = 0; // characters produced, kept or not
    if (pchPlainEnd - pch <= cchTokenMax)
    {
        memcpy(m_pchTokenBuffer, pch, (size_t)(pchPlainEnd - pch));
        cchOut = (int)(pchPlainEnd - pch);
        pch = pchPlainEnd;
    }
    const char* pchFirstDropped = nullptr; // where the token buffer ran full
    int cchText = -1;                      // position of the first NUL produced
    auto Emit = [&](const char* pchRun, int cchRun)
    {
        int cchRoom = cchTokenMax - cchOut;
        if (cchRun > cchRoom && !pchFirstDropped)
            pchFirstDropped = pch;
        if (cchRoom > 0)
            memcpy(m_pchTokenBuffer + cchOut, pchRun, (size_t)(cchRun < cchRoom ? cchRun : cchRoom));
        cchOut += cchRun;
    };
    for (;;)
    {
        // Runs hold no quote, escape or NUL; those come one at a time below.
        pch = CopyPlainAndEscapes(pch, chEscape, pConv == m_pEscapes ? m_rgchEscapes : nullptr, &cchOut);
        const char* pchRun = pch;
        pch = FindQuotedSpecial(pch, m_pchEnd, chEscape);
        Emit(pchRun, (int)(pch - pchRun));
        if (pch >= m_pchEnd)
        {
            NoteGetOverflow(); // the closing quote never came
            break;
        }
        char ch = *pch++;
        if (ch == '"')
            break;
        if (ch == chEscape)
        {
            int cchLook = (int)(m_pchEnd - pch);
            if (cchLook > pConv->MaxConversionLength())
                cchLook = pConv->MaxConversionLength();
            ch = cchLook > 0 ? pConv->FindConversion(pch, &cchLook) : '\0';
            pch += cchLook > 0 ? cchLook : 0;
        }
        if (ch == '\0' && cchText < 0)
            cchText = cchOut;
        Emit(&ch, 1);
    }
    m_pch = pch;
    int cchKept = cchOut < cchTokenMax ? cchOut : cchTokenMax;
    m_pchTokenBuffer[cchKept] = '\0';
    pToken->m_pchText = m_pchTokenBuffer;
    pToken->m_cchText = (uint32)(cchText >= 0 && cchText < cchKept ? cchText : cchKept);
    if (!pchFirstDropped)
        return true;
    m_parser.ReportError(k_szTokenOverflow, Offset(pchFirstDropped));
    return false;
}

// A buffer outside text mode reads a "quoted" token as a plain string: from the quote
// itself up to a NUL, which is consumed.
bool CKeyValuesTokenizer::BReadUntilNul(KeyValuesToken_s* pToken)
{
    const char* pchStart = m_pch;
    const void* pNul = memchr(pchStart, '\0', (size_t)(m_pchEnd - m_pch));
    const char* pchStop = pNul ? (const char*)pNul : m_pchEnd;
    m_pch = pchStop + (pNul ? 1 : 0);
    pToken->m_pchText = pchStart;
    pToken->m_cchText = (uint32)(pchStop - pchStart);
    return pToken->m_cchText <= m_cchTokenMax || BTruncate(pToken, pchStart + m_cchTokenMax);
}

const char* CKeyValuesTokenizer::TerminatedText(const KeyValuesToken_s& token)
{
    if (token.m_pchText != m_pchTokenBuffer)
        memcpy(m_pchTokenBuffer, token.m_pchText, token.m_cchText);
    m_pchTokenBuffer[token.m_cchText] = '\0';
    return m_pchTokenBuffer;
}
