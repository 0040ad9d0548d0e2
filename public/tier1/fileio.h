#pragma once
// The file layer: every path is made absolute, normalised and handed to Windows in its
// long-path form ("\\?\C:\..." or "\\?\UNC\server\share\..."), so no length limit of
// 260 characters applies. Paths are UTF-8. Windows only.

// windows.h maps CopyFile and ReplaceFile to their A forms; include it first and drop
// those macros so this layer's own functions keep their names.
#include <windows.h>
#undef CopyFile
#undef ReplaceFile

#include "tier0/basetypes.h"

class CUtlBuffer;

// A path in its absolute UTF-8 form and (built on first use) its wide long-path form.
class CPathString
{
public:
    // A relative pszPath is taken relative to pszBase, and a relative base (or none)
    // relative to the current directory.
    explicit CPathString(const char* pszPath, const char* pszBase = nullptr);
    CPathString(const CPathString&) = delete;
    CPathString& operator=(const CPathString&) = delete;
    ~CPathString();

    const char* GetUTF8Path() const { return m_pszUTF8Path ? m_pszUTF8Path : ""; }
    // Null when the path does not fit in 32,767 wide characters.
    const wchar_t* GetWCharPath();

private:
    char* m_pszUTF8Path = nullptr;
    wchar_t* m_pwszWidePath = nullptr;
    bool m_bWideTried = false;
};

// OpenFile access bits.
constexpr uint32 k_unFileAccessRead = 0x1;
constexpr uint32 k_unFileAccessWrite = 0x2;
constexpr uint32 k_unFileAccessReadWrite = 0x4; // exactly 4: read and write
constexpr uint32 k_unFileAccessAppend = 0x8;
// OpenFile share modes (exact values; others are refused).
constexpr uint32 k_unFileShareNone = 0;
constexpr uint32 k_unFileShareRead = 1;
constexpr uint32 k_unFileShareWrite = 2;
constexpr uint32 k_unFileShareReadWrite = 3;
constexpr uint32 k_unFileShareAll = 7; // read, write and delete
// OpenFile dispositions.
constexpr uint32 k_unFileOpenExisting = 0;
constexpr uint32 k_unFileOpenAlways = 1;
constexpr uint32 k_unFileCreateNew = 2;
constexpr uint32 k_unFileCreateAlways = 3;
// OpenFile flag bits.
constexpr uint32 k_unFileFlagOverlapped = 0x1;
constexpr uint32 k_unFileFlagNoBuffering = 0x2;
constexpr uint32 k_unFileFlagFreezeLastAccess = 0x4;
constexpr uint32 k_unFileFlagSequentialScan = 0x8;
constexpr uint32 k_unFileFlagTemporary = 0x10;
constexpr uint32 k_unFileFlagDeleteOnClose = 0x20;
constexpr uint32 k_unFileFlagSetCreationTimeNow = 0x80;

// CreateFileW with the arguments above. Returns 0, or the Windows error code (87 for an
// unknown share mode or disposition); *phFile is INVALID_HANDLE_VALUE on failure.
DWORD OpenFile(const char* pszPath, uint32 unAccess, uint32 unShare, uint32 unDisposition, uint32 unFlags,
               HANDLE* phFile);

// True when the directory was created or already exists; parents are not created.
bool BCreateDirectory(const char* pszPath);
// Creates every missing directory of the chain.
bool BCreateDirHierarchy(const char* pszPath);
// True for existing files and directories.
bool BFileExists(const char* pszPath);
bool BDeleteFile(const char* pszPath);
// Deletes a read-only or hidden file too; true when the file is gone afterwards.
bool BDeleteFileForced(const char* pszPath);
// Clears the read-only and hidden attributes; true when the attributes could be read.
bool BMakeFileWritable(const char* pszPath);

// BSaveBufferToFile flag: flush to disk before closing.
constexpr uint32 k_unSaveFlagFlush = 0x1;
// Writes the buffer's content to a new file, creating its directory; a file held open
// elsewhere is retried for about 100 ms.
bool BSaveBufferToFile(const CUtlBuffer& buf, const char* pszPath, uint32 unFlags = 0);

// Told of a copy's progress; returning false cancels it.
class ICopyFileProgress
{
public:
    virtual bool BOnCopyProgress(uint64 ulBytesCopied, uint64 ulTotalBytes) = 0;

protected:
    ~ICopyFileProgress() = default;
};
// unCopyFlags are CopyFileExW's COPY_FILE_* flags.
bool CopyFile(const char* pszSource, const char* pszDest, uint32 unCopyFlags,
              ICopyFileProgress* pProgress = nullptr);
// Puts pszReplacement in place of pszTarget (ReplaceFileW, else a replacing move).
bool ReplaceFile(const char* pszTarget, const char* pszReplacement);

// Reader flags (others are dropped with a message).
constexpr uint32 k_unFileReaderUnbuffered = 0x4;
constexpr uint32 k_unFileReaderSequentialScan = 0x8;
constexpr uint32 k_unFileReaderExclusive = 0x40; // no sharing while open

// Replaces the buffer's content with the file's (text mode: CR-LF text, terminated).
bool LoadFileIntoBuffer(const char* pszPath, CUtlBuffer& buf, bool bText, uint32 unReaderFlags = 0);
// cubToRead -1 reads to the end; a range reaching past the end is cut there, an offset
// past the end fails.
bool LoadFileRangeIntoBuffer(const char* pszPath, int64 nOffset, int64 cubToRead, CUtlBuffer& buf, bool bText,
                             uint32 unReaderFlags = 0);

// Buffered or unbuffered sequential reads of one file.
class CFileReader
{
public:
    CFileReader() = default;
    CFileReader(const CFileReader&) = delete;
    CFileReader& operator=(const CFileReader&) = delete;
    ~CFileReader() { Close(); }

    bool BOpenFile(const char* pszPath, uint32 unFlags);
    void Close();
    bool BIsOpen() const { return m_hFile != INVALID_HANDLE_VALUE; }
    bool BIsUnbuffered() const { return m_unSectorSize != 0; }
    // 0 when reads are buffered.
    uint32 GetSectorSize() const { return m_unSectorSize; }
    bool BGetFileSize(int64* pnSize) const;
    bool BSeek(int64 nOffset);
    // Unbuffered reads need a page-aligned buffer and a length that is a multiple of the
    // page size. *pcubRead is less than cubData only at the end of the file.
    bool BRead(void* pvData, uint32 cubData, uint32* pcubRead);

private:
    HANDLE m_hFile = INVALID_HANDLE_VALUE;
    uint32 m_unSectorSize = 0;
};
