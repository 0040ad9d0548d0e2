// The file-section handlers in-process, where their results can be seen: key pairing,
// run-once records, the language reset, the result rule of "Create Folders", deletions of
// protected files and the limits of the folder tree copy.

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
#include "vstdlib/strtools.h"

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
        SetLanguage("english");
    }
    void SetLanguage(const char* pszLanguage)
    {
        V_strncpy(m_manager.m_szLanguage, pszLanguage, sizeof(m_manager.m_szLanguage));
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

TEST(FileHandlers, CopyFilesPairsKeysByNameRunsOnceAndCopiesAgainWhenTheLanguageChanges)
{
    CFileSections run(991701, R"("s" { "Copy Files" {
        "pair" { "srcfile" "%INSTALLDIR%/a.txt" "DSTFILE" "%INSTALLDIR%/out/deep/a.txt"
                 "xSrcFile1" "%INSTALLDIR%/b.txt" "DstFile1" "%INSTALLDIR%/out/b.txt"
                 "SrcFile2" "%INSTALLDIR%/missing.txt" }
        "orphan" { "SrcFile" "%INSTALLDIR%/a.txt" }
        "tolerant" { "SrcFile" "%INSTALLDIR%/a.txt" "IgnoreExitCode" "1" }
        "lang" { "ResetOnLanguageChange" "1" "SrcFile" "%INSTALLDIR%/a.txt" "DstFile" "%INSTALLDIR%/l.txt" } } })");
    run.m_dir.Write("a.txt", "A");
    run.m_dir.Write("b.txt", "B");
    EXPECT_TRUE(run.m_manager.OnCopyFilesKey(run.Entry("Copy Files", "pair")));
    EXPECT_FALSE(run.m_manager.OnCopyFilesKey(run.Entry("Copy Files", "orphan")));
    EXPECT_TRUE(run.m_manager.OnCopyFilesKey(run.Entry("Copy Files", "tolerant")));
    EXPECT_EQ("A", run.m_dir.Read("out\\deep\\a.txt"));
    EXPECT_EQ("B", run.m_dir.Read("out\\b.txt"));
    EXPECT_EQ(1u, run.HasRun(L"pair"));
    EXPECT_FALSE(run.HasRun(L"orphan"));
    EXPECT_EQ(1u, run.HasRun(L"tolerant"));

    // A record holds an entry back; a language record that differs from the run's does not.
    const struct
    {
        const char* m_pszLanguage;
        const char* m_pszCopy;
        const char* m_pszStoredLanguage;
    } rgSteps[] = {{"english", "A", "english"}, {"ENGLISH", "edited", "english"}, {"german", "A", "german"}};
    for (const auto& step : rgSteps)
    {
        SCOPED_TRACE(step.m_pszLanguage);
        run.SetLanguage(step.m_pszLanguage);
        run.m_dir.Write("out\\b.txt", "edited");
        run.m_dir.Write("l.txt", "edited");
        EXPECT_TRUE(run.m_manager.OnCopyFilesKey(run.Entry("Copy Files", "pair")));
        EXPECT_TRUE(run.m_manager.OnCopyFilesKey(run.Entry("Copy Files", "lang")));
        EXPECT_EQ("edited", run.m_dir.Read("out\\b.txt"));
        EXPECT_EQ(step.m_pszCopy, run.m_dir.Read("l.txt"));
        EXPECT_EQ(step.m_pszStoredLanguage,
                  RawGetString(HKEY_CURRENT_USER, 0, run.m_appKey.Key(), L"lang_lang"));
    }
    const std::string strReset =
        run.LogLine("OnCopyFilesKey lang: Languages do not match, resetting the HasRunCommand");
    const std::string strFailed = run.LogLine("Failed to copy file \"" + run.m_dir.Path() + "/a.txt\"");
    const std::vector<std::string> vecExpected = {strFailed, strFailed, strReset, strReset};
    EXPECT_EQ(vecExpected, run.m_dir.LogLines());
}

