// Registry section handlers: each level-1 key of "Registry" and "Registry If Not Present"
// is written by its typed groups on install and launch and has its values deleted on
// uninstall.

#include "clientdll/installscript_registry.h"

#include <windows.h>

#include <cstring>
#include <vector>

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_registrygroups.h"
#include "clientdll/installscript_runcontext.h"
#include "common/installscript_log.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "tier1/keyvalues.h"
#include "tier1/utlvector.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

// String values are prepared in, and probed into, one buffer of this size.
constexpr int k_cchDataBufMax = 65536;
// Name buffer of the emptiness test on uninstall.
constexpr unsigned int k_cchEnumName = 260;
// The writer of each group, in the order of ERegistryGroup; copies take no overwrite rule.
typedef bool (*PFNWriteRegistryGroup)(CInstallScriptRegistry& registry, ERegKeyRoot eRoot,
                                      const char* pchPath, KeyValues* pkvLeaves, bool bOverwrite);
const PFNWriteRegistryGroup k_rgpfnWriteRegistryGroup[] = {
    [](CInstallScriptRegistry& r, ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv, bool bOverwrite)
    { return r.WriteRegistryStrings(eRoot, pchPath, pkv, bOverwrite); },
    [](CInstallScriptRegistry& r, ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv, bool bOverwrite)
    { return r.WriteRegistryDwords(eRoot, pchPath, pkv, bOverwrite); },
    [](CInstallScriptRegistry& r, ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv, bool bOverwrite)
    { return r.WriteRegistryBinaries(eRoot, pchPath, pkv, bOverwrite); },
    [](CInstallScriptRegistry& r, ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv, bool)
    { return r.CopyRegistryStrings(eRoot, pchPath, pkv); },
};
static_assert(V_ARRAYSIZE(k_rgpfnWriteRegistryGroup) == V_ARRAYSIZE(k_rgRegistryGroups),
              "one writer per group");

bool BIsDefaultValueName(const char* pszName)
{
    return V_stricmp(pszName, k_szDefaultValueName) == 0;
}

// The expansion reports failure as "", which text that was not empty cannot expand to.
bool BExpand(const char* pszText, bool bUTF8, CUtlString* pstrExpanded)
{
    *pstrExpanded =
        bUTF8 ? ExpandEnvironmentStringsUTF8(pszText) : ExpandEnvironmentStringsMultiByte(pszText);
    return !pstrExpanded->IsEmpty() || !*pszText;
}

// Local-code-page text as UTF-8: the bytes written with the terminator, or 0 when the
// text did not fit whole (the buffer then holds the whole characters that fitted).
int LocaleSpecificANSIToUTF8(const char* pszANSI, char* pchUTF8, int cubUTF8)
{
    pchUTF8[0] = '\0';
    const CLocalCodePageWideText wide(pszANSI);
    if (!wide.BValid())
        return 0;
    const wchar16* pwchWide = reinterpret_cast<const wchar16*>(wide.Get());
    const int cubNeeded = V_UTF16ToUTF8(pwchWide, nullptr, 0);
    V_UTF16ToUTF8(pwchWide, pchUTF8, cubUTF8);
    return cubNeeded <= cubUTF8 ? cubNeeded : 0;
}

// Any character that is no hexadecimal digit reads as 0: the lenient reading is kept on
// purpose.
uint8 LenientHexDigit(char ch)
{
    const int nValue = V_HexDigitValue(ch);
    return nValue < 0 ? 0 : (uint8)nValue;
}

// Two digits a byte, an odd last digit ignored.
void DecodeLenientHex(const char* pszHex, CUtlVector<uint8>* pvecBytes)
{
    const size_t cubBytes = strlen(pszHex) / 2;
    for (size_t iByte = 0; iByte < cubBytes; ++iByte)
        pvecBytes->AddToTail(
            (uint8)(LenientHexDigit(pszHex[2 * iByte]) << 4 | LenientHexDigit(pszHex[2 * iByte + 1])));
}

} // namespace

CInstallScriptRegistry::CInstallScriptRegistry(uint32 unAppID, const char* pszLanguage,
                                               bool bUTF8RegistryStrings)
    : m_unAppID(unAppID), m_pszLanguage(pszLanguage ? pszLanguage : ""),
      m_bUTF8RegistryStrings(bUTF8RegistryStrings)
{
}

bool CInstallScriptRegistry::BIsRunLanguage(const KeyValues* pkvSubKey) const
{
    return V_stricmp(pkvSubKey->GetName(), m_pszLanguage) == 0;
}

