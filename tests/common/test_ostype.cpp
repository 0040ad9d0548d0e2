// OS types from version numbers, their names, the running system, and the Vista display
// driver check.

#include <gtest/gtest.h>

#include <windows.h>

#include <set>
#include <string>

#include "common/ostype.h"
#include "spewcapture.h"

namespace
{

constexpr uint32 k_unNT = VER_PLATFORM_WIN32_NT;
constexpr uint32 k_un9x = VER_PLATFORM_WIN32_WINDOWS;

TEST(OSType, VersionsMapToReleasesAtTheBoundaries)
{
    struct Case_s
    {
        OSVersion_s m_version;
        EOSType m_eExpected;
    };
    // Build and product-type boundaries; the rest of the table is one row per version.
    const Case_s rgCases[] = {
        {{k_un9x, 4, 10, 1998, false}, k_EOSTypeWindows98},
        {{k_unNT, 4, 0, 1381, true}, k_EOSTypeWindowsNT4},
        {{k_unNT, 5, 2, 3790, false}, k_EOSTypeWindowsXP},
        {{k_unNT, 5, 2, 3790, true}, k_EOSTypeWindowsServer2003},
        {{k_unNT, 6, 0, 6000, false}, k_EOSTypeWindowsVista},
        {{k_unNT, 6, 1, 7601, true}, k_EOSTypeWindowsServer2008R2},
        {{k_unNT, 10, 0, 21999, false}, k_EOSTypeWindows10},
        {{k_unNT, 10, 0, 22000, false}, k_EOSTypeWindows11},
        {{k_unNT, 10, 0, 17762, true}, k_EOSTypeWindowsServer2016},
        {{k_unNT, 10, 0, 17763, true}, k_EOSTypeWindowsServer2019},
        {{k_unNT, 10, 0, 26100, true}, k_EOSTypeWindowsServer2025},
        // Versions no release ever had, and 9x numbers on the wrong line.
        {{k_unNT, 6, 4, 9841, false}, k_EOSTypeUnknown},
        {{k_unNT, 4, 10, 1998, false}, k_EOSTypeUnknown},
        {{k_un9x, 10, 0, 19045, false}, k_EOSTypeUnknown},
    };
    for (const Case_s& c : rgCases)
    {
        EXPECT_STREQ(PchNameFromEOSType(c.m_eExpected), PchNameFromEOSType(GetOSTypeFromVersion(c.m_version)))
            << c.m_version.m_unMajor << "." << c.m_version.m_unMinor << "." << c.m_version.m_unBuild;
    }
}

TEST(OSType, EveryTypeHasItsOwnNameAndOthersAreUnknown)
{
    std::set<std::string> setNames;
    for (int i = 0; i < k_EOSTypeCount; ++i)
        EXPECT_TRUE(setNames.insert(PchNameFromEOSType(EOSType(i))).second) << i;
    EXPECT_STREQ("Unknown", PchNameFromEOSType(k_EOSTypeUnknown));
    EXPECT_STREQ("Windows 7", PchNameFromEOSType(k_EOSTypeWindows7));
    EXPECT_STREQ("Windows 10", PchNameFromEOSType(k_EOSTypeWindows10));

    CQuietStderr quiet;
    CSpewCapture capture;
    EXPECT_STREQ("Unknown", PchNameFromEOSType(k_EOSTypeCount));
    EXPECT_STREQ("Unknown", PchNameFromEOSType(EOSType(-1)));
    EXPECT_EQ(2, capture.CountAssertsContaining("Missing String for EOSType"));
}

TEST(OSType, RunningSystemIsAKnown64BitRelease)
{
    OSVersion_s version;
    ASSERT_TRUE(BGetRunningOSVersion(&version));
    EXPECT_EQ(k_unNT, version.m_unPlatformId);
    EXPECT_NE(k_EOSTypeUnknown, GetRunningOSType());
    EXPECT_EQ(GetOSTypeFromVersion(version), GetRunningOSType());
    EXPECT_TRUE(BIs64BitWindows());
}

TEST(VistaKB940105, DriverVersionThresholds)
{
    struct Case_s
    {
        uint32 m_unMS;
        uint32 m_unLS;
        bool m_bPredates;
    };
    const Case_s rgCases[] = {
        {0x00060000, 0x177050A7, true},  // 6.0.6000.20647
        {0x00060000, 0x177050A8, false}, // 6.0.6000.20648 itself
        {0x00060000, 0x17710000, false}, // 6.0.6001.0
        {0x00060000, 0x00000000, true},  {0x00050002, 0xFFFFFFFF, true},
        {0x00060001, 0x00000000, false}, {0x00070000, 0x00000000, false},
    };
    for (const Case_s& c : rgCases)
        EXPECT_EQ(c.m_bPredates, BDriverPredatesKB940105(c.m_unMS, c.m_unLS))
            << std::hex << c.m_unMS << " " << c.m_unLS;
}

std::wstring BesideTestProgram(const wchar_t* pwszName)
{
    wchar_t wszPath[MAX_PATH];
    const DWORD cchPath = GetModuleFileNameW(nullptr, wszPath, MAX_PATH);
    std::wstring strPath(wszPath, cchPath);
    return strPath.substr(0, strPath.find_last_of(L'\\') + 1) + pwszName;
}

TEST(VistaKB940105, OnlyEarlyVistaWithAnOldVersionedDriverGetsTheFlag)
{
    // version_de_en.exe carries file version 1.0.0.0; this test program carries none.
    const std::wstring strOldDriver = BesideTestProgram(L"version_de_en.exe");
    const std::wstring strNoVersion = BesideTestProgram(L"test_common.exe");
    const std::wstring strMissing = BesideTestProgram(L"no_such_driver.sys");
    struct Case_s
    {
        OSVersion_s m_version;
        const std::wstring* m_pstrDriver;
        int m_nFlag;
    };
    const Case_s rgCases[] = {
        {{k_unNT, 6, 0, 6000, false}, &strOldDriver, 1}, {{k_unNT, 6, 0, 5999, false}, &strOldDriver, 1},
        {{k_unNT, 6, 0, 6001, false}, &strOldDriver, 0}, {{k_unNT, 6, 1, 6000, false}, &strOldDriver, 0},
        {{k_unNT, 5, 0, 6000, false}, &strOldDriver, 0}, {{k_unNT, 6, 0, 6000, false}, &strNoVersion, 0},
        {{k_unNT, 6, 0, 6000, false}, &strMissing, 0},
    };
    for (const Case_s& c : rgCases)
    {
        EXPECT_EQ(c.m_nFlag, GetVistaKB940105FlagFor(c.m_version, c.m_pstrDriver->c_str()))
            << c.m_version.m_unMajor << "." << c.m_version.m_unMinor << "." << c.m_version.m_unBuild;
    }
    OSVersion_s running;
    ASSERT_TRUE(BGetRunningOSVersion(&running));
    if (running.m_unMajor != 6 || running.m_unMinor != 0)
    {
        EXPECT_EQ(0, GetVistaKB940105Flag());
    }
}

} // namespace
