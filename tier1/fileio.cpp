#include "tier1/fileio.h"

#include <cstdlib>
#include <cstring>

#include "tier0/dbg.h"
#include "tier1/utlbuffer.h"
#include "tier1/utlstring.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

constexpr DWORD k_cubCurrentDirectory = 131068;
// The longest wide path Windows takes, terminator included.
constexpr int k_cchMaxWidePath = 32767;
constexpr int k_nSaveAttempts = 10;
constexpr DWORD k_unSaveRetryMs = 10;
constexpr uint32 k_unPageSize = 4096;
constexpr uint32 k_unSupportedReaderFlags =
    k_unFileReaderUnbuffered | k_unFileReaderSequentialScan | k_unFileReaderExclusive;

bool BEndsInSeparator(const CUtlString& str)
{
    return str.Length() > 0 && PATHSEPARATOR(str.Get()[str.Length() - 1]);
}

void AppendComponent(CUtlString* pstrPath, const char* pszComponent)
{
    if (!BEndsInSeparator(*pstrPath))
        pstrPath->Append("/");
    pstrPath->Append(pszComponent);
}

CUtlString CurrentDirectory()
{
    wchar16* pwchDirectory = static_cast<wchar16*>(malloc(k_cchMaxWidePath * sizeof(wchar16)));
    char* pchDirectory = static_cast<char*>(malloc(k_cubCurrentDirectory));
    CUtlString strDirectory(".");
    if (pwchDirectory && pchDirectory)
    {
        const DWORD cchDirectory =
            GetCurrentDirectoryW(k_cchMaxWidePath, reinterpret_cast<wchar_t*>(pwchDirectory));
        if (cchDirectory > 0 && cchDirectory < (DWORD)k_cchMaxWidePath &&
            V_UTF16ToUTF8(pwchDirectory, pchDirectory, k_cubCurrentDirectory) > 1)
            strDirectory = pchDirectory;
    }
    free(pwchDirectory);
    free(pchDirectory);
    return strDirectory;
}

CUtlString JoinAbsolute(const char* pszPath, const char* pszBase)
{
    if (V_IsAbsolutePath(pszPath))
        return CUtlString(pszPath);
    if (pszBase && V_IsAbsolutePath(pszBase))
    {
        CUtlString strPath(pszBase);
        if (!BEndsInSeparator(strPath))
            strPath.Append("\\");
        strPath.Append(pszPath);
        return strPath;
    }
    CUtlString strPath = CurrentDirectory();
    if (pszBase)
        AppendComponent(&strPath, pszBase);
    AppendComponent(&strPath, pszPath);
    return strPath;
}

// The prefix that lifts the length limit: "\\?\" for drive paths, "\\?\UNC\" in place of
// a UNC path's leading "\\", nothing for paths that already carry it.
CUtlString LongPathForm(const char* pszPath)
{
    if (strncmp(pszPath, "\\\\?\\", 4) == 0)
        return CUtlString(pszPath);
    CUtlString strLong(strncmp(pszPath, "\\\\", 2) == 0 ? "\\\\?\\UNC\\" : "\\\\?\\");
    strLong.Append(strncmp(pszPath, "\\\\", 2) == 0 ? pszPath + 2 : pszPath);
    return strLong;
}

DWORD AttributesOf(CPathString& path)
{
    const wchar_t* pwszPath = path.GetWCharPath();
    return pwszPath ? GetFileAttributesW(pwszPath) : INVALID_FILE_ATTRIBUTES;
}

bool BDeletePath(CPathString& path)
{
    const wchar_t* pwszPath = path.GetWCharPath();
    return pwszPath && DeleteFileW(pwszPath);
}

bool BMakeWritable(CPathString& path)
{
    const DWORD dwAttributes = AttributesOf(path);
    if (dwAttributes == INVALID_FILE_ATTRIBUTES)
        return false;
    constexpr DWORD k_dwBlocking = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    if (dwAttributes & k_dwBlocking)
    {
        const DWORD dwWritable = dwAttributes & ~k_dwBlocking;
        SetFileAttributesW(path.GetWCharPath(), dwWritable ? dwWritable : FILE_ATTRIBUTE_NORMAL);
    }
    return true;
}

// True for the separator of "C:\", whose prefix "C:" alone would name a relative path.
bool BIsDriveSeparator(const char* pchPath, size_t iSeparator)
{
    return iSeparator > 0 && pchPath[iSeparator - 1] == ':';
}

