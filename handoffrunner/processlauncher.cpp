#include "handoffrunner/processlauncher.h"

#include <windows.h>

#include <string>

#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

// How the shell starts what is not a program: batch files through the command
// interpreter, installer packages through the installer service's program.
enum EProgramKind
{
    k_EProgramKindExecutable,
    k_EProgramKindBatch,
    k_EProgramKindPackage,
};

EProgramKind ProgramKindOf(const char* pszProcess)
{
    const char* pchExtension = strrchr(V_UnqualifiedFileName(pszProcess), '.');
    if (pchExtension && (V_stricmp(pchExtension, ".bat") == 0 || V_stricmp(pchExtension, ".cmd") == 0))
        return k_EProgramKindBatch;
    if (pchExtension && V_stricmp(pchExtension, ".msi") == 0)
        return k_EProgramKindPackage;
    return k_EProgramKindExecutable;
}

// The program's full path as the system would find it ("msiexec" in the system folder),
// or the text as given when it cannot be found.
std::wstring FindProgram(const std::wstring& wstrProcess)
{
    wchar_t wszFound[MAX_PATH * 4];
    const DWORD cchFound =
        SearchPathW(nullptr, wstrProcess.c_str(), L".exe", MAX_PATH * 4, wszFound, nullptr);
    return cchFound > 0 && cchFound < MAX_PATH * 4 ? std::wstring(wszFound) : wstrProcess;
}

std::wstring FolderOf(const std::wstring& wstrPath)
{
    const size_t iSeparator = wstrPath.find_last_of(L"\\/");
    return iSeparator == std::wstring::npos ? std::wstring() : wstrPath.substr(0, iSeparator);
}

// The command line a double click with these arguments would run.
std::wstring CommandLineFor(const std::wstring& wstrProgram, EProgramKind eKind, const char* pszCommand)
{
    const std::wstring wstrArguments = CWideText(pszCommand).Get();
    const std::wstring wstrQuoted = L"\"" + wstrProgram + L"\" " + wstrArguments;
    switch (eKind)
    {
        case k_EProgramKindBatch:
            // /s: the outer quotes go, the quoted program and its arguments stay as written.
            return L"cmd.exe /s /c \"" + wstrQuoted + L"\"";
        case k_EProgramKindPackage:
            return L"msiexec.exe /i " + wstrQuoted;
        default:
            return wstrQuoted;
    }
}

// The record's variables set in this process for as long as it lives, so that the child
// inherits them on top of everything else; the previous values come back afterwards.
class CEnvironmentOverride
{
public:
    explicit CEnvironmentOverride(const std::vector<EnvironmentVariable_s>& vecVariables)
    {
        for (const EnvironmentVariable_s& variable : vecVariables)
        {
            SavedVariable_s saved = {CWideText(variable.m_strName).Get(), std::wstring(), false};
            const DWORD cchOld = GetEnvironmentVariableW(saved.m_wstrName.c_str(), nullptr, 0);
            if (cchOld > 0)
            {
                saved.m_wstrValue.resize(cchOld);
                saved.m_wstrValue.resize(
                    GetEnvironmentVariableW(saved.m_wstrName.c_str(), &saved.m_wstrValue[0], cchOld));
                saved.m_bWasSet = true;
            }
            SetEnvironmentVariableW(saved.m_wstrName.c_str(), CWideText(variable.m_strValue).Get());
            m_vecSaved.push_back(saved);
        }
    }
    ~CEnvironmentOverride()
    {
        for (auto it = m_vecSaved.rbegin(); it != m_vecSaved.rend(); ++it)
            SetEnvironmentVariableW(it->m_wstrName.c_str(),
                                    it->m_bWasSet ? it->m_wstrValue.c_str() : nullptr);
    }
    CEnvironmentOverride(const CEnvironmentOverride&) = delete;
    CEnvironmentOverride& operator=(const CEnvironmentOverride&) = delete;

private:
    struct SavedVariable_s
    {
        std::wstring m_wstrName;
        std::wstring m_wstrValue;
        bool m_bWasSet;
    };
    std::vector<SavedVariable_s> m_vecSaved;
};

// A job object that ends every process in it when its handle closes, so neither a time
// limit nor the runner's own end leaves an installer's helpers behind.
HANDLE CreateKillOnCloseJob()
{
    HANDLE hJob = CreateJobObjectW(nullptr, nullptr);
    if (!hJob)
        return INVALID_HANDLE_VALUE;
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(hJob, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    return hJob;
}

// Helpers an installer leaves running on purpose outlive it: only a time limit, or the
// runner's own end, takes them down.
void ReleaseJob(HANDLE* phJob)
{
    if (*phJob == INVALID_HANDLE_VALUE)
        return;
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    SetInformationJobObject(*phJob, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    CloseHandle(*phJob);
    *phJob = INVALID_HANDLE_VALUE;
}

void CloseIfOpen(HANDLE* phHandle)
{
    if (*phHandle != INVALID_HANDLE_VALUE && *phHandle)
        CloseHandle(*phHandle);
    *phHandle = INVALID_HANDLE_VALUE;
}

} // namespace

void EndInstallersWithRunner()
{
    // The handle stays open for the life of the process: its closing is the signal.
    HANDLE hJob = CreateKillOnCloseJob();
    if (hJob != INVALID_HANDLE_VALUE && !AssignProcessToJobObject(hJob, GetCurrentProcess()))
        CloseHandle(hJob);
}

ProcessOutcome_s RunInstallerProcess(const InstallerJob_s& job, uint32 unTimeoutSeconds)
{
    ProcessOutcome_s outcome;
    const EProgramKind eKind = ProgramKindOf(job.m_strProcess);
    const std::wstring wstrProgram = FindProgram(CWideText(job.m_strProcess).Get());
    std::wstring wstrCommandLine = CommandLineFor(wstrProgram, eKind, job.m_strCommand);
    const std::wstring wstrFolder = FolderOf(wstrProgram);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    PROCESS_INFORMATION process = {};
    HANDLE hJob = CreateKillOnCloseJob();
    {
        const CEnvironmentOverride environment(job.m_vecEnvironment);
        outcome.m_bStarted =
            CreateProcessW(nullptr, &wstrCommandLine[0], nullptr, nullptr, FALSE,
                           CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP, nullptr,
                           wstrFolder.empty() ? nullptr : wstrFolder.c_str(), &startup, &process);
    }
    if (!outcome.m_bStarted)
    {
        outcome.m_unError = GetLastError();
        CloseIfOpen(&hJob);
        return outcome;
    }
    // Its own job sits inside the runner's; without it (nested jobs can be refused) a time
    // limit still ends the installer.
    if (hJob != INVALID_HANDLE_VALUE && !AssignProcessToJobObject(hJob, process.hProcess))
        CloseIfOpen(&hJob);
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);

    const DWORD dwTimeout = unTimeoutSeconds ? unTimeoutSeconds * 1000u : INFINITE;
    if (WaitForSingleObject(process.hProcess, dwTimeout) == WAIT_TIMEOUT)
    {
        outcome.m_bTimedOut = true;
        if (hJob == INVALID_HANDLE_VALUE || !TerminateJobObject(hJob, ERROR_TIMEOUT))
            TerminateProcess(process.hProcess, ERROR_TIMEOUT);
        WaitForSingleObject(process.hProcess, INFINITE);
    }
    DWORD dwExitCode = 0;
    GetExitCodeProcess(process.hProcess, &dwExitCode);
    outcome.m_unExitCode = dwExitCode;
    CloseHandle(process.hProcess);
    ReleaseJob(&hJob);
    return outcome;
}
