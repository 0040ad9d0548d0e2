#include "common/windowshelper.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "tier0/dbg.h"
#include "tier0/procaddress.h"
#include "tier1/fileio.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

struct FreeDeleter_s
{
    void operator()(void* pv) const { free(pv); }
};

// Temporary arrays from the allocator, released on every path.
template <typename T>
using CHeapArray = std::unique_ptr<T[], FreeDeleter_s>;

template <typename T>
CHeapArray<T> AllocArray(size_t cItems)
{
    return CHeapArray<T>(static_cast<T*>(malloc(cItems * sizeof(T))));
}

const wchar_t* AsWide(const wchar16* pwch)
{
    return reinterpret_cast<const wchar_t*>(pwch);
}

CUtlString WideToUTF8(const wchar16* pwchWide)
{
    return CUtlString(CUTF8Text(pwchWide).Get());
}

// The system's expansion takes at most 32,767 characters with the terminator; Wine answers
// longer text with garbage instead of an error, so such text is refused up front.
constexpr size_t k_cchMaxExpandSource = 32766;

template <typename TChar>
size_t SourceLength(const TChar* pSource)
{
    size_t cch = 0;
    while (cch <= k_cchMaxExpandSource && pSource[cch])
        ++cch;
    return cch;
}

// The size query, then one fill of exactly that size: the first size is final.
template <typename TChar, typename TExpand>
CHeapArray<TChar> ExpandEnvironment(const TChar* pSource, TExpand pfnExpand)
{
    const bool bTooLong = SourceLength(pSource) > k_cchMaxExpandSource;
    if (bTooLong)
        SetLastError(ERROR_INVALID_PARAMETER);
    const DWORD cchNeeded = bTooLong ? 0 : pfnExpand(pSource, nullptr, 0);
    if (cchNeeded < 1)
    {
        const int nError = (int)GetLastError();
        AssertFmt(false, "string expansion failed (1) GLE %d", nError);
        return nullptr;
    }
    CHeapArray<TChar> pExpanded = AllocArray<TChar>(cchNeeded);
    if (!pExpanded)
        return nullptr;
    const DWORD cchResult = pfnExpand(pSource, pExpanded.get(), cchNeeded);
    if (cchResult == 0 || cchResult > cchNeeded)
    {
        const int nError = (int)GetLastError();
        AssertFmt(false, "string expansion failed (2) res %lu GLE %d", cchResult, nError);
        return nullptr;
    }
    return pExpanded;
}

// The version resource's string of one translation, or empty.
CUtlString QueryVersionString(const void* pvVersionInfo, WORD unLanguage, WORD unCodePage,
                              const char* pszName)
{
    char szSubBlock[128];
    V_snprintf(szSubBlock, sizeof(szSubBlock), "\\StringFileInfo\\%04x%04x\\%s", unLanguage, unCodePage,
               pszName);
    wchar16 wszSubBlock[128];
    V_UTF8ToUTF16(szSubBlock, wszSubBlock, sizeof(wszSubBlock));
    void* pvValue = nullptr;
    UINT cchValue = 0;
    if (!VerQueryValueW(pvVersionInfo, AsWide(wszSubBlock), &pvValue, &cchValue) || !pvValue || !cchValue)
        return CUtlString();
    return WideToUTF8(static_cast<const wchar16*>(pvValue));
}

struct VersionTranslation_s
{
    WORD m_unLanguage;
    WORD m_unCodePage;
};