// Whether the path up to the separator at iSeparator exists (a drive's root keeps its
// separator).
bool BPrefixExists(char* pchPath, size_t iSeparator)
{
    const size_t iCut = BIsDriveSeparator(pchPath, iSeparator) ? iSeparator + 1 : iSeparator;
    const char chCut = pchPath[iCut];
    pchPath[iCut] = '\0';
    const bool bExists = BFileExists(pchPath);
    pchPath[iCut] = chCut;
    return bExists;
}

struct FlagMapping_s
{
    uint32 m_unFlag;
    DWORD m_dwWindows;
};

const FlagMapping_s k_rgShareModes[] = {
    {k_unFileShareNone, 0},
    {k_unFileShareRead, FILE_SHARE_READ},
    {k_unFileShareWrite, FILE_SHARE_WRITE},
    {k_unFileShareReadWrite, FILE_SHARE_READ | FILE_SHARE_WRITE},
    {k_unFileShareAll, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE},
};

const DWORD k_rgdwDispositions[] = {OPEN_EXISTING, OPEN_ALWAYS, CREATE_NEW, CREATE_ALWAYS};

const FlagMapping_s k_rgOpenFlags[] = {
    {k_unFileFlagOverlapped, FILE_FLAG_OVERLAPPED},
    {k_unFileFlagNoBuffering, FILE_FLAG_NO_BUFFERING},
    {k_unFileFlagSequentialScan, FILE_FLAG_SEQUENTIAL_SCAN},
    {k_unFileFlagDeleteOnClose, FILE_FLAG_DELETE_ON_CLOSE},
};

DWORD AccessFromFlags(uint32 unAccess)
{
    if (unAccess == k_unFileAccessReadWrite)
        return GENERIC_READ | GENERIC_WRITE;
    DWORD dwAccess = 0;
    if (unAccess & k_unFileAccessRead)
        dwAccess |= GENERIC_READ;
    if (unAccess & k_unFileAccessWrite)
        dwAccess |= GENERIC_WRITE;
    if (unAccess & k_unFileAccessAppend)
        dwAccess |= FILE_APPEND_DATA;
    return dwAccess;
}

DWORD FlagsAndAttributesFromFlags(uint32 unFlags)
{
    DWORD dwFlags = (unFlags & k_unFileFlagTemporary) ? FILE_ATTRIBUTE_TEMPORARY : FILE_ATTRIBUTE_NORMAL;
    for (const FlagMapping_s& mapping : k_rgOpenFlags)
    {
        if (unFlags & mapping.m_unFlag)
            dwFlags |= mapping.m_dwWindows;
    }
    return dwFlags;
}

void ApplyTimeFlags(HANDLE hFile, uint32 unFlags)
{
    if (unFlags & k_unFileFlagFreezeLastAccess)
    {
        // All ones tells Windows to leave the last-access time alone from now on.
        const FILETIME ftFrozen = {0xFFFFFFFF, 0xFFFFFFFF};
        SetFileTime(hFile, nullptr, &ftFrozen, nullptr);
    }
    if (unFlags & k_unFileFlagSetCreationTimeNow)
    {
        FILETIME ftNow;
        GetSystemTimeAsFileTime(&ftNow);
        SetFileTime(hFile, &ftNow, nullptr, nullptr);
    }
}

DWORD CALLBACK CopyProgressRoutine(LARGE_INTEGER liTotalBytes, LARGE_INTEGER liBytesCopied, LARGE_INTEGER,
                                   LARGE_INTEGER, DWORD, DWORD, HANDLE, HANDLE, LPVOID pvContext)
{
    auto* pProgress = static_cast<ICopyFileProgress*>(pvContext);
    return pProgress->BOnCopyProgress(liBytesCopied.QuadPart, liTotalBytes.QuadPart) ? PROGRESS_CONTINUE
                                                                                     : PROGRESS_CANCEL;
}

// The drive's sector size for unbuffered reads, 0 when it cannot be learnt.
uint32 SectorSizeOfDrive(const char* pszPath)
{
    const char* pchColon = strchr(pszPath, ':');
    DWORD dwSectorsPerCluster = 0;
    DWORD dwBytesPerSector = 0;
    DWORD dwFreeClusters = 0;
    DWORD dwTotalClusters = 0;
    if (pchColon && pchColon[1])
    {
        // The drive: everything up to and including the character after the colon.
        CUtlString strDrive(pszPath, (uint32)(pchColon - pszPath + 2));
        if (GetDiskFreeSpaceA(strDrive.Get(), &dwSectorsPerCluster, &dwBytesPerSector, &dwFreeClusters,
                              &dwTotalClusters))
            return dwBytesPerSector;
    }
    Warning("Failed to get sector size for drive file %s is on, not using unbuffered IO\n", pszPath);
    return 0;
}

