#pragma once
// The requirement groups a script entry may hold: the names the evaluator checks and the
// script checker accepts.

enum ERequirement
{
    k_ERequirementCPU,
    k_ERequirementOS,
    k_ERequirementLanguage,
    k_ERequirementCount,
};

// Every requirement group's name begins with this.
constexpr char k_szRequirementPrefix[] = "Requirement_";

// k_ERequirementCount for a name that is no requirement (ASCII case ignored): such
// groups are ignored.
ERequirement GetRequirementFromName(const char* pszName);
const char* GetRequirementName(ERequirement eRequirement);