bool CInstallScriptRegistry::ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath,
                                                  KeyValues* pRegistryKey, bool bOverwrite)
{
    Assert(pchPath && pRegistryKey);
    if (!pchPath || !pRegistryKey)
        return true;
    for (KeyValues* pkvGroup = pRegistryKey->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        const RegistryGroup_s* pGroup = FindRegistryGroup(pkvGroup->GetName());
        if (!pGroup)
            continue;
        const PFNWriteRegistryGroup pfnWrite = k_rgpfnWriteRegistryGroup[pGroup->m_eGroup];
        pfnWrite(*this, eRoot, pchPath, pkvGroup, bOverwrite);
        if (!pGroup->m_bLanguageSubKeys)
            continue;
        for (KeyValues* pkvLanguage = pkvGroup->GetFirstTrueSubKey(); pkvLanguage;
             pkvLanguage = pkvLanguage->GetNextTrueSubKey())
        {
            if (BIsRunLanguage(pkvLanguage))
                pfnWrite(*this, eRoot, pchPath, pkvLanguage, bOverwrite);
        }
    }
    // Results are only logged: a registry value never fails the run.
    return true;
}

bool CInstallScriptRegistry::WriteRegistryStrings(ERegKeyRoot eRoot, const char* pchPath,
                                                  KeyValues* pStringKey, bool bOverwrite)
{
    Assert(pStringKey);
    CUtlString strDataBuf;
    char* pchDataBuf = strDataBuf.GetForModify(k_cchDataBufMax - 1);
    if (!pStringKey || !pchPath || !pchDataBuf)
        return false;

    bool bResult = true;
    for (KeyValues* pkvLeaf = pStringKey->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
    {
        CUtlString strName;
        CUtlString strExpanded;
        if (!BExpand(pkvLeaf->GetName(), false, &strName) ||
            !BExpand(pkvLeaf->GetString(), m_bUTF8RegistryStrings, &strExpanded))
            continue;
        const bool bDefault = BIsDefaultValueName(strName);
        const char* pszValueName = bDefault ? "" : strName.Get();
        // Only a readable string counts as present; a value of another type is replaced.
        if (!bOverwrite && BGetRegistryValueStr(eRoot, pchPath, pszValueName, pchDataBuf, k_cchDataBufMax))
            continue;

        if (m_bUTF8RegistryStrings)
        {
            V_strncpy(pchDataBuf, strExpanded.Get(), k_cchDataBufMax);
        }
        else
        {
            const int cubConverted = LocaleSpecificANSIToUTF8(strExpanded.Get(), pchDataBuf, k_cchDataBufMax);
            AssertFmt(cubConverted != 0,
                      "V_LocaleSpecificANSIToUTF8( strExpanded.Get(), -1, pchDataBuf, cchDataBufMax ) != 0");
        }
        if (!BSetRegistryValueStr(eRoot, pchPath, pszValueName, pchDataBuf))
        {
            InstallScriptAppLog(m_unAppID, "Failed to set registry STRING [%s\\%s] \"%s\" = \"%s\"",
                                PchNameFromERegKeyRoot(eRoot), pchPath,
                                bDefault ? k_szDefaultValueName : pszValueName, strExpanded.Get());
            bResult = false;
        }
    }
    return bResult;
}

bool CInstallScriptRegistry::WriteRegistryDwords(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pDwordKey,
                                                 bool bOverwrite)
{
    Assert(pDwordKey);
    if (!pDwordKey || !pchPath)
        return false;
    bool bResult = true;
    for (KeyValues* pkvLeaf = pDwordKey->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
    {
        CUtlString strName;
        if (!BExpand(pkvLeaf->GetName(), false, &strName))
            continue;
        unsigned int unPresent = 0;
        if (!bOverwrite && BGetRegistryValueUint(eRoot, pchPath, strName, &unPresent))
            continue;
        const unsigned int unValue = (unsigned int)pkvLeaf->GetInt(0);
        if (!BSetRegistryValueUint(eRoot, pchPath, strName, unValue))
        {
            InstallScriptAppLog(m_unAppID, "Failed to set registry DWORD [%s\\%s] \"%s\" = %u",
                                PchNameFromERegKeyRoot(eRoot), pchPath, strName.Get(), unValue);
            bResult = false;
        }
    }
    return bResult;
}

bool CInstallScriptRegistry::WriteRegistryBinaries(ERegKeyRoot eRoot, const char* pchPath,
                                                   KeyValues* pBinaryKey, bool bOverwrite)
{
    Assert(pBinaryKey);
    if (!pBinaryKey || !pchPath)
        return false;
    bool bResult = true;
    for (KeyValues* pkvLeaf = pBinaryKey->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
    {
        const char* pszName = pkvLeaf->GetName();
        if (!bOverwrite)
        {
            // A zero-capacity read reports the size of a value of any type.
            unsigned char ubProbe = 0;
            unsigned int cubPresent = 0;
            BGetRegistryValueBin(eRoot, pchPath, pszName, &ubProbe, &cubPresent);
            if (cubPresent != 0)
                continue;
        }
        const char* pszHex = pkvLeaf->GetString();
        CUtlVector<uint8> vecBytes;
        DecodeLenientHex(pszHex, &vecBytes);
        if (!BSetRegistryValueBin(eRoot, pchPath, pszName, vecBytes.Base(), (unsigned int)vecBytes.Count()))
        {
            InstallScriptAppLog(m_unAppID, "Failed to set registry BINARY [%s\\%s] \"%s\" = \"%s\"",
                                PchNameFromERegKeyRoot(eRoot), pchPath, pszName, pszHex);
            bResult = false;
        }
    }
    return bResult;
}

bool CInstallScriptRegistry::CopyRegistryStrings(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pCopyKey)
{
    Assert(pCopyKey);
    if (!pCopyKey || !pchPath)
        return false;
    bool bResult = true;
    for (KeyValues* pkvLeaf = pCopyKey->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
    {
        ERegKeyRoot eSourceRoot;
        CUtlString strSourceKey;
        CUtlString strSourceValueName;
        if (!BParseInstallScriptRegKey(pkvLeaf->GetString(), &eSourceRoot, &strSourceKey,
                                       &strSourceValueName))
        {
            bResult = false;
            continue;
        }
        // A source that is not there is normal: the copy is simply not made.
        CUtlString strValue;
        if (!BGetRegistryValueStr(eSourceRoot, strSourceKey, strSourceValueName, &strValue))
            continue;
        const char* pszName = pkvLeaf->GetName();
        bResult &=
            BSetRegistryValueStr(eRoot, pchPath, BIsDefaultValueName(pszName) ? "" : pszName, strValue);
    }
    return bResult;
}

bool CInstallScriptRegistry::BDeleteLeafValues(ERegKeyRoot eRoot, StringView svPath, KeyValues* pkvLeaves)
{
    bool bResult = true;
    for (KeyValues* pkvLeaf = pkvLeaves->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
    {
        if (BDeleteRegistryValue(eRoot, svPath, pkvLeaf->GetName()))
            continue;
        InstallScriptAppLog(m_unAppID, "Failed to delete value [%s\\%s] \"%s\"",
                            PchNameFromERegKeyRoot(eRoot), svPath.Get(), pkvLeaf->GetName());
        bResult = false;
    }
    return bResult;
}

bool CInstallScriptRegistry::RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath,
                                                     KeyValues* pRegistryKey)
{
    Assert(pchPath && pRegistryKey);
    if (!pchPath || !pRegistryKey)
        return false;
    bool bResult = true;
    // Every group, whatever its name: the values were written under the leaves' names.
    for (KeyValues* pkvGroup = pRegistryKey->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        for (KeyValues* pkvLanguage = pkvGroup->GetFirstTrueSubKey(); pkvLanguage;
             pkvLanguage = pkvLanguage->GetNextTrueSubKey())
        {
            if (BIsRunLanguage(pkvLanguage))
                bResult &= BDeleteLeafValues(eRoot, pchPath, pkvLanguage);
        }
        bResult &= BDeleteLeafValues(eRoot, pchPath, pkvGroup);
    }

    // A key that still holds something the script did not write stays as it is.
    char szName[k_cchEnumName];
    unsigned int unType = 0;
    if (BEnumerateRegistryKey(eRoot, pchPath, 0, szName, k_cchEnumName) ||
        BEnumerateRegistryValue(eRoot, pchPath, 0, szName, k_cchEnumName, &unType))
        return bResult;
    if (!BDeleteRegistryKey(eRoot, pchPath))
    {
        InstallScriptAppLog(m_unAppID, "Failed to delete key [%s\\%s]", PchNameFromERegKeyRoot(eRoot),
                            pchPath);
        return false;
    }
    return bResult;
}

bool ApplyRegistrySection(const CInstallScriptRunContext& run, ERegKeyRoot eRoot, const char* pchPath,
                          KeyValues* pRegistryKey, bool bOverwrite)
{
    CInstallScriptRegistry registry(run.m_unAppID, run.m_pszLanguage, run.m_bUTF8RegistryStrings);
    return registry.ApplyRegistrySection(eRoot, pchPath, pRegistryKey, bOverwrite);
}

bool RemoveRegistryKeyValues(const CInstallScriptRunContext& run, ERegKeyRoot eRoot, const char* pchPath,
                             KeyValues* pRegistryKey)
{
    CInstallScriptRegistry registry(run.m_unAppID, run.m_pszLanguage, run.m_bUTF8RegistryStrings);
    return registry.RemoveRegistryKeyValues(eRoot, pchPath, pRegistryKey);
}
