// A stand-in for a redistributable installer, for the demo and the hand-off tests: it notes
// that it ran (with its arguments, folder and chosen environment variables), takes its
// time and exits with the code it is told.
//
//   exampleinstaller [--log FILE] [--name NAME] [--ms N] [--exit CODE] [--env VAR]...
//                    [--progress FILE] [--spawn-ms N]
//
// --log appends one line to FILE; --progress adds the text of FILE (the evaluator's
// progress file) as it reads at the end of the wait; --spawn-ms leaves a helper process
// running for N milliseconds that notes its own end in the same log.

#include <windows.h>

#include <shellapi.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

struct Options_s
{
    std::wstring m_wstrLog;
    std::wstring m_wstrName = L"installer";
    unsigned long m_ulMilliseconds = 0;
    int m_nExitCode = 0;
    std::vector<std::wstring> m_vecVariables;
    std::wstring m_wstrProgress;
    unsigned long m_ulSpawnMilliseconds = 0;
};

Options_s ParseOptions(int argc, wchar_t** argv)
{
    Options_s options;
    for (int iArg = 1; iArg + 1 < argc; iArg += 2)
    {
        const std::wstring wstrName = argv[iArg];
        const wchar_t* pwszValue = argv[iArg + 1];
        if (wstrName == L"--log")
            options.m_wstrLog = pwszValue;
        else if (wstrName == L"--name")
            options.m_wstrName = pwszValue;
        else if (wstrName == L"--ms")
            options.m_ulMilliseconds = wcstoul(pwszValue, nullptr, 10);
        else if (wstrName == L"--exit")
            options.m_nExitCode = (int)wcstol(pwszValue, nullptr, 0);
        else if (wstrName == L"--env")
            options.m_vecVariables.push_back(pwszValue);
        else if (wstrName == L"--progress")
            options.m_wstrProgress = pwszValue;
        else if (wstrName == L"--spawn-ms")
            options.m_ulSpawnMilliseconds = wcstoul(pwszValue, nullptr, 10);
    }
    return options;
}

std::string UTF8(const std::wstring& wstrText)
{
    const int cchText = WideCharToMultiByte(CP_UTF8, 0, wstrText.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string strText(cchText > 0 ? cchText - 1 : 0, '\0');
    WideCharToMultiByte(CP_UTF8, 0, wstrText.c_str(), -1, &strText[0], cchText, nullptr, nullptr);
    return strText;
}

std::string Variable(const std::wstring& wstrName)
{
    wchar_t wszValue[4096] = L"";
    GetEnvironmentVariableW(wstrName.c_str(), wszValue, 4096);
    return UTF8(wszValue);
}

// The file's text on one line.
std::string OneLine(const std::wstring& wstrPath)
{
    std::ostringstream text;
    text << std::ifstream(wstrPath.c_str(), std::ios::binary).rdbuf();
    std::string strText;
    for (char ch : text.str())
    {
        if (ch == '\r' || ch == '\n' || ch == '\t')
            ch = ' ';
        if (ch != ' ' || (!strText.empty() && strText.back() != ' '))
            strText += ch;
    }
    return strText;
}

void AppendLine(const std::wstring& wstrLog, const std::string& strLine)
{
    if (!wstrLog.empty())
        std::ofstream(wstrLog.c_str(), std::ios::binary | std::ios::app) << strLine << "\n";
}

void SpawnHelper(const Options_s& options)
{
    wchar_t wszProgram[MAX_PATH];
    GetModuleFileNameW(nullptr, wszProgram, MAX_PATH);
    std::wstring wstrCommand = L"\"" + std::wstring(wszProgram) + L"\" --log \"" + options.m_wstrLog +
                               L"\" --name \"" + options.m_wstrName + L" helper\" --ms " +
                               std::to_wstring(options.m_ulSpawnMilliseconds);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(wszProgram, &wstrCommand[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process))
    {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
}

} // namespace

int WINAPI WinMain(HINSTANCE /*hInstance*/, HINSTANCE /*hPrevInstance*/, LPSTR /*pszCmdLine*/,
                   int /*nCmdShow*/)
{
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    const Options_s options = ParseOptions(argc, argv);
    if (options.m_ulSpawnMilliseconds)
        SpawnHelper(options);
    Sleep(options.m_ulMilliseconds);

    wchar_t wszFolder[MAX_PATH] = L"";
    GetCurrentDirectoryW(MAX_PATH, wszFolder);
    std::string strLine =
        UTF8(options.m_wstrName) + " ran: args=" + UTF8(GetCommandLineW()) + " cwd=" + UTF8(wszFolder);
    for (const std::wstring& wstrVariable : options.m_vecVariables)
        strLine += " " + UTF8(wstrVariable) + "=" + Variable(wstrVariable);
    if (!options.m_wstrProgress.empty())
        strLine += " progress=" + OneLine(options.m_wstrProgress);
    AppendLine(options.m_wstrLog, strLine);
    return options.m_nExitCode;
}
