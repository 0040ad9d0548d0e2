// The file sections end to end, on real files and the real registry, with the symbolic
// links as the service stub receives them.

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <map>
#include <optional>
#include <tuple>

#include "evaluatortestsupport.h"
#include "tier1/keyvalues.h"

namespace fs = std::filesystem;

namespace
{

// A job of one application whose install directory is "game" in the scratch directory.
class CFilesJob
{
public:
    CFilesJob(unsigned int unAppID, int nMode, const std::string& strScript)
        : m_unAppID(unAppID), m_nMode(nMode), m_strScript(strScript), m_appKey(unAppID)
    {
    }
    std::string GroupKeys(const std::string& strLanguage) const
    {
        return "\"language\" \"" + strLanguage + "\" \"compat_installscript\" { " + m_strScript + " }";
    }
    std::vector<std::string> Run(const std::string& strLanguage = "english") const
    {
        return RunGroupJob(m_dir, m_unAppID, m_nMode, GroupKeys(strLanguage));
    }
    void Write(const std::string& strName, const std::string& strText) const
    {
        m_dir.Write("game\\" + strName, strText);
    }
    std::string Read(const std::string& strName) const { return m_dir.Read("game\\" + strName); }
    // "%INSTALLDIR%/" + strName as the evaluator expands it.
    std::string Expanded(const std::string& strName) const { return m_dir.File("game") + "/" + strName; }
    std::optional<DWORD> HasRun(const std::string& strEntry) const
    {
        return RawGetDword(HKEY_CURRENT_USER, 0, m_appKey.Key(), Widen(strEntry).c_str());
    }

