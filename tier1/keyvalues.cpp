// KeyValues nodes: structure, lifetime and value conversions. Trees can be a million
// levels deep or a million peers long, so no walk here recurses.

#include "tier1/keyvalues.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "keyvalues_pool.h"
#include "tier0/dbg.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{
// A path segment before a "/" is cut to this many characters.
constexpr size_t k_cchPathSegmentMax = 1023;
// GetString's conversion of wide text stops at this many UTF-8 bytes.
constexpr int k_cubWideAsUTF8 = 512;
constexpr uint32 k_unKeySymbolMask = (1u << 25) - 1;

void* AllocOrDie(size_t cub)
{
    void* pMem = malloc(cub);
    AssertFatal(pMem);
    return pMem;
}

bool IsDecimalDigit(uint32 ch)
{
    return ch >= '0' && ch <= '9';
}

struct ParsedInteger_s
{
    uint64 m_ulValue; // wraps on overflow; callers keep the bits they need
    EKVGetStatus m_eStatus;
};

// The leading integer of a text: a sign, then "0x" hex, a quote and one character (its
// code), or decimal digits. Wide text knows only the decimal form.
template <typename TChar>
ParsedInteger_s ParseIntegerText(const TChar* pch, bool bAllForms)
{
    if (*pch == 0)
        return {0, k_EKVGetStatusEmptyText};
    bool bNegative = (*pch == '-');
    if (*pch == '-' || *pch == '+')
        ++pch;
    uint64 ulValue = 0;
    bool bAnyDigit = false;
    if (bAllForms && pch[0] == '0' && (pch[1] == 'x' || pch[1] == 'X') && V_HexDigitValue(pch[2]) >= 0)
    {
        for (pch += 2; V_HexDigitValue(*pch) >= 0; ++pch)
            ulValue = ulValue * 16 + (uint64)V_HexDigitValue(*pch);
        bAnyDigit = true;
    }
    else if (bAllForms && pch[0] == '\'' && pch[1] != 0)
    {
        ulValue = (uint8)pch[1];
        pch += 2;
        bAnyDigit = true;
    }
    else
    {
        for (; IsDecimalDigit((uint32)*pch); ++pch)
        {
            ulValue = ulValue * 10 + (uint64)(*pch - '0');
            bAnyDigit = true;
        }
    }
    if (!bAnyDigit)
        return {0, k_EKVGetStatusTrailingText};
    if (bNegative)
        ulValue = 0 - ulValue;
    return {ulValue, *pch ? k_EKVGetStatusTrailingText : k_EKVGetStatusOK};
}

template <typename TChar>
bool BEqualsIgnoringAsciiCase(const TChar* pch, const char* pszLowerAscii)
{
    for (; *pszLowerAscii; ++pch, ++pszLowerAscii)
    {
        uint32 ch = (uint32)*pch;
        if (ch > 0x7F || V_tolower_ascii((char)ch) != *pszLowerAscii)
            return false;
    }
    return *pch == 0;
}

// 1 for "true", 0 for "false" (either ignoring case), -1 for any other text.
template <typename TChar>
int BoolWordValue(const TChar* pch)
{
    if (BEqualsIgnoringAsciiCase(pch, "true"))
        return 1;
    return BEqualsIgnoringAsciiCase(pch, "false") ? 0 : -1;
}

uint32 ColorFromBytes(const uint8* pub)
{
    return (uint32)pub[0] | (uint32)pub[1] << 8 | (uint32)pub[2] << 16 | (uint32)pub[3] << 24;
}

// Float to integer without the undefined behaviour of an out-of-range cast.
template <typename TInt>
TInt SaturateFloat(float flValue)
{
    constexpr float flLimit = -(float)std::numeric_limits<TInt>::min();
    if (flValue != flValue)
        return 0;
    if (flValue >= flLimit)
        return std::numeric_limits<TInt>::max();
    if (flValue < -flLimit)
        return std::numeric_limits<TInt>::min();
    return (TInt)flValue;
}

