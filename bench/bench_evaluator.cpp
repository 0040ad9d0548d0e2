// The evaluator end to end under Wine: wall time from CreateProcess to exit for a job with
// an empty script and for a realistic script whose entries have all run already, against
// a program that does nothing, each started the way the platform starts the evaluator.
// Runs are interleaved so that load on the machine falls on all three alike.
//
// bench_evaluator.exe [runs]   (default 25)

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tier0/procaddress.h"

namespace
{

namespace fs = std::filesystem;

constexpr unsigned k_unAppID = 990901;

// Every section of a typical install script, each entry with a has-run record in place.
const char k_szRealisticScript[] = R"(
"Registry"
{
    "HKEY_LOCAL_MACHINE\\Software\\Bench Studio\\Bench Game"
    {
        "string" { "InstallPath" "%INSTALLDIR%" "Version" "1.0.4.2" "english" { "Language" "English" } }
        "dword" { "Installed" "1" "Build" "1042" }
    }
}
"Registry If Not Present" { "HKEY_CURRENT_USER\\Software\\Bench Studio\\Bench Game" { "dword" { "Volume" "80" } } }
"Run Process"
{
    "DirectX" { "HasRunKey" "HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\990901"
                "process 1" "%INSTALLDIR%\\_CommonRedist\\DirectX\\Jun2010\\DXSETUP.exe" "command 1" "/silent" }
    "VC2019" { "process 1" "%INSTALLDIR%\\_CommonRedist\\vcredist\\2019\\VC_redist.x64.exe"
               "command 1" "/install /quiet /norestart" "Description" "Microsoft Visual C++ 2019 Redistributable" }
    "DotNet48" { "process 1" "%INSTALLDIR%\\_CommonRedist\\DotNet\\4.8\\ndp48-x86-x64-allos-enu.exe"
                 "command 1" "/q /norestart" "MinimumHasRunValue" "1" }
}
"Run Process On Update" { "Patch" { "process 1" "%INSTALLDIR%\\patch.exe" "command 1" "-q" } }
"Copy Files" { "Config" { "SrcFile" "%INSTALLDIR%\\default.cfg" "DstFile" "%APPDATA%\\Bench Game\\user.cfg" } }
"Create Folders" { "Saves" { "Folder" "%USER_MYDOCS%\\Bench Game\\Saves" } }
"File Template" { "Launcher" { "template_file" "%INSTALLDIR%\\launcher.tmpl" "output_file" "%INSTALLDIR%\\launcher.ini" } }
"CompatibilityMode" { "Game" { "Executeable" "%INSTALLDIR%\\game.exe" "CompatMode" "WIN7RTM" } }
"Firewall" { "Bench Game" "%INSTALLDIR%\\game.exe" }
"FirewallSubkeys" { "Server" { "Bench Game Server" "%INSTALLDIR%\\server.exe" } }
)";

// Which hive each section's has-run records live in.
const std::pair<const wchar_t*, HKEY> k_rgHasRunRecords[] = {
    {L"DirectX", HKEY_LOCAL_MACHINE}, {L"VC2019", HKEY_LOCAL_MACHINE}, {L"DotNet48", HKEY_LOCAL_MACHINE},
    {L"Patch", HKEY_LOCAL_MACHINE},   {L"Config", HKEY_CURRENT_USER},  {L"Saves", HKEY_CURRENT_USER},
    {L"Launcher", HKEY_CURRENT_USER}, {L"Game", HKEY_CURRENT_USER},    {L"Firewall", HKEY_CURRENT_USER},
    {L"Server", HKEY_CURRENT_USER},
};

const wchar_t k_wszAppKey[] = L"Software\\Pellan\\Korvex\\Apps\\990901";

void SetHasRunRecords()
{
    const DWORD dwHasRun = 1;
    for (const auto& record : k_rgHasRunRecords)
    {
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        {
            HKEY hKey = nullptr;
            RegCreateKeyExW(record.second, k_wszAppKey, 0, nullptr, 0, KEY_SET_VALUE | samView, nullptr,
                            &hKey, nullptr);
            RegSetValueExW(hKey, record.first, 0, REG_DWORD, (const BYTE*)&dwHasRun, sizeof(dwHasRun));
            RegCloseKey(hKey);
        }
    }
}

void RemoveAppKeys()
{
    for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
    {
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        {
            HKEY hKey = nullptr;
            if (RegOpenKeyExW(hHive, k_wszAppKey, 0, KEY_ALL_ACCESS | samView, &hKey) != ERROR_SUCCESS)
                continue;
            RegDeleteTreeW(hKey, nullptr);
            RegCloseKey(hKey);
            RegDeleteKeyExW(hHive, k_wszAppKey, samView, 0);
        }
    }
}

