// The elevation hand-off: the administrator work lists go into "runasadmin.vdf" in the
// install directory, held open read-shared so nobody can change it while the platform's
// service reads it.

// windows.h comes first, through the manager's header; shellapi.h depends on it.
#include "clientdll/installscript_win32.h"

#include <shellapi.h>

#include "common/installscript_log.h"
#include "tier0/dbg.h"
#include "tier1/convar.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/widetext.h"

namespace
{

// Non-zero: hand the work to the service interface instead of the service executable.
CConVar g_cvRunAdminInstallScriptsFromService("@RunAdminInstallScriptsFromService", "0");

constexpr char k_szAdminScriptFile[] = "runasadmin.vdf";

// Creates the file anew and writes the whole buffer; INVALID_HANDLE_VALUE on any failure.
HANDLE CreateAdminScriptFile(const char* pszPath, const CUtlBuffer& buf)
{
    HANDLE hFile = INVALID_HANDLE_VALUE;
    if (OpenFile(pszPath, k_unFileAccessWrite, k_unFileShareRead, k_unFileCreateAlways, 0, &hFile) != 0)
        return INVALID_HANDLE_VALUE;
    DWORD cbWritten = 0;
    const DWORD cbBuffer = (DWORD)buf.TellPut();
    if (!WriteFile(hFile, buf.Base(), cbBuffer, &cbWritten, nullptr) || cbWritten < cbBuffer)
    {
        CloseHandle(hFile);
        return INVALID_HANDLE_VALUE;
    }
    return hFile;
}

} // namespace

bool CInstallScriptManagerWin32::BStartAdminHandOff()
{
    Assert(m_hRunProcess == INVALID_HANDLE_VALUE);
    Assert(m_hAdminScriptFile == INVALID_HANDLE_VALUE);
    Assert(!m_bThreadInstallScriptRunning);
    Assert(!m_bServiceInstallScriptRunning);
    if (m_pkvRunProcessAsAdminUser->IsEmpty() && m_pkvRunSymlinkAsAdminUser->IsEmpty())
        return false;

    CUtlBuffer buf(0, 1024, CUtlBuffer::TEXT_BUFFER);
    m_pkvRunSymlinkAsAdminUser->SaveToBuffer(buf);
    m_pkvRunProcessAsAdminUser->SaveToBuffer(buf);
    m_pkvRunSymlinkAsAdminUser->Clear();
    m_pkvRunProcessAsAdminUser->Clear();

    const CInstallScriptRunContext run = GetRunContext();
    const CUtlString strPath = run.GetInstallDirFile(k_szAdminScriptFile);
    m_hAdminScriptFile = CreateAdminScriptFile(strPath.Get(), buf);
    if (m_hAdminScriptFile == INVALID_HANDLE_VALUE)
    {
        run.Log("Failed to write \"%s\"", strPath.Get());
        return false;
    }

    if (m_unFlags == 0 && g_cvRunAdminInstallScriptsFromService.GetInt() == 0)
    {
        StartServiceProcess(strPath.Get(), run.m_unAppID);
        return m_hRunProcess != INVALID_HANDLE_VALUE;
    }
    // No service interface exists in this program, so the request is never accepted.
    m_bServiceInstallScriptRunning = false;
    CloseAdminScriptFile();
    return false;
}

void CInstallScriptManagerWin32::StartServiceProcess(const char* pszAdminScriptPath,
                                                     uint32 unAppIDForMessages)
{
    CUtlString strParameters;
    strParameters.Format("/installscript \"%s\" %d", pszAdminScriptPath, (int)m_unAppID);
    const CWideText wideParameters(strParameters.Get());

    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof(info);
    // No error dialog: nobody would see it, and it would replace the error code we log.
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI;
    info.lpVerb = L"open";
    info.lpFile = L"legacycompat\\KorvexService.exe";
    info.lpParameters = wideParameters.Get();
    info.nShow = SW_HIDE;
    if (!ShellExecuteExW(&info) || !info.hProcess)
    {
        const DWORD dwError = GetLastError();
        InstallScriptAppLog(unAppIDForMessages, "Failed to start KorvexService.exe with \"%s\" (GLE %u)",
                            strParameters.Get(), (unsigned)dwError);
        CloseAdminScriptFile();
        return;
    }
    m_hRunProcess = info.hProcess;
}

void CInstallScriptManagerWin32::CloseAdminScriptFile()
{
    if (m_hAdminScriptFile == INVALID_HANDLE_VALUE)
        return;
    CloseHandle(m_hAdminScriptFile);
    m_hAdminScriptFile = INVALID_HANDLE_VALUE;
    BDeleteFile(GetRunContext().GetInstallDirFile(k_szAdminScriptFile).Get());
}
