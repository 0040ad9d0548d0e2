// The KeyValues text writer. Text is assembled in a staging area and handed to the buffer
// in large pieces; a line is built in one reservation of the staging area, with its name
// from a cache of converted-name facts and its number from a digit table. The walk keeps
// its own stack, so a tree of any depth is written (or the buffer runs full and the
// write ends there).

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tier0/dbg.h"
#include "tier0/platform.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace
{
// Characters WriteConvertedString may change, per mode: bit 0 always, bit 1 with
// escapes, bit 2 when lower-casing.
struct ConvertTable_s
{
    uint8 m_rgfSpecial[256];

    constexpr ConvertTable_s() : m_rgfSpecial()
    {
        m_rgfSpecial[(uint8)'"'] = 1;
        m_rgfSpecial[(uint8)'\\'] = 2;
        for (int ch = 'A'; ch <= 'Z'; ++ch)
            m_rgfSpecial[ch] = 4;
    }
};

constexpr ConvertTable_s k_convertTable;

// Value types written as text, by the 4-bit type field (colour and wide text are special).
constexpr bool k_rgbHasTextForm[16] = {
    false, true /* string */, true /* int */,   true /* float */, false, false, false, true /* uint64 */,
    false, true /* binary */, true /* int64 */,
};

// Collects text and passes it on to the buffer when the staging area fills up.
class CTextStage
{
public:
    // On the heap: a save may run deep in a 2 MiB main-thread stack.
    explicit CTextStage(CUtlBuffer& buf) : m_buf(buf), m_rgch((char*)malloc(k_cchStage))
    {
        AssertFatal(m_rgch);
    }
    ~CTextStage()
    {
        Flush();
        free(m_rgch);
    }
    CTextStage(const CTextStage&) = delete;
    CTextStage& operator=(const CTextStage&) = delete;

    void Flush()
    {
        if (m_cch)
            m_buf.Put(m_rgch, m_cch);
        m_cch = 0;
    }
    // Room for cch more characters; callers ask for at most k_cchReserveMax at a time.
    char* Reserve(int cch)
    {
        if (m_cch + cch > k_cchStage)
            Flush();
        return m_rgch + m_cch;
    }
    void Commit(int cch) { m_cch += cch; }
    void Append(const char* pch, int cch)
    {
        if (cch > k_cchReserveMax)
        {
            Flush();
            m_buf.Put(pch, cch);
            return;
        }
        char* pchOut = Reserve(cch);
        // Most pieces are a few characters: a loop beats a library call.
        if (cch <= 16)
        {
            for (int i = 0; i < cch; ++i)
                pchOut[i] = pch[i];
        }
        else
        {
            memcpy(pchOut, pch, (size_t)cch);
        }
        m_cch += cch;
    }
    void AppendChar(char ch) { Append(&ch, 1); }
    void AppendTabs(int cTabs)
    {
        if (cTabs <= 16)
        {
            char* pchOut = Reserve(cTabs);
            for (int i = 0; i < cTabs; ++i)
                pchOut[i] = '\t';
            m_cch += cTabs;
            return;
        }
        while (cTabs > 0)
        {
            int cch = cTabs < k_cchReserveMax ? cTabs : k_cchReserveMax;
            memset(Reserve(cch), '\t', (size_t)cch);
            m_cch += cch;
            cTabs -= cch;
        }
    }
    // Stops the walk of a tree that no longer fits the buffer.
    bool BFailed() const { return !m_buf.IsValid(); }

    static constexpr int k_cchReserveMax = 16384;

private:
    CUtlBuffer& m_buf;
    static constexpr int k_cchStage = 65536;
    int m_cch = 0;
    char* m_rgch;
};

struct DigitPairs_s
{
    char m_rgch[200];

    constexpr DigitPairs_s() : m_rgch()
    {
        for (int i = 0; i < 100; ++i)
        {
            m_rgch[2 * i] = (char)('0' + i / 10);
            m_rgch[2 * i + 1] = (char)('0' + i % 10);
        }
    }
};

constexpr DigitPairs_s k_digitPairs;

// Decimal digits of ulValue at pch; returns the end. Two digits per division.
char* PutUnsigned(char* pch, uint64 ulValue)
{
    int cDigits = 1;
    for (uint64 ulRest = ulValue; ulRest >= 10; ulRest /= 10)
        ++cDigits;
    char* pchEnd = pch + cDigits;
    char* pchOut = pchEnd;
    for (; ulValue >= 100; ulValue /= 100)
    {
        pchOut -= 2;
        memcpy(pchOut, &k_digitPairs.m_rgch[2 * (ulValue % 100)], 2);
    }
    if (ulValue >= 10)
        memcpy(pchOut - 2, &k_digitPairs.m_rgch[2 * ulValue], 2);
    else
        pchOut[-1] = (char)('0' + ulValue);
    return pchEnd;
}

constexpr int k_cchIntegerMax = 20; // "-9223372036854775808" and "18446744073709551615"

char* PutInteger(char* pch, int64 llValue, bool bUnsigned)
{
    bool bNegative = !bUnsigned && llValue < 0;
    if (bNegative)
        *pch++ = '-';
    return PutUnsigned(pch, bNegative ? 0 - (uint64)llValue : (uint64)llValue);
}

constexpr int k_cchFloatMax = 32; // "%.18g" of a float widened to double: at most 26

char* PutFloat(char* pch, float flValue)
{
    // Positive zero and exactly one have their own short forms; -0 goes through "%.18g".
    if (flValue == 0.0f && !std::signbit(flValue))
    {
        *pch = '0';
        return pch + 1;
    }
    if (flValue == 1.0f)
    {
        *pch = '1';
        return pch + 1;
    }
    char szText[64];
    int cch = snprintf(szText, sizeof(szText), "%.18g", (double)flValue);
    cch = cch < 0 ? 0 : (cch < k_cchFloatMax ? cch : k_cchFloatMax);
    memcpy(pch, szText, (size_t)cch);
    return pch + cch;
}

char* PutHex(char* pch, const uint8* pubData, uint32 cubData)
{
    static const char k_rgchHex[] = "0123456789abcdef";
    for (uint32 i = 0; i < cubData; ++i)
    {
        *pch++ = k_rgchHex[pubData[i] >> 4];
        *pch++ = k_rgchHex[pubData[i] & 0xF];
    }
    return pch;
}

void AppendHex(CTextStage& stage, const uint8* pubData, uint32 cubData)
{
    for (uint32 i = 0; i < cubData;)
    {
        uint32 cub =
            cubData - i < CTextStage::k_cchReserveMax / 2 ? cubData - i : CTextStage::k_cchReserveMax / 2;
        char* pch = stage.Reserve((int)cub * 2);
        stage.Commit((int)(PutHex(pch, pubData + i, cub) - pch));
        i += cub;
    }
}

// Tabs in steps of eight: the reservation has room for the overshoot.
constexpr int k_cchTabSlack = 8;

char* PutTabs(char* pch, int cTabs)
{
    for (int i = 0; i < cTabs; i += 8)
        memcpy(pch + i, "\t\t\t\t\t\t\t\t", 8);
    return pch + cTabs;
}

// The first character of [pch, pchEnd) that the conversion changes (its class in the
// table, masked by fMode, is non-zero); pchEnd if none.
const char* FindConverted(const char* pch, const char* pchEnd, uint8 fMode)
{
#if defined(__SSE2__)
    if (!(fMode & 4))
    {
        // Values: only quotes, and backslashes when escaping, are converted.
        const __m128i vQuote = _mm_set1_epi8('"');
        const __m128i vBackslash = _mm_set1_epi8((fMode & 2) ? '\\' : '"');
        for (; pchEnd - pch >= 16; pch += 16)
        {
            __m128i v = _mm_loadu_si128((const __m128i*)pch);
            unsigned nMask = (unsigned)_mm_movemask_epi8(
                _mm_or_si128(_mm_cmpeq_epi8(v, vQuote), _mm_cmpeq_epi8(v, vBackslash)));
            if (nMask)
                return pch + __builtin_ctz(nMask);
        }
    }
#endif
    while (pch < pchEnd && !(k_convertTable.m_rgfSpecial[(uint8)*pch] & fMode))
        ++pch;
    return pch;
}

// cch characters converted at pchOut, which has room for twice as many; returns the end.
char* PutConverted(char* pchOut, const char* pch, size_t cch, uint8 fMode)
{
    const char* pchEnd = pch + cch;
    for (;;)
    {
        const char* pchSpecial = FindConverted(pch, pchEnd, fMode);
        memcpy(pchOut, pch, (size_t)(pchSpecial - pch));
        pchOut += pchSpecial - pch;
        if (pchSpecial == pchEnd)
            return pchOut;
        char ch = *pchSpecial;
        if (k_convertTable.m_rgfSpecial[(uint8)ch] & fMode & 4)
        {
            *pchOut++ = V_tolower_ascii(ch);
        }
        else
        {
            *pchOut++ = '\\';
            *pchOut++ = ch;
        }
        pch = pchSpecial + 1;
    }
}
} // namespace