size_t WideLength(const wchar16* pwch)
{
    size_t cch = 0;
    while (pwch[cch])
        ++cch;
    return cch;
}
} // namespace

struct KeyValues::Number_s
{
    bool m_bFloat;
    float m_flValue;
    int64 m_llValue; // the bits of the stored integer, sign-extended from 32-bit types
};

KeyValues::KeyValues(const char* pszName)
{
    Init();
    SetName(pszName);
}

KeyValues::KeyValues(HKeySymbol nSymbol)
{
    Init();
    SetNameSymbol(nSymbol);
}

KeyValues::~KeyValues()
{
    FreeValue();
    KeyValues* pPeers = m_pPeer;
    m_pPeer = nullptr;
    DestroyNodes(pPeers);
}

void KeyValues::Init()
{
    memset(&m_Value, 0, sizeof(m_Value));
    m_iKeyName = 0;
    m_iDataType = TYPE_NONE;
    m_bPooledText = 0;
    m_bHasEscapeSequences = 0;
    m_bHeapString = 0;
    m_pPeer = nullptr;
}

void KeyValues::SetNameSymbol(HKeySymbol nSymbol)
{
    AssertFmt(nSymbol >= 0 && (uint32)nSymbol <= k_unKeySymbolMask, "bad key symbol %d", (int)nSymbol);
    m_iKeyName = (nSymbol >= 0 && (uint32)nSymbol <= k_unKeySymbolMask) ? (uint32)nSymbol : 0;
}

const char* KeyValues::GetName() const
{
    return KeyValuesSystem()->GetStringForSymbol(m_iKeyName);
}

void KeyValues::SetName(const char* pszName)
{
    SetNameSymbol(KeyValuesSystem()->GetSymbolForString(pszName, true));
}

void KeyValues::DestroyNodes(KeyValues* pList)
{
    // Rotating each first child in front of its parent turns the tree into one list
    // (children before their parent, parent before its peers) that is freed in a loop.
    while (pList)
    {
        KeyValues* pChild = (pList->m_iDataType == TYPE_NONE) ? pList->m_Value.m_pSub : nullptr;
        if (pChild)
        {
            pList->m_Value.m_pSub = pChild->m_pPeer;
            pChild->m_pPeer = pList;
            pList = pChild;
            continue;
        }
        KeyValues* pNext = pList->m_pPeer;
        pList->m_pPeer = nullptr; // detached: its destructor frees only its own value
        delete pList;
        pList = pNext;
    }
}

void KeyValues::FreeValue()
{
    switch (m_iDataType)
    {
        case TYPE_NONE:
            DestroyNodes(m_Value.m_pSub);
            break;
        case TYPE_STRING:
        case TYPE_WSTRING:
            if (m_bHeapString)
                FreeHeapText();
            break;
        case TYPE_BINARY:
            free(m_Value.m_binary.m_pubData);
            break;
        default:
            break;
    }
    memset(&m_Value, 0, sizeof(m_Value));
    m_iDataType = TYPE_NONE;
    m_bHeapString = 0;
    m_bPooledText = 0;
}

void* KeyValues::AllocHeapText(size_t cub)
{
    return cub <= k_cubPooledTextMax ? KeyValuesPoolAllocText((uint32)cub) : AllocOrDie(cub);
}

void KeyValues::FreeHeapText(void* pText, size_t cub)
{
    if (cub <= k_cubPooledTextMax)
        KeyValuesPoolFreeText(pText);
    else
        free(pText);
}

void KeyValues::AdoptHeapText(void* pText, size_t cub)
{
    m_Value.m_pValue = pText; // narrow or wide: the heap pointers share their place
    m_bHeapString = 1;
    m_bPooledText = (cub <= k_cubPooledTextMax);
}

void KeyValues::FreeHeapText()
{
    if (m_bPooledText)
        KeyValuesPoolFreeText(m_Value.m_pszHeap);
    else
        free(m_Value.m_pszHeap);
}

void KeyValues::Clear()
{
    FreeValue();
}

