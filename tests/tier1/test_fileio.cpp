// The file layer on the test prefix's real file system: path forms, opening, directories,
// deleting, saving with retries, copying, replacing and loading.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <tuple>

#include "spewcapture.h"
#include "tier1/fileio.h"
#include "tier1/utlbuffer.h"

namespace
{

using namespace std::chrono;

std::wstring LongForm(const std::string& strPath)
{
    wchar_t wszPath[1024];
    MultiByteToWideChar(CP_UTF8, 0, strPath.c_str(), -1, wszPath, 1024);
    return std::wstring(L"\\\\?\\") + wszPath;
}

// Removes a directory tree through the raw API, read-only files included.
void RemoveTree(const std::wstring& wstrDir)
{
    WIN32_FIND_DATAW data;
    HANDLE hFind = FindFirstFileW((wstrDir + L"\\*").c_str(), &data);
    for (BOOL bMore = hFind != INVALID_HANDLE_VALUE; bMore; bMore = FindNextFileW(hFind, &data))
    {
        const std::wstring wstrChild = wstrDir + L"\\" + data.cFileName;
        if (data.cFileName[0] == L'.')
            continue;
        SetFileAttributesW(wstrChild.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (!DeleteFileW(wstrChild.c_str()))
            RemoveTree(wstrChild);
    }
    FindClose(hFind);
    RemoveDirectoryW(wstrDir.c_str());
}

std::string Content(const CUtlBuffer& buf)
{
    return std::string(static_cast<const char*>(buf.Base()), buf.TellPut());
}

// Each test works in its own directory under the prefix's temp folder.
class FileIOTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char szTemp[MAX_PATH];
        GetTempPathA(sizeof(szTemp), szTemp);
        m_strDir = std::string(szTemp) + "ise_fileio_" +
                   testing::UnitTest::GetInstance()->current_test_info()->name();
        RemoveTree(LongForm(m_strDir));
        ASSERT_TRUE(CreateDirectoryW(LongForm(m_strDir).c_str(), nullptr));
    }
    void TearDown() override { RemoveTree(LongForm(m_strDir)); }

    std::string Path(const std::string& strName) const { return m_strDir + "\\" + strName; }
    void Write(const std::string& strName, const std::string& strContent)
    {
        CUtlBuffer buf;
        buf.Put(strContent.data(), (int)strContent.size());
        ASSERT_TRUE(BSaveBufferToFile(buf, Path(strName).c_str()));
    }
    std::string Read(const std::string& strPath)
    {
        CUtlBuffer buf;
        return LoadFileIntoBuffer(strPath.c_str(), buf, false) ? Content(buf) : "<missing>";
    }
    DWORD Attributes(const std::string& strPath) { return GetFileAttributesW(LongForm(strPath).c_str()); }

    std::string m_strDir;
};

TEST(PathString, BecomesAnAbsoluteLongFormPath)
{
    const std::tuple<const char*, const char*, const wchar_t*> rgCases[] = {
        {"a\\..\\b.txt", "C:\\x", L"\\\\?\\C:\\x\\b.txt"},
        {"./b.txt", "C:/x/", L"\\\\?\\C:\\x\\b.txt"},
        {"C:/x/./y/../z", "D:\\ignored", L"\\\\?\\C:\\x\\z"},
        {"\\\\server\\share\\a.txt", nullptr, L"\\\\?\\UNC\\server\\share\\a.txt"},
        {"\\\\?\\C:\\x\\y", nullptr, L"\\\\?\\C:\\x\\y"},
        {"C:\\\xC3\xA4\xE6\x97\xA5", nullptr, L"\\\\?\\C:\\\u00e4\u65e5"}};
    for (const auto& [pszPath, pszBase, pwszWide] : rgCases)
        EXPECT_STREQ(pwszWide, CPathString(pszPath, pszBase).GetWCharPath()) << pszPath;
    EXPECT_STREQ("C:\\x\\b.txt", CPathString("a/../b.txt", "C:\\x").GetUTF8Path());

    wchar_t wszCurrent[MAX_PATH];
    const DWORD cchCurrent = GetCurrentDirectoryW(MAX_PATH, wszCurrent);
    const std::wstring wstrCurrent =
        L"\\\\?\\" + std::wstring(wszCurrent, cchCurrent - (wszCurrent[cchCurrent - 1] == L'\\'));
    EXPECT_EQ(wstrCurrent + L"\\sub\\a.txt", CPathString("a.txt", "sub/").GetWCharPath());
    EXPECT_EQ(wstrCurrent + L"\\b", CPathString("../b", "sub").GetWCharPath());
}

