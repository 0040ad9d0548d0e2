// Registry section handlers. Placeholders until the section itself is built: they
// succeed without touching the registry.

#include "clientdll/installscript_win32.h"

bool CInstallScriptManagerWin32::ApplyRegistrySection(ERegKeyRoot /*eRoot*/, const char* /*pchPath*/,
                                                      KeyValues* /*pRegistryKey*/, bool /*bOverwrite*/)
{
    return true;
}

bool CInstallScriptManagerWin32::RemoveRegistryKeyValues(ERegKeyRoot /*eRoot*/, const char* /*pchPath*/,
                                                         KeyValues* /*pRegistryKey*/)
{
    return true;
}
