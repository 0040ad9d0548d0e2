// Stands in for the platform's elevated service (legacycompat\KorvexService.exe
// /installscript "<admin script>" <app id>): notes what it was handed and saw while the
// evaluator polled in "service_record.txt", and ends with an exit code to be ignored.

#include <windows.h>

#include <fstream>
#include <sstream>
#include <string>

int main(int argc, char** argv)
{
    std::ofstream record("service_record.txt", std::ios::binary);
    for (int iArg = 1; iArg < argc; ++iArg)
        record << "arg=" << argv[iArg] << "\n";
    if (argc != 4)
        return 2;

    // The evaluator holds the file open for writing, so readers must share writing.
    std::ostringstream script;
    script << std::ifstream(argv[2], std::ios::binary).rdbuf();
    std::ofstream("handed_runasadmin.vdf", std::ios::binary) << script.str();
    HANDLE hWriter = CreateFileA(argv[2], GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    record << "writable=" << (hWriter != INVALID_HANDLE_VALUE) << "\n";

    const std::wstring wstrAppKey = L"Software\\Pellan\\Korvex\\Apps\\" + std::to_wstring(atoi(argv[3]));
    const DWORD dwSequence = 2;
    for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
    {
        HKEY hKey = nullptr;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, wstrAppKey.c_str(), 0, nullptr, 0, KEY_SET_VALUE | samView,
                        nullptr, &hKey, nullptr);
        RegSetValueExW(hKey, L"InstallSequence", 0, REG_DWORD, (const BYTE*)&dwSequence, sizeof(dwSequence));
        RegSetValueExW(hKey, L"InstallDescription", 0, REG_SZ, (const BYTE*)L"Stub step",
                       sizeof(L"Stub step"));
        RegCloseKey(hKey);
    }
    Sleep(450);

    DWORD dwCount = 0;
    DWORD cbCount = sizeof(dwCount);
    RegGetValueW(HKEY_LOCAL_MACHINE, wstrAppKey.c_str(), L"InstallCount", RRF_RT_REG_DWORD, nullptr, &dwCount,
                 &cbCount);
    record << "install_count=" << dwCount << "\n";
    // The evaluator rewrites the file on every pass and shares it with nobody meanwhile.
    std::string strProgress;
    for (int nAttempt = 0; nAttempt < 20 && strProgress.empty(); ++nAttempt, Sleep(10))
    {
        std::ostringstream text;
        text << std::ifstream("standalone_installscript_progress_" + std::string(argv[3]) + ".vdf").rdbuf();
        strProgress = text.str();
    }
    record << "progress=" << strProgress << "\n";
    return 3;
}
