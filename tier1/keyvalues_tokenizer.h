#pragma once
// Tokens of the KeyValues text format, read straight from a CUtlBuffer's memory. The
// buffer itself is only touched at the end (SyncBuffer), where its get position and its
// end-of-input bit are left as its own byte-by-byte reads would have left them.

#include "tier0/basetypes.h"

class CUtlBuffer;
class CUtlCharConversion;
class CKeyValuesParser;

struct KeyValuesToken_s
{
    const char* m_pchText; // null at the end of input; not terminated (see TerminatedText)
    uint32 m_cchText;      // up to the first NUL, as every terminated use sees it
    bool m_bQuoted;
    bool m_bConditional; // unquoted, with a "[" and a later "]"

    bool IsEnd() const { return m_pchText == nullptr; }
    bool IsUnquoted(char ch) const { return !m_bQuoted && m_cchText == 1 && m_pchText[0] == ch; }
};

class CKeyValuesTokenizer
{
public:
    CKeyValuesTokenizer(CUtlBuffer& buf, CKeyValuesParser& parser);

    void SkipByteOrderMark();
    // Reads one token; false when reading it recorded an error (the token is filled all
    // the same). Quoted text is unescaped when bUseEscapes is set.
    bool BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken);
    // The token's text with its terminator, copied into the token buffer when needed.
    const char* TerminatedText(const KeyValuesToken_s& token);

    // The end of the memory the token's text lies in (the data or the token buffer).
    const char* ReadableEnd(const KeyValuesToken_s& token) const;
    int Tell() const { return m_ich; }
    // Puts a token back: the read position returns to ichStart, and the next read from
    // there with the same escape setting hands out the same token without scanning again.
    void PutBack(const KeyValuesToken_s& token, int ichStart, bool bUseEscapes);
    // The buffer is exhausted or was in an error state.
    bool BInErrorState() const { return m_bGetOverflow || m_bOtherError; }
    void ReportError(const char* pszMessage);
    void SyncBuffer();

private:
    void SkipWhiteSpaceAndComments();
    bool BReadUnquoted(KeyValuesToken_s* pToken);
    bool BReadQuoted(CUtlCharConversion* pConv, KeyValuesToken_s* pToken);
    bool BReadQuotedEscaped(CUtlCharConversion* pConv, KeyValuesToken_s* pToken);
    bool BReadUntilNul(KeyValuesToken_s* pToken);
    bool BTruncate(KeyValuesToken_s* pToken, int ichFirstDropped);

    CUtlBuffer& m_buf;
    CKeyValuesParser& m_parser;
    const char* m_pchBase;
    int m_ich;
    int m_ichEnd;
    int m_cchTokenMax; // the token buffer's size less its terminator
    char* m_pchTokenBuffer;
    bool m_bText;
    bool m_bGetOverflow; // the end of the data was read past
    bool m_bOtherError;  // the buffer came in with a write error
    bool m_bHasPending = false;
    bool m_bPendingEscapes = false;
    int m_ichPendingStart = 0;
    int m_ichPendingEnd = 0;
    KeyValuesToken_s m_pending = {};
};
