// The manager's life cycle, its queue record, the interface operations without a file of
// their own, the walk of the running script and the run context its handlers get.

#include "clientdll/installscript_win32.h"

#include <utility>

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_sections.h"
#include "clientdll/installscript_walks.h"
#include "clientdll/ivalidator.h"
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

bool CInstallScriptManagerWin32::BRunWalk(EInstallScriptMode eMode)
{
    const ModeWalk_s* pWalk = FindModeWalk(eMode);
    if (!pWalk)
        return true;
    if (pWalk->m_bAssertsRunState)
    {
        AssertFmt(m_eInstallScriptMode == eMode, "m_eInstallScriptMode == %s", pWalk->m_pszMode);
        Assert(m_pRunScript);
    }
    KeyValues* pScript = GetRunScriptTree();
    if (!pScript)
        return false;
    if (pWalk->m_bAssertsNonEmpty)
        Assert(!pScript->IsEmpty());
    return BWalkSections(*this, *pWalk, pScript);
}

KeyValues* CInstallScriptManagerWin32::GetRunScriptTree()
{
    return m_pRunScript ? m_pRunScript->GetInstallScript() : nullptr;
}

CInstallScriptRunContext CInstallScriptManagerWin32::GetRunContext()
{
    CInstallScriptRunContext run;
    run.m_unAppID = m_pRunScript ? m_pRunScript->m_unAppID : m_unAppID;
    run.m_eMode = m_eInstallScriptMode;
    run.m_pszLanguage = m_szLanguage;
    if (m_pRunScript)
    {
        run.m_bUTF8RegistryStrings = m_pRunScript->m_bUTF8RegistryStrings;
        run.m_pszInstallPath = m_pRunScript->m_strInstallPath.Get();
    }
    run.m_pkvRunProcessAsAdminUser = m_pkvRunProcessAsAdminUser;
    run.m_pkvRunSymlinkAsAdminUser = m_pkvRunSymlinkAsAdminUser;
    run.m_punInstallStepCount = &m_nInstallStepCount;
    return run;
}

bool CInstallScriptManagerWin32::ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath,
                                                      KeyValues* pRegistryKey, bool bOverwrite)
{
    return ::ApplyRegistrySection(GetRunContext(), eRoot, pchPath, pRegistryKey, bOverwrite);
}

bool CInstallScriptManagerWin32::RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath,
                                                         KeyValues* pRegistryKey)
{
    return ::RemoveRegistryKeyValues(GetRunContext(), eRoot, pchPath, pRegistryKey);
}

bool CInstallScriptManagerWin32::BHandleUnit(ESectionHandler eHandler, KeyValues* pkvUnit)
{
    const CInstallScriptRunContext run = GetRunContext();
    switch (eHandler)
    {
        case k_ESectionHandlerFileTemplate:
            return ::OnFileTemplateKey(run, pkvUnit);
        case k_ESectionHandlerRunProcess:
            return ::OnRunProcessKey(run, pkvUnit, false);
        case k_ESectionHandlerRunProcessAsCurrentUser:
            return ::OnRunProcessKey(run, pkvUnit, true);
        case k_ESectionHandlerCopyFolders:
            return ::OnCopyFoldersKey(run, pkvUnit);
        case k_ESectionHandlerCopyFiles:
            return ::OnCopyFilesKey(run, pkvUnit);
        case k_ESectionHandlerCreateFolders:
            return ::OnCreateFoldersKey(run, pkvUnit);
        case k_ESectionHandlerSymlink:
            return ::OnSymlinkKey(run, pkvUnit);
        case k_ESectionHandlerDeleteFiles:
            return ::OnDeleteFilesKey(run, pkvUnit);
        case k_ESectionHandlerDeleteFilesOnUninstall:
            ::OnDeleteFilesOnUninstallValue(run, pkvUnit);
            return true;
        case k_ESectionHandlerFirewall:
            return ::OnFirewallKey(run, pkvUnit);
        case k_ESectionHandlerCompatibilityMode:
            return ::OnCompatibilityModeKey(run, pkvUnit);
        case k_ESectionHandlerRegistryWrite:
        case k_ESectionHandlerRegistryWriteIfNotPresent:
        case k_ESectionHandlerRegistryRemove:
            // The walks hand registry entries to ApplyRegistrySection and RemoveRegistryKeyValues.
            break;
    }
    return true;
}

bool CInstallScriptManagerWin32::BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide)
{
    return ::BForgetHasRunRecord(GetRunContext(), pkvEntry, bMachineWide);
}
