// The KeyValues text reader. Documents come from outside, so sections are read with an
// explicit stack, and that stack lives in the open sections themselves: while a nested
// section is being filled its peer link points at the section that encloses it (tagged
// in its low bit when the section is to be dropped once closed) and the second word of
// its value is the last child appended. Both are put back before the section is linked
// into its parent. Nesting is bounded (k_cNestingMax): a compact document such as
// a{a{a{... costs three bytes a level and would otherwise cost a 32-byte node a level.

#include <cstring>
#include <new>

#include "keyvalues_namelookahead.h"
#include "keyvalues_pool.h"
#include "keyvalues_symbolcache.h"
#include "keyvalues_tokenizer.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"

namespace
{
// Far above any real document (scripts nest four to eight levels), and the open sections
// of the deepest document hold 320 KB of nodes whatever its size. A section that would
// open deeper is an error that ends the load; what was read so far stays.
constexpr int k_cNestingMax = 10000;

bool IsNumberCandidateChar(char ch)
{
    return (ch >= '0' && ch <= '9') || ch == ' ' || ch == '+' || ch == ',' || ch == '-' || ch == '.';
}

// A value is an integer when it is made of blanks, signs, commas, dots and digits only,
// converts in full as a signed 32-bit base-10 number without going out of range, and
// does not begin with "0" (unless it is exactly "0"). Everything else stays text.
bool BTokenIsInteger(const char* pch, uint32 cch, int32* pnValue)
{
    if (cch - 1 < 9 && pch[0] >= '1' && pch[0] <= '9')
    {
        // The common case: one to nine digits, which cannot go out of range.
        int32 nValue = pch[0] - '0';
        uint32 i = 1;
        for (uint32 nDigit; i < cch && (nDigit = (uint32)(uint8)pch[i] - '0') <= 9; ++i)
            nValue = nValue * 10 + (int32)nDigit;
        if (i == cch)
        {
            *pnValue = nValue;
            return true;
        }
    }
    if (cch == 0 || (pch[0] == '0' && cch != 1))
        return false;
    for (uint32 i = 0; i < cch; ++i)
    {
        if (!IsNumberCandidateChar(pch[i]))
            return false;
    }
    uint32 i = 0;
    while (i < cch && pch[i] == ' ')
        ++i;
    bool bNegative = i < cch && pch[i] == '-';
    if (i < cch && (pch[i] == '-' || pch[i] == '+'))
        ++i;
    if (i == cch || pch[i] < '0' || pch[i] > '9')
        return false;
    int64 llValue = 0;
    for (; i < cch && pch[i] >= '0' && pch[i] <= '9'; ++i)
    {
        llValue = llValue * 10 + (pch[i] - '0');
        if (llValue > (int64)INT32_MAX + 1)
            return false; // out of range
    }
    if (i != cch || (!bNegative && llValue > INT32_MAX))
        return false;
    *pnValue = (int32)(bNegative ? -llValue : llValue);
    return true;
}
// Up to 15 characters into a zeroed 16-byte inline value; a whole 16-byte word is read
// where the memory allows, which beats a library call for so few bytes.
void CopyShortText(char* pchInline, const char* pch, uint32 cch, const char* pchReadableEnd)
{
    if (pchReadableEnd - pch < 16)
    {
        memcpy(pchInline, pch, cch);
        return;
    }
    uint64 rgulWords[2];
    memcpy(rgulWords, pch, 16);
    uint64 ulKeepLow = cch >= 8 ? ~0ull : ~(~0ull << (8 * cch));
    uint64 ulKeepHigh = cch <= 8 ? 0 : ~(~0ull << (8 * (cch - 8)));
    rgulWords[0] &= ulKeepLow;
    rgulWords[1] &= ulKeepHigh;
    memcpy(pchInline, rgulWords, 16);
}
} // namespace

