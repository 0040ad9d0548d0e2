#include "handoffrunner/adminscript.h"

#include <memory>

#include "common/installscript_log.h"
#include "tier1/fileio.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"
#include "vstdlib/strtools.h"

namespace
{

// One record being checked: the first problem found is kept for the log line.
class CRecordReader
{
public:
    explicit CRecordReader(KeyValues* pkvRecord) : m_pkvRecord(pkvRecord) {}

    // A value of any text; bRequired: missing or empty is a problem.
    CUtlString String(const char* pszKey, bool bRequired)
    {
        KeyValues* pkvValue = m_pkvRecord->FindKey(pszKey);
        if (pkvValue && pkvValue->GetDataType() == KeyValues::TYPE_NONE)
            Problem(pszKey, "is a section, not a value");
        CUtlString strValue(
            pkvValue && pkvValue->GetDataType() != KeyValues::TYPE_NONE ? pkvValue->GetString() : "");
        if (bRequired && strValue.IsEmpty())
            Problem(pszKey, "is missing");
        return strValue;
    }

    // A whole integer (not negative when bUnsigned); nDefault when absent.
    int Integer(const char* pszKey, int nDefault, bool bRequired, bool bUnsigned = false)
    {
        KeyValues* pkvValue = m_pkvRecord->FindKey(pszKey);
        if (!pkvValue)
        {
            if (bRequired)
                Problem(pszKey, "is missing");
            return nDefault;
        }
        // The reader types whole numbers as integers; text here is anything else ("3a", "first").
        const bool bInteger = pkvValue->GetDataType() == KeyValues::TYPE_INT;
        const int nValue = bInteger ? pkvValue->GetInt() : nDefault;
        if (!bInteger || (bUnsigned && nValue < 0))
        {
            Problem(pszKey, bUnsigned ? "is not a whole number of 0 or more" : "is not a whole number");
            return nDefault;
        }
        return nValue;
    }

    // The subkey's values; a value in its place is a problem.
    std::vector<EnvironmentVariable_s> Variables(const char* pszKey)
    {
        std::vector<EnvironmentVariable_s> vecVariables;
        KeyValues* pkvSection = m_pkvRecord->FindKey(pszKey);
        if (!pkvSection)
            return vecVariables;
        if (pkvSection->GetDataType() != KeyValues::TYPE_NONE)
        {
            Problem(pszKey, "is a value, not a section");
            return vecVariables;
        }
        for (KeyValues* pkvValue = pkvSection->GetFirstValue(); pkvValue; pkvValue = pkvValue->GetNextValue())
            vecVariables.push_back({CUtlString(pkvValue->GetName()), CUtlString(pkvValue->GetString())});
        return vecVariables;
    }

    bool BMalformed() const { return !m_strProblem.IsEmpty(); }
    const CUtlString& GetProblem() const { return m_strProblem; }

private:
    void Problem(const char* pszKey, const char* pszWhat)
    {
        if (m_strProblem.IsEmpty())
            m_strProblem.Format("\"%s\" %s", pszKey, pszWhat);
    }