KeyValues* KeyValues::FindKey(HKeySymbol nSymbol) const
{
    for (KeyValues* pChild = GetFirstSubKey(); pChild; pChild = pChild->m_pPeer)
    {
        if ((HKeySymbol)pChild->m_iKeyName == nSymbol)
            return pChild;
    }
    return nullptr;
}

KeyValues* KeyValues::FindKey(const char* pszPath, bool bCreate)
{
    IKeyValuesSystem* pSystem = KeyValuesSystem();
    char szSegment[k_cchPathSegmentMax + 1];
    KeyValues* pNode = this;
    while (pszPath && *pszPath)
    {
        const char* pszName = pszPath;
        const char* pchSlash = strchr(pszPath, '/');
        pszPath = nullptr;
        if (pchSlash)
        {
            size_t cch = (size_t)(pchSlash - pszName);
            if (cch > k_cchPathSegmentMax)
                cch = k_cchPathSegmentMax;
            memcpy(szSegment, pszName, cch);
            szSegment[cch] = '\0';
            pszName = szSegment;
            pszPath = pchSlash + 1;
        }
        HKeySymbol nSymbol = pSystem->GetSymbolForString(pszName, bCreate);
        if (nSymbol == 0 && !bCreate)
            return nullptr;
        KeyValues* pChild = pNode->FindKey(nSymbol);
        if (!pChild)
        {
            if (!bCreate)
                return nullptr;
            pChild = pNode->CreateChild(nSymbol);
        }
        pNode = pChild;
    }
    return pNode;
}

KeyValues* KeyValues::CreateChild(HKeySymbol nSymbol)
{
    KeyValues* pChild = new KeyValues(nSymbol);
    pChild->m_bHasEscapeSequences = m_bHasEscapeSequences;
    AppendChild(pChild);
    return pChild;
}

void KeyValues::AppendChild(KeyValues* pChild)
{
    if (m_iDataType != TYPE_NONE)
        FreeValue();
    KeyValues** ppLink = &m_Value.m_pSub;
    while (*ppLink)
        ppLink = &(*ppLink)->m_pPeer;
    *ppLink = pChild;
}

void KeyValues::AddSubKey(KeyValues* pChild)
{
    Assert(pChild && pChild != this);
    if (pChild && pChild != this)
        AppendChild(pChild);
}

void KeyValues::RemoveSubKey(KeyValues* pChild)
{
    if (!pChild || m_iDataType != TYPE_NONE)
        return;
    for (KeyValues** ppLink = &m_Value.m_pSub; *ppLink; ppLink = &(*ppLink)->m_pPeer)
    {
        if (*ppLink == pChild)
        {
            *ppLink = pChild->m_pPeer;
            pChild->m_pPeer = nullptr;
            return;
        }
    }
}

KeyValues* KeyValues::GetFirstSubKey() const
{
    return m_iDataType == TYPE_NONE ? m_Value.m_pSub : nullptr;
}

KeyValues* KeyValues::GetFirstTrueSubKey() const
{
    KeyValues* pKey = GetFirstSubKey();
    while (pKey && pKey->m_iDataType != TYPE_NONE)
        pKey = pKey->m_pPeer;
    return pKey;
}

KeyValues* KeyValues::GetNextTrueSubKey() const
{
    KeyValues* pKey = m_pPeer;
    while (pKey && pKey->m_iDataType != TYPE_NONE)
        pKey = pKey->m_pPeer;
    return pKey;
}

KeyValues* KeyValues::GetFirstValue() const
{
    KeyValues* pKey = GetFirstSubKey();
    while (pKey && pKey->m_iDataType == TYPE_NONE)
        pKey = pKey->m_pPeer;
    return pKey;
}

KeyValues* KeyValues::GetNextValue() const
{
    KeyValues* pKey = m_pPeer;
    while (pKey && pKey->m_iDataType == TYPE_NONE)
        pKey = pKey->m_pPeer;
    return pKey;
}

bool KeyValues::IsEmpty() const
{
    return m_iDataType == TYPE_NONE && m_Value.m_pSub == nullptr;
}