// Raw nodes taken from the pool a batch at a time: one lock per batch instead of one per
// node. Nodes not used by the end of the load go back.
class CNodeBatch
{
public:
    CNodeBatch() = default;
    ~CNodeBatch()
    {
        while (m_cNodes)
            KeyValues::operator delete(m_rgpNodes[--m_cNodes]);
    }
    CNodeBatch(const CNodeBatch&) = delete;
    CNodeBatch& operator=(const CNodeBatch&) = delete;

    void* New()
    {
        if (m_cNodes == 0)
            m_cNodes = KeyValuesPoolAllocBatch(m_rgpNodes, k_cBatch);
        return m_rgpNodes[--m_cNodes];
    }

private:
    static constexpr uint32 k_cBatch = 64;
    void* m_rgpNodes[k_cBatch];
    uint32 m_cNodes = 0;
};

class CKeyValuesReader
{
public:
    CKeyValuesReader(CUtlBuffer& buf, CKeyValuesParser& parser) : m_tokenizer(buf, parser), m_parser(parser)
    {
    }

    void ReadDocument(KeyValues* pkvRoot);

private:
    enum EEntryResult
    {
        k_EEntryNext,   // go on in the same section
        k_EEntryOpened, // a nested section was opened and is now the current one
        k_EEntryClosed, // the current section ended (its brace, or an error)
    };

    bool BReadTopLevelBody(KeyValues* pkvKey);
    // Where a value may stand (bValue), escaped text may be left for SetValueFromToken.
    bool BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken, bool bValue = false)
    {
        return m_tokenizer.BReadToken(bUseEscapes, pToken, bValue);
    }
    HKeySymbol SymbolOf(const KeyValuesToken_s& token, const KeyName_s* pNameAhead);
    KeyValues* NewNode(HKeySymbol nSymbol, bool bEscapes)
    {
        return ::new (m_nodes.New()) KeyValues(nSymbol, bEscapes);
    }
    bool BEvaluate(const KeyValuesToken_s& token);

    void ReadBody(KeyValues* pkvSection);
    void OpenSection(KeyValues* pkvSection, KeyValues* pkvParent, bool bDropWhenClosed);
    // Closes the current section; false when that was the outermost one.
    bool BCloseSection();
    EEntryResult ReadEntry();
    EEntryResult ReadValueEntry(KeyValues* pkvChild, const KeyValuesToken_s& value, bool bAccepted);
    void Append(KeyValues* pkvSection, KeyValues* pkvChild);
    void DestroyFirstNamed(KeyValues* pkvSection, HKeySymbol nSymbol);
    void SetValueFromToken(KeyValues* pkv, const KeyValuesToken_s& token);
    void SetValueFromText(KeyValues* pkv, const char* pch, uint32 cch, const char* pchReadableEnd);
    void SetValueFromEscaped(KeyValues* pkv, const KeyValuesToken_s& token);
    EEntryResult Fail(const char* pszMessage, KeyValues* pkvPending);

    CKeyValuesTokenizer m_tokenizer;
    CKeyValuesParser& m_parser;
    CKeySymbolCache m_symbolCache;
    CKeyNameLookahead m_lookahead;
    bool m_bLookAhead = false; // checked as each section opens
    CNodeBatch m_nodes;
    KeyValues* m_pkvCurrent = nullptr; // the innermost open section
    int m_nOpenSections = 0;
    bool m_bStopped = false; // nesting went past its bound: the load ends
};

// pNameAhead: the token's name as the look-ahead hashed it, if it did.
HKeySymbol CKeyValuesReader::SymbolOf(const KeyValuesToken_s& token, const KeyName_s* pNameAhead)
{
    const char* pchReadableEnd = m_tokenizer.ReadableEnd(token);
    CKeySymbolCache::Probe_s probe;
    bool bProbe = m_symbolCache.BProbe();
    if (bProbe)
    {
        HKeySymbol nSymbol = m_symbolCache.Find(token.m_pchText, token.m_cchText, pchReadableEnd, &probe);
        if (nSymbol != INVALID_KEY_SYMBOL)
            return nSymbol;
    }
    HKeySymbol nSymbol =
        InternKeyName(pNameAhead ? *pNameAhead : KeyNameOf(token.m_pchText, token.m_cchText, pchReadableEnd));
    if (bProbe)
        m_symbolCache.Store(probe, token.m_pchText, token.m_cchText, nSymbol);
    return nSymbol;
}

