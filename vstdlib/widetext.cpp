// Text conversion. UTF-8 <-> UTF-16 makes no platform calls: malformed input becomes
// U+FFFD, one per maximal ill-formed subsequence, so the result does not depend on the
// host's code pages. Only the local code page asks the system.

#include "vstdlib/widetext.h"

#include <cstring>

#include "tier0/dbg.h"

static constexpr uint32 k_unReplacementChar = 0xFFFD;

// Decodes one code point from pch (cchAvail > 0 bytes); *pcchUsed receives the bytes taken.
static uint32 DecodeUTF8(const uint8* pch, int cchAvail, int* pcchUsed)
{
    uint8 chLead = pch[0];
    *pcchUsed = 1;
    if (chLead < 0x80)
        return chLead;

    int cchSeq;
    uint32 unCode;
    uint8 chLow = 0x80, chHigh = 0xBF; // bounds of the second byte: no overlongs, surrogates or > U+10FFFF
    if (chLead >= 0xC2 && chLead <= 0xDF)
    {
        cchSeq = 2;
        unCode = chLead & 0x1F;
    }
    else if (chLead >= 0xE0 && chLead <= 0xEF)
    {
        cchSeq = 3;
        unCode = chLead & 0x0F;
        chLow = chLead == 0xE0 ? 0xA0 : 0x80;
        chHigh = chLead == 0xED ? 0x9F : 0xBF;
    }
    else if (chLead >= 0xF0 && chLead <= 0xF4)
    {
        cchSeq = 4;
        unCode = chLead & 0x07;
        chLow = chLead == 0xF0 ? 0x90 : 0x80;
        chHigh = chLead == 0xF4 ? 0x8F : 0xBF;
    }
    else
    {
        return k_unReplacementChar;
    }

    for (int i = 1; i < cchSeq; ++i)
    {
        uint8 ch = i < cchAvail ? pch[i] : 0;
        bool bOk = i == 1 ? (ch >= chLow && ch <= chHigh) : (ch >= 0x80 && ch <= 0xBF);
        if (!bOk)
            return k_unReplacementChar;
        unCode = (unCode << 6) | (ch & 0x3F);
        *pcchUsed = i + 1;
    }
    return unCode;
}

// Decodes one code point from pwch (cchAvail > 0 units); *pcchUsed receives the units taken.
static uint32 DecodeUTF16(const wchar16* pwch, int cchAvail, int* pcchUsed)
{
    uint32 unFirst = pwch[0];
    *pcchUsed = 1;
    if (unFirst < 0xD800 || unFirst > 0xDFFF)
        return unFirst;
    if (unFirst >= 0xDC00 || cchAvail < 2 || pwch[1] < 0xDC00 || pwch[1] > 0xDFFF)
        return k_unReplacementChar;
    *pcchUsed = 2;
    return 0x10000 + ((unFirst - 0xD800) << 10) + (pwch[1] - 0xDC00);
}

static int EncodeUTF16(uint32 unCode, wchar16* pwchOut)
{
    if (unCode < 0x10000)
    {
        pwchOut[0] = (wchar16)unCode;
        return 1;
    }
    unCode -= 0x10000;
    pwchOut[0] = (wchar16)(0xD800 + (unCode >> 10));
    pwchOut[1] = (wchar16)(0xDC00 + (unCode & 0x3FF));
    return 2;
}

static int EncodeUTF8(uint32 unCode, char* pchOut)
{
    if (unCode < 0x80)
    {
        pchOut[0] = (char)unCode;
        return 1;
    }
    int cch = unCode < 0x800 ? 2 : unCode < 0x10000 ? 3 : 4;
    static const uint8 s_rgchLeadMarks[5] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (int i = cch - 1; i > 0; --i)
    {
        pchOut[i] = (char)(0x80 | (unCode & 0x3F));
        unCode >>= 6;
    }
    pchOut[0] = (char)(s_rgchLeadMarks[cch] | unCode);
    return cch;
}

