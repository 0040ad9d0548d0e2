#include "handoffrunner/links.h"

#include <windows.h>

#include <filesystem>
#include <string>

#include "common/installscript_log.h"
#include "common/installscript_regkeys.h"
#include "tier1/fileio.h"
#include "vstdlib/strtools.h"
#include "vstdlib/widetext.h"

namespace
{

namespace fs = std::filesystem;

// Not in every SDK's headers: lets a user without the privilege make links where the
// system allows it.
constexpr DWORD k_dwSymbolicLinkAllowUnprivileged = 0x2;

// The file or folder itself, whatever links lead there: volume and file index.
bool BGetFileIdentity(const wchar_t* pwszPath, BY_HANDLE_FILE_INFORMATION* pInfo)
{
    HANDLE hFile =
        CreateFileW(pwszPath, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
        return false;
    const bool bGot = GetFileInformationByHandle(hFile, pInfo) != 0;
    CloseHandle(hFile);
    return bGot;
}

// True when opening pwszLink reaches the very file pwszTarget names: a symbolic link to
// it or a hard link of it. Never true for a copy.
bool BReachesSameFile(const wchar_t* pwszLink, const wchar_t* pwszTarget)
{
    BY_HANDLE_FILE_INFORMATION link;
    BY_HANDLE_FILE_INFORMATION target;
    return BGetFileIdentity(pwszLink, &link) && BGetFileIdentity(pwszTarget, &target) &&
           link.dwVolumeSerialNumber == target.dwVolumeSerialNumber &&
           link.nFileIndexHigh == target.nFileIndexHigh && link.nFileIndexLow == target.nFileIndexLow;
}

bool BExists(const wchar_t* pwszPath)
{
    return GetFileAttributesW(pwszPath) != INVALID_FILE_ATTRIBUTES;
}

bool BIsDirectory(const wchar_t* pwszPath)
{
    const DWORD dwAttributes = GetFileAttributesW(pwszPath);
    return dwAttributes != INVALID_FILE_ATTRIBUTES && (dwAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

// A whole copy, dot files included: it stands in for the link, so it must show everything
// the target holds. Files already there are replaced, as a link would show the new ones.
bool BCopyInPlaceOfLink(const fs::path& target, const fs::path& link, bool bDirectory)
{
    if (!bDirectory)
        return CopyFileW(target.c_str(), link.c_str(), FALSE) != 0;
    std::error_code error;
    fs::create_directories(link, error);
    bool bCopied = !error;
    for (fs::directory_iterator it(target, error), end; !error && it != end; it.increment(error))
        bCopied &= BCopyInPlaceOfLink(it->path(), link / it->path().filename(), it->is_directory(error));
    return bCopied && !error;
}

// The link's folder chain; a failure shows when the link itself cannot be made.
void CreateParentFolders(const char* pszLink)
{
    char szParent[MAX_PATH * 8];
    V_strncpy(szParent, pszLink, sizeof(szParent));
    if (V_StripLastComponent(szParent) && *szParent)
        BCreateDirHierarchy(szParent);
}

struct LinkPaths_s
{
    const LinkRecord_s& m_link;
    std::wstring m_wstrFrom;
    std::wstring m_wstrTo;
    uint32 m_unAppID;
};

bool BFail(const LinkPaths_s& paths, const char* pszWhy)
{
    const LinkRecord_s& link = paths.m_link;
    InstallScriptAppLog(paths.m_unAppID, "Failed to link \"%s\" to \"%s\": %s%s", link.m_strFrom.Get(),
                        link.m_strTo.Get(), pszWhy,
                        link.m_bIgnoreExitCode ? " (ignored: IgnoreExitCode is set)" : "");
    return link.m_bIgnoreExitCode;
}

// "from" is already there: ours when it reaches the target or is a copy we made of it.
bool BKeepExisting(const LinkPaths_s& paths, bool bDirectory)
{
    const LinkRecord_s& link = paths.m_link;
    if (BReachesSameFile(paths.m_wstrFrom.c_str(), paths.m_wstrTo.c_str()))
    {
        InstallScriptAppLog(paths.m_unAppID, "\"%s\" already links to \"%s\"", link.m_strFrom.Get(),
                            link.m_strTo.Get());
        return true;
    }
    if (V_stricmp(GetLinkCopyTarget(paths.m_unAppID, link.m_strFrom), link.m_strTo) != 0)
        return BFail(paths, "it exists and is neither a link to the target nor a copy made here; left alone");
    // Brought up to date, as a link would be.
    if (!BCopyInPlaceOfLink(paths.m_wstrTo, paths.m_wstrFrom, bDirectory))
        return BFail(paths, "the copy made here in place of a link could not be refreshed");
    InstallScriptAppLog(paths.m_unAppID, "Refreshed the copy of \"%s\" at \"%s\" made in place of a link",
                        link.m_strTo.Get(), link.m_strFrom.Get());
    return true;
}

bool BMakeNew(const LinkPaths_s& paths, bool bDirectory)
{
    const LinkRecord_s& link = paths.m_link;
    const wchar_t* pwszFrom = paths.m_wstrFrom.c_str();
    const wchar_t* pwszTo = paths.m_wstrTo.c_str();
    CreateParentFolders(link.m_strFrom);
    // Wine answers TRUE and makes nothing: only what exists afterwards counts.
    CreateSymbolicLinkW(pwszFrom, pwszTo,
                        (bDirectory ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0) | k_dwSymbolicLinkAllowUnprivileged);
    if (BReachesSameFile(pwszFrom, pwszTo))
    {
        InstallScriptAppLog(paths.m_unAppID, "Linked \"%s\" to \"%s\" (symbolic link)", link.m_strFrom.Get(),
                            link.m_strTo.Get());
        return true;
    }
    if (!bDirectory && CreateHardLinkW(pwszFrom, pwszTo, nullptr) && BReachesSameFile(pwszFrom, pwszTo))
    {
        InstallScriptAppLog(paths.m_unAppID,
                            "Linked \"%s\" to \"%s\" (hard link: the system made no symbolic link)",
                            link.m_strFrom.Get(), link.m_strTo.Get());
        return true;
    }
    // Recorded before copying, so a copy cut short is still known as ours next time.
    if (!BSetLinkCopyTarget(paths.m_unAppID, link.m_strFrom, link.m_strTo) ||
        !BCopyInPlaceOfLink(paths.m_wstrTo, paths.m_wstrFrom, bDirectory))
        return BFail(paths, "the system made no link and the target could not be copied there");
    InstallScriptAppLog(paths.m_unAppID,
                        "Copied \"%s\" to \"%s\" in place of a link (the system made no link)",
                        link.m_strTo.Get(), link.m_strFrom.Get());
    return true;
}

} // namespace

bool BMakeLink(const LinkRecord_s& link, uint32 unAppID)
{
    const LinkPaths_s paths = {link, CWideText(link.m_strFrom).Get(), CWideText(link.m_strTo).Get(), unAppID};
    if (!BExists(paths.m_wstrTo.c_str()))
        return BFail(paths, "the target does not exist");
    const bool bDirectory = BIsDirectory(paths.m_wstrTo.c_str());
    if (BExists(paths.m_wstrFrom.c_str()))
        return BKeepExisting(paths, bDirectory);
    return BMakeNew(paths, bDirectory);
}
