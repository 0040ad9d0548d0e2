#include "evaluatortestsupport.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tier0/procaddress.h"
#include "tier1/keyvalues.h"
#include "tier1/utlbuffer.h"

namespace fs = std::filesystem;

std::wstring Widen(const std::string& strUTF8)
{
    return fs::u8path(strUTF8).wstring();
}

CScratchDir::CScratchDir(bool bMakeCurrent)
{
    const testing::TestInfo* pInfo = testing::UnitTest::GetInstance()->current_test_info();
    m_strPath = fs::temp_directory_path().u8string() + "ise_" + pInfo->name() + "_" +
                std::to_string(GetCurrentProcessId());
    fs::remove_all(Widen(m_strPath));
    fs::create_directories(Widen(m_strPath));
    if (bMakeCurrent)
    {
        m_wstrPrevious = fs::current_path().wstring();
        fs::current_path(Widen(m_strPath));
    }
}

CScratchDir::~CScratchDir()
{
    if (!m_wstrPrevious.empty())
        fs::current_path(m_wstrPrevious);
    std::error_code error;
    fs::remove_all(Widen(m_strPath), error);
}

std::string CScratchDir::HostPath(const std::string& strName) const
{
    typedef char* (*PFNWineGetUnixFileName)(const wchar_t* pwszDosPath);
    const auto pfnToHost =
        GetProcAddressAs<PFNWineGetUnixFileName>(GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name");
    char* pszHost = pfnToHost(Widen(File(strName)).c_str());
    const std::string strHost = pszHost ? pszHost : "";
    HeapFree(GetProcessHeap(), 0, pszHost);
    return strHost;
}

void CScratchDir::InstallServiceStub() const
{
    fs::create_directories(Widen(File("legacycompat")));
    fs::copy_file(Widen(DosPathOf(ISE_SERVICE_STUB_EXE)), Widen(File("legacycompat\\KorvexService.exe")));
}

std::string CScratchDir::Read(const std::string& strName) const
{
    std::ostringstream text;
    text << std::ifstream(fs::u8path(File(strName)), std::ios::binary).rdbuf();
    return text.str();
}

void CScratchDir::Write(const std::string& strName, const std::string& strText) const
{
    fs::create_directories(fs::u8path(File(strName)).parent_path());
    std::ofstream(fs::u8path(File(strName)), std::ios::binary) << strText;
}

bool CScratchDir::Exists(const std::string& strName) const
{
    return fs::exists(fs::u8path(File(strName)));
}

std::vector<std::string> CScratchDir::LogLines() const
{
    std::istringstream text(Read("installscriptevalutor_log.txt"));
    std::vector<std::string> vecLines;
    for (std::string strLine; std::getline(text, strLine);)
        vecLines.push_back(strLine.substr(0, strLine.find_last_not_of('\r') + 1));
    return vecLines;
}

std::string DosPathOf(const std::string& strHostPath)
{
    typedef wchar_t* (*PFNWineGetDosFileName)(const char* pszHostPath);
    const auto pfnToDos =
        GetProcAddressAs<PFNWineGetDosFileName>(GetModuleHandleW(L"kernel32"), "wine_get_dos_file_name");
    wchar_t* pwszDos = pfnToDos(strHostPath.c_str());
    const std::string strDos = pwszDos ? fs::path(pwszDos).u8string() : "";
    HeapFree(GetProcessHeap(), 0, pwszDos);
    return strDos;
}

std::string Variable(const char* pszName)
{
    char szValue[1024] = "";
    GetEnvironmentVariableA(pszName, szValue, sizeof(szValue));
    return szValue;
}

std::string Replaced(std::string strText, const std::string& strMark, const std::string& strBy)
{
    for (size_t iMark = 0; (iMark = strText.find(strMark, iMark)) != std::string::npos; iMark += strBy.size())
        strText.replace(iMark, strMark.size(), strBy);
    return strText;
}

std::unique_ptr<KeyValues>(ParseKeyValues)(const std::string& strText)
{
    CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    std::unique_ptr<KeyValues> pkv(new KeyValues(""));
    pkv->SetUsesEscapeSequences(true, false);
    EXPECT_TRUE(pkv->LoadFromBuffer("test", buf)) << strText;
    return pkv;
}

std::string Flatten(KeyValues* pkv)
{
    std::string strText;
    for (; pkv; pkv = pkv->GetNextKey())
    {
        strText += pkv->GetName();
        strText += pkv->GetDataType() == KeyValues::TYPE_NONE ? "{" + Flatten(pkv->GetFirstSubKey()) + "}"
                                                              : "=" + std::string(pkv->GetString()) + ",";
    }
    return strText;
}

EvaluatorRun_s(RunEvaluator)(const CScratchDir& dir, const std::vector<std::string>& vecArgs,
                             const char* pszHostExe, const std::function<bool()>& fnKillWhen)
{
    const std::wstring wstrExe = Widen(DosPathOf(pszHostExe));
    std::wstring wstrCommandLine = L"\"" + wstrExe + L"\"";
    for (const std::string& strArg : vecArgs)
        wstrCommandLine += L" \"" + Widen(strArg) + L"\"";
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, TRUE};
    HANDLE hRead = nullptr;
    HANDLE hWrite = nullptr;
    CreatePipe(&hRead, &hWrite, &attributes, 0);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = hWrite;
    startup.hStdError = hWrite;
    PROCESS_INFORMATION process = {};
    EvaluatorRun_s run;
    const bool bStarted = CreateProcessW(wstrExe.c_str(), wstrCommandLine.data(), nullptr, nullptr, TRUE, 0,
                                         nullptr, Widen(dir.Path()).c_str(), &startup, &process);
    EXPECT_TRUE(bStarted);
    CloseHandle(hWrite);
    for (int nWaited = 0; bStarted && nWaited < 60000 && !(fnKillWhen && fnKillWhen()); ++nWaited)
    {
        if (WaitForSingleObject(process.hProcess, 1) != WAIT_TIMEOUT)
            break;
    }
    if (bStarted)
    {
        TerminateProcess(process.hProcess, 99);
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, reinterpret_cast<DWORD*>(&run.m_nExitCode));
        char rgchOutput[4096];
        for (DWORD cbRead; ReadFile(hRead, rgchOutput, sizeof(rgchOutput), &cbRead, nullptr) && cbRead;)
            run.m_strOutput.append(rgchOutput, cbRead);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(hRead);
    return run;
}