bool CKeyValuesReader::BEvaluate(const KeyValuesToken_s& token)
{
    const char* pszText = m_tokenizer.TerminatedText(token);
    if (IKeyValuesReadObserver* pObserver = m_parser.GetObserver())
        pObserver->OnConditional(pszText, m_tokenizer.StartOffset(token));
    const char* pchBracket = strchr(pszText, '[');
    return EvaluateConditional(pchBracket ? pchBracket + 1 : pszText, KeyValuesPlatformLookup);
}

void CKeyValuesReader::SetValueFromToken(KeyValues* pkv, const KeyValuesToken_s& token)
{
    if (token.m_bEscaped)
        SetValueFromEscaped(pkv, token);
    else
        SetValueFromText(pkv, token.m_pchText, token.m_cchText, m_tokenizer.ReadableEnd(token));
}

// Memory up to pchReadableEnd may be read.
void CKeyValuesReader::SetValueFromText(KeyValues* pkv, const char* pch, uint32 cch,
                                        const char* pchReadableEnd)
{
    int32 nValue;
    if (BTokenIsInteger(pch, cch, &nValue))
    {
        pkv->m_Value.m_nValue = nValue;
        pkv->m_iDataType = KeyValues::TYPE_INT;
        return;
    }
    // The node is fresh: its value is zeroed and holds nothing to free.
    if (cch < sizeof(pkv->m_Value.m_szInline))
    {
        CopyShortText(pkv->m_Value.m_szInline, pch, cch, pchReadableEnd);
    }
    else
    {
        char* pszHeap = (char*)KeyValues::AllocHeapText(cch + 1);
        memcpy(pszHeap, pch, cch);
        pszHeap[cch] = '\0';
        pkv->AdoptHeapText(pszHeap, cch + 1);
    }
    pkv->m_iDataType = KeyValues::TYPE_STRING;
}

// Escaped text is decoded straight into the value's heap text, sized for the text as
// written (decoding only shortens it); short texts go through a block on the stack.
void CKeyValuesReader::SetValueFromEscaped(KeyValues* pkv, const KeyValuesToken_s& token)
{
    constexpr uint32 k_cchOnStack = 64;
    bool bCut;
    uint32 cchRaw = token.m_cchText;
    if (cchRaw < k_cchOnStack)
    {
        char rgchText[k_cchOnStack];
        uint32 cch = m_tokenizer.DecodeInPlace(token, rgchText, &bCut);
        SetValueFromText(pkv, rgchText, cch, rgchText + k_cchOnStack);
        return;
    }
    char* pszHeap = (char*)KeyValues::AllocHeapText(cchRaw + 1);
    uint32 cch = m_tokenizer.DecodeInPlace(token, pszHeap, &bCut);
    if (bCut)
    {
        // Rare: an unknown escape cut the text short, and what is left reads as any text
        // does (a number, perhaps).
        SetValueFromText(pkv, pszHeap, cch, pszHeap + cchRaw + 1);
        KeyValues::FreeHeapText(pszHeap, cchRaw + 1);
        return;
    }
    pszHeap[cch] = '\0';
    pkv->AdoptHeapText(pszHeap, cchRaw + 1);
    pkv->m_iDataType = KeyValues::TYPE_STRING;
}

void CKeyValuesReader::Append(KeyValues* pkvSection, KeyValues* pkvChild)
{
    KeyValues*& pkvLast = pkvSection->m_Value.m_section.m_pLast;
    if (pkvLast)
        pkvLast->m_pPeer = pkvChild;
    else
        pkvSection->m_Value.m_pSub = pkvChild;
    pkvLast = pkvChild;
}

