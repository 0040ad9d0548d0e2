#include "common/ostype.h"

#include <windows.h>

#include "tier0/dbg.h"
#include "tier0/procaddress.h"

namespace
{

enum EProductKind
{
    k_EProductAny,
    k_EProductWorkstation,
    k_EProductServer,
};

struct OSTypeRule_s
{
    uint32 m_unPlatformId;
    uint32 m_unMajor;
    uint32 m_unMinor;
    uint32 m_unMinBuild;
    EProductKind m_eProduct;
    EOSType m_eOSType;
};

// The first matching row wins, so later builds of one version number come first.
const OSTypeRule_s k_rgOSTypeRules[] = {
    {VER_PLATFORM_WIN32_WINDOWS, 4, 0, 0, k_EProductAny, k_EOSTypeWindows95},
    {VER_PLATFORM_WIN32_WINDOWS, 4, 10, 0, k_EProductAny, k_EOSTypeWindows98},
    {VER_PLATFORM_WIN32_WINDOWS, 4, 90, 0, k_EProductAny, k_EOSTypeWindowsME},
    {VER_PLATFORM_WIN32_NT, 4, 0, 0, k_EProductAny, k_EOSTypeWindowsNT4},
    {VER_PLATFORM_WIN32_NT, 5, 0, 0, k_EProductAny, k_EOSTypeWindows2000},
    {VER_PLATFORM_WIN32_NT, 5, 1, 0, k_EProductAny, k_EOSTypeWindowsXP},
    // 5.2 workstation is the x64 edition of XP.
    {VER_PLATFORM_WIN32_NT, 5, 2, 0, k_EProductWorkstation, k_EOSTypeWindowsXP},
    {VER_PLATFORM_WIN32_NT, 5, 2, 0, k_EProductServer, k_EOSTypeWindowsServer2003},
    {VER_PLATFORM_WIN32_NT, 6, 0, 0, k_EProductWorkstation, k_EOSTypeWindowsVista},
    {VER_PLATFORM_WIN32_NT, 6, 0, 0, k_EProductServer, k_EOSTypeWindowsServer2008},
    {VER_PLATFORM_WIN32_NT, 6, 1, 0, k_EProductWorkstation, k_EOSTypeWindows7},
    {VER_PLATFORM_WIN32_NT, 6, 1, 0, k_EProductServer, k_EOSTypeWindowsServer2008R2},
    {VER_PLATFORM_WIN32_NT, 6, 2, 0, k_EProductWorkstation, k_EOSTypeWindows8},
    {VER_PLATFORM_WIN32_NT, 6, 2, 0, k_EProductServer, k_EOSTypeWindowsServer2012},
    {VER_PLATFORM_WIN32_NT, 6, 3, 0, k_EProductWorkstation, k_EOSTypeWindows81},
    {VER_PLATFORM_WIN32_NT, 6, 3, 0, k_EProductServer, k_EOSTypeWindowsServer2012R2},
    // Windows 11 and the newer servers still call themselves 10.0; the build tells.
    {VER_PLATFORM_WIN32_NT, 10, 0, 22000, k_EProductWorkstation, k_EOSTypeWindows11},
    {VER_PLATFORM_WIN32_NT, 10, 0, 0, k_EProductWorkstation, k_EOSTypeWindows10},
    {VER_PLATFORM_WIN32_NT, 10, 0, 26100, k_EProductServer, k_EOSTypeWindowsServer2025},
    {VER_PLATFORM_WIN32_NT, 10, 0, 20348, k_EProductServer, k_EOSTypeWindowsServer2022},
    {VER_PLATFORM_WIN32_NT, 10, 0, 17763, k_EProductServer, k_EOSTypeWindowsServer2019},
    {VER_PLATFORM_WIN32_NT, 10, 0, 0, k_EProductServer, k_EOSTypeWindowsServer2016},
};

bool BRuleMatches(const OSTypeRule_s& rule, const OSVersion_s& version)
{
    const EProductKind eProduct = version.m_bServer ? k_EProductServer : k_EProductWorkstation;
    return rule.m_unPlatformId == version.m_unPlatformId && rule.m_unMajor == version.m_unMajor &&
           rule.m_unMinor == version.m_unMinor && version.m_unBuild >= rule.m_unMinBuild &&
           (rule.m_eProduct == k_EProductAny || rule.m_eProduct == eProduct);
}

// The version resource is read only this far; the fixed block sits at its start.
constexpr DWORD k_cubDriverVersionInfo = 2048;
// Version 6.0.6000.20648, the display driver of update KB940105.
constexpr uint32 k_unKB940105VersionMS = 0x00060000;
constexpr uint32 k_unKB940105VersionLS = 0x177050A8;

} // namespace