void KeyValues::SetUsesEscapeSequences(bool bUses, bool bRecursive)
{
    m_bHasEscapeSequences = bUses;
    if (!bRecursive)
        return;
    // Each peer list is walked in a loop; only the first children of sections wait here.
    std::vector<KeyValues*> vecPendingLists;
    KeyValues* pList = GetFirstSubKey();
    for (;;)
    {
        for (KeyValues* pKey = pList; pKey; pKey = pKey->m_pPeer)
        {
            pKey->m_bHasEscapeSequences = bUses;
            if (KeyValues* pSub = pKey->GetFirstSubKey())
                vecPendingLists.push_back(pSub);
        }
        if (vecPendingLists.empty())
            break;
        pList = vecPendingLists.back();
        vecPendingLists.pop_back();
    }
}

bool KeyValues::BReadNumber(Number_s* pNumber, EKVGetStatus* peStatus) const
{
    ParsedInteger_s parsed = {0, k_EKVGetStatusOK};
    *pNumber = {false, 0.0f, 0};
    switch (m_iDataType)
    {
        case TYPE_STRING:
            parsed = ParseIntegerText(StringText(), true);
            break;
        case TYPE_BINARY:
            parsed = ParseIntegerText((const char*)m_Value.m_binary.m_pubData, true);
            break;
        case TYPE_WSTRING:
            parsed = ParseIntegerText(WideText(), false);
            break;
        case TYPE_INT:
            parsed.m_ulValue = (uint64)(int64)m_Value.m_nValue;
            break;
        case TYPE_PTR:
            parsed.m_ulValue = (uint64)(int64)(int32)(uint32)(uintp)m_Value.m_pValue;
            break;
        case TYPE_COLOR:
            parsed.m_ulValue = (uint64)(int64)(int32)ColorFromBytes(m_Value.m_rgubColor);
            break;
        case TYPE_UINT64:
            parsed.m_ulValue = m_Value.m_ulValue;
            break;
        case TYPE_INT64:
            parsed.m_ulValue = (uint64)m_Value.m_llValue;
            break;
        case TYPE_FLOAT:
            pNumber->m_bFloat = true;
            pNumber->m_flValue = m_Value.m_flValue;
            break;
        default: // sections, the reserved type and unknown types hold no value
            parsed.m_eStatus = k_EKVGetStatusNoValue;
            break;
    }
    *peStatus = parsed.m_eStatus;
    pNumber->m_llValue = (int64)parsed.m_ulValue;
    return parsed.m_eStatus != k_EKVGetStatusNoValue && parsed.m_eStatus != k_EKVGetStatusEmptyText;
}

int KeyValues::GetInt(int nDefault, EKVGetStatus* peStatus)
{
    EKVGetStatus eStatus;
    Number_s number;
    bool bHasValue = BReadNumber(&number, &eStatus);
    if (peStatus)
        *peStatus = eStatus;
    if (!bHasValue)
        return nDefault;
    if (number.m_bFloat)
        return SaturateFloat<int32>(number.m_flValue);
    // 0x80000000-0xFFFFFFFF of a uint64 come back negative on purpose.
    bool bFits = true;
    if (m_iDataType == TYPE_UINT64)
        bFits = (uint64)number.m_llValue <= 0xFFFFFFFFull;
    else if (m_iDataType == TYPE_INT64)
        bFits = number.m_llValue >= INT32_MIN && number.m_llValue <= INT32_MAX;
    if (!bFits)
    {
        AssertFmt(false, "can't convert uint64 to int32 (data loss)");
        return nDefault;
    }
    return (int32)(uint32)(uint64)number.m_llValue;
}

int64 KeyValues::GetInt64(int64 llDefault)
{
    EKVGetStatus eStatus;
    Number_s number;
    if (!BReadNumber(&number, &eStatus))
        return llDefault;
    return number.m_bFloat ? SaturateFloat<int64>(number.m_flValue) : number.m_llValue;
}

uint64 KeyValues::GetUint64(uint64 ulDefault)
{
    EKVGetStatus eStatus;
    Number_s number;
    if (!BReadNumber(&number, &eStatus))
        return ulDefault;
    return number.m_bFloat ? (uint64)SaturateFloat<int64>(number.m_flValue) : (uint64)number.m_llValue;
}

