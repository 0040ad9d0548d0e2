#include "installscript/check_catalog.h"

#include <cstring>

#include "tier0/basetypes.h"

namespace
{

// Errors: the evaluator fails or does nothing where the author clearly meant something.
// Warnings: likely a mistake. Notes: what the author may not expect.
const CheckInfo_s k_rgChecks[] = {
    {k_ECheckSyntax, "syntax", k_ECheckSeverityError, "text the reader cannot parse"},
    {k_ECheckDuplicateKey, "duplicate-key", k_ECheckSeverityWarning,
     "a key the evaluator never sees because an earlier one has its name"},
    {k_ECheckConditionalSyntax, "conditional-syntax", k_ECheckSeverityError,
     "a conditional with a bad token, which counts as false"},
    {k_ECheckConditionalPlatform, "conditional-platform", k_ECheckSeverityWarning,
     "a name in a conditional that is no platform name, which is always false"},
    {k_ECheckUnknownSection, "unknown-section", k_ECheckSeverityError, "a top-level name no mode walks"},
    {k_ECheckSectionShape, "section-shape", k_ECheckSeverityError,
     "a value where the evaluator walks groups, or a group where it reads values"},
    {k_ECheckRegistryPath, "registry-path", k_ECheckSeverityError, "a registry key name that does not parse"},
    {k_ECheckRegistryView, "registry-view", k_ECheckSeverityNote,
     "a registry key that lands in the 32-bit view by default"},
    {k_ECheckRegistryGroup, "registry-group", k_ECheckSeverityError,
     "a typed group the evaluator does not know"},
    {k_ECheckRegistryBinary, "registry-binary", k_ECheckSeverityError,
     "\"binary\" text that is not pairs of hexadecimal digits"},
    {k_ECheckRegistryDword, "registry-dword", k_ECheckSeverityError, "\"dword\" text that is not an integer"},
    {k_ECheckRegistryLanguage, "registry-language", k_ECheckSeverityWarning,
     "a language subkey named like no language the platform uses"},
    {k_ECheckRegistrySource, "registry-source", k_ECheckSeverityError,
     "a \"string_from_regkey\" source that does not parse"},
    {k_ECheckProcessCommand, "process-command", k_ECheckSeverityError,
     "a \"process\" key without its \"command\", or the reverse"},
    {k_ECheckHasRunStringPair, "hasrun-string-pair", k_ECheckSeverityWarning,
     "an incomplete or unparsable \"HasRunStringKey\"/\"HasRunStringValue\" pair"},
    {k_ECheckValidExitCodes, "valid-exit-codes", k_ECheckSeverityError,
     "a \"ValidExitCodes\" item that is not a number"},
    {k_ECheckHasRunKey, "hasrun-key", k_ECheckSeverityError, "a \"HasRunKey\" that does not parse"},
    {k_ECheckAsCurrentUser, "as-current-user", k_ECheckSeverityWarning,
     "\"AsCurrentUser\", which has no effect"},
    {k_ECheckProcessDescription, "process-description", k_ECheckSeverityNote,
     "what the player is shown for a program whose entry has no \"Description\""},
    {k_ECheckFilePartner, "file-partner", k_ECheckSeverityError,
     "\"SrcFile\", \"SrcFolder\" or \"link\" keys without their partners, the reverse, or none at all"},
    {k_ECheckCreateFolders, "create-folders", k_ECheckSeverityError,
     "a \"Create Folders\" entry without a \"Folder\" value"},
    {k_ECheckFileTemplate, "file-template", k_ECheckSeverityError,
     "a \"File Template\" entry without \"template_file\" or \"output_file\""},
    {k_ECheckFileTemplateReference, "file-template-reference", k_ECheckSeverityWarning,
     "a \"File Template\" registry reference that does not parse"},
    {k_ECheckSymlinkIgnoreExitCode, "symlink-ignore-exit-code", k_ECheckSeverityWarning,
     "a \"symlink\" \"IgnoreExitCode\", which never reaches the link's record"},
    {k_ECheckCompatExecutable, "compat-executable", k_ECheckSeverityError,
     "a \"CompatibilityMode\" entry without \"Executeable\" (spelled so)"},
    {k_ECheckCompatMode, "compat-mode", k_ECheckSeverityError,
     "a \"CompatibilityMode\" entry without \"CompatMode\""},
    {k_ECheckCompatLayer, "compat-layer", k_ECheckSeverityWarning,
     "a \"CompatMode\" token that is no compatibility layer"},
    {k_ECheckRequirementName, "requirement-name", k_ECheckSeverityWarning,
     "a \"Requirement_\" group the evaluator ignores"},
    {k_ECheckRequirementOS, "requirement-os", k_ECheckSeverityError,
     "a \"Requirement_OS\" \"OSType\" that names no OS type"},
    {k_ECheckUnknownVariable, "unknown-variable", k_ECheckSeverityWarning,
     "a %NAME% that is neither a script variable nor one Windows always sets"},
    {k_ECheckJobScript, "job-script", k_ECheckSeverityError, "a job group without \"compat_installscript\""},
    {k_ECheckJobMode, "job-mode", k_ECheckSeverityError, "a job \"mode\" outside 1 to 4"},
    {k_ECheckJobAppID, "job-appid", k_ECheckSeverityWarning, "a job \"appid\" of 0"},
    {k_ECheckJobInstallPath, "job-install-path", k_ECheckSeverityError, "a job without an \"install_path\""},
};
static_assert(V_ARRAYSIZE(k_rgChecks) == k_ECheckCount, "one row per check");

} // namespace

const CheckInfo_s& GetCheckInfo(ECheck eCheck)
{
    return k_rgChecks[eCheck];
}

ECheck GetCheckFromName(const char* pszName)
{
    for (const CheckInfo_s& info : k_rgChecks)
    {
        if (strcmp(info.m_pszName, pszName) == 0)
            return info.m_eCheck;
    }
    return k_ECheckCount;
}

const char* GetSeverityName(ECheckSeverity eSeverity)
{
    static const char* const k_rgpszNames[] = {"note", "warning", "error"};
    return k_rgpszNames[eSeverity];
}