bool BGetRunningOSVersion(OSVersion_s* pVersion)
{
    // GetVersionEx answers what the manifest claims; the kernel's own call does not.
    typedef LONG(WINAPI * PFNRtlGetVersion)(OSVERSIONINFOEXW*);
    const auto pfnRtlGetVersion =
        GetProcAddressAs<PFNRtlGetVersion>(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
    OSVERSIONINFOEXW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    if (!pfnRtlGetVersion || pfnRtlGetVersion(&info) != 0)
        return false;
    *pVersion = {info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber,
                 info.wProductType != VER_NT_WORKSTATION};
    return true;
}

EOSType GetOSTypeFromVersion(const OSVersion_s& version)
{
    for (const OSTypeRule_s& rule : k_rgOSTypeRules)
    {
        if (BRuleMatches(rule, version))
            return rule.m_eOSType;
    }
    return k_EOSTypeUnknown;
}

EOSType GetRunningOSType()
{
    OSVersion_s version;
    return BGetRunningOSVersion(&version) ? GetOSTypeFromVersion(version) : k_EOSTypeUnknown;
}

// This program is built for x64 only, and a 64-bit process runs only on 64-bit Windows.
static_assert(sizeof(void*) == 8, "a 32-bit build must ask IsWow64Process");
bool BIs64BitWindows()
{
    return true;
}

bool BDriverPredatesKB940105(uint32 unFileVersionMS, uint32 unFileVersionLS)
{
    return unFileVersionMS <= k_unKB940105VersionMS &&
           (unFileVersionMS != k_unKB940105VersionMS || unFileVersionLS < k_unKB940105VersionLS);
}

int GetVistaKB940105FlagFor(const OSVersion_s& version, const wchar_t* pwszDriverPath)
{
    if (version.m_unMajor != 6 || version.m_unMinor != 0 || version.m_unBuild > 6000)
        return 0;
    uint8 rgubVersionInfo[k_cubDriverVersionInfo];
    if (!GetFileVersionInfoW(pwszDriverPath, 0, sizeof(rgubVersionInfo), rgubVersionInfo))
        return 0;
    VS_FIXEDFILEINFO* pFixedInfo = nullptr;
    UINT cubFixedInfo = 0;
    if (!VerQueryValueW(rgubVersionInfo, L"\\", reinterpret_cast<void**>(&pFixedInfo), &cubFixedInfo) ||
        cubFixedInfo != sizeof(VS_FIXEDFILEINFO) || pFixedInfo->dwSignature != VS_FFI_SIGNATURE)
        return 0;
    return BDriverPredatesKB940105(pFixedInfo->dwFileVersionMS, pFixedInfo->dwFileVersionLS) ? 1 : 0;
}

int GetVistaKB940105Flag()
{
    OSVersion_s version;
    if (!BGetRunningOSVersion(&version))
        return 0;
    wchar_t wszDriverPath[MAX_PATH];
    const UINT cchSystemDir = GetSystemDirectoryW(wszDriverPath, MAX_PATH);
    const wchar_t wszDriverName[] = L"\\drivers\\dxgkrnl.sys";
    if (cchSystemDir == 0 || cchSystemDir + V_ARRAYSIZE(wszDriverName) > MAX_PATH)
        return 0;
    wcscpy(wszDriverPath + cchSystemDir, wszDriverName);
    return GetVistaKB940105FlagFor(version, wszDriverPath);
}