std::wstring DosPathOf(const char* pszHostPath)
{
    typedef wchar_t* (*PFNWineGetDosFileName)(const char*);
    auto pfnToDos =
        GetProcAddressAs<PFNWineGetDosFileName>(GetModuleHandleW(L"kernel32"), "wine_get_dos_file_name");
    wchar_t* pwszDos = pfnToDos ? pfnToDos(pszHostPath) : nullptr;
    const std::wstring wstrDos = pwszDos ? pwszDos : L"";
    HeapFree(GetProcessHeap(), 0, pwszDos);
    return wstrDos;
}

std::string HostPathOf(const fs::path& path)
{
    typedef char* (*PFNWineGetUnixFileName)(const wchar_t*);
    auto pfnToHost =
        GetProcAddressAs<PFNWineGetUnixFileName>(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name");
    char* pszHost = pfnToHost ? pfnToHost(path.wstring().c_str()) : nullptr;
    const std::string strHost = pszHost ? pszHost : "";
    HeapFree(GetProcessHeap(), 0, pszHost);
    return strHost;
}

void WriteJob(const fs::path& path, const std::string& strInstallPath, const std::string& strScript)
{
    std::ofstream(path) << "\"job\" { \"0\" { \"appid\" \"" << k_unAppID
                        << "\" \"mode\" \"1\" \"install_path\" \"" << strInstallPath
                        << "\" \"language\" \"english\" \"korvexid\" \"76561197960287930\""
                        << " \"compat_installscript\" {" << strScript << "} } }";
}

// Milliseconds from CreateProcess to the end of the process; negative when it failed.
double TimeRun(const std::wstring& wstrExe, const std::wstring& wstrArgs, const fs::path& dir)
{
    std::wstring wstrCommandLine = L"\"" + wstrExe + L"\" " + wstrArgs;
    // No standard handles: the assertion an empty script raises goes nowhere.
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    PROCESS_INFORMATION process = {};
    const auto start = std::chrono::steady_clock::now();
    if (!CreateProcessW(wstrExe.c_str(), wstrCommandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        dir.wstring().c_str(), &startup, &process))
        return -1;
    WaitForSingleObject(process.hProcess, INFINITE);
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    DWORD dwExitCode = 1;
    GetExitCodeProcess(process.hProcess, &dwExitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return dwExitCode == 0 ? elapsed.count() : -1;
}

double Median(std::vector<double> vecValues)
{
    std::sort(vecValues.begin(), vecValues.end());
    const size_t n = vecValues.size();
    return n % 2 ? vecValues[n / 2] : (vecValues[n / 2 - 1] + vecValues[n / 2]) / 2;
}

} // namespace

int main(int argc, char** argv)
{
    const int nRuns = argc > 1 ? std::max(atoi(argv[1]), 1) : 25;
    const fs::path dir =
        fs::temp_directory_path() / ("ise_bench_evaluator_" + std::to_string(GetCurrentProcessId()));
    fs::create_directories(dir / "game");
    const std::string strInstallPath = HostPathOf(dir / "game");
    WriteJob(dir / "empty.vdf", strInstallPath, "");
    WriteJob(dir / "realistic.vdf", strInstallPath, k_szRealisticScript);
    SetHasRunRecords();

    const std::wstring wstrTrivial = DosPathOf(ISE_BENCH_TRIVIAL_EXE);
    const std::wstring wstrEvaluator = DosPathOf(ISE_BENCH_EVALUATOR_EXE);
    struct
    {
        const char* m_pszName;
        const std::wstring& m_wstrExe;
        const wchar_t* m_pwszArgs;
        std::vector<double> m_vecTimes;
    } rgSubjects[] = {{"trivial exe", wstrTrivial, L"", {}},
                      {"trivial exe asking for the known folders", wstrTrivial, L"folders", {}},
                      {"evaluator, empty script", wstrEvaluator, L"empty.vdf", {}},
                      {"evaluator, realistic script, all run", wstrEvaluator, L"realistic.vdf", {}}};
    bool bFailed = false;
    for (int iRun = -1; iRun < nRuns; ++iRun) // run -1 warms the caches and is not counted
    {
        for (auto& subject : rgSubjects)
        {
            const double flMilliseconds = TimeRun(subject.m_wstrExe, subject.m_pwszArgs, dir);
            bFailed |= flMilliseconds < 0;
            if (iRun >= 0)
                subject.m_vecTimes.push_back(flMilliseconds);
        }
    }

    const double flBaseline = Median(rgSubjects[0].m_vecTimes);
    printf("%d runs each, median wall time from CreateProcess to exit\n", nRuns);
    for (const auto& subject : rgSubjects)
        printf("%-40s %8.2f ms  %5.2fx\n", subject.m_pszName, Median(subject.m_vecTimes),
               Median(subject.m_vecTimes) / flBaseline);
    RemoveAppKeys();
    std::error_code error;
    fs::remove_all(dir, error);
    if (bFailed)
        printf("some runs failed to start or exited with a non-zero code\n");
    return bFailed ? 1 : 0;
}