// Unbuffered reads go through a page-aligned block of whole pages and are cut to size.
bool BReadUnbuffered(CFileReader& reader, void* pvDest, uint32 cubToRead, uint32* pcubRead)
{
    // At least one page: VirtualAlloc refuses an empty block.
    const SIZE_T cPages = ((SIZE_T)cubToRead + k_unPageSize - 1) / k_unPageSize;
    const SIZE_T cubAligned = (cPages ? cPages : 1) * k_unPageSize;
    void* pvAligned = VirtualAlloc(nullptr, cubAligned, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (!pvAligned)
        return false;
    uint32 cubRead = 0;
    const bool bRead = reader.BRead(pvAligned, (uint32)cubAligned, &cubRead);
    if (bRead)
    {
        *pcubRead = cubRead < cubToRead ? cubRead : cubToRead;
        memcpy(pvDest, pvAligned, *pcubRead);
    }
    VirtualFree(pvAligned, 0, MEM_RELEASE);
    return bRead;
}

} // namespace

CPathString::CPathString(const char* pszPath, const char* pszBase)
{
    CUtlString strPath = JoinAbsolute(pszPath ? pszPath : "", pszBase);
    m_pszUTF8Path = strdup(strPath.Get());
    if (!m_pszUTF8Path)
        return;
    V_FixSlashes(m_pszUTF8Path, '\\');
    // A failed removal may leave the text half rewritten, so the report names the input.
    AssertFmt(V_RemoveDotSlashes(m_pszUTF8Path, '\\'), "V_RemoveDotSlashes failed for \"%s\".",
              strPath.Get());
    V_FixSlashes(m_pszUTF8Path, '\\');
}

CPathString::~CPathString()
{
    free(m_pszUTF8Path);
    free(m_pwszWidePath);
}

const wchar_t* CPathString::GetWCharPath()
{
    if (m_bWideTried || !m_pszUTF8Path)
        return m_pwszWidePath;
    m_bWideTried = true;
    const CUtlString strLong = LongPathForm(m_pszUTF8Path);
    const int cchWide = V_UTF8ToUTF16(strLong.Get(), nullptr, 0);
    if (cchWide <= 0 || cchWide > k_cchMaxWidePath)
        return nullptr;
    m_pwszWidePath = static_cast<wchar_t*>(malloc(cchWide * sizeof(wchar_t)));
    if (m_pwszWidePath)
        V_UTF8ToUTF16(strLong.Get(), reinterpret_cast<wchar16*>(m_pwszWidePath), cchWide * sizeof(wchar_t));
    return m_pwszWidePath;
}