TEST(PathString, RefusesPathsAboveTheRootOrPastTheLimit)
{
    CSpewCapture capture;
    CPathString above("C:\\..\\x");
    EXPECT_EQ(1, capture.CountAssertsContaining("V_RemoveDotSlashes failed for \"C:\\..\\x\"."));
    // 32,767 wide characters with the terminator; the prefix takes four.
    const std::string strLongest = "C:\\" + std::string(32767 - 1 - 4 - 3, 'a');
    EXPECT_NE(nullptr, CPathString(strLongest.c_str()).GetWCharPath());
    EXPECT_EQ(nullptr, CPathString((strLongest + "a").c_str()).GetWCharPath());
    HANDLE hFile;
    EXPECT_EQ((DWORD)ERROR_FILENAME_EXCED_RANGE, OpenFile((strLongest + "a").c_str(), 1, 0, 0, 0, &hFile));
}

TEST_F(FileIOTest, OpenFileHonoursItsModes)
{
    Write("f.txt", "abc");
    HANDLE hFile = nullptr;
    for (uint32 unShare : {4u, 5u, 6u, 8u})
    {
        EXPECT_EQ((DWORD)ERROR_INVALID_PARAMETER, OpenFile(Path("f.txt").c_str(), 1, unShare, 0, 0, &hFile));
        EXPECT_EQ(INVALID_HANDLE_VALUE, hFile);
    }
    EXPECT_EQ((DWORD)ERROR_INVALID_PARAMETER, OpenFile(Path("f.txt").c_str(), 1, 0, 4, 0, &hFile));
    EXPECT_EQ((DWORD)ERROR_FILE_NOT_FOUND, OpenFile(Path("none.txt").c_str(), 1, 0, 0, 0, &hFile));

    // Append-only access writes at the end; sharing "read" lets a reader in, no writer.
    ASSERT_EQ(0u, OpenFile(Path("f.txt").c_str(), 8, 1, 0, 0, &hFile));
    DWORD cb = 0;
    EXPECT_TRUE(WriteFile(hFile, "de", 2, &cb, nullptr));
    HANDLE hOther;
    EXPECT_EQ(0u, OpenFile(Path("f.txt").c_str(), 1, 3, 0, 0, &hOther));
    CloseHandle(hOther);
    EXPECT_EQ((DWORD)ERROR_SHARING_VIOLATION, OpenFile(Path("f.txt").c_str(), 2, 3, 0, 0, &hOther));
    CloseHandle(hFile);
    EXPECT_EQ("abcde", Read(Path("f.txt")));

    ASSERT_EQ(0u, OpenFile(Path("tmp.txt").c_str(), 4, 0, 3, 0x20, &hFile));
    EXPECT_TRUE(BFileExists(Path("tmp.txt").c_str()));
    CloseHandle(hFile);
    EXPECT_FALSE(BFileExists(Path("tmp.txt").c_str()));
}

TEST_F(FileIOTest, DirectoriesAreMadeWithTheirParents)
{
    EXPECT_TRUE(BCreateDirectory(Path("one").c_str()));
    EXPECT_TRUE(BCreateDirectory(Path("one").c_str()));
    EXPECT_FALSE(BCreateDirectory(Path("two\\three").c_str()));
    EXPECT_TRUE(BCreateDirHierarchy(Path("two/three\\four\\").c_str()));
    EXPECT_TRUE(Attributes(Path("two\\three\\four")) & FILE_ATTRIBUTE_DIRECTORY);
    Write("file", "x");
    EXPECT_FALSE(BCreateDirHierarchy(Path("file\\sub").c_str()));
}

