#pragma once
// What the section walks call for each entry of a script. The manager implements it with
// the real handlers; tests implement it to see the order of the calls.

#include "common/registry.h"

class KeyValues;

class IInstallScriptSectionHandlers
{
public:
    virtual bool ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey,
                                      bool bOverwrite) = 0;
    virtual bool RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey) = 0;
    virtual bool OnRunProcessKey(KeyValues* pkvEntry, bool bAllowAsCurrentUser) = 0;
    virtual bool OnFileTemplateKey(KeyValues* pkvEntry) = 0;
    virtual bool OnCopyFoldersKey(KeyValues* pkvEntry) = 0;
    virtual bool OnCopyFilesKey(KeyValues* pkvEntry) = 0;
    virtual bool OnCreateFoldersKey(KeyValues* pkvEntry) = 0;
    virtual bool OnSymlinkKey(KeyValues* pkvEntry) = 0;
    virtual bool OnDeleteFilesKey(KeyValues* pkvEntry) = 0;
    // Failures are only logged: they never change a walk's result.
    virtual void OnDeleteFilesOnUninstallValue(KeyValues* pkvValue) = 0;
    virtual bool OnFirewallKey(KeyValues* pkvEntry) = 0;
    virtual bool OnCompatibilityModeKey(KeyValues* pkvEntry) = 0;
    // The cleanup walk's step for one entry whose "NoCleanUp" is not set: delete its
    // has-run record.
    virtual bool BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide) = 0;

protected:
    ~IInstallScriptSectionHandlers() = default;
};
