#pragma once
// What a section handler needs of the run under way, so each handler family's file owns
// its handler and a test can call it with a context of its own.

#include "clientdll/iinstallscriptmanager.h"
#include "tier1/utlstring.h"

class KeyValues;

class CInstallScriptRunContext
{
public:
    // Logs "[AppID %u] " with the running script's app id, and the message.
    void Log(const char* pszFormat, ...) const __attribute__((format(printf, 2, 3)));
    // pszFileName joined to the install directory.
    CUtlString GetInstallDirFile(const char* pszFileName) const;

    uint32 m_unAppID = 0; // the running script's
    EInstallScriptMode m_eMode = k_EInstallScriptModeNone;
    const char* m_pszLanguage = "";
    bool m_bUTF8RegistryStrings = false;
    const char* m_pszInstallPath = ""; // a Windows path
    // The work handed to the elevated service: Run Process and symlink append to them,
    // Run Process counts its steps.
    KeyValues* m_pkvRunProcessAsAdminUser = nullptr;
    KeyValues* m_pkvRunSymlinkAsAdminUser = nullptr;
    uint32* m_punInstallStepCount = nullptr;
};