void CKeyValuesReader::DestroyFirstNamed(KeyValues* pkvSection, HKeySymbol nSymbol)
{
    KeyValues* pkvPrevious = nullptr;
    for (KeyValues* pkv = pkvSection->m_Value.m_pSub; pkv; pkvPrevious = pkv, pkv = pkv->m_pPeer)
    {
        if ((HKeySymbol)pkv->m_iKeyName != nSymbol)
            continue;
        (pkvPrevious ? pkvPrevious->m_pPeer : pkvSection->m_Value.m_pSub) = pkv->m_pPeer;
        if (pkvSection->m_Value.m_section.m_pLast == pkv)
            pkvSection->m_Value.m_section.m_pLast = pkvPrevious;
        pkv->m_pPeer = nullptr;
        delete pkv;
        return;
    }
}

void CKeyValuesReader::OpenSection(KeyValues* pkvSection, KeyValues* pkvParent, bool bDropWhenClosed)
{
    // The section's name, then a slot for the names of its entries.
    m_parser.PushKey(pkvSection->GetNameSymbol());
    m_parser.PushKey(INVALID_KEY_SYMBOL);
    pkvSection->m_Value.m_section.m_pLast = nullptr;
    m_bLookAhead = BKeyNamesOutgrowCaches();
    if (pkvParent)
        pkvSection->m_pPeer = (KeyValues*)((uintp)pkvParent | (bDropWhenClosed ? 1 : 0));
    m_pkvCurrent = pkvSection;
    ++m_nOpenSections;
}

bool CKeyValuesReader::BCloseSection()
{
    m_parser.PopKey();
    m_parser.PopKey();
    KeyValues* pkvSection = m_pkvCurrent;
    pkvSection->m_Value.m_section.m_pLast = nullptr;
    if (--m_nOpenSections == 0)
        return false;
    uintp uTaggedParent = (uintp)pkvSection->m_pPeer;
    KeyValues* pkvParent = (KeyValues*)(uTaggedParent & ~(uintp)1);
    bool bDrop = (uTaggedParent & 1) != 0;
    pkvSection->m_pPeer = nullptr;
    if (bDrop)
        delete pkvSection;
    else
        Append(pkvParent, pkvSection);
    m_pkvCurrent = pkvParent;
    return true;
}

void CKeyValuesReader::ReadBody(KeyValues* pkvSection)
{
    OpenSection(pkvSection, nullptr, false);
    for (;;)
    {
        if (ReadEntry() != k_EEntryClosed)
            continue;
        if (!BCloseSection())
            return;
        if (m_bStopped)
        {
            // Every open section keeps what it read and is linked into its parent.
            while (BCloseSection())
            {
            }
            return;
        }
    }
}

CKeyValuesReader::EEntryResult CKeyValuesReader::Fail(const char* pszMessage, KeyValues* pkvPending)
{
    if (pszMessage)
        m_tokenizer.ReportError(pszMessage);
    delete pkvPending;
    return k_EEntryClosed;
}