std::vector<std::string>(RunGroupJob)(const CScratchDir& dir, unsigned int unAppID, int nMode,
                                      const std::string& strGroupKeys)
{
    dir.Write("job.vdf", Job(Group(unAppID, nMode, dir.HostPath("game"), strGroupKeys)));
    DeleteFileW(Widen(dir.File("installscriptevalutor_log.txt")).c_str());
    EXPECT_EQ(0, RunEvaluator(dir, {"job.vdf"}).m_nExitCode);
    std::vector<std::string> vecLines = dir.LogLines();
    EXPECT_EQ("[Standalone] translated install path: " + dir.File("game"),
              vecLines.empty() ? "" : vecLines[0]);
    vecLines.erase(vecLines.begin(), vecLines.begin() + std::min<long>(1, (long)vecLines.size()));
    const std::string strPrefix = "[AppID " + std::to_string(unAppID) + "] ";
    for (std::string& strLine : vecLines)
        strLine = strLine.rfind(strPrefix, 0) == 0 ? strLine.substr(strPrefix.size()) : "?" + strLine;
    return vecLines;
}

std::string Group(unsigned int unAppID, int nMode, const std::string& strHostPath,
                  const std::string& strScript)
{
    return "\"g\" { \"appid\" \"" + std::to_string(unAppID) + "\" \"mode\" \"" + std::to_string(nMode) +
           "\" \"install_path\" \"" + strHostPath + "\" " + strScript + " }";
}

std::string Job(const std::string& strGroups)
{
    return "\"job\" { " + strGroups + " }";
}