class CKeyValuesWriter
{
public:
    CKeyValuesWriter(CUtlBuffer& buf, int nFlags)
        : m_stage(buf), m_nFlags(nFlags), m_pNames((NameFacts_s*)calloc(k_cNames, sizeof(NameFacts_s)))
    {
        AssertFatal(m_pNames);
    }
    ~CKeyValuesWriter() { free(m_pNames); }
    CKeyValuesWriter(const CKeyValuesWriter&) = delete;
    CKeyValuesWriter& operator=(const CKeyValuesWriter&) = delete;

    void WriteTree(const KeyValues* pkvTop);

private:
    // A key name's pooled text, its length and the conversion classes of its characters.
    struct NameFacts_s
    {
        const char* m_pszText; // null: the slot is empty
        uint32 m_cch;
        HKeySymbol m_nSymbol;
        uint8 m_fClasses;
    };
    // A direct-mapped cache by symbol, big enough for the thousands of distinct names of a
    // large document; its pages are touched only as names arrive.
    static constexpr int k_nNameBits = 14;
    static constexpr uint32 k_cNames = 1u << k_nNameBits;

    NameFacts_s& NameSlot(HKeySymbol nSymbol) const
    {
        return m_pNames[((uint32)nSymbol * 0x9E3779B1u) >> (32 - k_nNameBits)];
    }
    const NameFacts_s& NameOf(HKeySymbol nSymbol);
    // Conversion classes that apply to text written in pkvSection (see k_convertTable).
    static uint8 ModeOf(const KeyValues* pkvSection, bool bLowerCase)
    {
        return (uint8)(1 | (pkvSection->m_bHasEscapeSequences ? 2 : 0) | (bLowerCase ? 4 : 0));
    }
    char* PutName(char* pch, const NameFacts_s& name, uint8 fMode)
    {
        if (!(name.m_fClasses & fMode))
        {
            memcpy(pch, name.m_pszText, name.m_cch);
            return pch + name.m_cch;
        }
        return PutConverted(pch, name.m_pszText, name.m_cch, fMode);
    }
    void WriteSectionHead(const KeyValues* pkvSection, int nDepth);
    void WriteSectionTail(int nDepth);
    // A value child's line; nothing for types without a text form.
    void WriteValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth);
    // The longest text the value can take, for the line's reservation.
    static size_t MaxValueText(const KeyValues* pkvValue, size_t cchString);
    char* PutValueText(char* pch, const KeyValues* pkvSection, const KeyValues* pkvValue, size_t cchString);
    // Lines too long for one reservation, and wide strings, go out piece by piece.
    void WriteLongValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth);
    void WriteWideValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth);
    void WriteConvertedString(const KeyValues* pkvSection, const char* pszText, bool bLowerCase);
    bool BLowerCaseNames() const { return (m_nFlags & k_EKVSaveLowerCaseNames) != 0; }

    CTextStage m_stage;
    int m_nFlags;
    NameFacts_s* m_pNames;
};