// Both directions share one loop: decode a code point, encode it if it fits whole, and
// terminate. cchDest < 0 means "measure only".
template <typename TSrc, typename TDest, typename FnDecode, typename FnEncode>
static int Transcode(const TSrc* pSrc, int cchSrc, TDest* pDest, int cchDest, FnDecode fnDecode,
                     FnEncode fnEncode)
{
    AssertFmt(cchSrc >= 0, "negative source length %d", cchSrc);
    bool bMeasure = cchDest < 0;
    if (!bMeasure && cchDest < 1)
        return 0;
    int cchOut = 0;
    for (int iSrc = 0; iSrc < cchSrc;)
    {
        int cchUsed;
        uint32 unCode = fnDecode(pSrc + iSrc, cchSrc - iSrc, &cchUsed);
        TDest rgEncoded[4];
        int cchEncoded = fnEncode(unCode, rgEncoded);
        if (!bMeasure && cchOut + cchEncoded > cchDest - 1)
            break;
        if (!bMeasure)
            memcpy(pDest + cchOut, rgEncoded, sizeof(TDest) * (size_t)cchEncoded);
        cchOut += cchEncoded;
        iSrc += cchUsed;
    }
    if (!bMeasure)
        pDest[cchOut] = 0;
    return cchOut + 1;
}

int V_UTF8ToUTF16Len(const char* pchUTF8, int cchSrc, wchar16* pwchDest, int cubDestSizeInBytes)
{
    int cchDest = pwchDest ? cubDestSizeInBytes / (int)sizeof(wchar16) : -1;
    return Transcode((const uint8*)pchUTF8, pchUTF8 ? cchSrc : 0, pwchDest, cchDest, DecodeUTF8, EncodeUTF16);
}

int V_UTF16ToUTF8Len(const wchar16* pwchUTF16, int cchSrc, char* pszDest, int cubDestSizeInBytes)
{
    int cchDest = pszDest ? cubDestSizeInBytes : -1;
    return Transcode(pwchUTF16, pwchUTF16 ? cchSrc : 0, pszDest, cchDest, DecodeUTF16, EncodeUTF8);
}

int V_UTF8ToUTF16(const char* pszUTF8, wchar16* pwchDest, int cubDestSizeInBytes)
{
    int cchSrc = pszUTF8 ? (int)strlen(pszUTF8) : 0;
    return V_UTF8ToUTF16Len(pszUTF8, cchSrc, pwchDest, cubDestSizeInBytes);
}

int V_UTF16ToUTF8(const wchar16* pwchUTF16, char* pszDest, int cubDestSizeInBytes)
{
    int cchSrc = pwchUTF16 ? (int)V_wcslen16(pwchUTF16) : 0;
    return V_UTF16ToUTF8Len(pwchUTF16, cchSrc, pszDest, cubDestSizeInBytes);
}

size_t V_wcslen16(const wchar16* pwch)
{
    size_t cch = 0;
    while (pwch[cch])
        ++cch;
    return cch;
}

CWideText::CWideText(const char* pszUTF8) : m_vecText(V_UTF8ToUTF16(pszUTF8, nullptr, 0) + 1)
{
    V_UTF8ToUTF16(pszUTF8, m_vecText.data(), (int)(m_vecText.size() * sizeof(wchar16)));
}

CUTF8Text::CUTF8Text(const wchar16* pwszUTF16) : m_vecText(V_UTF16ToUTF8(pwszUTF16, nullptr, 0) + 1)
{
    V_UTF16ToUTF8(pwszUTF16, m_vecText.data(), (int)m_vecText.size());
}

#ifdef _WIN32
#include <windows.h>

CLocalCodePageWideText::CLocalCodePageWideText(const char* pszText, bool bRejectInvalid)
{
    const DWORD dwFlags = bRejectInvalid ? MB_ERR_INVALID_CHARS : 0;
    const int cchText = MultiByteToWideChar(CP_ACP, dwFlags, pszText, -1, nullptr, 0);
    if (cchText <= 0)
        return;
    m_vecText.resize((size_t)cchText);
    if (MultiByteToWideChar(CP_ACP, dwFlags, pszText, -1, m_vecText.data(), cchText) <= 0)
        m_vecText.clear();
}
#endif
