#pragma once
// The manager with its run state open to the tests.

#include <string>

#include "clientdll/installscript_win32.h"
#include "evaluatortestsupport.h"

class CTestManager : public CInstallScriptManagerWin32
{
public:
    using CInstallScriptManagerWin32::m_bThreadInstallScriptRunning;
    using CInstallScriptManagerWin32::m_eInstallScriptMode;
    using CInstallScriptManagerWin32::m_hAdminScriptFile;
    using CInstallScriptManagerWin32::m_hRunProcess;
    using CInstallScriptManagerWin32::m_pkvRunProcessAsCurrentUser;
    using CInstallScriptManagerWin32::m_pkvRunSymlinkAsAdminUser;
    using CInstallScriptManagerWin32::m_pRunScript;
    using CInstallScriptManagerWin32::m_szLanguage;
    using CInstallScriptManagerWin32::m_unAppID;
    using CInstallScriptManagerWin32::m_unFlags;
    using CInstallScriptManagerWin32::m_vecInstallScript;

    // Queues a script (KeyValues text) for an install directory and prepares it.
    void QueueScript(uint32 unAppID, const std::string& strInstallPath,
                     const std::string& strScript = "\"s\" { \"x\" \"1\" }")
    {
        RunInstallScript_s& script = m_vecInstallScript[m_vecInstallScript.AddToTail()];
        script.m_unAppID = unAppID;
        script.SetInstallScript(ParseKeyValues(strScript).release());
        script.m_strInstallPath = strInstallPath.c_str();
        PrepareScriptForRun(&script);
    }
};
