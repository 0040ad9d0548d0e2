#pragma once
// The names of the script variables the evaluator sets (as process environment
// variables) before a walk: what a value may refer to between percent signs.

constexpr char k_szVariableInstallDir[] = "INSTALLDIR";
constexpr char k_szVariableRootDrive[] = "ROOTDRIVE";
constexpr char k_szVariableUserMyDocs[] = "USER_MYDOCS";
constexpr char k_szVariableCommonMyDocs[] = "COMMON_MYDOCS";
constexpr char k_szVariableLocalAppData[] = "LOCAL_APPDATA";
constexpr char k_szVariableAppData[] = "APPDATA";
constexpr char k_szVariableKorvexID[] = "KORVEXID";

// True for one of the names above (ASCII case ignored, as the system's expansion does).
bool BIsScriptVariable(const char* pszName);
