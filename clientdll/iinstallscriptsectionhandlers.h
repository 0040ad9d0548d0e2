#pragma once
// What the section walks call for each entry of a script. The manager implements it with
// the real handlers; tests implement it to see the order of the calls.

#include "clientdll/installscript_sections.h"
#include "common/registry.h"

class KeyValues;

class IInstallScriptSectionHandlers
{
public:
    virtual bool ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey,
                                      bool bOverwrite) = 0;
    virtual bool RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey) = 0;
    // One unit (an entry, a value or the section itself) of every other section, for the
    // handler its section names.
    virtual bool BHandleUnit(ESectionHandler eHandler, KeyValues* pkvUnit) = 0;
    // The cleanup walk's step for one entry whose "NoCleanUp" is not set: delete its
    // has-run record.
    virtual bool BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide) = 0;

protected:
    ~IInstallScriptSectionHandlers() = default;
};
