#include "evaluatortestsupport.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "regtestutil.h"
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

KeyValues* ParseKeyValues(const std::string& strText)
{
    CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    KeyValues* pkv = new KeyValues("");
    pkv->SetUsesEscapeSequences(true, false);
    EXPECT_TRUE(pkv->LoadFromBuffer("test", buf)) << strText;
    return pkv;
}

CScratchAppKey::CScratchAppKey(unsigned int unAppID)
    : m_strKey("Software\\Pellan\\Korvex\\Apps\\" + std::to_string(unAppID))
{
    Remove();
}

void CScratchAppKey::Remove() const
{
    for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
    {
        for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
            RawDeleteTree(hHive, samView, m_strKey);
    }
}
