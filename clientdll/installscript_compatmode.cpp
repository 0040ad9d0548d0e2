// Compatibility-mode section handler. A placeholder until the section itself is built:
// it succeeds without setting any layer.

#include "clientdll/installscript_win32.h"

bool CInstallScriptManagerWin32::OnCompatibilityModeKey(KeyValues* /*pkvEntry*/)
{
    return true;
}
