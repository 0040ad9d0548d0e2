// The KeyValues text writer. Text is assembled in a staging area and handed to the buffer
// in large pieces; the walk keeps its own stack, so a tree of any depth is written (or
// the buffer runs full and the write ends there).

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

char* FormatUnsigned(char* pchEnd, uint64 ulValue)
{
    do
    {
        *--pchEnd = (char)('0' + ulValue % 10);
        ulValue /= 10;
    } while (ulValue);
    return pchEnd;
}

void AppendInteger(CTextStage& stage, int64 llValue, bool bUnsigned)
{
    char szDigits[24];
    char* pchEnd = szDigits + sizeof(szDigits);
    bool bNegative = !bUnsigned && llValue < 0;
    char* pch = FormatUnsigned(pchEnd, bNegative ? 0 - (uint64)llValue : (uint64)llValue);
    if (bNegative)
        *--pch = '-';
    stage.Append(pch, (int)(pchEnd - pch));
}

void AppendFloat(CTextStage& stage, float flValue)
{
    // Positive zero and exactly one have their own short forms; -0 goes through "%.18g".
    if (flValue == 0.0f && !std::signbit(flValue))
        return stage.AppendChar('0');
    if (flValue == 1.0f)
        return stage.AppendChar('1');
    char szText[64];
    int cch = snprintf(szText, sizeof(szText), "%.18g", (double)flValue);
    if (cch > 0)
        stage.Append(szText, cch < (int)sizeof(szText) ? cch : (int)sizeof(szText) - 1);
}

void AppendHex(CTextStage& stage, const uint8* pubData, uint32 cubData)
{
    static const char k_rgchHex[] = "0123456789abcdef";
    for (uint32 i = 0; i < cubData;)
    {
        uint32 cub =
            cubData - i < CTextStage::k_cchReserveMax / 2 ? cubData - i : CTextStage::k_cchReserveMax / 2;
        char* pch = stage.Reserve((int)cub * 2);
        for (uint32 j = 0; j < cub; ++j, ++i)
        {
            pch[2 * j] = k_rgchHex[pubData[i] >> 4];
            pch[2 * j + 1] = k_rgchHex[pubData[i] & 0xF];
        }
        stage.Commit((int)cub * 2);
    }
}
} // namespace

class CKeyValuesWriter
{
public:
    CKeyValuesWriter(CUtlBuffer& buf, int nFlags) : m_stage(buf), m_nFlags(nFlags) {}

    void WriteTree(const KeyValues* pkvTop);

private:
    void WriteSectionHead(const KeyValues* pkvSection, int nDepth);
    void WriteSectionTail(int nDepth);
    // A value child's line; nothing for types without a text form.
    void WriteValue(const KeyValues* pkvSection, const KeyValues* pkvValue, int nDepth);
    void WriteValueText(const KeyValues* pkvSection, const KeyValues* pkvValue);
    void WriteConvertedString(const KeyValues* pkvSection, const char* pszText, bool bLowerCase);
    bool BLowerCaseNames() const { return (m_nFlags & k_EKVSaveLowerCaseNames) != 0; }

    CTextStage m_stage;
    int m_nFlags;
};

void CKeyValuesWriter::WriteConvertedString(const KeyValues* pkvSection, const char* pszText, bool bLowerCase)
{
    uint8 fSpecial = 1 | (pkvSection->m_bHasEscapeSequences ? 2 : 0) | (bLowerCase ? 4 : 0);
    const char* pch = pszText;
    // Converted in pieces straight into the staging area; a character takes at most two.
    for (size_t cchLeft = strlen(pszText); cchLeft;)
    {
        size_t cchPiece =
            cchLeft < CTextStage::k_cchReserveMax / 2 ? cchLeft : CTextStage::k_cchReserveMax / 2;
        char* pchOut = m_stage.Reserve((int)(2 * cchPiece));
        char* pchStart = pchOut;
        for (const char* pchEnd = pch + cchPiece; pch < pchEnd; ++pch)
        {
            char ch = *pch;
            uint8 f = k_convertTable.m_rgfSpecial[(uint8)ch] & fSpecial;
            if (!f)
            {
                *pchOut++ = ch;
            }
            else if (f & 4)
            {
                *pchOut++ = V_tolower_ascii(ch);
            }
            else
            {
                *pchOut++ = '\\';
                *pchOut++ = ch;
            }
        }
        m_stage.Commit((int)(pchOut - pchStart));
        cchLeft -= cchPiece;
    }
}

void CKeyValuesWriter::WriteSectionHead(const KeyValues* pkvSection, int nDepth)
{
    m_stage.AppendTabs(nDepth);
    m_stage.AppendChar('"');
    WriteConvertedString(pkvSection, pkvSection->GetName(), BLowerCaseNames());
    m_stage.Append("\"\n", 2);
    m_stage.AppendTabs(nDepth);
    m_stage.Append("{\n", 2);
}

void CKeyValuesWriter::WriteSectionTail(int nDepth)
{
    m_stage.AppendTabs(nDepth);
    m_stage.Append("}\n", 2);
}

void CKeyValuesWriter::WriteValueText(const KeyValues* pkvSection, const KeyValues* pkvValue)
{
    const KeyValues::Value_u& value = pkvValue->m_Value;
    switch (pkvValue->m_iDataType)
    {
        case KeyValues::TYPE_STRING:
            WriteConvertedString(pkvSection, pkvValue->StringText(), false);
            break;
        case KeyValues::TYPE_INT:
            AppendInteger(m_stage, value.m_nValue, false);
            break;
        case KeyValues::TYPE_FLOAT:
            AppendFloat(m_stage, value.m_flValue);
            break;
        case KeyValues::TYPE_UINT64:
            AppendInteger(m_stage, (int64)value.m_ulValue, (m_nFlags & k_EKVSaveUint64Unsigned) != 0);
            break;
        case KeyValues::TYPE_INT64:
            AppendInteger(m_stage, value.m_llValue, false);
            break;
        case KeyValues::TYPE_BINARY:
            AppendHex(m_stage, value.m_binary.m_pubData, value.m_binary.m_cubData);
            break;
        default:
            AssertFmt(false, "no text form for type %d", (int)pkvValue->m_iDataType);
            break;
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
        return;
    }
    if (!k_rgbHasTextForm[nType])
        return; // pointers, the reserved type and unknown types

    m_stage.AppendTabs(nDepth);
    m_stage.AppendChar('"');
    WriteConvertedString(pkvSection, pkvValue->GetName(), BLowerCaseNames());
    m_stage.Append("\"\t\t\"", 4);
    WriteValueText(pkvSection, pkvValue);
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
