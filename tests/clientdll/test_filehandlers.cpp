// The file-section handlers in-process, where what the log and the files do not show can
// be seen: the result rule of "Create Folders", the failures of "File Template" and the
// limits of the folder tree copy.

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <tuple>

#include "clientdll/installscript_copyfolders.h"
#include "evaluatortestsupport.h"
#include "regtestutil.h"
#include "spewcapture.h"
#include "testmanager.h"
#include "tier1/keyvalues.h"

namespace
{

// One script under its own app id; the scratch directory is INSTALLDIR and the working
// directory, where the log goes.
class CFileSections
{
public:
    CFileSections(uint32 unAppID, const std::string& strScript) : m_unAppID(unAppID), m_appKey(unAppID)
    {
        m_manager.QueueScript(unAppID, m_dir.Path(), strScript);
    }
    KeyValues* Entry(const char* pszSection, const char* pszName)
    {
        return m_manager.m_pRunScript->m_kvInstallScript->FindKey(pszSection)->FindKey(pszName);
    }
    std::optional<DWORD> HasRun(const wchar_t* pwszEntry) const
    {
        return RawGetDword(HKEY_CURRENT_USER, 0, m_appKey.Key(), pwszEntry);
    }
    std::string LogLine(const std::string& strMessage) const
    {
        return "[AppID " + std::to_string(m_unAppID) + "] " + strMessage;
    }

    uint32 m_unAppID;
    CScratchDir m_dir{true};
    CScratchAppKey m_appKey;
    CTestManager m_manager;
};

TEST(FileHandlers, TreeCopyStopsAtTheAnsiPathLimitWithoutRunningOutOfStack)
{
    CScratchDir dir;
    // A chain of single-letter folders far deeper than 260 bytes allow, a file in each,
    // and a folder whose own name is too long; removed here, as the scratch directory's
    // clean-up cannot reach that deep.
    const std::string strTooLong = dir.File(std::string(260 - dir.Path().size(), 'x'));
    std::vector<std::wstring> vecFolders = {L"\\\\?\\" + Widen(strTooLong)};
    for (std::wstring wstrLevel = L"\\\\?\\" + Widen(dir.File("src")); vecFolders.size() < 140;
         wstrLevel += L"\\d")
        vecFolders.push_back(wstrLevel);
    for (const std::wstring& wstrFolder : vecFolders)
    {
        CreateDirectoryW(wstrFolder.c_str(), nullptr);
        CloseHandle(
            CreateFileW((wstrFolder + L"\\f").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    }
    EXPECT_FALSE(BCopyFolderTree(dir.File("src").c_str(), dir.File("dst").c_str()));
    EXPECT_TRUE(dir.Exists("dst\\d\\d\\f"));
    EXPECT_FALSE(BCopyFolderTree(strTooLong.c_str(), dir.File("dst2").c_str()));
    EXPECT_FALSE(BCopyFolderTree(dir.File("src").c_str(), ""));
    EXPECT_FALSE(dir.Exists("dst2"));
    for (auto it = vecFolders.rbegin(); it != vecFolders.rend(); ++it)
    {
        DeleteFileW((*it + L"\\f").c_str());
        RemoveDirectoryW(it->c_str());
    }
}

TEST(FileHandlers, CreateFoldersSucceedsWithAnyOneFolderAndFailsWithoutOne)
{
    CFileSections run(991703, R"("s" { "Create Folders" {
        "none" { "Path" "%INSTALLDIR%/n" }
        "one" { "Folder" "%INSTALLDIR%/one/two" }
        "badthengood" { "Folder1" "%INSTALLDIR%/f.txt/x" "myfolder2" "%INSTALLDIR%/g" }
        "bad" { "folder" "%INSTALLDIR%/f.txt/y" }
        "tolerated" { "Folder" "%INSTALLDIR%/f.txt/z" "IgnoreExitCode" "1" } } })");
    run.m_dir.Write("f.txt", "");
    // {entry, result, record written}
    const std::tuple<const char*, bool, bool> rgCases[] = {
        {"none", false, false}, {"one", true, true},        {"badthengood", true, true},
        {"bad", false, false},  {"tolerated", true, false},
    };
    for (const auto& [pszEntry, bResult, bRecord] : rgCases)
    {
        EXPECT_EQ(bResult, run.m_manager.OnCreateFoldersKey(run.Entry("Create Folders", pszEntry)))
            << pszEntry;
        EXPECT_EQ(bRecord, run.HasRun(Widen(pszEntry).c_str()).has_value()) << pszEntry;
    }
    EXPECT_TRUE(run.m_dir.Exists("one\\two"));
    EXPECT_TRUE(run.m_dir.Exists("g"));
    EXPECT_FALSE(run.m_dir.Exists("n"));
    std::vector<std::string> vecExpected;
    for (const char* pszFolder : {"x", "y", "z"})
        vecExpected.push_back(
            run.LogLine("Failed to create folder \"" + run.m_dir.Path() + "/f.txt/" + pszFolder + "\""));
    EXPECT_EQ(vecExpected, run.m_dir.LogLines());
}

TEST(FileHandlers, FileTemplateFailsWithoutATemplateOrBeyondTheExpansionBuffer)
{
    CSpewCapture capture;
    CFileSections run(991705, R"("s" { "File Template" {
        "missing" { "template_file" "%INSTALLDIR%/none.txt" "output_file" "%INSTALLDIR%/o1.txt" }
        "nokey" { "output_file" "%INSTALLDIR%/o2.txt" }
        "huge" { "template_file" "%INSTALLDIR%/huge.txt" "output_file" "%INSTALLDIR%/o3.txt" }
        "fits" { "template_file" "%INSTALLDIR%/fits.txt" "output_file" "%INSTALLDIR%/o4.txt" } } })");
    run.m_dir.Write("huge.txt", std::string(32768, 'h'));
    run.m_dir.Write("fits.txt", std::string(32766, 'f'));
    // {entry, result, output}
    const std::tuple<const char*, bool, const char*> rgCases[] = {{"missing", false, "o1.txt"},
                                                                  {"nokey", false, "o2.txt"},
                                                                  {"huge", false, "o3.txt"},
                                                                  {"fits", true, "o4.txt"}};
    for (const auto& [pszEntry, bResult, pszOutput] : rgCases)
    {
        EXPECT_EQ(bResult, run.m_manager.OnFileTemplateKey(run.Entry("File Template", pszEntry))) << pszEntry;
        EXPECT_EQ(bResult, run.m_dir.Exists(pszOutput)) << pszEntry;
        EXPECT_EQ(bResult, run.HasRun(Widen(pszEntry).c_str()).has_value()) << pszEntry;
    }
    EXPECT_EQ(32766u, run.m_dir.Read("o4.txt").size());
    EXPECT_EQ(1, capture.CountFailedAssertions("pchTemplateFile"));
    const std::string strFailed = run.LogLine("Failed to create file template \"");
    const std::vector<std::string> vecExpected = {strFailed + run.m_dir.Path() + "/none.txt\"",
                                                  strFailed + "\"",
                                                  strFailed + run.m_dir.Path() + "/huge.txt\""};
    EXPECT_EQ(vecExpected, run.m_dir.LogLines());
}

} // namespace
