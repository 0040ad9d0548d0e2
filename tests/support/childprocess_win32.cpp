#include <windows.h>

#include "childprocess.h"

namespace
{

std::wstring WidenUTF8(const std::string& strText)
{
    std::wstring wstrText(strText.size(), L'\0'); // never more units than bytes
    wstrText.resize(MultiByteToWideChar(CP_UTF8, 0, strText.data(), static_cast<int>(strText.size()),
                                        &wstrText[0], static_cast<int>(wstrText.size())));
    return wstrText;
}

// Quotes an argument so that the child's command-line splitter gives it back unchanged.
std::wstring QuoteArgument(const std::wstring& wstrArg)
{
    if (!wstrArg.empty() && wstrArg.find_first_of(L" \t\"") == std::wstring::npos)
        return wstrArg;
    std::wstring wstrQuoted = L"\"";
    size_t nBackslashes = 0;
    for (wchar_t wch : wstrArg)
    {
        if (wch == L'\\')
        {
            ++nBackslashes;
            continue;
        }
        // Backslashes count only before a quote: double them there, and escape the quote.
        wstrQuoted.append(wch == L'"' ? 2 * nBackslashes + 1 : nBackslashes, L'\\');
        wstrQuoted.push_back(wch);
        nBackslashes = 0;
    }
    wstrQuoted.append(2 * nBackslashes, L'\\');
    wstrQuoted.push_back(L'"');
    return wstrQuoted;
}

std::wstring SiblingPath(const char* pszName)
{
    wchar_t wszSelf[MAX_PATH];
    const DWORD cchSelf = GetModuleFileNameW(nullptr, wszSelf, MAX_PATH);
    if (cchSelf == 0 || cchSelf >= MAX_PATH)
        return std::wstring();
    const std::wstring wstrSelf(wszSelf, cchSelf);
    return wstrSelf.substr(0, wstrSelf.find_last_of(L"\\/") + 1) + WidenUTF8(pszName) + L".exe";
}

} // namespace

ChildRun_s RunSiblingProgram(const char* pszName, const std::vector<std::string>& vecArgs)
{
    ChildRun_s run;
    const std::wstring wstrPath = SiblingPath(pszName);
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, TRUE};
    HANDLE hRead = INVALID_HANDLE_VALUE;
    HANDLE hWrite = INVALID_HANDLE_VALUE;
    if (wstrPath.empty() || !CreatePipe(&hRead, &hWrite, &attributes, 0))
        return run;
    SetHandleInformation(hRead, HANDLE_FLAG_INHERIT, 0);

    std::wstring wstrCommandLine = QuoteArgument(wstrPath);
    for (const std::string& strArg : vecArgs)
        wstrCommandLine += L" " + QuoteArgument(WidenUTF8(strArg));

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = INVALID_HANDLE_VALUE;
    startup.hStdOutput = hWrite;
    startup.hStdError = hWrite;
    PROCESS_INFORMATION process = {};
    const BOOL bCreated = CreateProcessW(wstrPath.c_str(), &wstrCommandLine[0], nullptr, nullptr, TRUE, 0,
                                         nullptr, nullptr, &startup, &process);
    CloseHandle(hWrite);
    if (bCreated)
    {
        char rgchChunk[4096];
        for (DWORD cbRead = 0; ReadFile(hRead, rgchChunk, sizeof(rgchChunk), &cbRead, nullptr) && cbRead > 0;)
            run.m_strOutput.append(rgchChunk, cbRead);
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD dwExitCode = 0;
        run.m_bStarted = GetExitCodeProcess(process.hProcess, &dwExitCode) != FALSE;
        run.m_nExitCode = static_cast<int>(dwExitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(hRead);
    return run;
}