    unsigned int m_unAppID;
    int m_nMode;
    std::string m_strScript;
    CScratchDir m_dir;
    CScratchAppKey m_appKey;
};

TEST(FileSections, ALaunchRunDoesEachFileSectionOnceUnlessTheLanguageChanges)
{
    CFilesJob job(991711, 1, R"("File Template" { "tpl" { "template_file" "%INSTALLDIR%/tpl.txt"
            "output_file" "%INSTALLDIR%/cfg/out.txt"
            "GREETING" "HKEY_CURRENT_USER\\Software\\Pellan\\Korvex\\Apps\\991711\\Greeting" } }
        "Copy Folders" { "cf" { "SrcFolder" "%INSTALLDIR%/tree" "DstFolder" "%INSTALLDIR%/tree_copy"
                                "SrcFolder_e" "%INSTALLDIR%/empty" "DstFolder_e" "%INSTALLDIR%/empty_copy" }
                         "cfbad" { "SrcFolder" "%INSTALLDIR%/nothing" "DstFolder" "%INSTALLDIR%/n" } }
        "Copy Files" { "cp" { "srcfile" "%INSTALLDIR%/a.txt" "DSTFILE" "%INSTALLDIR%/b/a.txt"
                              "xSrcFile1" "%INSTALLDIR%/b.txt" "DstFile1" "%INSTALLDIR%/b/b.txt"
                              "SrcFile2" "%INSTALLDIR%/missing.txt" }
                       "orphan" { "SrcFile" "%INSTALLDIR%/a.txt" }
                       "tolerant" { "SrcFile" "%INSTALLDIR%/a.txt" "IgnoreExitCode" "1" }
                       "lang" { "ResetOnLanguageChange" "1"
                                "SrcFile" "%INSTALLDIR%/a.txt" "DstFile" "%INSTALLDIR%/l.txt" } }
        "Create Folders" { "mk" { "Folder" "%INSTALLDIR%/made" } }
        "symlink" { "ln" { "link" "%INSTALLDIR%/l0" "target" "%INSTALLDIR%/a.txt"
                           "LINK2" "%INSTALLDIR%/l2" "target2" "%INSTALLDIR%/tree" "IgnoreExitCode" "1" }
                    "lnbad" { "link" "%INSTALLDIR%/l3" "target" "%INSTALLDIR%/gone" } }
        "Delete Files" { "rm" { "File" "%INSTALLDIR%/ro.txt" "File2" "%INSTALLDIR%/missing.txt" }
                         "rmdir" { "FileDir" "%INSTALLDIR%/tree" } })");
    RawSetString(HKEY_CURRENT_USER, 0, job.m_appKey.Key(), L"Greeting", L"hello");
    job.m_dir.InstallServiceStub();
    for (const char* pszFile : {"a.txt", "b.txt", "tree/x.txt", "tree/.dot/y.txt", "tree/.z", "ro.txt"})
        job.Write(pszFile, pszFile);
    fs::create_directories(Widen(job.m_dir.File("game\\empty")));
    job.Write("tpl.txt", "dir=%INSTALLDIR% g=%GREETING% u=%ISE_NOT_SET%\r\n");
    SetFileAttributesW(Widen(job.m_dir.File("game\\ro.txt")).c_str(), FILE_ATTRIBUTE_READONLY);

    const std::string strHanded = "symlink{ln{from=" + job.Expanded("l0") + ",to=" + job.Expanded("a.txt") +
                                  ",IgnoreExitCode=0,}ln2{from=" + job.Expanded("l2") +
                                  ",to=" + job.Expanded("tree") + ",IgnoreExitCode=0,}}Run Process{}";
    const std::string strCopyFailed = "Failed to copy file \"" + job.Expanded("a.txt") + "\"";
    // What the first run makes; later runs must leave the edits made after each run.
    const std::pair<const char*, std::string> rgMadeOnce[] = {
        {"cfg/out.txt", "dir=" + job.m_dir.File("game") + " g=hello u=%ISE_NOT_SET%\r\n"},
        {"tree_copy/x.txt", "tree/x.txt"},
        {"b/a.txt", "a.txt"},
        {"b/b.txt", "b.txt"}};
    // {language, first run, "lang" copied again}
    const std::tuple<const char*, bool, bool> rgRuns[] = {
        {"english", true, true}, {"ENGLISH", false, false}, {"german", false, true}};
    for (const auto& [pszLanguage, bFirst, bLanguageCopied] : rgRuns)
    {
        SCOPED_TRACE(pszLanguage);
        DeleteFileW(Widen(job.m_dir.File("handed_runasadmin.vdf")).c_str());
        std::vector<std::string> vecMessages = {"Failed to copy folder \"" + job.Expanded("nothing") + "\"",
                                                strCopyFailed};
        if (bFirst)
            vecMessages.push_back(strCopyFailed);
        if (bLanguageCopied)
            vecMessages.push_back("OnCopyFilesKey lang: Languages do not match, resetting the HasRunCommand");
        vecMessages.push_back("Failed to build symlink target \"" + job.Expanded("gone") + "\"");
        vecMessages.push_back("Failed to delete file \"" + job.Expanded("tree") + "\"");
        EXPECT_EQ(vecMessages, job.Run(pszLanguage));

        for (const auto& [pszFile, strMade] : rgMadeOnce)
            EXPECT_EQ(bFirst ? strMade : "edited", job.Read(pszFile)) << pszFile;
        EXPECT_EQ(bLanguageCopied ? "a.txt" : "edited", job.Read("l.txt"));
        EXPECT_EQ(!bFirst, job.m_dir.Exists("game\\ro.txt"));
        for (const char* pszAbsent : {"tree_copy\\.dot", "tree_copy\\.z", "empty_copy", "n"})
            EXPECT_FALSE(job.m_dir.Exists(std::string("game\\") + pszAbsent)) << pszAbsent;
        EXPECT_TRUE(job.m_dir.Exists("game\\made"));
        EXPECT_EQ(strHanded, Flatten(ParseKeyValues(job.m_dir.Read("handed_runasadmin.vdf")).get()));
        // Failed entries and symbolic links keep no record, so they run again every time.
        EXPECT_EQ(9, RawCountEntries(HKEY_CURRENT_USER, 0, job.m_appKey.Key())); // and "Greeting"
        for (const char* pszEntry : {"tpl", "cf", "cp", "tolerant", "lang", "mk", "rm"})
            EXPECT_EQ(1u, job.HasRun(pszEntry)) << pszEntry;
        EXPECT_EQ(pszLanguage[0] == 'g' ? "german" : "english",
                  RawGetString(HKEY_CURRENT_USER, 0, job.m_appKey.Key(), L"lang_lang"));

        for (const char* pszFile :
             {"cfg/out.txt", "tree_copy/x.txt", "b/a.txt", "b/b.txt", "l.txt", "ro.txt"})
            job.Write(pszFile, "edited");
    }
}

