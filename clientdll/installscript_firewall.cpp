// Firewall section handler. A placeholder until the section itself is built: it
// succeeds without asking for a firewall.

#include "clientdll/installscript_win32.h"

bool CInstallScriptManagerWin32::OnFirewallKey(KeyValues* /*pkvEntry*/)
{
    return true;
}
