#pragma once
// The install script manager as the front end sees it.

#include "tier0/basetypes.h"

class IValidator;
class KeyValues;

enum EInstallScriptMode : uint32
{
    k_EInstallScriptModeNone = 0,
    k_EInstallScriptModeLaunch = 1,
    k_EInstallScriptModeUpdate = 2,
    k_EInstallScriptModeUninstall = 3,
    k_EInstallScriptModeCleanup = 4,
};

// The slot order is part of the contract with the platform; keep it.
class IInstallScriptManager
{
public:
    virtual ~IInstallScriptManager() = default;
    virtual bool BStartInstallScript() = 0;
    virtual uint32 GetAppID() = 0;
    // Non-zero (the mode of the run) when it answered.
    virtual uint32 BGetCurrentStep(char* pchDescription, uint32 cubDescription, uint32* punStepCount,
                                   uint32* punCurrentStep) = 0;
    virtual bool BStopInstallScript(uint32 unAppID) = 0;
    virtual uint32 SetFlags(uint32 unBits, bool bSet) = 0;
    virtual bool BRunStandaloneJob(KeyValues* pkvJob) = 0;
    virtual void SetAppID(uint32 unAppID) = 0;
    virtual void Validate(IValidator& validator, const char* pszName) = 0;
};
