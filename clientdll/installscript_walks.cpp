// The section walks, one table per mode.

#include "clientdll/installscript_walks.h"

#include "clientdll/iinstallscriptsectionhandlers.h"
#include "tier1/keyvalues.h"

namespace
{

typedef IInstallScriptSectionHandlers Handlers_t;

// What a section hands its handler: each group child, each plain value, or itself.
enum EWalkUnit
{
    k_EWalkUnitEntry,
    k_EWalkUnitValue,
    k_EWalkUnitSection,
};

struct SectionStep_s
{
    const char* m_pszSection;
    EWalkUnit m_eUnit;
    bool (*m_pfnHandle)(Handlers_t& handlers, KeyValues* pkvItem);
};

// The cleanup walk's sections, with the machine-wide flag of their has-run records.
struct CleanupStep_s
{
    const char* m_pszSection;
    EWalkUnit m_eUnit;
    bool m_bMachineWide;
};

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

template <size_t N>
bool BWalkSteps(Handlers_t& handlers, KeyValues* pkvScript, const SectionStep_s (&rgSteps)[N])
{
    bool bResult = true;
    for (const SectionStep_s& step : rgSteps)
        bResult &= BWalkSection(pkvScript, step.m_pszSection, step.m_eUnit,
                                [&](KeyValues* pkvItem) { return step.m_pfnHandle(handlers, pkvItem); });
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

bool BRemoveRegistryEntry(Handlers_t& handlers, KeyValues* pkvEntry)
{
    return BHandleRegistryEntry(pkvEntry, [&](ERegKeyRoot eRoot, const char* pszKey)
                                { return handlers.RemoveRegistryKeyValues(eRoot, pszKey, pkvEntry); });
}

const SectionStep_s k_rgLaunchSteps[] = {
    {"Registry", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return BApplyRegistryEntry(h, p, true); }},
    {"Registry If Not Present", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return BApplyRegistryEntry(h, p, false); }},
    {"File Template", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnFileTemplateKey(p); }},
    {"Run Process On Update", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return h.OnRunProcessKey(p, false); }},
    {"Run Process", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnRunProcessKey(p, true); }},
    {"Copy Folders", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnCopyFoldersKey(p); }},
    {"Copy Files", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnCopyFilesKey(p); }},
    {"Create Folders", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnCreateFoldersKey(p); }},
    {"symlink", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnSymlinkKey(p); }},
    {"Delete Files", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnDeleteFilesKey(p); }},
    {"Firewall", k_EWalkUnitSection, [](Handlers_t& h, KeyValues* p) { return h.OnFirewallKey(p); }},
    {"FirewallSubkeys", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnFirewallKey(p); }},
    {"CompatibilityMode", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return h.OnCompatibilityModeKey(p); }},
};

const SectionStep_s k_rgUpdateSteps[] = {
    {"Run Process On Update", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return h.OnRunProcessKey(p, false); }},
};

const SectionStep_s k_rgUninstallSteps[] = {
    {"Registry", k_EWalkUnitEntry, BRemoveRegistryEntry},
    {"Registry If Not Present", k_EWalkUnitEntry, BRemoveRegistryEntry},
    {"Delete Files On Uninstall", k_EWalkUnitValue,
     [](Handlers_t& h, KeyValues* p)
     {
         h.OnDeleteFilesOnUninstallValue(p);
         return true;
     }},
    {"Run Process On Uninstall", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return h.OnRunProcessKey(p, true); }},
    {"Firewall", k_EWalkUnitSection, [](Handlers_t& h, KeyValues* p) { return h.OnFirewallKey(p); }},
    {"FirewallSubkeys", k_EWalkUnitEntry, [](Handlers_t& h, KeyValues* p) { return h.OnFirewallKey(p); }},
    {"CompatibilityMode", k_EWalkUnitEntry,
     [](Handlers_t& h, KeyValues* p) { return h.OnCompatibilityModeKey(p); }},
};

// "Run Process on Update" is looked for per user although its records are written
// machine-wide, so those records survive cleanup; that mismatch is kept on purpose.
const CleanupStep_s k_rgCleanupSteps[] = {
    {"Run Process", k_EWalkUnitEntry, true},      {"Run Process on Update", k_EWalkUnitEntry, false},
    {"File Template", k_EWalkUnitEntry, false},   {"Create Folders", k_EWalkUnitEntry, false},
    {"Copy Folders", k_EWalkUnitEntry, false},    {"Copy Files", k_EWalkUnitEntry, false},
    {"Delete Files", k_EWalkUnitEntry, false},    {"CompatibilityMode", k_EWalkUnitEntry, false},
    {"FirewallSubkeys", k_EWalkUnitEntry, false}, {"Firewall", k_EWalkUnitSection, false},
};

} // namespace

bool BWalkLaunchSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript)
{
    return BWalkSteps(handlers, pkvScript, k_rgLaunchSteps);
}

bool BWalkUpdateSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript)
{
    return BWalkSteps(handlers, pkvScript, k_rgUpdateSteps);
}

bool BWalkUninstallSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript)
{
    bool bResult = BWalkSteps(handlers, pkvScript, k_rgUninstallSteps);
    bResult &= BWalkCleanupSections(handlers, pkvScript);
    return bResult;
}

bool BWalkCleanupSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript)
{
    bool bResult = true;
    for (const CleanupStep_s& step : k_rgCleanupSteps)
    {
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
