#include "testmanager.h"

#include "evaluatortestsupport.h"

void CTestManager::QueueScript(uint32 unAppID, const std::string& strInstallPath,
                               const std::string& strScript)
{
    RunInstallScript_s& script = m_vecInstallScript[m_vecInstallScript.AddToTail()];
    script.m_unAppID = unAppID;
    script.SetInstallScript(ParseKeyValues(strScript).release());
    script.m_strInstallPath = strInstallPath.c_str();
    PrepareScriptForRun(&script);
}