float KeyValues::GetFloat(float flDefault)
{
    EKVGetStatus eStatus;
    Number_s number;
    if (!BReadNumber(&number, &eStatus))
        return flDefault;
    if (number.m_bFloat)
        return number.m_flValue;
    if (m_iDataType == TYPE_UINT64)
        return (float)(uint64)number.m_llValue;
    return (float)number.m_llValue;
}

bool KeyValues::GetBool(bool bDefault, EKVGetStatus* peStatus)
{
    int nWord = -1;
    if (m_iDataType == TYPE_STRING)
        nWord = BoolWordValue(StringText());
    else if (m_iDataType == TYPE_BINARY)
        nWord = BoolWordValue((const char*)m_Value.m_binary.m_pubData);
    else if (m_iDataType == TYPE_WSTRING)
        nWord = BoolWordValue(WideText());
    if (nWord >= 0)
    {
        if (peStatus)
            *peStatus = k_EKVGetStatusOK;
        return nWord == 1;
    }
    return GetInt(bDefault ? 1 : 0, peStatus) != 0;
}

const char* KeyValues::GetString(const char* pszDefault)
{
    // Numbers and wide text become the node's own text: later reads see a TYPE_STRING.
    char szText[64];
    switch (m_iDataType)
    {
        case TYPE_STRING:
            return StringText();
        case TYPE_BINARY:
            return (const char*)m_Value.m_binary.m_pubData;
        case TYPE_INT:
            snprintf(szText, sizeof(szText), "%d", (int)m_Value.m_nValue);
            break;
        case TYPE_PTR:
            snprintf(szText, sizeof(szText), "%d", (int)(int32)(uint32)(uintp)m_Value.m_pValue);
            break;
        case TYPE_FLOAT:
            snprintf(szText, sizeof(szText), "%f", (double)m_Value.m_flValue);
            break;
        case TYPE_UINT64:
            snprintf(szText, sizeof(szText), "%" PRIu64, m_Value.m_ulValue);
            break;
        case TYPE_INT64:
            snprintf(szText, sizeof(szText), "%" PRId64, m_Value.m_llValue);
            break;
        case TYPE_WSTRING:
        {
            char szUTF8[k_cubWideAsUTF8];
            if (V_UTF16ToUTF8(WideText(), szUTF8, (int)sizeof(szUTF8)) == 0)
                szUTF8[0] = '\0';
            SetString(szUTF8);
            return StringText();
        }
        default:
            return pszDefault;
    }
    SetString(szText);
    return StringText();
}

void* KeyValues::GetPtr(void* pDefault)
{
    return m_iDataType == TYPE_PTR ? m_Value.m_pValue : pDefault;
}

const wchar16* KeyValues::GetWString(const wchar16* pwszDefault)
{
    return m_iDataType == TYPE_WSTRING ? WideText() : pwszDefault;
}

uint32 KeyValues::GetColor(uint32 unDefault)
{
    return m_iDataType == TYPE_COLOR ? ColorFromBytes(m_Value.m_rgubColor) : unDefault;
}

const uint8* KeyValues::GetBinary(uint32* pcubData) const
{
    bool bBinary = (m_iDataType == TYPE_BINARY);
    if (pcubData)
        *pcubData = bBinary ? m_Value.m_binary.m_cubData : 0;
    return bBinary ? m_Value.m_binary.m_pubData : nullptr;
}

int KeyValues::GetKeyInt(const char* pszKey, int nDefault)
{
    KeyValues* pKey = FindKey(pszKey);
    return pKey ? pKey->GetInt(nDefault) : nDefault;
}

bool KeyValues::GetKeyBool(const char* pszKey, bool bDefault)
{
    KeyValues* pKey = FindKey(pszKey);
    return pKey ? pKey->GetBool(bDefault) : bDefault;
}

