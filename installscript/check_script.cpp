#include "installscript/check_script.h"

#include <cstring>
#include <string>
#include <vector>

#include "installscript/check_context.h"
#include "installscript/check_job.h"
#include "installscript/check_sections.h"
#include "installscript/nearestname.h"
#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"
#include "vstdlib/strtools.h"

namespace
{

// Every name a mode walks, and the script's one top-level value: what an unknown name is
// compared with.
std::vector<const char*> KnownTopLevelNames()
{
    std::vector<const char*> vecNames{k_szUTF8RegistryStringsKey};
    const ModeWalks_s walks = GetModeWalks();
    for (int iWalk = 0; iWalk < walks.m_cWalks; ++iWalk)
    {
        const SectionSteps_s& steps = walks.m_pWalks[iWalk].m_steps;
        for (int i = 0; i < steps.m_cSteps; ++i)
            vecNames.push_back(steps.m_pSteps[i].m_pszSection);
    }
    return vecNames;
}

void CheckUnknownTopLevel(KeyValues* pkvChild, CCheckContext& context)
{
    // The suggestion costs an edit distance a name: none once the check is at its limit.
    if (!context.BWants(k_ECheckUnknownSection))
        return;
    static const std::vector<const char*> s_vecKnown = KnownTopLevelNames();
    context.Report(k_ECheckUnknownSection, pkvChild,
                   "\"%s\" is no section the evaluator walks; it is ignored%s", pkvChild->GetName(),
                   DidYouMean(pkvChild->GetName(), s_vecKnown).c_str());
}

void CheckEntry(const SectionStep_s& step, KeyValues* pkvEntry, CCheckContext& context)
{
    CKeyScope scope(context, pkvEntry);
    switch (step.m_eHandler)
    {
        case k_ESectionHandlerRegistryWrite:
        case k_ESectionHandlerRegistryWriteIfNotPresent:
        case k_ESectionHandlerRegistryRemove:
            CheckRegistryEntry(pkvEntry, context);
            return;
        case k_ESectionHandlerRunProcess:
        case k_ESectionHandlerRunProcessAsCurrentUser:
            CheckRunProcessEntry(pkvEntry, context);
            break;
        case k_ESectionHandlerCompatibilityMode:
            CheckCompatibilityModeEntry(pkvEntry, context);
            break;
        case k_ESectionHandlerFirewall:
        case k_ESectionHandlerDeleteFilesOnUninstall:
            break;
        default:
            CheckFileEntry(step.m_eHandler, pkvEntry, context);
            break;
    }
    CheckDuplicateKeys(pkvEntry, context);
    CheckEntryRecordAndRequirements(pkvEntry, context);
}

// The units the section's walk hands on; children of the other kind are passed over.
void CheckSection(const SectionStep_s& step, KeyValues* pkvSection, CCheckContext& context)
{
    CKeyScope scope(context, pkvSection);
    if (step.m_eUnit == k_EWalkUnitSection)
    {
        CheckEntry(step, pkvSection, context);
        return;
    }
    const bool bEntries = step.m_eUnit == k_EWalkUnitEntry;
    for (KeyValues* pkvChild = pkvSection->GetFirstSubKey(); pkvChild; pkvChild = pkvChild->GetNextKey())
    {
        const bool bGroup = pkvChild->GetDataType() == KeyValues::TYPE_NONE;
        if (bGroup == bEntries)
        {
            if (bEntries)
                CheckEntry(step, pkvChild, context);
            continue;
        }
        if (bEntries)
            context.Report(k_ECheckSectionShape, pkvChild,
                           "\"%s\" holds a value; the evaluator walks only the groups of \"%s\" and skips it",
                           pkvChild->GetName(), step.m_pszSection);
        else
            context.Report(k_ECheckSectionShape, pkvChild,
                           "\"%s\" is a group; the evaluator walks only the values of \"%s\" and skips it",
                           pkvChild->GetName(), step.m_pszSection);
    }
}

void CheckConditional(const TextEvent_s& conditional, CCheckContext& context)
{
    const char* pszText = conditional.m_strText.c_str();
    const char* pchBracket = strchr(pszText, '[');
    // Names are gathered by the lookup the evaluation calls; the values do not matter here.
    static thread_local std::vector<std::string>* s_pvecNames = nullptr;
    std::vector<std::string> vecNames;
    s_pvecNames = &vecNames;
    bool bMalformed = false;
    EvaluateConditional(
        pchBracket ? pchBracket + 1 : pszText,
        [](const char* pszName)
        {
            s_pvecNames->push_back(pszName);
            return false;
        },
        &bMalformed);
    s_pvecNames = nullptr;
    if (bMalformed)
        context.ReportAt(k_ECheckConditionalSyntax, conditional.m_nOffset,
                         "conditional %s has a bad token; it counts as false, so what it guards is dropped",
                         pszText);
    for (const std::string& strName : vecNames)
    {
        if (!BIsKeyValuesPlatformName(strName.c_str()))
            context.ReportAt(k_ECheckConditionalPlatform, conditional.m_nOffset,
                             "\"%s\" in conditional %s is no platform name; it is always false",
                             strName.c_str(), pszText);
    }
}

// The reader's messages begin with the function that recorded them; the text after it is
// what a script's author can act on.
const char* ReaderMessage(const std::string& strMessage)
{
    const char* psz = strMessage.c_str();
    if (const char* pchColon = strstr(psz, ":  "))
        psz = pchColon + 3;
    while (*psz == ' ')
        ++psz;
    return psz;
}

} // namespace

void CheckReaderEvents(CCheckContext& context, const CKeyLocations& locations)
{
    for (const TextEvent_s& error : locations.Errors())
        context.ReportAt(k_ECheckSyntax, error.m_nOffset, "%s; the reader keeps what it read before",
                         ReaderMessage(error.m_strText));
    for (const TextEvent_s& conditional : locations.Conditionals())
        CheckConditional(conditional, context);
}

void CheckInstallScript(KeyValues* pkvScript, CCheckContext& context)
{
    CheckDuplicateKeys(pkvScript, context);
    for (KeyValues* pkvChild = pkvScript->GetFirstSubKey(); pkvChild; pkvChild = pkvChild->GetNextKey())
    {
        if (V_stricmp(pkvChild->GetName(), k_szUTF8RegistryStringsKey) == 0)
            continue;
        const SectionStep_s* pStep = FindSectionStep(pkvChild->GetName());
        if (!pStep)
        {
            CheckUnknownTopLevel(pkvChild, context);
            continue;
        }
        if (pkvChild->GetDataType() != KeyValues::TYPE_NONE)
        {
            context.Report(k_ECheckSectionShape, pkvChild,
                           "\"%s\" holds a value; the evaluator walks it as a section and finds nothing",
                           pkvChild->GetName());
            continue;
        }
        CheckSection(*pStep, pkvChild, context);
    }
    CheckVariables(pkvScript, context);
}

void CheckDocument(KeyValues* pkvRoot, CCheckContext& context)
{
    if (BIsJobDocument(pkvRoot))
        CheckJob(pkvRoot, context);
    else
        CheckInstallScript(pkvRoot, context);
}