void ReadTranslatedDescription(const void* pvVersionInfo, uint16 unWantedLanguage,
                               CUtlString* pstrDescription)
{
    void* pvTranslations = nullptr;
    UINT cubTranslations = 0;
    if (!VerQueryValueW(pvVersionInfo, L"\\VarFileInfo\\Translation", &pvTranslations, &cubTranslations) ||
        cubTranslations < sizeof(VersionTranslation_s))
        return;
    const auto* pTranslations = static_cast<const VersionTranslation_s*>(pvTranslations);
    // Every matching translation is tried, so the last one with a text wins.
    for (UINT i = 0; i < cubTranslations / sizeof(VersionTranslation_s); ++i)
    {
        const VersionTranslation_s& translation = pTranslations[i];
        if (translation.m_unLanguage != unWantedLanguage &&
            translation.m_unLanguage != k_unLanguageIdEnglishUS)
            continue;
        CUtlString strText = QueryVersionString(pvVersionInfo, translation.m_unLanguage,
                                                translation.m_unCodePage, "FileDescription");
        if (strText.IsEmpty())
            strText = QueryVersionString(pvVersionInfo, translation.m_unLanguage, translation.m_unCodePage,
                                         "ProductName");
        if (!strText.IsEmpty())
            *pstrDescription = strText;
    }
}

// Steps shared by both UTF-8 readers: the value as terminated UTF-16 text.
LSTATUS QueryWideString(HKEY hKey, const char* pszValueName, CHeapArray<wchar16>* ppwchValue)
{
    const CLocalCodePageWideText name(pszValueName ? pszValueName : "", true);
    if (!name.BValid())
        return ERROR_INVALID_PARAMETER;
    const wchar_t* pwszQueryName = name.Get();

    DWORD dwType = REG_NONE;
    DWORD cbValue = 0;
    LSTATUS status = RegQueryValueExW(hKey, pwszQueryName, nullptr, &dwType, nullptr, &cbValue);
    if (status != ERROR_SUCCESS)
        return status;
    if (dwType != REG_SZ && dwType != REG_EXPAND_SZ)
        return ERROR_INVALID_DATA;
    const DWORD cchValue = (cbValue + 1) / 2;
    if (cchValue >= 1000000)
        return ERROR_OUTOFMEMORY;

    // One more unit than stored: registry strings need not carry their terminator.
    CHeapArray<wchar16> pwchValue = AllocArray<wchar16>(cchValue + 1);
    if (!pwchValue)
        return ERROR_NOT_ENOUGH_MEMORY;
    DWORD dwTypeAgain = REG_NONE;
    cbValue = cchValue * sizeof(wchar16);
    status = RegQueryValueExW(hKey, pwszQueryName, nullptr, &dwTypeAgain,
                              reinterpret_cast<BYTE*>(pwchValue.get()), &cbValue);
    if (status != ERROR_SUCCESS)
        return status;
    if (dwTypeAgain != dwType)
        return ERROR_INVALID_DATA;
    pwchValue[cbValue / sizeof(wchar16)] = 0;
    *ppwchValue = std::move(pwchValue);
    return ERROR_SUCCESS;
}

} // namespace

PFNEnumProcessModules g_pfnEnumProcessModules =
    GetProcAddressAs<PFNEnumProcessModules>(LoadLibraryA("psapi.dll"), "EnumProcessModules");
PFNEnumProcesses g_pfnEnumProcesses =
    GetProcAddressAs<PFNEnumProcesses>(LoadLibraryA("psapi.dll"), "EnumProcesses");
PFNGetModuleBaseNameA g_pfnGetModuleBaseNameA =
    GetProcAddressAs<PFNGetModuleBaseNameA>(LoadLibraryA("psapi.dll"), "GetModuleBaseNameA");

CUtlString ExpandEnvironmentStringsUTF8(const char* pszText)
{
    const CWideText source(pszText ? pszText : "");
    CHeapArray<wchar_t> pwchExpanded = ExpandEnvironment<wchar_t>(source.Get(), ExpandEnvironmentStringsW);
    if (!pwchExpanded)
        return CUtlString();
    return WideToUTF8(reinterpret_cast<const wchar16*>(pwchExpanded.get()));
}

CUtlString ExpandEnvironmentStringsMultiByte(const char* pszText)
{
    CHeapArray<char> pchExpanded = ExpandEnvironment<char>(pszText ? pszText : "", ExpandEnvironmentStringsA);
    return pchExpanded ? CUtlString(pchExpanded.get()) : CUtlString();
}