const CKeyValuesWriter::NameFacts_s& CKeyValuesWriter::NameOf(HKeySymbol nSymbol)
{
    NameFacts_s& name = NameSlot(nSymbol);
    if (name.m_pszText && name.m_nSymbol == nSymbol)
        return name;
    const char* pszText = KeyValuesSystem()->GetStringForSymbol(nSymbol);
    uint8 fClasses = 0;
    const char* pch = pszText;
    for (; *pch; ++pch)
        fClasses |= k_convertTable.m_rgfSpecial[(uint8)*pch];
    name = {pszText, (uint32)(pch - pszText), nSymbol, fClasses};
    return name;
}

void CKeyValuesWriter::WriteConvertedString(const KeyValues* pkvSection, const char* pszText, bool bLowerCase)
{
    uint8 fMode = ModeOf(pkvSection, bLowerCase);
    // Converted in pieces straight into the staging area; a character takes at most two.
    for (size_t cchLeft = strlen(pszText); cchLeft;)
    {
        size_t cchPiece =
            cchLeft < CTextStage::k_cchReserveMax / 2 ? cchLeft : CTextStage::k_cchReserveMax / 2;
        char* pchOut = m_stage.Reserve((int)(2 * cchPiece));
        m_stage.Commit((int)(PutConverted(pchOut, pszText, cchPiece, fMode) - pchOut));
        pszText += cchPiece;
        cchLeft -= cchPiece;
    }
}

