// The manager's life cycle, its queue record, the interface operations without a file of
// their own, and the walks of the running script.

#include "clientdll/installscript_win32.h"

#include <utility>

#include "clientdll/installscript_walks.h"
#include "clientdll/ivalidator.h"
#include "common/installscript_log.h"
#include "tier0/dbg.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

// Key names keep the spelling they are first interned with, and the files this program
// hands on must carry these spellings whatever a script wrote ("command", "hasrunkey"), so
// they are interned before any job text is read.
void InternHandedOnKeyNames()
{
    static const char* const k_rgpszNames[] = {"Process",        "Command",
                                               "Description",    "HasRunKey",
                                               "RunKeyName",     "MinimumHasRunValue",
                                               "IgnoreExitCode", "IgnoreHasRunKey",
                                               "ValidExitCodes", "Sequence",
                                               "Environment",    "AppID",
                                               "from",           "to",
                                               "progress",       "current_step",
                                               "step_count",     "current_step_description"};
    for (const char* pszName : k_rgpszNames)
        KeyValuesSystem()->GetSymbolForString(pszName, true);
}

KeyValues* NewWorkList(const char* pszName)
{
    KeyValues* pkvList = new KeyValues(pszName);
    pkvList->SetUsesEscapeSequences(true, false);
    return pkvList;
}

} // namespace

RunInstallScript_s::RunInstallScript_s(RunInstallScript_s&& other) noexcept
    : m_unAppID(other.m_unAppID), m_kvInstallScript(std::exchange(other.m_kvInstallScript, nullptr)),
      m_bUTF8RegistryStrings(other.m_bUTF8RegistryStrings),
      m_strInstallPath(std::move(other.m_strInstallPath))
{
}

RunInstallScript_s& RunInstallScript_s::operator=(RunInstallScript_s&& other) noexcept
{
    if (this != &other)
    {
        m_unAppID = other.m_unAppID;
        SetInstallScript(std::exchange(other.m_kvInstallScript, nullptr));
        m_bUTF8RegistryStrings = other.m_bUTF8RegistryStrings;
        m_strInstallPath = std::move(other.m_strInstallPath);
    }
    return *this;
}

RunInstallScript_s::~RunInstallScript_s()
{
    delete m_kvInstallScript;
}

void RunInstallScript_s::SetInstallScript(KeyValues* pkvScript)
{
    if (m_kvInstallScript != pkvScript)
        delete m_kvInstallScript;
    m_kvInstallScript = pkvScript;
}

KeyValues* RunInstallScript_s::GetInstallScript()
{
    if (!m_kvInstallScript)
        m_kvInstallScript = new KeyValues("compat_installscript");
    return m_kvInstallScript;
}

CInstallScriptManagerWin32::CInstallScriptManagerWin32()
    : m_pkvRunProcessAsAdminUser(NewWorkList("Run Process")),
      m_pkvRunSymlinkAsAdminUser(NewWorkList("symlink")),
      m_pkvRunProcessAsCurrentUser(NewWorkList("Run Process")), m_unFlags(0)
{
    InternHandedOnKeyNames();
    ResetRunState();
}

CInstallScriptManagerWin32::~CInstallScriptManagerWin32()
{
    delete m_pkvRunProcessAsAdminUser;
    delete m_pkvRunSymlinkAsAdminUser;
    delete m_pkvRunProcessAsCurrentUser;
}

void CInstallScriptManagerWin32::ResetRunState()
{
    m_bThreadInstallScriptRunning = false;
    m_bServiceInstallScriptRunning = false;
    m_nInstallStepCount = 0;
    m_pRunScript = nullptr;
    m_unAppID = 0;
    m_eInstallScriptMode = k_EInstallScriptModeNone;
    m_szLanguage[0] = '\0';
    m_hRunProcess = INVALID_HANDLE_VALUE;
    m_hAdminScriptFile = INVALID_HANDLE_VALUE;
    m_pkvRunProcessAsAdminUser->Clear();
    m_pkvRunSymlinkAsAdminUser->Clear();
    m_pkvRunProcessAsCurrentUser->Clear();
    m_vecInstallScript.Purge();
}

DWORD CInstallScriptManagerWin32::GetThreadInstallScriptState() const
{
    // No in-process worker exists in this program, so when asked it has always finished.
    return 0;
}

bool CInstallScriptManagerWin32::BStartInstallScript()
{
    Assert(false);
    return false;
}