DWORD OpenFile(const char* pszPath, uint32 unAccess, uint32 unShare, uint32 unDisposition, uint32 unFlags,
               HANDLE* phFile)
{
    *phFile = INVALID_HANDLE_VALUE;
    const FlagMapping_s* pShare = nullptr;
    for (const FlagMapping_s& mapping : k_rgShareModes)
    {
        if (mapping.m_unFlag == unShare)
            pShare = &mapping;
    }
    if (!pShare || unDisposition >= V_ARRAYSIZE(k_rgdwDispositions))
        return ERROR_INVALID_PARAMETER;

    CPathString path(pszPath);
    const wchar_t* pwszPath = path.GetWCharPath();
    if (!pwszPath)
        return ERROR_FILENAME_EXCED_RANGE;
    HANDLE hFile =
        CreateFileW(pwszPath, AccessFromFlags(unAccess), pShare->m_dwWindows, nullptr,
                    k_rgdwDispositions[unDisposition], FlagsAndAttributesFromFlags(unFlags), nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
        return GetLastError();
    ApplyTimeFlags(hFile, unFlags);
    *phFile = hFile;
    return ERROR_SUCCESS;
}

bool BCreateDirectory(const char* pszPath)
{
    CPathString path(pszPath);
    const wchar_t* pwszPath = path.GetWCharPath();
    return pwszPath && (CreateDirectoryW(pwszPath, nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
}

bool BCreateDirHierarchy(const char* pszPath)
{
    CPathString path(pszPath);
    if (AttributesOf(path) != INVALID_FILE_ATTRIBUTES)
        return true;
    CUtlString strWork(path.GetUTF8Path());
    char* pchWork = strWork.GetForModify(strWork.Length());
    if (!pchWork)
        return false;
    V_StripTrailingSlash(pchWork);
    const size_t cchWork = strlen(pchWork);

    // The deepest ancestor that exists is where creation starts.
    size_t iStart = 0;
    for (size_t i = cchWork; i-- > 0;)
    {
        if (pchWork[i] == '\\' && BPrefixExists(pchWork, i))
        {
            iStart = i + 1;
            break;
        }
    }
    for (size_t i = iStart; i < cchWork; ++i)
    {
        if (pchWork[i] != '\\' || BIsDriveSeparator(pchWork, i))
            continue;
        pchWork[i] = '\0';
        BCreateDirectory(pchWork);
        pchWork[i] = '\\';
    }
    return BCreateDirectory(pchWork);
}

bool BFileExists(const char* pszPath)
{
    CPathString path(pszPath);
    return AttributesOf(path) != INVALID_FILE_ATTRIBUTES;
}

bool BDeleteFile(const char* pszPath)
{
    CPathString path(pszPath);
    return BDeletePath(path);
}

bool BDeleteFileForced(const char* pszPath)
{
    CPathString path(pszPath);
    if (BDeletePath(path) || AttributesOf(path) == INVALID_FILE_ATTRIBUTES)
        return true;
    BMakeWritable(path);
    return BDeletePath(path);
}

bool BMakeFileWritable(const char* pszPath)
{
    CPathString path(pszPath);
    return BMakeWritable(path);
}

bool BSaveBufferToFile(const CUtlBuffer& buf, const char* pszPath, uint32 unFlags)
{
    CPathString path(pszPath);
    // The directory keeps its separator, so a file in a drive's root asks for "C:\".
    if (const char* pchLastSeparator = strrchr(path.GetUTF8Path(), '\\'))
        BCreateDirHierarchy(
            CUtlString(path.GetUTF8Path(), (uint32)(pchLastSeparator - path.GetUTF8Path() + 1)));
    const wchar_t* pwszPath = path.GetWCharPath();
    if (!pwszPath)
        return false;

    // Another process (a virus scanner, say) may hold the file for a moment.
    HANDLE hFile = INVALID_HANDLE_VALUE;
    for (int nAttempt = 1;; ++nAttempt)
    {
        hFile =
            CreateFileW(pwszPath, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (hFile != INVALID_HANDLE_VALUE)
            break;
        if (GetLastError() != ERROR_SHARING_VIOLATION || nAttempt >= k_nSaveAttempts)
            return false;
        Sleep(k_unSaveRetryMs);
    }
    const DWORD cubContent = (DWORD)buf.TellMaxPut();
    DWORD cubWritten = 0;
    if (cubContent > 0)
        WriteFile(hFile, buf.Base(), cubContent, &cubWritten, nullptr);
    if (unFlags & k_unSaveFlagFlush)
        FlushFileBuffers(hFile);
    CloseHandle(hFile);
    return cubWritten == cubContent;
}

bool CopyFile(const char* pszSource, const char* pszDest, uint32 unCopyFlags, ICopyFileProgress* pProgress)
{
    CPathString source(pszSource);
    CPathString dest(pszDest);
    const wchar_t* pwszSource = source.GetWCharPath();
    const wchar_t* pwszDest = dest.GetWCharPath();
    return pwszSource && pwszDest &&
           CopyFileExW(pwszSource, pwszDest, pProgress ? CopyProgressRoutine : nullptr, pProgress, nullptr,
                       unCopyFlags);
}

bool ReplaceFile(const char* pszTarget, const char* pszReplacement)
{
    CPathString target(pszTarget);
    CPathString replacement(pszReplacement);
    const wchar_t* pwszTarget = target.GetWCharPath();
    const wchar_t* pwszReplacement = replacement.GetWCharPath();
    if (!pwszTarget || !pwszReplacement)
        return false;
    return ReplaceFileW(pwszTarget, pwszReplacement, nullptr, 0, nullptr, nullptr) ||
           MoveFileExW(pwszReplacement, pwszTarget, MOVEFILE_REPLACE_EXISTING);
}

bool LoadFileIntoBuffer(const char* pszPath, CUtlBuffer& buf, bool bText, uint32 unReaderFlags)
{
    return LoadFileRangeIntoBuffer(pszPath, 0, -1, buf, bText, unReaderFlags);
}

bool LoadFileRangeIntoBuffer(const char* pszPath, int64 nOffset, int64 cubToRead, CUtlBuffer& buf, bool bText,
                             uint32 unReaderFlags)
{
    buf.SetBufferType(bText, bText);
    buf.Clear();

    CFileReader reader;
    int64 nFileSize = 0;
    if (!reader.BOpenFile(pszPath, unReaderFlags) || !reader.BGetFileSize(&nFileSize) || nOffset < 0 ||
        nOffset > nFileSize)
        return false;
    int64 cubBytesToRead = nFileSize - nOffset;
    if (cubToRead >= 0 && cubToRead < cubBytesToRead)
        cubBytesToRead = cubToRead;
    Assert(cubBytesToRead < INT32_MAX);
    if (cubBytesToRead >= INT32_MAX)
        return false;

    // Binary buffers get a spare byte; a text buffer keeps its own terminator.
    const int nBufSizeWithTerminator = (int)cubBytesToRead + 1;
    const int cubRoom = bText ? (int)cubBytesToRead : nBufSizeWithTerminator;
    if (cubRoom == 0)
        return true;
    if (!buf.EnsureCapacity(cubRoom) || !reader.BSeek(nOffset))
        return false;
    // The put position moves first: moving it over bytes already read would clear them.
    buf.SeekPut(CUtlBuffer::SEEK_HEAD, (int)cubBytesToRead);

    uint32 cbActual = 0;
    const bool bRead = reader.BIsUnbuffered()
                           ? BReadUnbuffered(reader, buf.Base(), (uint32)cubBytesToRead, &cbActual)
                           : reader.BRead(buf.Base(), (uint32)cubBytesToRead, &cbActual);
    if (!bRead)
        return false;
    Assert(cbActual < (uint32)nBufSizeWithTerminator);
    if (cbActual < (uint32)cubBytesToRead)
        buf.SeekPut(CUtlBuffer::SEEK_HEAD, (int)cbActual);
    return true;
}

bool CFileReader::BOpenFile(const char* pszPath, uint32 unFlags)
{
    Close();
    if (unFlags & ~k_unSupportedReaderFlags)
    {
        Warning("unsupported flags 0x%x passed to CFileReader::BOpenFile\n",
                unFlags & ~k_unSupportedReaderFlags);
        unFlags &= k_unSupportedReaderFlags;
    }
    CPathString path(pszPath);
    const wchar_t* pwszPath = path.GetWCharPath();
    if (!pwszPath)
        return false;
    m_unSectorSize = (unFlags & k_unFileReaderUnbuffered) ? SectorSizeOfDrive(path.GetUTF8Path()) : 0;

    DWORD dwFlags = FILE_ATTRIBUTE_NORMAL;
    if (m_unSectorSize)
        dwFlags |= FILE_FLAG_NO_BUFFERING;
    if (unFlags & k_unFileReaderSequentialScan)
        dwFlags |= FILE_FLAG_SEQUENTIAL_SCAN;
    const DWORD dwShare = (unFlags & k_unFileReaderExclusive) ? 0 : FILE_SHARE_READ | FILE_SHARE_WRITE;
    m_hFile = CreateFileW(pwszPath, GENERIC_READ, dwShare, nullptr, OPEN_EXISTING, dwFlags, nullptr);
    return BIsOpen();
}

void CFileReader::Close()
{
    if (BIsOpen())
        CloseHandle(m_hFile);
    m_hFile = INVALID_HANDLE_VALUE;
    m_unSectorSize = 0;
}

bool CFileReader::BGetFileSize(int64* pnSize) const
{
    Assert(BIsOpen());
    LARGE_INTEGER liSize;
    if (!BIsOpen() || !GetFileSizeEx(m_hFile, &liSize))
        return false;
    *pnSize = liSize.QuadPart;
    return true;
}

bool CFileReader::BSeek(int64 nOffset)
{
    Assert(BIsOpen());
    if (!BIsOpen())
        return false;
    if (BIsUnbuffered() && nOffset % m_unSectorSize != 0)
    {
        AssertFmt(false, "Seeking to a position which is not sector aligned will break unbuffered io");
        return false;
    }
    LARGE_INTEGER liOffset;
    liOffset.QuadPart = nOffset;
    return SetFilePointerEx(m_hFile, liOffset, nullptr, FILE_BEGIN);
}

bool CFileReader::BRead(void* pvData, uint32 cubData, uint32* pcubRead)
{
    *pcubRead = 0;
    Assert(BIsOpen());
    if (!BIsOpen())
        return false;
    if (BIsUnbuffered())
    {
        AssertFmt(cubData % m_unSectorSize == 0,
                  "CFileReader::Read must be called with a cubData value that is a "
                  "multiple of the sector size when using unbuffered IO");
        AssertFmt(
            (uintp)pvData % k_unPageSize == 0,
            "Unbuffered read should be called with pvData buffer that is aligned to system page size (4kb)");
        AssertFmt(
            cubData % k_unPageSize == 0,
            "Unbuffered read should be called with cubData length that is aligned to system page size (4kb)");
    }
    DWORD cubRead = 0;
    const bool bRead = ReadFile(m_hFile, pvData, cubData, &cubRead, nullptr);
    *pcubRead = cubRead;
    return bRead;
}
