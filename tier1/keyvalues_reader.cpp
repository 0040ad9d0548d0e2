// The KeyValues text reader. Documents come from outside and may nest a million levels,
// so sections are read with an explicit stack, and that stack lives in the open sections
// themselves: while a nested section is being filled its peer link points at the
// section that encloses it and the second word of its value is the last child appended.
// Both are put back before the section is linked into its parent, so nesting costs no
// memory beyond the nodes.

#include <cstring>
#include <new>

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
bool IsNumberCandidateChar(char ch)
{
    return (ch >= '0' && ch <= '9') || ch == ' ' || ch == '+' || ch == ',' || ch == '-' || ch == '.';
}

// A value is an integer when it is made of blanks, signs, commas, dots and digits only,
// converts in full as a signed 32-bit base-10 number without going out of range, and
// does not begin with "0" (unless it is exactly "0"). Everything else stays text.
bool BTokenIsInteger(const char* pch, uint32 cch, int32* pnValue)
{
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

    KeyValues* New(HKeySymbol nSymbol)
    {
        if (m_cNodes == 0)
            m_cNodes = KeyValuesPoolAllocBatch(m_rgpNodes, k_cBatch);
        return ::new (m_rgpNodes[--m_cNodes]) KeyValues(nSymbol);
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
    bool BReadToken(bool bUseEscapes, KeyValuesToken_s* pToken)
    {
        return m_tokenizer.BReadToken(bUseEscapes, pToken);
    }
    HKeySymbol SymbolOf(const KeyValuesToken_s& token);
    bool BEvaluate(const KeyValuesToken_s& token);

    void ReadBody(KeyValues* pkvSection);
    void OpenSection(KeyValues* pkvSection, KeyValues* pkvParent, bool bDropWhenClosed);
    // Closes the current section; false when that was the outermost one.
    bool BCloseSection();
    EEntryResult ReadEntry();
    EEntryResult ReadValueEntry(KeyValues* pkvChild, const KeyValuesToken_s& value, bool bAccepted);
    void Append(KeyValues* pkvSection, KeyValues* pkvChild);
    void DestroyFirstNamed(KeyValues* pkvSection, HKeySymbol nSymbol);
    static void SetValueFromToken(KeyValues* pkv, const KeyValuesToken_s& token);
    EEntryResult Fail(const char* pszMessage, KeyValues* pkvPending);

    CKeyValuesTokenizer m_tokenizer;
    CKeyValuesParser& m_parser;
    CKeySymbolCache m_symbolCache;
    CNodeBatch m_nodes;
    KeyValues* m_pkvCurrent = nullptr; // the innermost open section
    int m_nOpenSections = 0;
};

HKeySymbol CKeyValuesReader::SymbolOf(const KeyValuesToken_s& token)
{
    uint32 nSlot;
    uint64 ulHash;
    HKeySymbol nSymbol =
        m_symbolCache.Find(token.m_pchText, token.m_cchText, m_tokenizer.ReadableEnd(token), &nSlot, &ulHash);
    if (nSymbol != INVALID_KEY_SYMBOL)
        return nSymbol;
    const char* pszName = m_tokenizer.TerminatedText(token);
    nSymbol = KeyValuesSystem()->GetSymbolForString(pszName, true);
    m_symbolCache.Store(nSlot, ulHash, pszName, token.m_cchText, nSymbol);
    return nSymbol;
}

bool CKeyValuesReader::BEvaluate(const KeyValuesToken_s& token)
{
    const char* pszText = m_tokenizer.TerminatedText(token);
    const char* pchBracket = strchr(pszText, '[');
    return EvaluateConditional(pchBracket ? pchBracket + 1 : pszText, KeyValuesPlatformLookup);
}

void CKeyValuesReader::SetValueFromToken(KeyValues* pkv, const KeyValuesToken_s& token)
{
    int32 nValue;
    if (BTokenIsInteger(token.m_pchText, token.m_cchText, &nValue))
    {
        pkv->m_Value.m_nValue = nValue;
        pkv->m_iDataType = KeyValues::TYPE_INT;
        return;
    }
    pkv->SetInlineOrHeapString(token.m_pchText, token.m_cchText);
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
    if (pkvParent)
    {
        pkvSection->m_pPeer = pkvParent;
        pkvSection->m_iUnused = bDropWhenClosed;
    }
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
    KeyValues* pkvParent = pkvSection->m_pPeer;
    bool bDrop = pkvSection->m_iUnused;
    pkvSection->m_pPeer = nullptr;
    pkvSection->m_iUnused = 0;
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
        if (ReadEntry() == k_EEntryClosed && !BCloseSection())
            return;
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

    HKeySymbol nSymbol = SymbolOf(token);
    KeyValues* pkvChild = m_nodes.New(nSymbol);
    pkvChild->m_bHasEscapeSequences = bEscapes;
    int nSlot = m_parser.GetStackIndex() - 1;
    m_parser.SetKeyAt(nSlot, nSymbol);

    bool bAccepted = true;
    if (!BReadToken(bEscapes, &token))
        return Fail(nullptr, pkvChild);
    if (!token.IsEnd() && token.m_bConditional)
    {
        bAccepted = BEvaluate(token);
        if (!BReadToken(bEscapes, &token))
            return Fail(nullptr, pkvChild);
    }
    if (token.IsEnd())
        return Fail("RecursiveLoadFromBuffer:  got NULL key", pkvChild);
    if (token.IsUnquoted('='))
    {
        if (!BReadToken(bEscapes, &token))
            return Fail(nullptr, pkvChild);
        if (!token.IsEnd() && token.m_bConditional)
        {
            // A true conditional on an assignment replaces the earlier key of that name.
            bAccepted = BEvaluate(token);
            if (!BReadToken(bEscapes, &token))
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
    // A conditional may trail the value; anything else is put back.
    int ichBeforePeek = m_tokenizer.Tell();
    KeyValuesToken_s peek;
    bool bPeekClean = BReadToken(pkvSection->m_bHasEscapeSequences, &peek);
    if (!peek.IsEnd() && peek.m_bConditional)
    {
        bAccepted = BEvaluate(peek);
        if (bAccepted)
            DestroyFirstNamed(pkvSection, pkvChild->GetNameSymbol());
    }
    else if (bPeekClean)
    {
        m_tokenizer.PutBack(peek, ichBeforePeek, pkvSection->m_bHasEscapeSequences);
    }
    if (bAccepted)
        Append(pkvSection, pkvChild);
    else
        delete pkvChild;
    return bPeekClean ? k_EEntryNext : k_EEntryClosed;
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
        HKeySymbol nSymbol = SymbolOf(token);
        if (!pkvKey)
        {
            pkvKey = m_nodes.New(nSymbol);
            pkvKey->m_bHasEscapeSequences = bEscapes;
        }
        pkvKey->SetNameSymbol(nSymbol);
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
    } while (!m_tokenizer.BInErrorState());
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