TEST(FileSections, UninstallDeletesEveryListedFileItCan)
{
    CFilesJob job(991712, 3,
                  R"("Delete Files On Uninstall" { "%INSTALLDIR%/byname.txt" "%INSTALLDIR%/keep.txt"
        "ro" "%INSTALLDIR%/ro.txt" "gone" "%INSTALLDIR%/missing.txt" "held" "%INSTALLDIR%/held.txt" })");
    for (const char* pszFile : {"byname.txt", "keep.txt", "ro.txt", "held.txt"})
        job.Write(pszFile, "x");
    SetFileAttributesW(Widen(job.m_dir.File("game\\ro.txt")).c_str(), FILE_ATTRIBUTE_READONLY);
    HANDLE hHeld = CreateFileW(Widen(job.m_dir.File("game\\held.txt")).c_str(), GENERIC_READ, FILE_SHARE_READ,
                               nullptr, OPEN_EXISTING, 0, nullptr);

    EXPECT_EQ((std::vector<std::string>{"Failed to make file writable for deletion [" +
                                            job.Expanded("missing.txt") + "]",
                                        "Failed to delete file [" + job.Expanded("held.txt") + "]"}),
              job.Run());
    CloseHandle(hHeld);
    EXPECT_FALSE(job.m_dir.Exists("game\\byname.txt") || job.m_dir.Exists("game\\ro.txt"));
    EXPECT_TRUE(job.m_dir.Exists("game\\keep.txt") && job.m_dir.Exists("game\\held.txt"));
}

TEST(FileSections, MalformedEntriesAreLoggedOrSkippedNeverFatal)
{
    // One path too long to expand, one that expands but is too long for any file call;
    // a link name whose record name cannot be a key name; bytes that are not UTF-8.
    const std::string strLong = "%INSTALLDIR%/" + std::string(40000, 'x');
    const std::string strPastLongPaths = "C:/" + std::string(32763, 'x');
    const std::string strLinkName = "link" + std::string(1019, 'k');
    std::string strScript = R"("Copy Files" { "cplong" { "SrcFile" "@LONG@" "DstFile" "@LONG@" }
            "bytes" { "SrcFile" "%INSTALLDIR%/@BAD@" "DstFile" "x" } "typed" { "SrcFile" { "x" "y" } } }
        "Copy Folders" { "cflong" { "SrcFolder" "@LONG@" "DstFolder" "%INSTALLDIR%/d" } }
        "Create Folders" { "mklong" { "Folder" "@PAST@" } }
        "Delete Files" { "rmlong" { "File" "@LONG@" } }
        "symlink" { "longentry" { "@LINK@" "%INSTALLDIR%/l" } }
        "File Template" { "bad" { "template_file" "@BAD@" "output_file" "%INSTALLDIR%/o.txt"
                                  "@BAD@" "HKEY_CURRENT_USER\\Software\\@BAD@\\v" } })";
    strScript = Replaced(Replaced(strScript, "@LONG@", strLong), "@PAST@", strPastLongPaths);
    CFilesJob job(991713, 1, Replaced(Replaced(strScript, "@LINK@", strLinkName), "@BAD@", "\xff\xfe"));

    // The expansion refuses the first path, so the copy names an empty one.
    EXPECT_EQ((std::vector<std::string>{"Failed to create file template \"\xef\xbf\xbd\xef\xbf\xbd\"",
                                        "Failed to copy folder \"\"",
                                        "Failed to create folder \"" + strPastLongPaths + "\"",
                                        "Failed to build symlink source \"" + strLinkName + "\"",
                                        "Failed to build symlink target \"\""}),
              job.Run());
}

