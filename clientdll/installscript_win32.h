#pragma once
// The Windows install script manager: the run of one application's install script, its
// queue of scripts, the work lists handed to the elevated service, and the handlers the
// section walks call (one source file per handler family).

#include <windows.h>

#include "clientdll/iinstallscriptmanager.h"
#include "clientdll/iinstallscriptsectionhandlers.h"
#include "clientdll/installscript_pathtranslation.h"
#include "clientdll/installscript_runcontext.h"
#include "tier1/utlstring.h"
#include "tier1/utlvector.h"

// One queued script; owns its tree.
struct RunInstallScript_s
{
    RunInstallScript_s() = default;
    RunInstallScript_s(const RunInstallScript_s&) = delete;
    RunInstallScript_s& operator=(const RunInstallScript_s&) = delete;
    RunInstallScript_s(RunInstallScript_s&& other) noexcept;
    RunInstallScript_s& operator=(RunInstallScript_s&& other) noexcept;
    ~RunInstallScript_s();

    // Takes pkvScript, deleting a different tree held before.
    void SetInstallScript(KeyValues* pkvScript);
    // The tree, created empty on first use.
    KeyValues* GetInstallScript();

    uint32 m_unAppID = 0;
    KeyValues* m_kvInstallScript = nullptr;
    bool m_bUTF8RegistryStrings = false;
    CUtlString m_strInstallPath; // a Windows path
};

class CInstallScriptManagerWin32 : public IInstallScriptManager, public IInstallScriptSectionHandlers
{
public:
    CInstallScriptManagerWin32();
    CInstallScriptManagerWin32(const CInstallScriptManagerWin32&) = delete;
    CInstallScriptManagerWin32& operator=(const CInstallScriptManagerWin32&) = delete;
    ~CInstallScriptManagerWin32() override;

    // Not supported here: asserts and fails.
    bool BStartInstallScript() override;
    uint32 GetAppID() override { return m_unAppID; }
    uint32 BGetCurrentStep(char* pchDescription, uint32 cubDescription, uint32* punStepCount,
                           uint32* punCurrentStep) override;
    // While a service process is tracked, the first call only lets go of it and fails;
    // the next one finishes the clean-up.
    bool BStopInstallScript(uint32 unAppID) override;
    // Setting returns the new flags, clearing the flags from before the change.
    uint32 SetFlags(uint32 unBits, bool bSet) override;
    bool BRunStandaloneJob(KeyValues* pkvJob) override;
    void SetAppID(uint32 unAppID) override { m_unAppID = unAppID; }
    void Validate(IValidator& validator, const char* pszName) override;

    // Back to idle; handles are forgotten, not closed.
    void ResetRunState();
    // Makes the script the running one and sets "INSTALLDIR" and "ROOTDRIVE".
    void PrepareScriptForRun(RunInstallScript_s* pCurrentScript);

    // Walks the running script in eMode (installscript_sections holds each mode's walk); a
    // mode without a walk does nothing and succeeds.
    bool BRunWalk(EInstallScriptMode eMode);

    // Writes the administrator work lists into "runasadmin.vdf" and hands it on.
    bool BStartAdminHandOff();
    void StartServiceProcess(const char* pszAdminScriptPath, uint32 unAppIDForMessages);
    // Closes and deletes the admin script file when it is open.
    void CloseAdminScriptFile();
    // Writes "standalone_installscript_progress_<app id>.vdf" from the progress records.
    void PublishProgress();

    // Section handlers: each family's own, given the run context (installscript_handlers.h).
    bool ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey,
                              bool bOverwrite) override;
    bool RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey) override;
    bool BHandleUnit(ESectionHandler eHandler, KeyValues* pkvUnit) override;
    bool BForgetHasRunRecord(KeyValues* pkvEntry, bool bMachineWide) override;

    // What the handlers see of the running script (the manager's app id while none runs).
    CInstallScriptRunContext GetRunContext();

protected:
    uint32 m_unAppID;
    EInstallScriptMode m_eInstallScriptMode;
    KeyValues* m_pkvRunProcessAsAdminUser;
    KeyValues* m_pkvRunSymlinkAsAdminUser;
    KeyValues* m_pkvRunProcessAsCurrentUser;
    HANDLE m_hRunProcess;
    HANDLE m_hAdminScriptFile;
    bool m_bThreadInstallScriptRunning; // no worker exists in this program: only tested and cleared
    bool m_bServiceInstallScriptRunning;
    CUtlVector<RunInstallScript_s> m_vecInstallScript;
    RunInstallScript_s* m_pRunScript; // points into m_vecInstallScript
    char m_szLanguage[32];
    uint32 m_nInstallStepCount;
    uint32 m_unFlags; // non-zero: hand-offs go to the service interface

private:
    // Checks, queues, prepares and walks one group of a standalone job; false when the
    // group fails the job.
    bool BRunJobGroup(KeyValues* pkvGroup, PFNTranslateHostPath pfnTranslate);
    // The in-process worker's state: STILL_ACTIVE while it works.
    DWORD GetThreadInstallScriptState() const;
    // Polls the hand-off every 100 ms, publishing progress, until it has ended.
    void WaitForHandOff();
    // The script tree of the running script, created when missing; null without one.
    KeyValues* GetRunScriptTree();
};