bool CInstallScriptManagerWin32::BStopInstallScript(uint32 unAppID)
{
    if (unAppID != GetAppID())
        return true;
    if (m_hRunProcess != INVALID_HANDLE_VALUE)
    {
        const DWORD dwProcessId = GetProcessId(m_hRunProcess);
        CloseHandle(m_hRunProcess);
        m_hRunProcess = INVALID_HANDLE_VALUE;
        if (dwProcessId != 0)
            return false;
    }
    else if (m_bThreadInstallScriptRunning)
    {
        const DWORD dwState = GetThreadInstallScriptState();
        m_bThreadInstallScriptRunning = false;
        if (dwState != 0)
            return false;
    }
    CloseAdminScriptFile();
    ResetRunState();
    return true;
}

uint32 CInstallScriptManagerWin32::SetFlags(uint32 unBits, bool bSet)
{
    const uint32 unBefore = m_unFlags;
    m_unFlags = bSet ? (m_unFlags | unBits) : (m_unFlags & ~unBits);
    return bSet ? m_unFlags : unBefore;
}

void CInstallScriptManagerWin32::Validate(IValidator& validator, const char* pszName)
{
    validator.Push("CInstallScriptManagerWin32", this, pszName);
    const std::pair<const char*, KeyValues*> rgLists[] = {
        {"m_pkvRunProcessAsCurrentUser", m_pkvRunProcessAsCurrentUser},
        {"m_pkvRunProcessAsAdminUser", m_pkvRunProcessAsAdminUser},
        {"m_pkvRunSymlinkAsAdminUser", m_pkvRunSymlinkAsAdminUser},
    };
    for (const auto& list : rgLists)
    {
        validator.Push("KeyValues", list.second, list.first);
        validator.Pop();
    }
    validator.Push("CUtlVector", &m_vecInstallScript, "m_vecInstallScript");
    validator.Push("CUtlMemory", m_vecInstallScript.Base(), "m_Memory");
    if (m_vecInstallScript.Base())
        validator.ClaimMemory(m_vecInstallScript.Base());
    validator.Pop();
    validator.Pop();
    validator.Pop();
}

bool CInstallScriptManagerWin32::BRunLaunchWalk()
{
    Assert(m_eInstallScriptMode == k_EInstallScriptModeLaunch);
    Assert(m_pRunScript);
    KeyValues* pScript = GetRunScriptTree();
    return pScript ? BWalkLaunchSections(*this, pScript) : false;
}

bool CInstallScriptManagerWin32::BRunUpdateWalk()
{
    Assert(m_eInstallScriptMode == k_EInstallScriptModeUpdate);
    Assert(m_pRunScript);
    KeyValues* pScript = GetRunScriptTree();
    if (!pScript)
        return false;
    Assert(!pScript->IsEmpty());
    return BWalkUpdateSections(*this, pScript);
}

bool CInstallScriptManagerWin32::BRunUninstallWalk()
{
    Assert(m_eInstallScriptMode == k_EInstallScriptModeUninstall);
    Assert(m_pRunScript);
    KeyValues* pScript = GetRunScriptTree();
    if (!pScript)
        return false;
    Assert(!pScript->IsEmpty());
    return BWalkUninstallSections(*this, pScript);
}

bool CInstallScriptManagerWin32::BRunCleanupWalk()
{
    KeyValues* pScript = GetRunScriptTree();
    return pScript ? BWalkCleanupSections(*this, pScript) : false;
}

KeyValues* CInstallScriptManagerWin32::GetRunScriptTree()
{
    return m_pRunScript ? m_pRunScript->GetInstallScript() : nullptr;
}

uint32 CInstallScriptManagerWin32::GetRunScriptAppID() const
{
    return m_pRunScript ? m_pRunScript->m_unAppID : m_unAppID;
}

void CInstallScriptManagerWin32::ScriptLog(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    InstallScriptAppLogV(GetRunScriptAppID(), pszFormat, args);
    va_end(args);
}

CUtlString CInstallScriptManagerWin32::GetInstallDirFile(const char* pszFileName) const
{
    CUtlString strPath(m_pRunScript ? m_pRunScript->m_strInstallPath.Get() : "");
    if (!strPath.IsEmpty() && !PATHSEPARATOR(strPath.Get()[strPath.Length() - 1]))
        strPath.Append("\\");
    strPath.Append(pszFileName);
    return strPath;
}
