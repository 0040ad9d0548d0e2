#pragma once
// Registry records the install script manager keeps beside each application: the has-run
// number of every script entry (so work is not repeated), the language a Copy Files entry
// was carried out in, and the progress of a run. Has-run key paths begin with a root name
// and follow the install-script view rule of BParseInstallScriptRegKey.

#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

class KeyValues;

// "HKEY_LOCAL_MACHINE\Software\Pellan\Korvex\Apps\<app id>" (HKEY_CURRENT_USER unless
// bMachineWide), or the entry's "HasRunKey" when it has one.
CUtlString GetHasRunKeyPath(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide);
// The entry's "MinimumHasRunValue", 1 when absent.
uint32 GetMinimumHasRunValue(KeyValues* pkvEntry);

// True when the DWORD value under the key (0 when missing) reaches unMinimum; false for
// a key path that does not parse.
bool BHasRun(const char* pszKeyPath, const char* pszValueName, uint32 unMinimum);
// Stores unValue unless the record already reaches it: a record is never lowered.
void SetHasRun(const char* pszKeyPath, const char* pszValueName, uint32 unValue);
// Deletes the record; false when the key path does not parse or the delete fails.
bool BForgetHasRun(const char* pszKeyPath, const char* pszValueName);

// One entry's has-run record, as every section handler, the cleanup walk and the
// hand-off runner see it: the key path, the value named after the entry, the threshold.
class CHasRunRecord
{
public:
    CHasRunRecord(const char* pszKeyPath, const char* pszValueName, uint32 unMinimum);
    // The entry's own record, with its "MinimumHasRunValue" as the threshold.
    static CHasRunRecord ForEntry(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide);
    // The same with a fixed threshold.
    static CHasRunRecord ForEntry(KeyValues* pkvEntry, uint32 unAppID, bool bMachineWide, uint32 unMinimum);

    bool BHasRun() const { return ::BHasRun(m_strKeyPath, m_strValueName, m_unMinimum); }
    // Raises the record to the threshold.
    void SetHasRun() const { ::SetHasRun(m_strKeyPath, m_strValueName, m_unMinimum); }
    bool BForget() const { return BForgetHasRun(m_strKeyPath, m_strValueName); }
    const CUtlString& GetKeyPath() const { return m_strKeyPath; }

private:
    CUtlString m_strKeyPath;
    CUtlString m_strValueName;
    uint32 m_unMinimum;
};

// The language an entry was last carried out in ("<entry>_lang" under HKCU), empty when
// there is none.
CUtlString GetEntryLanguage(uint32 unAppID, const char* pszEntryName);
bool SetEntryLanguage(uint32 unAppID, const char* pszEntryName, const char* pszLanguage);

// The progress records of a run, under HKLM; missing values read as 0 or empty.
struct InstallProgress_s
{
    uint32 m_unInstallSequence;         // step being carried out
    uint32 m_unInstallCount;            // steps of the run
    CUtlString m_strInstallDescription; // description of the step being carried out
};
void GetInstallProgress(uint32 unAppID, InstallProgress_s* pProgress);
// Only the step count is the evaluator's to write; the service keeps the other two.
bool BSetInstallCount(uint32 unAppID, uint32 unInstallCount);
bool BDeleteInstallCount(uint32 unAppID);
// The service's side: the step being carried out (0 means none yet) and its description.
bool BSetInstallStep(uint32 unAppID, uint32 unInstallSequence, const char* pszDescription);
bool BDeleteInstallStep(uint32 unAppID);

// Where the hand-off runner had to copy a link's target because the system made no link:
// the target path of the copy at pszLinkPath (empty when there is none), so a later run
// knows the copy as its own.
CUtlString GetLinkCopyTarget(uint32 unAppID, const char* pszLinkPath);
bool BSetLinkCopyTarget(uint32 unAppID, const char* pszLinkPath, const char* pszTargetPath);

// ROOT\key\ValueName holds a string equal to pszExpected (ASCII case ignored); a missing
// value reads as empty, a path that does not parse gives false.
bool BRegistryStringMatches(const char* pszFullPath, const char* pszExpected);
