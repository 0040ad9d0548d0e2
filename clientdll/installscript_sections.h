#pragma once
// The sections of an install script and the fixed order in which each mode visits them:
// one table of sections per mode and the table of modes, read by the evaluator's walks and
// by the script checker.

#include "clientdll/iinstallscriptmanager.h"

// What a section hands its handler: each group child, each plain value, or itself.
enum EWalkUnit
{
    k_EWalkUnitEntry,
    k_EWalkUnitValue,
    k_EWalkUnitSection,
};

// The handler a section's units go to.
enum ESectionHandler
{
    k_ESectionHandlerRegistryWrite,             // overwrite
    k_ESectionHandlerRegistryWriteIfNotPresent, // keep values already present
    k_ESectionHandlerRegistryRemove,
    k_ESectionHandlerFileTemplate,
    k_ESectionHandlerRunProcess,              // "AsCurrentUser" not honoured
    k_ESectionHandlerRunProcessAsCurrentUser, // "AsCurrentUser" honoured
    k_ESectionHandlerCopyFolders,
    k_ESectionHandlerCopyFiles,
    k_ESectionHandlerCreateFolders,
    k_ESectionHandlerSymlink,
    k_ESectionHandlerDeleteFiles,
    k_ESectionHandlerDeleteFilesOnUninstall,
    k_ESectionHandlerFirewall,
    k_ESectionHandlerCompatibilityMode,
};

struct SectionStep_s
{
    const char* m_pszSection;
    EWalkUnit m_eUnit;
    ESectionHandler m_eHandler;
};

// The cleanup walk's sections, with the machine-wide flag of their has-run records.
struct CleanupStep_s
{
    const char* m_pszSection;
    EWalkUnit m_eUnit;
    bool m_bMachineWide;
};

struct SectionSteps_s
{
    const SectionStep_s* m_pSteps;
    int m_cSteps;
};

struct CleanupSteps_s
{
    const CleanupStep_s* m_pSteps;
    int m_cSteps;
};
CleanupSteps_s GetCleanupSteps();

// One mode's walk: its sections in order, then the cleanup walk when it follows.
struct ModeWalk_s
{
    EInstallScriptMode m_eMode;
    const char* m_pszMode; // the enumerator's name, for assertion texts
    SectionSteps_s m_steps;
    bool m_bCleanupFollows;
    bool m_bAssertsRunState; // the run is in this mode with a script
    bool m_bAssertsNonEmpty; // and the script has something in it
};

struct ModeWalks_s
{
    const ModeWalk_s* m_pWalks;
    int m_cWalks;
};
// Launch, update, uninstall, cleanup.
ModeWalks_s GetModeWalks();
// Null for a mode that walks nothing.
const ModeWalk_s* FindModeWalk(EInstallScriptMode eMode);

// The first step of any mode (launch, then update, then uninstall) that walks the
// section named pszSection (case ignored); null when no mode walks it.
const SectionStep_s* FindSectionStep(const char* pszSection);

// The script's top-level value that says its registry strings are UTF-8.
constexpr char k_szUTF8RegistryStringsKey[] = "utf8_registry_strings";