const char* KeyValues::GetKeyString(const char* pszKey, const char* pszDefault)
{
    KeyValues* pKey = FindKey(pszKey);
    return pKey ? pKey->GetString(pszDefault) : pszDefault;
}

void KeyValues::SetKeyString(const char* pszKey, const char* pszValue)
{
    FindKey(pszKey, true)->SetString(pszValue);
}

void KeyValues::SetKeyInt(const char* pszKey, int nValue)
{
    FindKey(pszKey, true)->SetInt(nValue);
}

void KeyValues::SetInlineOrHeapString(const char* pchText, size_t cchText)
{
    // The new text is copied before the old value is freed: it may point into it.
    if (cchText < sizeof(m_Value.m_szInline))
    {
        char szInline[sizeof(m_Value.m_szInline)] = {};
        memcpy(szInline, pchText, cchText);
        FreeValue();
        memcpy(m_Value.m_szInline, szInline, sizeof(szInline));
    }
    else
    {
        char* pszHeap = (char*)AllocHeapText(cchText + 1);
        memcpy(pszHeap, pchText, cchText);
        pszHeap[cchText] = '\0';
        FreeValue();
        AdoptHeapText(pszHeap, cchText + 1);
    }
    m_iDataType = TYPE_STRING;
}

void KeyValues::SetString(const char* pszValue)
{
    if (!pszValue)
        pszValue = "";
    SetInlineOrHeapString(pszValue, strlen(pszValue));
}

void KeyValues::SetWString(const wchar16* pwszValue)
{
    if (!pwszValue)
        pwszValue = u"";
    size_t cch = WideLength(pwszValue);
    if (cch < sizeof(m_Value.m_wszInline) / sizeof(wchar16))
    {
        wchar16 wszInline[sizeof(m_Value.m_wszInline) / sizeof(wchar16)] = {};
        memcpy(wszInline, pwszValue, cch * sizeof(wchar16));
        FreeValue();
        memcpy(m_Value.m_wszInline, wszInline, sizeof(wszInline));
    }
    else
    {
        size_t cub = (cch + 1) * sizeof(wchar16);
        wchar16* pwszHeap = (wchar16*)AllocHeapText(cub);
        memcpy(pwszHeap, pwszValue, cub);
        FreeValue();
        AdoptHeapText(pwszHeap, cub);
    }
    m_iDataType = TYPE_WSTRING;
}

void KeyValues::SetBinary(const uint8* pubData, uint32 cubData)
{
    Assert(pubData || cubData == 0);
    // One spare NUL so the bytes can also be read as text.
    uint8* pubCopy = (uint8*)AllocOrDie((size_t)cubData + 1);
    if (pubData && cubData)
        memcpy(pubCopy, pubData, cubData);
    else
        cubData = 0;
    pubCopy[cubData] = 0;
    FreeValue();
    m_Value.m_binary.m_cubData = cubData;
    m_Value.m_binary.m_pubData = pubCopy;
    m_iDataType = TYPE_BINARY;
}

void KeyValues::SetInt(int nValue)
{
    FreeValue();
    m_Value.m_nValue = nValue;
    m_iDataType = TYPE_INT;
}

void KeyValues::SetFloat(float flValue)
{
    FreeValue();
    m_Value.m_flValue = flValue;
    m_iDataType = TYPE_FLOAT;
}

void KeyValues::SetUint64(uint64 ulValue)
{
    FreeValue();
    m_Value.m_ulValue = ulValue;
    m_iDataType = TYPE_UINT64;
}

void KeyValues::SetInt64(int64 llValue)
{
    FreeValue();
    m_Value.m_llValue = llValue;
    m_iDataType = TYPE_INT64;
}

void KeyValues::SetPtr(void* pValue)
{
    FreeValue();
    m_Value.m_pValue = pValue;
    m_iDataType = TYPE_PTR;
}

void KeyValues::SetColor(uint32 unRGBA)
{
    FreeValue();
    for (int i = 0; i < 4; ++i)
        m_Value.m_rgubColor[i] = (uint8)(unRGBA >> (8 * i));
    m_iDataType = TYPE_COLOR;
}