void CKeyValuesWriter::WriteSectionHead(const KeyValues* pkvSection, int nDepth)
{
    const NameFacts_s& name = NameOf(pkvSection->m_iKeyName);
    size_t cchLine = 2 * (size_t)nDepth + 2 * (size_t)name.m_cch + 6 + k_cchTabSlack;
    if (cchLine > CTextStage::k_cchReserveMax)
    {
        m_stage.AppendTabs(nDepth);
        m_stage.AppendChar('"');
        WriteConvertedString(pkvSection, name.m_pszText, BLowerCaseNames());
        m_stage.Append("\"\n", 2);
        m_stage.AppendTabs(nDepth);
        m_stage.Append("{\n", 2);
        return;
    }
    char* pchStart = m_stage.Reserve((int)cchLine);
    char* pch = PutTabs(pchStart, nDepth);
    *pch++ = '"';
    pch = PutName(pch, name, ModeOf(pkvSection, BLowerCaseNames()));
    *pch++ = '"';
    *pch++ = '\n';
    pch = PutTabs(pch, nDepth);
    *pch++ = '{';
    *pch++ = '\n';
    m_stage.Commit((int)(pch - pchStart));
}

void CKeyValuesWriter::WriteSectionTail(int nDepth)
{
    if (nDepth + 2 + k_cchTabSlack > CTextStage::k_cchReserveMax)
    {
        m_stage.AppendTabs(nDepth);
        m_stage.Append("}\n", 2);
        return;
    }
    char* pchStart = m_stage.Reserve(nDepth + 2 + k_cchTabSlack);
    char* pch = PutTabs(pchStart, nDepth);
    *pch++ = '}';
    *pch++ = '\n';
    m_stage.Commit((int)(pch - pchStart));
}

size_t CKeyValuesWriter::MaxValueText(const KeyValues* pkvValue, size_t cchString)
{
    switch (pkvValue->m_iDataType)
    {
        case KeyValues::TYPE_STRING:
            return 2 * cchString;
        case KeyValues::TYPE_BINARY:
            return 2 * (size_t)pkvValue->m_Value.m_binary.m_cubData;
        case KeyValues::TYPE_FLOAT:
            return k_cchFloatMax;
        default:
            return k_cchIntegerMax;
    }
}

char* CKeyValuesWriter::PutValueText(char* pch, const KeyValues* pkvSection, const KeyValues* pkvValue,
                                     size_t cchString)
{
    const KeyValues::Value_u& value = pkvValue->m_Value;
    switch (pkvValue->m_iDataType)
    {
        case KeyValues::TYPE_STRING:
            return PutConverted(pch, pkvValue->StringText(), cchString, ModeOf(pkvSection, false));
        case KeyValues::TYPE_INT:
            return PutInteger(pch, value.m_nValue, false);
        case KeyValues::TYPE_FLOAT:
            return PutFloat(pch, value.m_flValue);
        case KeyValues::TYPE_UINT64:
            return PutInteger(pch, (int64)value.m_ulValue, (m_nFlags & k_EKVSaveUint64Unsigned) != 0);
        case KeyValues::TYPE_INT64:
            return PutInteger(pch, value.m_llValue, false);
        case KeyValues::TYPE_BINARY:
            return PutHex(pch, value.m_binary.m_pubData, value.m_binary.m_cubData);
        default:
            AssertFmt(false, "no text form for type %d", (int)pkvValue->m_iDataType);
            return pch;
    }
}

void CKeyValuesWriter::WriteValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth)
{
    int nType = pkvValue->m_iDataType;
    if (nType == KeyValues::TYPE_COLOR)
    {
        Warning("KeyValues::RecursiveSaveToFile: TODO, missing code for TYPE_COLOR.\n");
        return;
    }
    if (nType == KeyValues::TYPE_WSTRING)
        return WriteWideValue(pkvSection, pkvValue, nDepth);
    if (!k_rgbHasTextForm[nType])
        return; // pointers, the reserved type and unknown types

    const NameFacts_s& name = NameOf(pkvValue->m_iKeyName);
    size_t cchString = nType == KeyValues::TYPE_STRING ? strlen(pkvValue->StringText()) : 0;
    size_t cchLine =
        (size_t)nDepth + 2 * (size_t)name.m_cch + MaxValueText(pkvValue, cchString) + 7 + k_cchTabSlack;
    if (cchLine > CTextStage::k_cchReserveMax)
        return WriteLongValue(pkvSection, pkvValue, nDepth);
    char* pchStart = m_stage.Reserve((int)cchLine);
    char* pch = PutTabs(pchStart, nDepth);
    *pch++ = '"';
    pch = PutName(pch, name, ModeOf(pkvSection, BLowerCaseNames()));
    memcpy(pch, "\"\t\t\"", 4);
    pch = PutValueText(pch + 4, pkvSection, pkvValue, cchString);
    *pch++ = '"';
    *pch++ = '\n';
    m_stage.Commit((int)(pch - pchStart));
}

