// The evaluator end to end under Wine: wall time from CreateProcess to exit for a job with
// an empty script, for a realistic script whose entries have all run already, for a
// first launch that does real work and for five tiny installers carried out by the real
// hand-off runner (against the same installer started on its own), against a program
// that does nothing, each started the way the platform starts the evaluator. Runs are interleaved so that
// load on the machine falls on all of them alike.
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
constexpr unsigned k_unFirstRunAppID = 990902;
constexpr unsigned k_unHandOffAppID = 990903;
constexpr int k_nHandOffInstallers = 5;
const wchar_t k_wszInstallerArgs[] = L"--ms 50";

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
                "process 1" "%INSTALLDIR%\\Redist\\DirectX\\Jun2010\\DXSETUP.exe" "command 1" "/silent" }
    "VC2019" { "process 1" "%INSTALLDIR%\\Redist\\vcredist\\2019\\VC_redist.x64.exe"
               "command 1" "/install /quiet /norestart" "Description" "Microsoft Visual C++ 2019 Redistributable" }
    "DotNet48" { "process 1" "%INSTALLDIR%\\Redist\\DotNet\\4.8\\ndp48-x86-x64-allos-enu.exe"
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
const wchar_t k_wszFirstRunAppKey[] = L"Software\\Pellan\\Korvex\\Apps\\990902";
const wchar_t k_wszFirstRunValuesKey[] = L"Software\\Bench Studio\\First Run";
const wchar_t k_wszHandOffAppKey[] = L"Software\\Pellan\\Korvex\\Apps\\990903";

constexpr int k_nFirstRunCopies = 20;
constexpr size_t k_cubFirstRunCopy = 1 << 20;
// Folders the redistributable table knows, so no version resource is looked for.
const char* const k_rgpszFirstRunRedists[] = {"directx", "vcredist", "dotnet", "physx", "openal"};

// A first launch: 50 registry values in five keys (language subkeys included), five
// installers for the elevated service and 20 file copies of 1 MiB, nothing run before.
std::string BuildFirstRunScript()
{
    std::string strScript = "\"Registry\" {";
    for (int iKey = 0; iKey < 5; ++iKey)
    {
        strScript += " \"HKEY_LOCAL_MACHINE\\\\Software\\\\Bench Studio\\\\First Run\\\\Part" +
                     std::to_string(iKey) + "\" { \"string\" {";
        for (int i = 0; i < 6; ++i)
            strScript +=
                " \"Path" + std::to_string(i) + "\" \"%INSTALLDIR%\\\\data" + std::to_string(i) + "\"";
        strScript += " \"english\" { \"Language\" \"English\" } } \"dword\" {";
        for (int i = 0; i < 3; ++i)
            strScript += " \"Flag" + std::to_string(i) + "\" \"" + std::to_string(i) + "\"";
        strScript += " } }";
    }
    strScript += " } \"Run Process\" {";
    for (const char* pszRedist : k_rgpszFirstRunRedists)
        strScript += std::string(" \"") + pszRedist + "\" { \"process 1\" \"%INSTALLDIR%\\\\Redist\\\\" +
                     pszRedist + "\\\\setup.exe\" \"command 1\" \"/quiet /norestart\" }";
    strScript += " } \"Copy Files\" {";
    for (int i = 0; i < k_nFirstRunCopies; ++i)
    {
        const std::string strFile = "file" + std::to_string(i) + ".bin";
        strScript += " \"Payload" + std::to_string(i) + "\" { \"SrcFile\" \"%INSTALLDIR%\\\\payload\\\\" +
                     strFile + "\" \"DstFile\" \"%INSTALLDIR%\\\\installed\\\\" + strFile + "\" }";
    }
    return strScript + " }";
}

// Five installers, each its own entry, for the real runner.
std::string BuildHandOffScript()
{
    std::string strScript = "\"Run Process\" {";
    for (int i = 0; i < k_nHandOffInstallers; ++i)
        strScript += " \"Redist" + std::to_string(i) +
                     "\" { \"process\" \"%INSTALLDIR%\\\\setup.exe\" \"command\" \"--ms 50\" }";
    return strScript + " }";
}

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

void RemoveKey(const wchar_t* pwszKey)
{
    for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
    {
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        {
            HKEY hKey = nullptr;
            if (RegOpenKeyExW(hHive, pwszKey, 0, KEY_ALL_ACCESS | samView, &hKey) != ERROR_SUCCESS)
                continue;
            RegDeleteTreeW(hKey, nullptr);
            RegCloseKey(hKey);
            RegDeleteKeyExW(hHive, pwszKey, samView, 0);
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

void WriteJob(const fs::path& path, const std::string& strInstallPath, const std::string& strScript,
              unsigned unAppID = k_unAppID)
{
    std::ofstream(path) << "\"job\" { \"0\" { \"appid\" \"" << unAppID
                        << "\" \"mode\" \"1\" \"install_path\" \"" << strInstallPath
                        << "\" \"language\" \"english\" \"korvexid\" \"4711000042\""
                        << " \"compat_installscript\" {" << strScript << "} } }";
}

// The first launch's payload, and the elevated service stood in for by the trivial exe,
// which takes the hand-off and ends at once.
void LayOutFirstRun(const fs::path& dir)
{
    fs::create_directories(dir / "game" / "payload");
    const std::string strPayload(k_cubFirstRunCopy, 'x');
    for (int i = 0; i < k_nFirstRunCopies; ++i)
        std::ofstream(dir / "game" / "payload" / ("file" + std::to_string(i) + ".bin"), std::ios::binary)
            << strPayload;
    fs::create_directories(dir / "legacycompat");
    fs::copy_file(DosPathOf(ISE_BENCH_TRIVIAL_EXE), dir / "legacycompat" / "KorvexService.exe",
                  fs::copy_options::overwrite_existing);
}

// The runner where the evaluator starts its service, in a folder of its own (the first
// launch's folder has the trivial stand-in there), and the installer in the game folder.
void LayOutHandOff(const fs::path& dir)
{
    fs::create_directories(dir / "legacycompat");
    fs::create_directories(dir / "game");
    fs::copy_file(DosPathOf(ISE_BENCH_RUNNER_EXE), dir / "legacycompat" / "KorvexService.exe",
                  fs::copy_options::overwrite_existing);
    fs::copy_file(DosPathOf(ISE_BENCH_INSTALLER_EXE), dir / "game" / "setup.exe",
                  fs::copy_options::overwrite_existing);
}

void ResetHandOff(const fs::path& /*dir*/)
{
    RemoveKey(k_wszHandOffAppKey);
}

// Back to before the first launch: no run-once records, no copies, no values.
void ResetFirstRun(const fs::path& dir)
{
    RemoveKey(k_wszFirstRunAppKey);
    RemoveKey(k_wszFirstRunValuesKey);
    std::error_code error;
    fs::remove_all(dir / "game" / "installed", error);
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
    WriteJob(dir / "firstrun.vdf", strInstallPath, BuildFirstRunScript(), k_unFirstRunAppID);
    const fs::path handOffDir = dir / "handoff";
    LayOutHandOff(handOffDir);
    WriteJob(handOffDir / "handoff.vdf", HostPathOf(handOffDir / "game"), BuildHandOffScript(),
             k_unHandOffAppID);
    SetHasRunRecords();
    LayOutFirstRun(dir);

    const std::wstring wstrTrivial = DosPathOf(ISE_BENCH_TRIVIAL_EXE);
    const std::wstring wstrEvaluator = DosPathOf(ISE_BENCH_EVALUATOR_EXE);
    const std::wstring wstrInstaller = (handOffDir / "game" / "setup.exe").wstring();
    struct
    {
        const char* m_pszName;
        const std::wstring& m_wstrExe;
        const wchar_t* m_pwszArgs;
        void (*m_pfnPrepare)(const fs::path& dir); // untimed, before each run; may be null
        const fs::path& m_workDir;
        std::vector<double> m_vecTimes;
    } rgSubjects[] = {
        {"trivial exe", wstrTrivial, L"", nullptr, dir, {}},
        {"trivial exe asking for the known folders", wstrTrivial, L"folders", nullptr, dir, {}},
        {"evaluator, empty script", wstrEvaluator, L"empty.vdf", nullptr, dir, {}},
        {"evaluator, realistic script, all run", wstrEvaluator, L"realistic.vdf", nullptr, dir, {}},
        {"evaluator, realistic first run", wstrEvaluator, L"firstrun.vdf", ResetFirstRun, dir, {}},
        {"example installer on its own", wstrInstaller, k_wszInstallerArgs, nullptr, handOffDir, {}},
        {"evaluator, 5 installers, real runner",
         wstrEvaluator,
         L"handoff.vdf",
         ResetHandOff,
         handOffDir,
         {}}};
    bool bFailed = false;
    for (int iRun = -1; iRun < nRuns; ++iRun) // run -1 warms the caches and is not counted
    {
        for (auto& subject : rgSubjects)
        {
            if (subject.m_pfnPrepare)
                subject.m_pfnPrepare(dir);
            const double flMilliseconds = TimeRun(subject.m_wstrExe, subject.m_pwszArgs, subject.m_workDir);
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
    // What the whole hand-off adds to each installer: the runner's start, its records and
    // the evaluator's polling, over the installers' own time.
    const double flInstallers = k_nHandOffInstallers * Median(rgSubjects[5].m_vecTimes);
    const double flHandOff = Median(rgSubjects[6].m_vecTimes);
    printf("hand-off of %d installers: %.2f ms against %.2f ms for the installers alone; %.2f ms per step\n",
           k_nHandOffInstallers, flHandOff, flInstallers, (flHandOff - flInstallers) / k_nHandOffInstallers);
    RemoveKey(k_wszAppKey);
    ResetHandOff(dir);
    ResetFirstRun(dir);
    std::error_code error;
    fs::remove_all(dir, error);
    if (bFailed)
        printf("some runs failed to start or exited with a non-zero code\n");
    return bFailed ? 1 : 0;
}