bool BGetFileVersionDescription(const char* pszPath, CUtlString* pstrDescription, ELanguage eLanguage)
{
    Assert(pstrDescription);
    if (!pstrDescription)
        return false;
    pstrDescription->Clear();

    CPathString path(pszPath);
    const wchar_t* pwszPath = path.GetWCharPath();
    DWORD dwHandle = 0;
    const DWORD cubVersionInfo = pwszPath ? GetFileVersionInfoSizeW(pwszPath, &dwHandle) : 0;
    if (cubVersionInfo == 0)
        return false;
    CHeapArray<BYTE> pubVersionInfo = AllocArray<BYTE>(cubVersionInfo);
    if (pubVersionInfo && GetFileVersionInfoW(pwszPath, 0, cubVersionInfo, pubVersionInfo.get()))
        ReadTranslatedDescription(pubVersionInfo.get(), GetLanguageWindowsId(eLanguage), pstrDescription);
    return !pstrDescription->IsEmpty();
}

LSTATUS RegQueryValueUTF8(HKEY hKey, const char* pszValueName, char* pchValue, unsigned int cubValue)
{
    if (cubValue > 0x7FFFFFFF)
        return ERROR_NOT_ENOUGH_MEMORY;
    CHeapArray<wchar16> pwchValue;
    const LSTATUS status = QueryWideString(hKey, pszValueName, &pwchValue);
    if (status != ERROR_SUCCESS)
        return status;
    const int cubNeeded = V_UTF16ToUTF8(pwchValue.get(), nullptr, 0);
    if (cubNeeded <= 0)
        return ERROR_INVALID_DATA;
    if (pchValue && cubValue)
        V_UTF16ToUTF8(pwchValue.get(), pchValue, (int)cubValue);
    return (unsigned int)cubNeeded > cubValue ? ERROR_MORE_DATA : ERROR_SUCCESS;
}

LSTATUS RegQueryValueUTF8String(HKEY hKey, const char* pszValueName, CUtlString* pstrValue)
{
    Assert(pstrValue);
    if (!pstrValue)
        return ERROR_INVALID_PARAMETER;
    CHeapArray<wchar16> pwchValue;
    const LSTATUS status = QueryWideString(hKey, pszValueName, &pwchValue);
    if (status != ERROR_SUCCESS)
        return status;
    if (V_UTF16ToUTF8(pwchValue.get(), nullptr, 0) <= 0)
        return ERROR_INVALID_DATA;
    *pstrValue = WideToUTF8(pwchValue.get());
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueUTF8(HKEY hKey, const char* pszValueName, const char* pszValue)
{
    // Longer names are refused, as the name buffer once held 511 characters.
    const CLocalCodePageWideText name(pszValueName ? pszValueName : "");
    if (pszValueName && (!name.BValid() || name.Length() >= 512))
        return ERROR_INVALID_PARAMETER;
    const CWideText value(pszValue ? pszValue : "");
    const size_t cchValue = V_wcslen16(value.GetUTF16());
    return RegSetValueExW(hKey, pszValueName ? name.Get() : nullptr, 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(value.Get()), (DWORD)(cchValue * 2 + 2));
}

bool BSetAppCompatLayer(bool bCurrentUser, const char* pszExePath, const char* pszLayer)
{
    HKEY hLayers = nullptr;
    if (RegOpenKeyExA(bCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
                      "Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\Layers", 0,
                      KEY_ALL_ACCESS | KEY_WOW64_64KEY, &hLayers) != ERROR_SUCCESS)
        return false;
    LSTATUS status;
    if (!pszLayer || !*pszLayer)
        status = RegDeleteValueA(hLayers, pszExePath);
    else
        status = RegSetValueExA(hLayers, pszExePath, 0, REG_SZ, reinterpret_cast<const BYTE*>(pszLayer),
                                (DWORD)strlen(pszLayer) + 1);
    RegCloseKey(hLayers);
    return status == ERROR_SUCCESS;
}
