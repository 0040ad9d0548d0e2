#pragma once
// Which Windows release is running, by its real version (no compatibility manifest or
// shim can change the answer), and the facts about it that install scripts may require.

#include "tier0/basetypes.h"

enum EOSType
{
    k_EOSTypeUnknown = 0,
    k_EOSTypeWindows95,
    k_EOSTypeWindows98,
    k_EOSTypeWindowsME,
    k_EOSTypeWindowsNT4,
    k_EOSTypeWindows2000,
    k_EOSTypeWindowsXP,
    k_EOSTypeWindowsServer2003,
    k_EOSTypeWindowsVista,
    k_EOSTypeWindowsServer2008,
    k_EOSTypeWindows7,
    k_EOSTypeWindowsServer2008R2,
    k_EOSTypeWindows8,
    k_EOSTypeWindowsServer2012,
    k_EOSTypeWindows81,
    k_EOSTypeWindowsServer2012R2,
    k_EOSTypeWindows10,
    k_EOSTypeWindowsServer2016,
    k_EOSTypeWindowsServer2019,
    k_EOSTypeWindowsServer2022,
    k_EOSTypeWindows11,
    k_EOSTypeWindowsServer2025,
    k_EOSTypeCount,
};

// The version facts that tell the releases apart.
struct OSVersion_s
{
    uint32 m_unPlatformId; // VER_PLATFORM_WIN32_WINDOWS (1) for the 9x line, else NT (2)
    uint32 m_unMajor;
    uint32 m_unMinor;
    uint32 m_unBuild;
    bool m_bServer; // any product type but workstation
};

// The display name ("Windows 7", "Windows 10", ...); "Unknown" (and an assertion) for
// values outside the table.
const char* PchNameFromEOSType(EOSType eOSType);
// The type a display name stands for (ASCII case ignored); k_EOSTypeCount for none.
EOSType GetOSTypeFromName(const char* pszName);

// False when the system refuses to say.
bool BGetRunningOSVersion(OSVersion_s* pVersion);
EOSType GetOSTypeFromVersion(const OSVersion_s& version);
// k_EOSTypeUnknown when the version cannot be read or names no known release.
EOSType GetRunningOSType();

// True on 64-bit Windows, whether or not this process itself is 64-bit.
bool BIs64BitWindows();

// 1 when the system is Windows Vista up to build 6000 and its display driver predates
// update KB940105 (dxgkrnl.sys older than 6.0.6000.20648); 0 in every other case.
int GetVistaKB940105Flag();
// The same decision for a given version and driver file (wide path), for systems the
// process is not running on.
int GetVistaKB940105FlagFor(const OSVersion_s& version, const wchar_t* pwszDriverPath);
// The driver's file version, as VS_FIXEDFILEINFO splits it, is older than 6.0.6000.20648.
bool BDriverPredatesKB940105(uint32 unFileVersionMS, uint32 unFileVersionLS);