TEST_F(FileIOTest, ForcedDeletesClearStickyAttributes)
{
    constexpr DWORD k_dwSticky = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    for (const char* pszName : {"ro.txt", "keep.txt"})
    {
        Write(pszName, "x");
        ASSERT_TRUE(SetFileAttributesW(LongForm(Path(pszName)).c_str(), k_dwSticky));
    }
    EXPECT_FALSE(BDeleteFile(Path("ro.txt").c_str()));
    EXPECT_TRUE(BDeleteFileForced(Path("ro.txt").c_str()));
    EXPECT_FALSE(BFileExists(Path("ro.txt").c_str()));
    EXPECT_TRUE(BDeleteFileForced(Path("ro.txt").c_str()));
    EXPECT_TRUE(BMakeFileWritable(Path("keep.txt").c_str()));
    EXPECT_EQ((DWORD)FILE_ATTRIBUTE_SYSTEM, Attributes(Path("keep.txt")) & k_dwSticky);
    EXPECT_FALSE(BMakeFileWritable(Path("none.txt").c_str()));
    // A directory is no file: both deletes fail and it stays.
    ASSERT_TRUE(BCreateDirectory(Path("one").c_str()));
    EXPECT_FALSE(BDeleteFileForced(Path("one").c_str()));
}

TEST_F(FileIOTest, SaveWritesTheContentRetryingWhileTheFileIsHeld)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    buf.PutString("line\r\n");
    ASSERT_TRUE(BSaveBufferToFile(buf, Path("new\\dir\\f.txt").c_str(), k_unSaveFlagFlush));
    EXPECT_EQ("line\r\n", Read(Path("new\\dir\\f.txt")));
    // A directory in the way is no sharing violation: no retries.
    steady_clock::time_point start = steady_clock::now();
    EXPECT_FALSE(BSaveBufferToFile(buf, Path("new").c_str()));
    EXPECT_LT(steady_clock::now() - start, milliseconds(80));

    HANDLE hHolder = CreateFileW(LongForm(Path("new\\dir\\f.txt")).c_str(), GENERIC_READ, 0, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, hHolder);
    buf.Clear();
    buf.PutString("held");
    // Ten attempts with nine 10 ms pauses between them, then the holder lets go in time.
    start = steady_clock::now();
    EXPECT_FALSE(BSaveBufferToFile(buf, Path("new\\dir\\f.txt").c_str()));
    EXPECT_GE(steady_clock::now() - start, milliseconds(85));
    std::thread holder(
        [hHolder]
        {
            std::this_thread::sleep_for(milliseconds(30));
            CloseHandle(hHolder);
        });
    EXPECT_TRUE(BSaveBufferToFile(buf, Path("new\\dir\\f.txt").c_str()));
    holder.join();
    EXPECT_EQ("held", Read(Path("new\\dir\\f.txt")));
}

