// The file sections: "Copy Files", "Copy Folders", "symlink" (keys that pair up by
// suffix), "Create Folders", "Delete Files" and "File Template".

#include <set>
#include <string>

#include "common/registrypath.h"
#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_sections.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr char k_szHasRunKey[] = "HasRunKey";

// How a family of keys finds its partner: the source's name contains (or begins with)
// the source word, and the partner is the target word followed by the rest of the name.
struct KeyPairing_s
{
    const char* m_pszSource;
    const char* m_pszTarget;
    bool m_bPrefixOnly; // "link" must begin the name; "SrcFile" may stand anywhere in it
};

const char* PchSourceSuffix(const KeyPairing_s& pairing, const char* pszName)
{
    if (pairing.m_bPrefixOnly)
        return V_StringHasPrefixCaseless(pszName, pairing.m_pszSource) ? pszName + strlen(pairing.m_pszSource)
                                                                       : nullptr;
    const char* pch = V_stristr(pszName, pairing.m_pszSource);
    return pch ? pch + strlen(pairing.m_pszSource) : nullptr;
}

std::string Lower(const std::string& str)
{
    std::string strLower(str);
    for (char& ch : strLower)
        ch = V_tolower_ascii(ch);
    return strLower;
}

void CheckPairs(const KeyPairing_s& pairing, KeyValues* pkvEntry, CCheckContext& context)
{
    std::set<std::string> setPartners;
    bool bAnySource = false;
    for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv; pkv = pkv->GetNextValue())
    {
        const char* pszSuffix = PchSourceSuffix(pairing, pkv->GetName());
        if (!pszSuffix || !V_stricmp(pkv->GetName(), k_szHasRunKey))
            continue;
        bAnySource = true;
        const std::string strPartner = std::string(pairing.m_pszTarget) + pszSuffix;
        setPartners.insert(Lower(strPartner));
        if (!FindValue(pkvEntry, strPartner.c_str()))
            context.Report(k_ECheckFilePartner, pkv,
                           "\"%s\" has no \"%s\"; the evaluator has nowhere to put it", pkv->GetName(),
                           strPartner.c_str());
    }
    if (!bAnySource)
        context.Report(k_ECheckFilePartner, pkvEntry, "the entry has no \"%s\" key; it does nothing",
                       pairing.m_pszSource);
    for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv; pkv = pkv->GetNextValue())
    {
        const KeyPairing_s reverse{pairing.m_pszTarget, pairing.m_pszSource, pairing.m_bPrefixOnly};
        if (PchSourceSuffix(reverse, pkv->GetName()) && !setPartners.count(Lower(pkv->GetName())))
            context.Report(k_ECheckFilePartner, pkv, "\"%s\" belongs to no \"%s\" key; it is never used",
                           pkv->GetName(), pairing.m_pszSource);
    }
}

void CheckCreateFolders(KeyValues* pkvEntry, CCheckContext& context)
{
    for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv; pkv = pkv->GetNextValue())
    {
        if (V_stristr(pkv->GetName(), "Folder") && V_stricmp(pkv->GetName(), k_szHasRunKey))
            return;
    }
    context.Report(k_ECheckCreateFolders, pkvEntry,
                   "the entry has no value whose name contains \"Folder\"; it creates nothing and fails");
}

void CheckFileTemplate(KeyValues* pkvEntry, CCheckContext& context)
{
    for (const char* pszKey : {"template_file", "output_file"})
    {
        if (!FindValue(pkvEntry, pszKey))
            context.Report(k_ECheckFileTemplate, pkvEntry, "the entry has no \"%s\"; no file is filled in",
                           pszKey);
    }
    // Every other value names a registry value whose text becomes a variable of the
    // template; the run-once and clean-up settings are read as such too, and fail quietly.
    for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv; pkv = pkv->GetNextValue())
    {
        bool bControl = false;
        for (const char* pszKey : {k_szHasRunKey, "template_file", "output_file", "MinimumHasRunValue",
                                   "NoCleanUp", "IgnoreExitCode"})
            bControl |= !V_stricmp(pkv->GetName(), pszKey);
        ERegKeyRoot eRoot;
        CUtlString strKey, strValueName;
        if (!bControl && !BParseInstallScriptRegKey(TextOf(pkv), &eRoot, &strKey, &strValueName))
            context.Report(
                k_ECheckFileTemplateReference, pkv,
                "\"%s\" is no registry path with a value name (ROOT\\key\\ValueName); %%%s%% is not set "
                "for the template",
                TextOf(pkv), pkv->GetName());
    }
}

} // namespace

void CheckFileEntry(ESectionHandler eHandler, KeyValues* pkvEntry, CCheckContext& context)
{
    switch (eHandler)
    {
        case k_ESectionHandlerCopyFiles:
            CheckPairs({"SrcFile", "DstFile", false}, pkvEntry, context);
            break;
        case k_ESectionHandlerCopyFolders:
            CheckPairs({"SrcFolder", "DstFolder", false}, pkvEntry, context);
            break;
        case k_ESectionHandlerSymlink:
            CheckPairs({"link", "target", true}, pkvEntry, context);
            if (KeyValues* pkvIgnore = FindValue(pkvEntry, "IgnoreExitCode"))
                context.Report(
                    k_ECheckSymlinkIgnoreExitCode, pkvIgnore,
                    "\"IgnoreExitCode\" never reaches the link's record (it is always 0 there); it only "
                    "lets a failed entry count as done");
            break;
        case k_ESectionHandlerCreateFolders:
            CheckCreateFolders(pkvEntry, context);
            break;
        case k_ESectionHandlerFileTemplate:
            CheckFileTemplate(pkvEntry, context);
            break;
        default:
            break;
    }
}
