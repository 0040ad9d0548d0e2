#pragma once
// Every check of `installscript check`: its stable name (what --disable takes and what
// ends each diagnostic), its severity and what it looks for.

enum ECheckSeverity
{
    k_ECheckSeverityNote,
    k_ECheckSeverityWarning,
    k_ECheckSeverityError,
};

enum ECheck
{
    k_ECheckSyntax,
    k_ECheckDuplicateKey,
    k_ECheckConditionalSyntax,
    k_ECheckConditionalPlatform,
    k_ECheckUnknownSection,
    k_ECheckSectionShape,
    k_ECheckRegistryPath,
    k_ECheckRegistryView,
    k_ECheckRegistryGroup,
    k_ECheckRegistryBinary,
    k_ECheckRegistryDword,
    k_ECheckRegistryLanguage,
    k_ECheckRegistrySource,
    k_ECheckProcessCommand,
    k_ECheckHasRunStringPair,
    k_ECheckValidExitCodes,
    k_ECheckHasRunKey,
    k_ECheckAsCurrentUser,
    k_ECheckProcessDescription,
    k_ECheckFilePartner,
    k_ECheckCreateFolders,
    k_ECheckFileTemplate,
    k_ECheckFileTemplateReference,
    k_ECheckSymlinkIgnoreExitCode,
    k_ECheckCompatExecutable,
    k_ECheckCompatMode,
    k_ECheckCompatLayer,
    k_ECheckRequirementName,
    k_ECheckRequirementOS,
    k_ECheckUnknownVariable,
    k_ECheckJobScript,
    k_ECheckJobMode,
    k_ECheckJobAppID,
    k_ECheckJobInstallPath,
    k_ECheckCount,
};

struct CheckInfo_s
{
    ECheck m_eCheck;
    const char* m_pszName;
    ECheckSeverity m_eSeverity;
    const char* m_pszSummary;
};

const CheckInfo_s& GetCheckInfo(ECheck eCheck);
// k_ECheckCount for a name that is no check.
ECheck GetCheckFromName(const char* pszName);
// "error", "warning" or "note".
const char* GetSeverityName(ECheckSeverity eSeverity);