TEST(FileHandlers, CopyFoldersLeavesDotNamesOutAndMakesNothingOfAnEmptyFolder)
{
    CFileSections run(991702, R"("s" { "Copy Folders" {
        "trees" { "SrcFolder" "%INSTALLDIR%/src/" "DstFolder" "%INSTALLDIR%/dst"
                  "SrcFolder_e" "%INSTALLDIR%/empty" "DstFolder_e" "%INSTALLDIR%/dst_e" }
        "missing" { "SrcFolder" "%INSTALLDIR%/nothing" "DstFolder" "%INSTALLDIR%/dst_m" }
        "orphan" { "SrcFolder" "%INSTALLDIR%/src" } } })");
    for (const char* pszFolder : {"src", "src\\sub", "src\\sub\\none", "src\\.git", "empty"})
        CreateDirectoryW(Widen(run.m_dir.File(pszFolder)).c_str(), nullptr);
    for (const char* pszFile :
         {"src\\a.txt", "src\\.hidden", "src\\sub\\b.txt", "src\\sub\\.c", "src\\.git\\d"})
        run.m_dir.Write(pszFile, pszFile);
    EXPECT_TRUE(run.m_manager.OnCopyFoldersKey(run.Entry("Copy Folders", "trees")));
    EXPECT_FALSE(run.m_manager.OnCopyFoldersKey(run.Entry("Copy Folders", "missing")));
    EXPECT_FALSE(run.m_manager.OnCopyFoldersKey(run.Entry("Copy Folders", "orphan")));

    EXPECT_EQ("src\\a.txt", run.m_dir.Read("dst\\a.txt"));
    EXPECT_EQ("src\\sub\\b.txt", run.m_dir.Read("dst\\sub\\b.txt"));
    for (const char* pszAbsent :
         {"dst\\.hidden", "dst\\sub\\.c", "dst\\.git", "dst\\sub\\none", "dst_e", "dst_m"})
        EXPECT_FALSE(run.m_dir.Exists(pszAbsent)) << pszAbsent;
    EXPECT_EQ(1u, run.HasRun(L"trees"));
    EXPECT_FALSE(run.HasRun(L"missing"));
    const std::vector<std::string> vecExpected = {
        run.LogLine("Failed to copy folder \"" + run.m_dir.Path() + "/nothing\""),
        run.LogLine("Failed to copy folder \"" + run.m_dir.Path() + "/src\"")};
    EXPECT_EQ(vecExpected, run.m_dir.LogLines());
}

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

TEST(FileHandlers, DeleteFilesClearsProtectionFirstAndPassesOverMissingFiles)
{
    CFileSections run(991704, R"("s" { "Delete Files" {
        "clean" { "File1" "%INSTALLDIR%/ro.txt" "hiddenfile" "%INSTALLDIR%/hid.txt"
                  "File3" "%INSTALLDIR%/missing.txt" "Other" "%INSTALLDIR%/keep.txt" }
        "folder" { "FileDir" "%INSTALLDIR%/adir" } } })");
    for (const char* pszFile : {"ro.txt", "hid.txt", "keep.txt"})
        run.m_dir.Write(pszFile, "x");
    SetFileAttributesW(Widen(run.m_dir.File("ro.txt")).c_str(), FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(Widen(run.m_dir.File("hid.txt")).c_str(), FILE_ATTRIBUTE_HIDDEN);
    CreateDirectoryW(Widen(run.m_dir.File("adir")).c_str(), nullptr);

    EXPECT_TRUE(run.m_manager.OnDeleteFilesKey(run.Entry("Delete Files", "clean")));
    EXPECT_FALSE(run.m_manager.OnDeleteFilesKey(run.Entry("Delete Files", "folder")));
    EXPECT_FALSE(run.m_dir.Exists("ro.txt"));
    EXPECT_FALSE(run.m_dir.Exists("hid.txt"));
    EXPECT_TRUE(run.m_dir.Exists("keep.txt"));
    EXPECT_EQ(1u, run.HasRun(L"clean"));
    EXPECT_FALSE(run.HasRun(L"folder"));
    EXPECT_EQ(
        std::vector<std::string>{run.LogLine("Failed to delete file \"" + run.m_dir.Path() + "/adir\"")},
        run.m_dir.LogLines());
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