void CKeyValuesWriter::WriteLongValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth)
{
    m_stage.AppendTabs(nDepth);
    m_stage.AppendChar('"');
    WriteConvertedString(pkvSection, pkvValue->GetName(), BLowerCaseNames());
    m_stage.Append("\"\t\t\"", 4);
    if (pkvValue->m_iDataType == KeyValues::TYPE_STRING)
    {
        WriteConvertedString(pkvSection, pkvValue->StringText(), false);
    }
    else if (pkvValue->m_iDataType == KeyValues::TYPE_BINARY)
    {
        AppendHex(m_stage, pkvValue->m_Value.m_binary.m_pubData, pkvValue->m_Value.m_binary.m_cubData);
    }
    else
    {
        char szText[k_cchFloatMax > k_cchIntegerMax ? k_cchFloatMax : k_cchIntegerMax];
        m_stage.Append(szText, (int)(PutValueText(szText, pkvSection, pkvValue, 0) - szText));
    }
    m_stage.Append("\"\n", 2);
}

void CKeyValuesWriter::WriteWideValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth)
{
    // The name goes out as it stands; a value that cannot be converted drops the line.
    int cubUTF8 = V_UTF16ToUTF8(pkvValue->WideText(), nullptr, 0);
    std::vector<char> vecUTF8((size_t)(cubUTF8 > 0 ? cubUTF8 : 1));
    if (cubUTF8 <= 0 || V_UTF16ToUTF8(pkvValue->WideText(), vecUTF8.data(), cubUTF8) == 0)
        return;
    m_stage.AppendTabs(nDepth);
    m_stage.AppendChar('"');
    const char* pszName = pkvValue->GetName();
    m_stage.Append(pszName, (int)strlen(pszName));
    m_stage.Append("\"\t\t\"", 4);
    WriteConvertedString(pkvSection, vecUTF8.data(), false);
    m_stage.Append("\"\n", 2);
}

void CKeyValuesWriter::WriteTree(const KeyValues* pkvTop)
{
    // One entry per open section: the child to write next.
    struct Open_s
    {
        const KeyValues* m_pkvSection;
        const KeyValues* m_pkvNext;
    };
    std::vector<Open_s> vecOpen;
    WriteSectionHead(pkvTop, 0);
    vecOpen.push_back({pkvTop, pkvTop->GetFirstSubKey()});
    while (!vecOpen.empty() && !m_stage.BFailed())
    {
        Open_s& open = vecOpen.back();
        int nDepth = (int)vecOpen.size();
        const KeyValues* pkvChild = open.m_pkvNext;
        if (!pkvChild)
        {
            vecOpen.pop_back();
            WriteSectionTail(nDepth - 1);
            continue;
        }
        open.m_pkvNext = pkvChild->m_pPeer;
        // The next name's facts are a cache miss in a document of many names: start it now.
        if (open.m_pkvNext)
            __builtin_prefetch(&NameSlot(open.m_pkvNext->m_iKeyName));
        if (pkvChild->m_iDataType == KeyValues::TYPE_NONE)
        {
            WriteSectionHead(pkvChild, nDepth);
            vecOpen.push_back({pkvChild, pkvChild->GetFirstSubKey()});
        }
        else
        {
            WriteValue(open.m_pkvSection, pkvChild, nDepth);
        }
    }
}

bool KeyValues::SaveToBuffer(CUtlBuffer& buf, bool bWritePeers, int nFlags) const
{
    {
        CKeyValuesWriter writer(buf, nFlags);
        for (const KeyValues* pkv = this; pkv; pkv = bWritePeers ? pkv->m_pPeer : nullptr)
            writer.WriteTree(pkv);
    }
    return buf.IsValid();
}

void KeyValues::DumpToDebugOutput() const
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    SaveToBuffer(buf);
    Plat_OutputDebugString(buf.TellPut() > 0 ? buf.String() : "<empty>\n");
}