    KeyValues* m_pkvRecord;
    CUtlString m_strProblem;
};

void LogMalformed(uint32 unAppID, const char* pszSection, KeyValues* pkvRecord, const char* pszProblem,
                  AdminScript_s* pScript)
{
    InstallScriptAppLog(unAppID, "Malformed %s record \"%s\" left out: %s", pszSection, pkvRecord->GetName(),
                        pszProblem);
    ++pScript->m_cMalformedRecords;
}

LinkRecord_s ReadLink(KeyValues* pkvRecord, CRecordReader& reader)
{
    LinkRecord_s link;
    link.m_strName = pkvRecord->GetName();
    link.m_strFrom = reader.String("from", true);
    link.m_strTo = reader.String("to", true);
    link.m_bIgnoreExitCode = reader.Integer("IgnoreExitCode", 0, false) != 0;
    return link;
}

InstallerJob_s ReadJob(KeyValues* pkvRecord, CRecordReader& reader)
{
    InstallerJob_s job;
    job.m_strName = pkvRecord->GetName();
    job.m_strProcess = reader.String("Process", true);
    job.m_strCommand = reader.String("Command", false);
    job.m_strDescription = reader.String("Description", false);
    job.m_strHasRunKey = reader.String("HasRunKey", false);
    job.m_strRunKeyName = reader.String("RunKeyName", false);
    job.m_unMinimumHasRunValue = (uint32)reader.Integer("MinimumHasRunValue", 1, false);
    job.m_bIgnoreExitCode = reader.Integer("IgnoreExitCode", 0, false) != 0;
    job.m_bIgnoreHasRunKey = reader.Integer("IgnoreHasRunKey", 0, false) != 0;
    job.m_strValidExitCodes = reader.String("ValidExitCodes", false);
    job.m_unSequence = (uint32)reader.Integer("Sequence", 0, true, true);
    job.m_vecEnvironment = reader.Variables("Environment");
    return job;
}

// Every record of the section read with pfnRead into the list; the malformed ones logged.
template <typename Record_t>
uint32 ReadRecords(KeyValues* pkvSection, uint32 unAppID, Record_t (*pfnRead)(KeyValues*, CRecordReader&),
                   std::vector<Record_t>* pvecRecords, AdminScript_s* pScript)
{
    uint32 cRecords = 0;
    for (KeyValues* pkvRecord = pkvSection->GetFirstSubKey(); pkvRecord; pkvRecord = pkvRecord->GetNextKey())
    {
        ++cRecords;
        if (pkvRecord->GetDataType() != KeyValues::TYPE_NONE)
        {
            LogMalformed(unAppID, pkvSection->GetName(), pkvRecord, "a value where a record belongs",
                         pScript);
            continue;
        }
        CRecordReader reader(pkvRecord);
        Record_t record = pfnRead(pkvRecord, reader);
        if (reader.BMalformed())
            LogMalformed(unAppID, pkvSection->GetName(), pkvRecord, reader.GetProblem(), pScript);
        else
            pvecRecords->push_back(record);
    }
    return cRecords;
}

} // namespace

bool BReadAdminScript(const char* pszPath, uint32 unAppID, AdminScript_s* pScript)
{
    // The evaluator keeps the file open for writing while we read it, so the read shares
    // writing.
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    if (!LoadFileIntoBuffer(pszPath, buf, true))
    {
        InstallScriptAppLog(unAppID, "Cannot read the admin script \"%s\"; nothing done", pszPath);
        return false;
    }
    std::unique_ptr<KeyValues> pkvRoot(new KeyValues("runasadmin"));
    pkvRoot->SetUsesEscapeSequences(true, false);
    if (!pkvRoot->LoadFromBuffer(pszPath, buf))
    {
        InstallScriptAppLog(unAppID, "The admin script \"%s\" is not valid KeyValues text; nothing done",
                            pszPath);
        return false;
    }
    for (KeyValues* pkvSection = pkvRoot.get(); pkvSection; pkvSection = pkvSection->GetNextKey())
    {
        if (pkvSection->GetDataType() != KeyValues::TYPE_NONE)
            InstallScriptAppLog(unAppID, "Unknown value \"%s\" in the admin script ignored",
                                pkvSection->GetName());
        else if (V_stricmp(pkvSection->GetName(), "symlink") == 0)
            ReadRecords(pkvSection, unAppID, ReadLink, &pScript->m_vecLinks, pScript);
        else if (V_stricmp(pkvSection->GetName(), "Run Process") == 0)
            pScript->m_cJobRecords += ReadRecords(pkvSection, unAppID, ReadJob, &pScript->m_vecJobs, pScript);
        else
            InstallScriptAppLog(unAppID, "Unknown section \"%s\" in the admin script ignored",
                                pkvSection->GetName());
    }
    return true;
}
