#pragma once
// Helpers of the evaluator's tests under Wine: a fresh working directory per case, path
// forms, files and log lines, and the stub of the platform's elevated service.

#include <string>
#include <vector>

class KeyValues;

// %TEMP%\ise_<test>_<pid>: created empty (and, asked, made the current directory), then
// removed with its contents.
class CScratchDir
{
public:
    explicit CScratchDir(bool bMakeCurrent = false);
    ~CScratchDir();
    CScratchDir(const CScratchDir&) = delete;
    CScratchDir& operator=(const CScratchDir&) = delete;

    const std::string& Path() const { return m_strPath; }
    std::string File(const std::string& strName) const { return m_strPath + "\\" + strName; }
    // The host form, as a job's "install_path" gives it.
    std::string HostPath(const std::string& strName) const;
    // The stub as legacycompat\KorvexService.exe. It records what it is handed in
    // "service_record.txt" and copies the admin script to "handed_runasadmin.vdf".
    void InstallServiceStub() const;
    // "" when the file is missing.
    std::string Read(const std::string& strName) const;
    void Write(const std::string& strName, const std::string& strText) const;
    bool Exists(const std::string& strName) const;
    // "installscriptevalutor_log.txt" line by line.
    std::vector<std::string> LogLines() const;

private:
    std::string m_strPath;
    std::wstring m_wstrPrevious;
};

struct EvaluatorRun_s
{
    int m_nExitCode = -1;
    std::string m_strOutput; // standard output and standard error
};

// Starts a build of the evaluator (named by its host path) with the directory as its
// working directory and waits a minute at most.
EvaluatorRun_s RunEvaluator(const CScratchDir& dir, const std::vector<std::string>& vecArgs,
                            const char* pszHostExe = ISE_EVALUATOR_EXE);

// Job-file text: one application group, and the job around groups.
std::string Group(unsigned int unAppID, int nMode, const std::string& strHostPath,
                  const std::string& strScript);
std::string Job(const std::string& strGroups);

// The Windows form of a host path (the build names its outputs by host paths).
std::string DosPathOf(const std::string& strHostPath);
std::wstring Widen(const std::string& strUTF8);
// A tree parsed from KeyValues text with escapes on; the caller deletes it.
KeyValues* ParseKeyValues(const std::string& strText);

// "Software\Pellan\Korvex\Apps\<id>", removed from both hives and views before the test
// and after it.
class CScratchAppKey
{
public:
    explicit CScratchAppKey(unsigned int unAppID);
    ~CScratchAppKey() { Remove(); }
    const std::string& Key() const { return m_strKey; }

private:
    void Remove() const;
    std::string m_strKey;
};