TEST_F(FileIOTest, FileOperationsWorkBeyond260Characters)
{
    const std::string strDeep =
        Path(std::string(100, 'a') + "\\" + std::string(100, 'b') + "\\" + std::string(100, 'c'));
    ASSERT_TRUE(BCreateDirHierarchy(strDeep.c_str()));
    const std::string strSource = strDeep + "\\" + std::string(50, 's') + ".txt";
    const std::string strDest = strDeep + "\\" + std::string(50, 'd') + ".txt";
    ASSERT_GT(strSource.size(), 360u);
    Write(strSource.substr(m_strDir.size() + 1), "source");
    Write(strDest.substr(m_strDir.size() + 1), "old");

    EXPECT_FALSE(CopyFile(strSource.c_str(), strDest.c_str(), COPY_FILE_FAIL_IF_EXISTS));
    EXPECT_TRUE(CopyFile(strSource.c_str(), strDest.c_str(), 0));
    EXPECT_EQ("source", Read(strDest));

    Write("repl.txt", "replacement");
    EXPECT_TRUE(ReplaceFile(strDest.c_str(), Path("repl.txt").c_str()));
    EXPECT_EQ("replacement", Read(strDest));
    EXPECT_FALSE(BFileExists(Path("repl.txt").c_str()));
    // No target yet: the replacement is moved into place.
    EXPECT_TRUE(ReplaceFile(Path("fresh.txt").c_str(), strSource.c_str()));
    EXPECT_EQ("source", Read(Path("fresh.txt")));
    EXPECT_FALSE(ReplaceFile(Path("fresh.txt").c_str(), Path("none.txt").c_str()));
    EXPECT_TRUE(BDeleteFile(strDest.c_str()));
    EXPECT_FALSE(BFileExists(strDest.c_str()));
}

TEST_F(FileIOTest, LoadsWholeFilesOrRanges)
{
    Write("empty.txt", "");
    Write("f.bin", "0\r\n3456789");
    CUtlBuffer buf;
    buf.PutString("stale");
    EXPECT_TRUE(LoadFileIntoBuffer(Path("empty.txt").c_str(), buf, true));
    EXPECT_EQ(0, buf.TellPut());
    EXPECT_STREQ("", buf.String());
    EXPECT_TRUE(LoadFileIntoBuffer(Path("f.bin").c_str(), buf, true));
    EXPECT_TRUE(buf.ContainsCRLF());
    EXPECT_STREQ("0\r\n3456789", buf.String());

    const auto Range = [&](const char* pszName, int64 nOffset, int64 cubToRead, uint32 unFlags = 0)
    {
        return LoadFileRangeIntoBuffer(Path(pszName).c_str(), nOffset, cubToRead, buf, false, unFlags)
                   ? Content(buf)
                   : "<failed>";
    };
    EXPECT_EQ("3456", Range("f.bin", 3, 4));
    EXPECT_EQ("789", Range("f.bin", 7, -1));
    EXPECT_EQ("89", Range("f.bin", 8, 100));
    EXPECT_EQ("", Range("f.bin", 10, -1));
    EXPECT_EQ("<failed>", Range("f.bin", 11, 1));
    EXPECT_EQ("<failed>", Range("f.bin", -1, 1));

    std::string strBig(10000, '\0');
    for (size_t i = 0; i < strBig.size(); ++i)
        strBig[i] = (char)('a' + i % 26);
    Write("big.bin", strBig);
    CSpewCapture capture;
    EXPECT_EQ(strBig, Range("big.bin", 0, -1, k_unFileReaderUnbuffered));
    EXPECT_EQ(strBig.substr(4096, 100), Range("big.bin", 4096, 100, k_unFileReaderUnbuffered));
    EXPECT_EQ(0, capture.CountAsserts());
    EXPECT_EQ("<failed>", Range("big.bin", 1, 100, k_unFileReaderUnbuffered));
    EXPECT_EQ(1, capture.CountAssertsContaining(
                     "Seeking to a position which is not sector aligned will break unbuffered io"));
    EXPECT_EQ(10000u, Range("big.bin", 0, -1, 0x3).size());
    ASSERT_EQ(1u, capture.TextsOfType(SPEW_WARNING).size());
    EXPECT_NE(std::string::npos, capture.TextsOfType(SPEW_WARNING)[0].find(
                                     "unsupported flags 0x3 passed to CFileReader::BOpenFile"));

    CFileReader reader;
    ASSERT_TRUE(reader.BOpenFile(Path("big.bin").c_str(), k_unFileReaderExclusive));
    EXPECT_EQ(INVALID_HANDLE_VALUE,
              CreateFileW(LongForm(Path("big.bin")).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                          nullptr, OPEN_EXISTING, 0, nullptr));
}

} // namespace
