// Run Process section handler. A placeholder until the section itself is built: it
// succeeds and queues nothing.

#include "clientdll/installscript_win32.h"

bool CInstallScriptManagerWin32::OnRunProcessKey(KeyValues* /*pkvEntry*/, bool /*bAllowAsCurrentUser*/)
{
    return true;
}
