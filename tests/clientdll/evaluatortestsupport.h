#pragma once
// Helpers of the evaluator's tests under Wine (and, through regtestutil.h, the registry's).

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "regtestutil.h"
#include "tier1/keyvalues.h"
#include "tracedcall.h"

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
    // Creates the folders on the way.
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
    int m_nExitCode = -1;    // 99 when killed, and after a minute
    std::string m_strOutput; // standard output and standard error
};

// Starts a build of the evaluator (named by its host path) in the directory and waits a
// minute at most, or kills it as soon as fnKillWhen (asked every millisecond) says so.
EvaluatorRun_s RunEvaluator(const CScratchDir& dir, const std::vector<std::string>& vecArgs,
                            const char* pszHostExe = ISE_EVALUATOR_EXE,
                            const std::function<bool()>& fnKillWhen = nullptr);
#define RunEvaluator(...) ISE_TRACED_CALL(RunEvaluator, __VA_ARGS__)

// Runs a job of one group whose install directory is "game" in the directory, and answers
// the log lines after the translated path, which must come first. The run must succeed.
// The app's "[AppID <id>] " prefix is taken off; a line without it is marked with "?".
std::vector<std::string> RunGroupJob(const CScratchDir& dir, unsigned int unAppID, int nMode,
                                     const std::string& strGroupKeys);
#define RunGroupJob(...) ISE_TRACED_CALL(RunGroupJob, __VA_ARGS__)

// Job-file text: one application group, and the job around groups.
std::string Group(unsigned int unAppID, int nMode, const std::string& strHostPath,
                  const std::string& strScript);
std::string Job(const std::string& strGroups);

// The Windows form of a host path (the build names its outputs by host paths).
std::string DosPathOf(const std::string& strHostPath);
std::wstring Widen(const std::string& strUTF8);
std::string Variable(const char* pszName);
// The text with every mark replaced.
std::string Replaced(std::string strText, const std::string& strMark, const std::string& strBy);
// A tree parsed from KeyValues text with escapes on.
std::unique_ptr<KeyValues> ParseKeyValues(const std::string& strText);
#define ParseKeyValues(...) ISE_TRACED_CALL(ParseKeyValues, __VA_ARGS__)
// The tree and the keys after it: sections as "name{...}", values as "name=text,".
std::string Flatten(KeyValues* pkv);
