// The checks every entry shares: duplicate keys, its run-once record key, its
// requirement groups and the variables its values refer to.

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "clientdll/installscript_requirementnames.h"
#include "clientdll/installscript_variablenames.h"
#include "common/ostype.h"
#include "common/registrypath.h"
#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_sections.h"
#include "installscript/nearestname.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// Variables every Windows process has; anything else a script refers to is a mistake or
// something only the author's machine sets.
const char* const k_rgpszWindowsVariables[] = {
    "ALLUSERSPROFILE",
    "APPDATA",
    "CommonProgramFiles",
    "CommonProgramFiles(x86)",
    "CommonProgramW6432",
    "COMPUTERNAME",
    "ComSpec",
    "HOMEDRIVE",
    "HOMEPATH",
    "LOCALAPPDATA",
    "NUMBER_OF_PROCESSORS",
    "OS",
    "Path",
    "PATHEXT",
    "PROCESSOR_ARCHITECTURE",
    "PROCESSOR_IDENTIFIER",
    "PROCESSOR_LEVEL",
    "PROCESSOR_REVISION",
    "ProgramData",
    "ProgramFiles",
    "ProgramFiles(x86)",
    "ProgramW6432",
    "PUBLIC",
    "SystemDrive",
    "SystemRoot",
    "TEMP",
    "TMP",
    "USERDOMAIN",
    "USERNAME",
    "USERPROFILE",
    "windir",
};

bool BIsKnownVariable(const char* pszName)
{
    if (BIsScriptVariable(pszName))
        return true;
    for (const char* pszVariable : k_rgpszWindowsVariables)
    {
        if (V_stricmp(pszName, pszVariable) == 0)
            return true;
    }
    return false;
}

// Text between two percent signs that holds a blank, a quote or a path separator is
// no reference: it is a lone percent sign further on.
bool BLooksLikeVariableName(const char* pch, size_t cch)
{
    for (size_t i = 0; i < cch; ++i)
    {
        if (strchr(" \t\"\\/", pch[i]))
            return false;
    }
    return cch > 0;
}

void CheckValueVariables(KeyValues* pkvValue, CCheckContext& context)
{
    const char* psz = pkvValue->GetString();
    while (const char* pchOpen = strchr(psz, '%'))
    {
        const char* pchClose = strchr(pchOpen + 1, '%');
        if (!pchClose)
            return;
        const size_t cchName = (size_t)(pchClose - pchOpen - 1);
        if (!BLooksLikeVariableName(pchOpen + 1, cchName))
        {
            psz = pchClose;
            continue;
        }
        const std::string strName(pchOpen + 1, cchName);
        if (!BIsKnownVariable(strName.c_str()))
            context.Report(
                k_ECheckUnknownVariable, pkvValue,
                "%%%s%% is neither a script variable nor one Windows always sets; it stays as written",
                strName.c_str());
        psz = pchClose + 1;
    }
}

void CheckRequirement(KeyValues* pkvGroup, CCheckContext& context)
{
    const ERequirement eRequirement = GetRequirementFromName(pkvGroup->GetName());
    if (eRequirement == k_ERequirementCount && context.BWants(k_ECheckRequirementName))
    {
        std::vector<const char*> vecNames;
        for (int i = 0; i < k_ERequirementCount; ++i)
            vecNames.push_back(GetRequirementName(ERequirement(i)));
        const std::string strHint = DidYouMean(pkvGroup->GetName(), vecNames);
        context.Report(k_ECheckRequirementName, pkvGroup,
                       "\"%s\" is no requirement; the evaluator ignores it%s", pkvGroup->GetName(),
                       strHint.c_str());
        return;
    }
    if (eRequirement != k_ERequirementOS || !context.BWants(k_ECheckRequirementOS))
        return;
    KeyValues* pkvOSType = FindValue(pkvGroup, "OSType");
    if (!pkvOSType || GetOSTypeFromName(TextOf(pkvOSType)) != k_EOSTypeCount)
        return;
    std::vector<const char*> vecNames;
    for (int i = 0; i < k_EOSTypeCount; ++i)
        vecNames.push_back(PchNameFromEOSType(EOSType(i)));
    const std::string strHint = DidYouMean(TextOf(pkvOSType), vecNames);
    CKeyScope scope(context, pkvGroup);
    context.Report(k_ECheckRequirementOS, pkvOSType,
                   "\"%s\" names no OS type; the requirement never holds and the entry is always skipped%s",
                   TextOf(pkvOSType), strHint.c_str());
}

} // namespace

void CheckEntryRecordAndRequirements(KeyValues* pkvEntry, CCheckContext& context)
{
    if (KeyValues* pkvHasRunKey = FindValue(pkvEntry, "HasRunKey"))
    {
        ERegKeyRoot eRoot;
        CUtlString strKey;
        if (!BParseInstallScriptRegKey(TextOf(pkvHasRunKey), &eRoot, &strKey, nullptr))
            context.Report(
                k_ECheckHasRunKey, pkvHasRunKey,
                "\"%s\" is no registry key path (ROOT\\key); the entry is never recorded as run and "
                "runs every time",
                TextOf(pkvHasRunKey));
    }
    for (KeyValues* pkvGroup = pkvEntry->GetFirstTrueSubKey(); pkvGroup;
         pkvGroup = pkvGroup->GetNextTrueSubKey())
    {
        if (V_StringHasPrefixCaseless(pkvGroup->GetName(), k_szRequirementPrefix))
            CheckRequirement(pkvGroup, context);
    }
}

void CheckDuplicateKeys(KeyValues* pkvParent, CCheckContext& context)
{
    std::vector<std::pair<HKeySymbol, KeyValues*>> vecKeys;
    for (KeyValues* pkv = pkvParent->GetFirstSubKey(); pkv; pkv = pkv->GetNextKey())
        vecKeys.push_back({pkv->GetNameSymbol(), pkv});
    // Stable: the first of each name stays in front.
    std::stable_sort(vecKeys.begin(), vecKeys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (size_t i = 1; i < vecKeys.size(); ++i)
    {
        if (vecKeys[i].first == vecKeys[i - 1].first)
            context.Report(k_ECheckDuplicateKey, vecKeys[i].second,
                           "\"%s\" appears again; the evaluator only ever sees the first one",
                           vecKeys[i].second->GetName());
    }
}

void CheckVariables(KeyValues* pkvTop, CCheckContext& context)
{
    // Iterative: a document may nest thousands of levels.
    std::vector<KeyValues*> vecNext{pkvTop->GetFirstSubKey()};
    while (!vecNext.empty())
    {
        KeyValues* pkv = vecNext.back();
        if (!pkv)
        {
            vecNext.pop_back();
            if (!vecNext.empty())
                context.PopKey();
            continue;
        }
        vecNext.back() = pkv->GetNextKey();
        if (pkv->GetDataType() == KeyValues::TYPE_STRING)
            CheckValueVariables(pkv, context);
        else if (pkv->GetDataType() == KeyValues::TYPE_NONE)
        {
            context.PushKey(pkv);
            vecNext.push_back(pkv->GetFirstSubKey());
        }
    }
}