// Every file below the directory with its size and time, but for the paths left out and
// the files of the test and the log.
std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> Snapshot(const CScratchDir& dir,
                                                                         const std::string& strLeftOut)
{
    std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> mapFiles;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(Widen(dir.Path())))
    {
        const std::string strPath = fs::relative(entry.path(), Widen(dir.Path())).u8string();
        if (strPath.rfind(strLeftOut, 0) != 0 && strPath != "installscriptevalutor_log.txt" &&
            strPath != "job.vdf")
        {
            // A folder's time changes with its contents, so only files are timed.
            const bool bFile = entry.is_regular_file();
            mapFiles[strPath] = {bFile ? entry.file_size() : 0,
                                 bFile ? entry.last_write_time() : fs::file_time_type()};
        }
    }
    return mapFiles;
}

TEST(FileSections, ACopyRunKilledHalfWayCompletesOnTheNextRunWithoutRepeatingFinishedEntries)
{
    constexpr int k_nEntries = 6;
    constexpr int k_nFiles = 150;
    std::string strScript;
    for (int iEntry = 0; iEntry < k_nEntries; ++iEntry)
        strScript += "\"e" + std::to_string(iEntry) + "\" { \"SrcFolder\" \"%INSTALLDIR%/src" +
                     std::to_string(iEntry) + "\" \"DstFolder\" \"%INSTALLDIR%/dst/" +
                     std::to_string(iEntry) + "\" } ";
    CFilesJob job(991714, 1, "\"Copy Folders\" { " + strScript + "}");
    for (int iEntry = 0; iEntry < k_nEntries; ++iEntry)
    {
        for (int iFile = 0; iFile < k_nFiles; ++iFile)
            job.Write("src" + std::to_string(iEntry) + "\\f" + std::to_string(iFile),
                      std::string(65536, (char)('a' + iEntry)) + std::to_string(iFile));
    }
    const auto mapBefore = Snapshot(job.m_dir, "game\\dst");

    // Killed once the third entry has begun: the first two have finished by then.
    job.m_dir.Write("job.vdf", Job(Group(991714, 1, job.m_dir.HostPath("game"), job.GroupKeys("english"))));
    EXPECT_EQ(99, RunEvaluator(job.m_dir, {"job.vdf"}, ISE_EVALUATOR_EXE,
                               [&job]() { return job.m_dir.Exists("game\\dst\\2"); })
                      .m_nExitCode)
        << "the run ended before the kill";
    EXPECT_EQ(1u, job.HasRun("e1"));
    EXPECT_FALSE(job.HasRun("e5"));

    job.Write("dst\\0\\f0", "edited");
    EXPECT_EQ(std::vector<std::string>{}, job.Run());
    EXPECT_EQ("edited", job.Read("dst\\0\\f0"));
    for (int iEntry = 0; iEntry < k_nEntries; ++iEntry)
    {
        EXPECT_EQ(1u, job.HasRun("e" + std::to_string(iEntry)));
        for (int iFile = iEntry == 0 ? 1 : 0; iFile < k_nFiles; ++iFile)
        {
            const std::string strName = std::to_string(iEntry) + "\\f" + std::to_string(iFile);
            ASSERT_EQ(job.Read("src" + strName), job.Read("dst\\" + strName)) << strName;
        }
    }
    EXPECT_EQ(mapBefore, Snapshot(job.m_dir, "game\\dst"));
    EXPECT_EQ(k_nEntries, RawCountEntries(HKEY_CURRENT_USER, 0, job.m_appKey.Key()));
    for (REGSAM samView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        EXPECT_GE(0, RawCountEntries(HKEY_LOCAL_MACHINE, samView, job.m_appKey.Key()));
}

} // namespace
