#pragma once
// The sections of an install script and the fixed order in which each mode visits them:
// one table per mode, read by the evaluator's walks and by the script checker.

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

SectionSteps_s GetLaunchSteps();
SectionSteps_s GetUpdateSteps();
// The uninstall walk ends with the cleanup walk.
SectionSteps_s GetUninstallSteps();

struct CleanupSteps_s
{
    const CleanupStep_s* m_pSteps;
    int m_cSteps;
};
CleanupSteps_s GetCleanupSteps();

// The first step of any mode (launch, then update, then uninstall) that walks the
// section named pszSection (case ignored); null when no mode walks it.
const SectionStep_s* FindSectionStep(const char* pszSection);

// The script's top-level value that says its registry strings are UTF-8.
constexpr char k_szUTF8RegistryStringsKey[] = "utf8_registry_strings";
