// The file-section handlers in-process, where results and limits show that the log and
// the files do not.

#include <gtest/gtest.h>

#include <windows.h>

#include <tuple>
#include <vector>

#include "clientdll/installscript_copyfolders.h"
#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "clientdll/installscript_variables.h"
#include "evaluatortestsupport.h"
#include "spewcapture.h"

namespace
{

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

// Runs each entry of the section through the handler: {entry, result, record written}.
void ExpectEntryResults(const CScratchDir& dir, const char* pszSection, const std::string& strEntries,
                        bool (*pfnHandler)(const CInstallScriptRunContext&, KeyValues*),
                        const std::vector<std::tuple<const char*, bool, bool>>& vecCases)
{
    CScratchAppKey appKey(991703);
    SetInstallPathVariables(dir.Path().c_str());
    const std::unique_ptr<KeyValues> pkvSection =
        ParseKeyValues("\"" + std::string(pszSection) + "\" { " + strEntries + " }");
    CInstallScriptRunContext run;
    run.m_unAppID = 991703;
    for (const auto& [pszEntry, bResult, bRecord] : vecCases)
    {
        EXPECT_EQ(bResult, pfnHandler(run, pkvSection->FindKey(pszEntry))) << pszEntry;
        EXPECT_EQ(bRecord,
                  RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), Widen(pszEntry).c_str()).has_value())
            << pszEntry;
    }
}
#define ExpectEntryResults(...) ISE_TRACED_CALL(ExpectEntryResults, __VA_ARGS__)

TEST(FileHandlers, CreateFoldersSucceedsWhenAnyOneFolderIsMade)
{
    CScratchDir dir(true);
    dir.Write("f.txt", "");
    ExpectEntryResults(dir, "Create Folders", R"("none" { "Path" "%INSTALLDIR%/n" }
            "one" { "Folder" "%INSTALLDIR%/one/two" }
            "badthengood" { "Folder1" "%INSTALLDIR%/f.txt/x" "myfolder2" "%INSTALLDIR%/g" }
            "bad" { "folder" "%INSTALLDIR%/f.txt/y" }
            "tolerated" { "Folder" "%INSTALLDIR%/f.txt/z" "IgnoreExitCode" "1" })",
                       OnCreateFoldersKey,
                       {{"none", false, false},
                        {"one", true, true},
                        {"badthengood", true, true},
                        {"bad", false, false},
                        {"tolerated", true, false}});
    EXPECT_TRUE(dir.Exists("one\\two") && dir.Exists("g"));
    EXPECT_FALSE(dir.Exists("n"));
    std::vector<std::string> vecExpected;
    for (const char* pszFolder : {"x", "y", "z"})
        vecExpected.push_back("[AppID 991703] Failed to create folder \"" + dir.Path() + "/f.txt/" +
                              pszFolder + "\"");
    EXPECT_EQ(vecExpected, dir.LogLines());
}

TEST(FileHandlers, FileTemplateFailsWithoutATemplateOrBeyondTheExpansionBuffer)
{
    CSpewCapture capture;
    CScratchDir dir(true);
    dir.Write("huge.txt", std::string(32768, 'h'));
    dir.Write("fits.txt", std::string(32766, 'f'));
    ExpectEntryResults(
        dir, "File Template",
        R"("lost" { "template_file" "%INSTALLDIR%/none.txt" "output_file" "%INSTALLDIR%/o1" }
            "nokey" { "output_file" "%INSTALLDIR%/o2" }
            "huge" { "template_file" "%INSTALLDIR%/huge.txt" "output_file" "%INSTALLDIR%/o3" }
            "fits" { "template_file" "%INSTALLDIR%/fits.txt" "output_file" "%INSTALLDIR%/o4" })",
        OnFileTemplateKey,
        {{"lost", false, false}, {"nokey", false, false}, {"huge", false, false}, {"fits", true, true}});
    EXPECT_FALSE(dir.Exists("o3"));
    EXPECT_EQ(32766u, dir.Read("o4").size());
    EXPECT_EQ(1, capture.CountFailedAssertions("pchTemplateFile"));
    std::vector<std::string> vecExpected;
    for (const std::string& strTemplate : {dir.Path() + "/none.txt", std::string(), dir.Path() + "/huge.txt"})
        vecExpected.push_back("[AppID 991703] Failed to create file template \"" + strTemplate + "\"");
    EXPECT_EQ(vecExpected, dir.LogLines());
}

} // namespace