// One entry of the current section: a key and its value or nested section. An error
// ends the section at once; what it holds so far stays.
CKeyValuesReader::EEntryResult CKeyValuesReader::ReadEntry()
{
    KeyValues* pkvSection = m_pkvCurrent;
    bool bEscapes = pkvSection->m_bHasEscapeSequences;
    KeyValuesToken_s token;
    if (!BReadToken(bEscapes, &token))
        return k_EEntryClosed;
    if (token.IsEnd())
        return Fail("RecursiveLoadFromBuffer:  got EOF instead of keyname", nullptr);
    if (token.m_cchText == 0)
        return Fail("RecursiveLoadFromBuffer:  got empty keyname", nullptr);
    if (token.IsUnquoted('}'))
        return k_EEntryClosed;

    // Names the cache answers need no look-ahead.
    const KeyName_s* pNameAhead = (m_bLookAhead && m_symbolCache.BSteppedAside())
                                      ? m_lookahead.Advance(m_tokenizer, bEscapes, token)
                                      : nullptr;
    HKeySymbol nSymbol = SymbolOf(token, pNameAhead);
    KeyValues* pkvChild = NewNode(nSymbol, bEscapes);
    if (IKeyValuesReadObserver* pObserver = m_parser.GetObserver())
        pObserver->OnKey(pkvChild, m_tokenizer.StartOffset(token));
    int nSlot = m_parser.GetStackIndex() - 1;
    m_parser.SetKeyAt(nSlot, nSymbol);

    bool bAccepted = true;
    if (!BReadToken(bEscapes, &token, /* bValue */ true))
        return Fail(nullptr, pkvChild);
    if (!token.IsEnd() && token.m_bConditional)
    {
        bAccepted = BEvaluate(token);
        if (!BReadToken(bEscapes, &token, /* bValue */ true))
            return Fail(nullptr, pkvChild);
    }
    if (token.IsEnd())
        return Fail("RecursiveLoadFromBuffer:  got NULL key", pkvChild);
    if (token.IsUnquoted('='))
    {
        if (!BReadToken(bEscapes, &token, /* bValue */ true))
            return Fail(nullptr, pkvChild);
        if (!token.IsEnd() && token.m_bConditional)
        {
            // A true conditional on an assignment replaces the earlier key of that name.
            bAccepted = BEvaluate(token);
            if (!BReadToken(bEscapes, &token, /* bValue */ true))
                return Fail(nullptr, pkvChild);
            if (bAccepted)
                DestroyFirstNamed(pkvSection, nSymbol);
        }
        if (token.IsEnd())
            return Fail("RecursiveLoadFromBuffer:  got NULL key", pkvChild);
    }
    if (token.IsUnquoted('}'))
        return Fail("RecursiveLoadFromBuffer:  got } in key", pkvChild);
    if (token.IsUnquoted('{'))
    {
        if (m_nOpenSections >= k_cNestingMax)
        {
            char szMessage[96];
            V_snprintf(szMessage, sizeof(szMessage),
                       "RecursiveLoadFromBuffer:  sections nested deeper than %d levels", k_cNestingMax);
            m_bStopped = true;
            return Fail(szMessage, pkvChild);
        }
        // The nested section shows under its own name on the key stack.
        m_parser.SetKeyAt(nSlot, INVALID_KEY_SYMBOL);
        OpenSection(pkvChild, pkvSection, !bAccepted);
        return k_EEntryOpened;
    }
    if (token.m_bConditional)
        return Fail("RecursiveLoadFromBuffer:  got conditional between key and value", pkvChild);
    return ReadValueEntry(pkvChild, token, bAccepted);
}

CKeyValuesReader::EEntryResult CKeyValuesReader::ReadValueEntry(KeyValues* pkvChild,
                                                                const KeyValuesToken_s& value, bool bAccepted)
{
    KeyValues* pkvSection = m_pkvCurrent;
    SetValueFromToken(pkvChild, value);
    // A conditional may trail the value; anything else is left for the next entry.
    KeyValuesToken_s conditional;
    bool bClean;
    if (m_tokenizer.BReadConditional(pkvSection->m_bHasEscapeSequences, &conditional, &bClean))
    {
        bAccepted = BEvaluate(conditional);
        if (bAccepted)
            DestroyFirstNamed(pkvSection, pkvChild->GetNameSymbol());
    }
    if (bAccepted)
        Append(pkvSection, pkvChild);
    else
        delete pkvChild;
    return bClean ? k_EEntryNext : k_EEntryClosed;
}

