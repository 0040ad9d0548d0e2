// "Run Process", "Run Process On Update" and "Run Process On Uninstall" entries.

#include <cstring>
#include <string>

#include "clientdll/installscript_redistributables.h"
#include "common/registrypath.h"
#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_sections.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// A program key is "process" and a suffix; its command line is "command" and the same suffix.
constexpr char k_szProcessPrefix[] = "process";
constexpr char k_szCommandPrefix[] = "command";
constexpr size_t k_cchPrefix = sizeof(k_szProcessPrefix) - 1;
static_assert(sizeof(k_szProcessPrefix) == sizeof(k_szCommandPrefix), "both prefixes are one length");

// Without a "Description" the player sees the redistributable's name from the evaluator's
// table, else what the program's version resource says, else its file name.
void NoteDescription(KeyValues* pkvEntry, KeyValues* pkvProcess, KeyValues* pkvCommand,
                     CCheckContext& context)
{
    if (*TextOf(FindValue(pkvEntry, "Description")) || !context.BWants(k_ECheckProcessDescription))
        return;
    const CUtlString strSubject = GetDescriptionSubject(TextOf(pkvProcess), TextOf(pkvCommand));
    if (const char* pszDescription = PchRedistributableDescription(strSubject.Get()))
        context.Report(k_ECheckProcessDescription, pkvProcess,
                       "no \"Description\": the player is shown \"%s\"", pszDescription);
    else
        context.Report(
            k_ECheckProcessDescription, pkvProcess,
            "no \"Description\": the player is shown the version description of \"%s\", or its file "
            "name",
            strSubject.Get());
}

void CheckProcessPairs(KeyValues* pkvEntry, CCheckContext& context)
{
    bool bAnyProcess = false;
    for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv; pkv = pkv->GetNextValue())
    {
        const bool bProcess = V_StringHasPrefixCaseless(pkv->GetName(), k_szProcessPrefix);
        if (!bProcess && !V_StringHasPrefixCaseless(pkv->GetName(), k_szCommandPrefix))
            continue;
        bAnyProcess |= bProcess;
        const char* pszSuffix = pkv->GetName() + k_cchPrefix;
        const std::string strPartner =
            std::string(bProcess ? k_szCommandPrefix : k_szProcessPrefix) + pszSuffix;
        KeyValues* pkvPartner = FindValue(pkvEntry, strPartner.c_str());
        if (bProcess)
            NoteDescription(pkvEntry, pkv, pkvPartner, context);
        if (pkvPartner)
            continue;
        if (bProcess)
            context.Report(k_ECheckProcessCommand, pkv,
                           "\"%s\" has no \"%s\"; the program is run with an empty command line",
                           pkv->GetName(), strPartner.c_str());
        else
            context.Report(k_ECheckProcessCommand, pkv,
                           "\"%s\" has no \"%s\"; this command line is never used", pkv->GetName(),
                           strPartner.c_str());
    }
    if (!bAnyProcess)
        context.Report(k_ECheckProcessCommand, pkvEntry, "the entry has no \"process\" key; nothing is run");
}

void CheckHasRunStringPair(KeyValues* pkvEntry, const char* pszKeyName, const char* pszValueName,
                           CCheckContext& context)
{
    KeyValues* pkvKey = FindValue(pkvEntry, pszKeyName);
    KeyValues* pkvValue = FindValue(pkvEntry, pszValueName);
    const bool bKey = *TextOf(pkvKey) != '\0';
    const bool bValue = *TextOf(pkvValue) != '\0';
    if (bKey != bValue)
    {
        context.Report(k_ECheckHasRunStringPair, bKey ? pkvKey : pkvValue,
                       "\"%s\" without \"%s\"; the still-installed check never matches",
                       bKey ? pszKeyName : pszValueName, bKey ? pszValueName : pszKeyName);
        return;
    }
    ERegKeyRoot eRoot;
    CUtlString strKey, strValueName;
    if (bKey && !BParseInstallScriptRegKey(TextOf(pkvKey), &eRoot, &strKey, &strValueName))
        context.Report(
            k_ECheckHasRunStringPair, pkvKey,
            "\"%s\" is no registry path with a value name (ROOT\\key\\ValueName); the still-installed "
            "check never matches",
            TextOf(pkvKey));
}

// Items are separated by commas, semicolons or blanks; each is a decimal number.
void CheckValidExitCodes(KeyValues* pkvEntry, CCheckContext& context)
{
    KeyValues* pkvCodes = FindValue(pkvEntry, "ValidExitCodes");
    if (!pkvCodes || pkvCodes->GetDataType() == KeyValues::TYPE_INT)
        return;
    std::string strCodes = TextOf(pkvCodes);
    for (char* pszItem = strtok(&strCodes[0], ",; \t"); pszItem; pszItem = strtok(nullptr, ",; \t"))
    {
        const char* pch = pszItem + (*pszItem == '-' ? 1 : 0);
        if (*pch && strspn(pch, "0123456789") == strlen(pch))
            continue;
        context.Report(k_ECheckValidExitCodes, pkvCodes, "\"%s\" is not a number; no exit code matches it",
                       pszItem);
    }
}

} // namespace

void CheckRunProcessEntry(KeyValues* pkvEntry, CCheckContext& context)
{
    CheckProcessPairs(pkvEntry, context);
    CheckHasRunStringPair(pkvEntry, "HasRunStringKey", "HasRunStringValue", context);
    CheckHasRunStringPair(pkvEntry, "HasRunStringKey2", "HasRunStringValue2", context);
    CheckValidExitCodes(pkvEntry, context);
    if (KeyValues* pkvAsCurrentUser = FindValue(pkvEntry, "AsCurrentUser"))
        context.Report(k_ECheckAsCurrentUser, pkvAsCurrentUser,
                       "\"AsCurrentUser\" has no effect; every program is run with administrator rights");
}
