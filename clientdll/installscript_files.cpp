// File section handlers. Placeholders until the sections themselves are built: they
// succeed without touching any file.

#include "clientdll/installscript_win32.h"

bool CInstallScriptManagerWin32::OnFileTemplateKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

bool CInstallScriptManagerWin32::OnCopyFoldersKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

bool CInstallScriptManagerWin32::OnCopyFilesKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

bool CInstallScriptManagerWin32::OnCreateFoldersKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

bool CInstallScriptManagerWin32::OnSymlinkKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

bool CInstallScriptManagerWin32::OnDeleteFilesKey(KeyValues* /*pkvEntry*/)
{
    return true;
}

void CInstallScriptManagerWin32::OnDeleteFilesOnUninstallValue(KeyValues* /*pkvValue*/) {}
