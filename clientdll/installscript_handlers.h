#pragma once
// The section handlers, one source file per family, each given the run under way. The
// manager hands them its run context; a failure is logged and fails the entry only.

#include "common/registry.h"

class CInstallScriptRunContext;
class KeyValues;

// installscript_registry.cpp
bool ApplyRegistrySection(const CInstallScriptRunContext& run, ERegKeyRoot eRoot, const char* pchPath,
                          KeyValues* pRegistryKey, bool bOverwrite);
bool RemoveRegistryKeyValues(const CInstallScriptRunContext& run, ERegKeyRoot eRoot, const char* pchPath,
                             KeyValues* pRegistryKey);
// installscript_runprocess.cpp
bool OnRunProcessKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry, bool bAllowAsCurrentUser);
// installscript_filetemplate.cpp
bool OnFileTemplateKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
// installscript_copyfolders.cpp
bool OnCopyFoldersKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
// installscript_files.cpp
bool OnCopyFilesKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
bool OnCreateFoldersKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
bool OnDeleteFilesKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
void OnDeleteFilesOnUninstallValue(const CInstallScriptRunContext& run, KeyValues* pkvValue);
// installscript_symlink.cpp
bool OnSymlinkKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
// installscript_firewall.cpp
bool OnFirewallKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
// installscript_compatmode.cpp
bool OnCompatibilityModeKey(const CInstallScriptRunContext& run, KeyValues* pkvEntry);
// installscript_cleanup.cpp
bool BForgetHasRunRecord(const CInstallScriptRunContext& run, KeyValues* pkvEntry, bool bMachineWide);