// After a top-level key's name: its optional conditional, then "{" and the body.
// Returns the conditional's verdict (true without one).
bool CKeyValuesReader::BReadTopLevelBody(KeyValues* pkvKey)
{
    bool bEscapes = pkvKey->m_bHasEscapeSequences;
    bool bAccepted = true;
    KeyValuesToken_s token;
    BReadToken(bEscapes, &token);
    if (!token.IsEnd() && token.m_bConditional)
    {
        bAccepted = BEvaluate(token);
        BReadToken(bEscapes, &token);
    }
    if (!token.IsEnd() && token.IsUnquoted('{'))
    {
        ReadBody(pkvKey);
        return bAccepted;
    }
    char szMessage[1200];
    V_snprintf(szMessage, sizeof(szMessage), "LoadFromBuffer: missing {   (current key: '%s')",
               pkvKey->GetName());
    m_tokenizer.ReportError(szMessage);
    return bAccepted;
}

void CKeyValuesReader::ReadDocument(KeyValues* pkvRoot)
{
    m_tokenizer.SkipByteOrderMark();
    bool bEscapes = pkvRoot->m_bHasEscapeSequences;
    KeyValues* pkvPrevious = nullptr; // the last top-level key kept
    KeyValues* pkvKey = pkvRoot;      // the node the next top-level key goes into
    do
    {
        KeyValuesToken_s token;
        BReadToken(bEscapes, &token);
        if (token.IsEnd() || (token.m_cchText == 0 && !token.m_bQuoted))
            break;
        if (token.m_cchText == 8 && !V_strnicmp(token.m_pchText, "#include", 8))
        {
            // Nothing is ever included.
            BReadToken(bEscapes, &token);
            if (token.IsEnd() || token.m_cchText == 0)
                m_tokenizer.ReportError("#include is NULL ");
            else
                AssertFmt(false, "KeyValues don't support #include anymore, file \"%s\"",
                          m_parser.GetResourceName());
            continue;
        }
        HKeySymbol nSymbol = SymbolOf(token, nullptr);
        if (!pkvKey)
            pkvKey = NewNode(nSymbol, bEscapes);
        pkvKey->SetNameSymbol(nSymbol);
        if (IKeyValuesReadObserver* pObserver = m_parser.GetObserver())
            pObserver->OnKey(pkvKey, m_tokenizer.StartOffset(token));
        if (pkvPrevious)
        {
            // Later top-level keys are chained as peers, in front of any the root had.
            pkvKey->m_pPeer = pkvPrevious->m_pPeer;
            pkvPrevious->m_pPeer = pkvKey;
        }
        bool bAccepted = BReadTopLevelBody(pkvKey);
        if (bAccepted)
        {
            pkvPrevious = pkvKey;
            pkvKey = nullptr;
            continue;
        }
        // A key whose conditional failed is emptied and takes the next key's name.
        if (pkvPrevious)
        {
            pkvPrevious->m_pPeer = pkvKey->m_pPeer;
            pkvKey->m_pPeer = nullptr;
        }
        pkvKey->Clear();
    } while (!m_tokenizer.BInErrorState() && !m_bStopped);
    if (pkvKey && pkvKey != pkvRoot)
        delete pkvKey;
    m_tokenizer.SyncBuffer();
}

bool KeyValues::LoadFromBuffer(const char* pszResourceName, CUtlBuffer& buf, CKeyValuesParser* pParser)
{
    AssertFmt(buf.GetFlags() & CUtlBuffer::TEXT_BUFFER, "buf.GetFlags() & CUtlBuffer::TEXT_BUFFER");
    CKeyValuesParser* pOwnParser = pParser ? nullptr : new CKeyValuesParser();
    CKeyValuesParser& parser = pParser ? *pParser : *pOwnParser;
    parser.BeginLoad(pszResourceName ? pszResourceName : "NULL");
    Clear();
    CKeyValuesReader(buf, parser).ReadDocument(this);
    bool bClean = !parser.BHasErrors();
    AssertFmt(bClean, "Error while parsing text KeyValues for resource %s", parser.GetResourceName());
    delete pOwnParser;
    return bClean;
}
