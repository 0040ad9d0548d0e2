// The section walks: the mode's table of sections (installscript_sections) carried out
// through the handlers.

#include "clientdll/installscript_walks.h"

#include "clientdll/iinstallscriptsectionhandlers.h"
#include "clientdll/installscript_sections.h"
#include "tier1/keyvalues.h"

namespace
{

typedef IInstallScriptSectionHandlers Handlers_t;

template <typename TFunction>
bool BWalkSection(KeyValues* pkvScript, const char* pszSection, EWalkUnit eUnit, const TFunction& fnHandle)
{
    KeyValues* pkvSection = pkvScript->FindKey(pszSection);
    if (!pkvSection)
        return true;
    if (eUnit == k_EWalkUnitSection)
        return fnHandle(pkvSection);

    bool bResult = true;
    const bool bEntries = eUnit == k_EWalkUnitEntry;
    for (KeyValues* pkvItem = bEntries ? pkvSection->GetFirstTrueSubKey() : pkvSection->GetFirstValue();
         pkvItem; pkvItem = bEntries ? pkvItem->GetNextTrueSubKey() : pkvItem->GetNextValue())
        bResult &= fnHandle(pkvItem);
    return bResult;
}

// Registry entries are named by their key path; one that does not parse is skipped.
template <typename TFunction>
bool BHandleRegistryEntry(KeyValues* pkvEntry, const TFunction& fnHandle)
{
    ERegKeyRoot eRoot;
    CUtlString strKey;
    if (!BParseInstallScriptRegKey(pkvEntry->GetName(), &eRoot, &strKey, nullptr))
        return true;
    return fnHandle(eRoot, strKey.Get());
}

bool BApplyRegistryEntry(Handlers_t& handlers, KeyValues* pkvEntry, bool bOverwrite)
{
    return BHandleRegistryEntry(pkvEntry,
                                [&](ERegKeyRoot eRoot, const char* pszKey) {
                                    return handlers.ApplyRegistrySection(eRoot, pszKey, pkvEntry, bOverwrite);
                                });
}

bool BHandle(Handlers_t& h, ESectionHandler eHandler, KeyValues* p)
{
    switch (eHandler)
    {
        case k_ESectionHandlerRegistryWrite:
            return BApplyRegistryEntry(h, p, true);
        case k_ESectionHandlerRegistryWriteIfNotPresent:
            return BApplyRegistryEntry(h, p, false);
        case k_ESectionHandlerRegistryRemove:
            return BHandleRegistryEntry(p, [&](ERegKeyRoot eRoot, const char* pszKey)
                                        { return h.RemoveRegistryKeyValues(eRoot, pszKey, p); });
        case k_ESectionHandlerDeleteFilesOnUninstall:
            // Failures are only logged.
            h.BHandleUnit(eHandler, p);
            return true;
        default:
            return h.BHandleUnit(eHandler, p);
    }
    return true;
}

bool BWalkSteps(Handlers_t& handlers, KeyValues* pkvScript, SectionSteps_s steps)
{
    bool bResult = true;
    for (int i = 0; i < steps.m_cSteps; ++i)
    {
        const SectionStep_s& step = steps.m_pSteps[i];
        bResult &=
            BWalkSection(pkvScript, step.m_pszSection, step.m_eUnit,
                         [&](KeyValues* pkvItem) { return BHandle(handlers, step.m_eHandler, pkvItem); });
    }
    return bResult;
}

bool BWalkCleanupSteps(Handlers_t& handlers, KeyValues* pkvScript)
{
    bool bResult = true;
    const CleanupSteps_s steps = GetCleanupSteps();
    for (int i = 0; i < steps.m_cSteps; ++i)
    {
        const CleanupStep_s& step = steps.m_pSteps[i];
        bResult &= BWalkSection(pkvScript, step.m_pszSection, step.m_eUnit,
                                [&](KeyValues* pkvItem)
                                {
                                    if (pkvItem->GetKeyInt("NoCleanUp", 0) != 0)
                                        return true;
                                    return handlers.BForgetHasRunRecord(pkvItem, step.m_bMachineWide);
                                });
    }
    return bResult;
}

} // namespace

bool BWalkSections(IInstallScriptSectionHandlers& handlers, const ModeWalk_s& walk, KeyValues* pkvScript)
{
    bool bResult = BWalkSteps(handlers, pkvScript, walk.m_steps);
    if (walk.m_bCleanupFollows)
        bResult &= BWalkCleanupSteps(handlers, pkvScript);
    return bResult;
}
