#include "clientdll/installscript_sections.h"

#include "vstdlib/strtools.h"

namespace
{

const SectionStep_s k_rgLaunchSteps[] = {
    {"Registry", k_EWalkUnitEntry, k_ESectionHandlerRegistryWrite},
    {"Registry If Not Present", k_EWalkUnitEntry, k_ESectionHandlerRegistryWriteIfNotPresent},
    {"File Template", k_EWalkUnitEntry, k_ESectionHandlerFileTemplate},
    {"Run Process On Update", k_EWalkUnitEntry, k_ESectionHandlerRunProcess},
    {"Run Process", k_EWalkUnitEntry, k_ESectionHandlerRunProcessAsCurrentUser},
    {"Copy Folders", k_EWalkUnitEntry, k_ESectionHandlerCopyFolders},
    {"Copy Files", k_EWalkUnitEntry, k_ESectionHandlerCopyFiles},
    {"Create Folders", k_EWalkUnitEntry, k_ESectionHandlerCreateFolders},
    {"symlink", k_EWalkUnitEntry, k_ESectionHandlerSymlink},
    {"Delete Files", k_EWalkUnitEntry, k_ESectionHandlerDeleteFiles},
    {"Firewall", k_EWalkUnitSection, k_ESectionHandlerFirewall},
    {"FirewallSubkeys", k_EWalkUnitEntry, k_ESectionHandlerFirewall},
    {"CompatibilityMode", k_EWalkUnitEntry, k_ESectionHandlerCompatibilityMode},
};

const SectionStep_s k_rgUpdateSteps[] = {
    {"Run Process On Update", k_EWalkUnitEntry, k_ESectionHandlerRunProcess},
};

const SectionStep_s k_rgUninstallSteps[] = {
    {"Registry", k_EWalkUnitEntry, k_ESectionHandlerRegistryRemove},
    {"Registry If Not Present", k_EWalkUnitEntry, k_ESectionHandlerRegistryRemove},
    {"Delete Files On Uninstall", k_EWalkUnitValue, k_ESectionHandlerDeleteFilesOnUninstall},
    {"Run Process On Uninstall", k_EWalkUnitEntry, k_ESectionHandlerRunProcessAsCurrentUser},
    {"Firewall", k_EWalkUnitSection, k_ESectionHandlerFirewall},
    {"FirewallSubkeys", k_EWalkUnitEntry, k_ESectionHandlerFirewall},
    {"CompatibilityMode", k_EWalkUnitEntry, k_ESectionHandlerCompatibilityMode},
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

template <size_t N>
SectionSteps_s Steps(const SectionStep_s (&rgSteps)[N])
{
    return {rgSteps, (int)N};
}

// Any mode not listed walks nothing and succeeds.
const ModeWalk_s k_rgModeWalks[] = {
    {k_EInstallScriptModeLaunch, "k_EInstallScriptModeLaunch", Steps(k_rgLaunchSteps), false, true, false},
    {k_EInstallScriptModeUpdate, "k_EInstallScriptModeUpdate", Steps(k_rgUpdateSteps), false, true, true},
    {k_EInstallScriptModeUninstall, "k_EInstallScriptModeUninstall", Steps(k_rgUninstallSteps), true, true,
     true},
    {k_EInstallScriptModeCleanup, "k_EInstallScriptModeCleanup", {nullptr, 0}, true, false, false},
};

} // namespace

ModeWalks_s GetModeWalks()
{
    return {k_rgModeWalks, (int)V_ARRAYSIZE(k_rgModeWalks)};
}

const ModeWalk_s* FindModeWalk(EInstallScriptMode eMode)
{
    for (const ModeWalk_s& walk : k_rgModeWalks)
    {
        if (walk.m_eMode == eMode)
            return &walk;
    }
    return nullptr;
}

CleanupSteps_s GetCleanupSteps()
{
    return {k_rgCleanupSteps, (int)V_ARRAYSIZE(k_rgCleanupSteps)};
}

const SectionStep_s* FindSectionStep(const char* pszSection)
{
    for (const ModeWalk_s& walk : k_rgModeWalks)
    {
        for (int i = 0; i < walk.m_steps.m_cSteps; ++i)
        {
            if (V_stricmp(walk.m_steps.m_pSteps[i].m_pszSection, pszSection) == 0)
                return &walk.m_steps.m_pSteps[i];
        }
    }
    return nullptr;
}
