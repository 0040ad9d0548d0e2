// "Registry" and "Registry If Not Present": each entry is a registry key path holding
// typed groups of values.

#include <vector>

#include "clientdll/installscript_registrygroups.h"
#include "common/language.h"
#include "common/registrypath.h"
#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_sections.h"
#include "installscript/nearestname.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

void CheckBinary(KeyValues* pkvLeaf, CCheckContext& context)
{
    const char* pszHex = TextOf(pkvLeaf);
    size_t cch = 0;
    for (; pszHex[cch]; ++cch)
    {
        if (V_HexDigitValue(pszHex[cch]) < 0)
        {
            context.Report(k_ECheckRegistryBinary, pkvLeaf,
                           "\"%s\" holds '%c', which is no hexadecimal digit; the evaluator writes it as 0",
                           pszHex, pszHex[cch]);
            return;
        }
    }
    if (cch % 2)
        context.Report(k_ECheckRegistryBinary, pkvLeaf,
                       "\"%s\" has an odd number of digits; the evaluator drops the last one", pszHex);
}

void CheckLeaf(ERegistryGroup eGroup, KeyValues* pkvLeaf, CCheckContext& context)
{
    switch (eGroup)
    {
        case k_ERegistryGroupDword:
            if (pkvLeaf->GetDataType() != KeyValues::TYPE_INT)
                context.Report(k_ECheckRegistryDword, pkvLeaf,
                               "\"%s\" is not an integer; the evaluator writes 0", TextOf(pkvLeaf));
            break;
        case k_ERegistryGroupBinary:
            CheckBinary(pkvLeaf, context);
            break;
        case k_ERegistryGroupStringFromRegKey:
        {
            ERegKeyRoot eRoot;
            CUtlString strKey, strValueName;
            if (!BParseInstallScriptRegKey(TextOf(pkvLeaf), &eRoot, &strKey, &strValueName))
                context.Report(
                    k_ECheckRegistrySource, pkvLeaf,
                    "\"%s\" is no registry path with a value name (ROOT\\key\\ValueName); nothing is "
                    "copied",
                    TextOf(pkvLeaf));
            break;
        }
        case k_ERegistryGroupString:
            break;
    }
}

void CheckLanguageSubKey(const RegistryGroup_s& group, KeyValues* pkvSubKey, CCheckContext& context)
{
    if (!group.m_bLanguageSubKeys)
    {
        context.Report(k_ECheckSectionShape, pkvSubKey, "\"%s\" takes no subkeys; \"%s\" is never written",
                       group.m_pszName, pkvSubKey->GetName());
        return;
    }
    if (GetLanguageFromName(pkvSubKey->GetName()) != k_ELanguageUnknown ||
        !context.BWants(k_ECheckRegistryLanguage))
        return;
    std::vector<const char*> vecLanguages;
    for (int i = 0; i < k_ELanguageCount; ++i)
        vecLanguages.push_back(GetLanguageName(ELanguage(i)));
    const std::string strHint = DidYouMean(pkvSubKey->GetName(), vecLanguages);
    context.Report(k_ECheckRegistryLanguage, pkvSubKey,
                   "\"%s\" is no language the platform uses; its values are never written%s",
                   pkvSubKey->GetName(), strHint.c_str());
}

void CheckGroup(const RegistryGroup_s& group, KeyValues* pkvGroup, CCheckContext& context)
{
    CKeyScope scope(context, pkvGroup);
    for (KeyValues* pkv = pkvGroup->GetFirstSubKey(); pkv; pkv = pkv->GetNextKey())
    {
        if (pkv->GetDataType() != KeyValues::TYPE_NONE)
        {
            CheckLeaf(group.m_eGroup, pkv, context);
            continue;
        }
        CheckLanguageSubKey(group, pkv, context);
        if (!group.m_bLanguageSubKeys)
            continue;
        CKeyScope languageScope(context, pkv);
        for (KeyValues* pkvLeaf = pkv->GetFirstValue(); pkvLeaf; pkvLeaf = pkvLeaf->GetNextValue())
            CheckLeaf(group.m_eGroup, pkvLeaf, context);
    }
}

void CheckKeyPath(KeyValues* pkvEntry, CCheckContext& context)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    if (!BParseInstallScriptRegKey(pkvEntry->GetName(), &eRoot, &strKey, nullptr))
    {
        context.Report(
            k_ECheckRegistryPath, pkvEntry,
            "\"%s\" is no registry key path the evaluator can parse (ROOT\\key with a root such as "
            "HKLM, HKCU, HKCR, HKLM32 or HKLM64); the key is skipped",
            pkvEntry->GetName());
        return;
    }
    ERegKeyRoot eWritten;
    char szKey[2];
    // The root as written, before the script rule picks a view.
    // Only the machine hive is told apart by view for most keys.
    if (BParseRegistryPath(pkvEntry->GetName(), &eWritten, szKey, sizeof(szKey), nullptr, 0) &&
        eWritten == k_ERegKeyRootLocalMachine && eWritten != eRoot)
        context.Report(k_ECheckRegistryView, pkvEntry,
                       "lands in %s: script keys go to the 32-bit view unless the root is HKLM64 "
                       "(HKEY_LOCAL_MACHINE_WOW64_64)",
                       PchNameFromERegKeyRoot(eRoot));
}

} // namespace

void CheckRegistryEntry(KeyValues* pkvEntry, CCheckContext& context)
{
    CheckKeyPath(pkvEntry, context);
    std::vector<const char*> vecGroupNames;
    for (const RegistryGroup_s& group : k_rgRegistryGroups)
        vecGroupNames.push_back(group.m_pszName);
    for (KeyValues* pkv = pkvEntry->GetFirstSubKey(); pkv; pkv = pkv->GetNextKey())
    {
        if (pkv->GetDataType() != KeyValues::TYPE_NONE)
        {
            context.Report(
                k_ECheckSectionShape, pkv,
                "\"%s\" holds a value; a registry key holds typed groups (\"string\", \"dword\", ...) "
                "and it is skipped",
                pkv->GetName());
            continue;
        }
        if (const RegistryGroup_s* pGroup = FindRegistryGroup(pkv->GetName()))
        {
            CheckGroup(*pGroup, pkv, context);
            continue;
        }
        if (!context.BWants(k_ECheckRegistryGroup))
            continue;
        const std::string strHint = DidYouMean(pkv->GetName(), vecGroupNames);
        context.Report(k_ECheckRegistryGroup, pkv, "\"%s\" is no typed group; its values are never written%s",
                       pkv->GetName(), strHint.c_str());
    }
}
