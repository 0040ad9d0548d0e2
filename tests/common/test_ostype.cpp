// OS types, their names, the running system and the Vista display-driver check.

#include <gtest/gtest.h>

#include <windows.h>

#include <set>
#include <string>

#include "common/ostype.h"
#include "regtestutil.h"
#include "spewcapture.h"

namespace
{

constexpr uint32 k_unNT = VER_PLATFORM_WIN32_NT;
constexpr uint32 k_un9x = VER_PLATFORM_WIN32_WINDOWS;

TEST(OSType, VersionsMapToReleasesAtTheBoundaries)
{
    // Build and product-type boundaries (the rest of the table is one row per version), a
    // version no release ever had, and 9x numbers on the NT line.
    const struct
    {
        OSVersion_s m_version;
        EOSType m_eExpected;
    } rgCases[] = {{{k_un9x, 4, 10, 1998, false}, k_EOSTypeWindows98},
                   {{k_unNT, 5, 2, 3790, false}, k_EOSTypeWindowsXP},
                   {{k_unNT, 5, 2, 3790, true}, k_EOSTypeWindowsServer2003},
                   {{k_unNT, 10, 0, 21999, false}, k_EOSTypeWindows10},
                   {{k_unNT, 10, 0, 22000, false}, k_EOSTypeWindows11},
                   {{k_unNT, 10, 0, 17762, true}, k_EOSTypeWindowsServer2016},
                   {{k_unNT, 10, 0, 17763, true}, k_EOSTypeWindowsServer2019},
                   {{k_unNT, 6, 4, 9841, false}, k_EOSTypeUnknown},
                   {{k_unNT, 4, 10, 1998, false}, k_EOSTypeUnknown}};
    for (const auto& testCase : rgCases)
    {
        EXPECT_EQ(testCase.m_eExpected, GetOSTypeFromVersion(testCase.m_version))
            << testCase.m_version.m_unMinor << "." << testCase.m_version.m_unBuild;
    }
}

TEST(OSType, NamesAreUniqueWithUnknownForTheRest)
{
    std::set<std::string> setNames;
    for (int i = 0; i < k_EOSTypeCount; ++i)
        EXPECT_TRUE(setNames.insert(PchNameFromEOSType(EOSType(i))).second) << i;
    EXPECT_STREQ("Unknown", PchNameFromEOSType(k_EOSTypeUnknown));
    EXPECT_STREQ("Windows 10", PchNameFromEOSType(k_EOSTypeWindows10));

    CQuietStderr quiet;
    CSpewCapture capture;
    EXPECT_STREQ("Unknown", PchNameFromEOSType(k_EOSTypeCount));
    EXPECT_STREQ("Unknown", PchNameFromEOSType(EOSType(-1)));
    EXPECT_EQ(2, capture.CountAssertsContaining("Missing String for EOSType"));
}

// The running system is no early Vista, so it never gets the display-driver flag.
TEST(OSType, RunningSystemIsAKnown64BitReleaseWithoutTheVistaFlag)
{
    OSVersion_s version;
    ASSERT_TRUE(BGetRunningOSVersion(&version));
    EXPECT_EQ(k_unNT, version.m_unPlatformId);
    EXPECT_NE(k_EOSTypeUnknown, GetRunningOSType());
    EXPECT_EQ(GetOSTypeFromVersion(version), GetRunningOSType());
    EXPECT_TRUE(BIs64BitWindows());
    EXPECT_TRUE(version.m_unMajor != 6 || version.m_unMinor != 0);
    EXPECT_EQ(0, GetVistaKB940105Flag());
}

TEST(VistaKB940105, OnlyEarlyVistaWithADriverOlderThanTheFixGetsTheFlag)
{
    EXPECT_TRUE(BDriverPredatesKB940105(0x00060000, 0x177050A7));  // 6.0.6000.20647
    EXPECT_FALSE(BDriverPredatesKB940105(0x00060000, 0x177050A8)); // 6.0.6000.20648 itself
    EXPECT_TRUE(BDriverPredatesKB940105(0x00050002, 0xFFFFFFFF));
    EXPECT_FALSE(BDriverPredatesKB940105(0x00060001, 0x00000000));

    // version_de_en.exe carries file version 1.0.0.0; this test program carries none.
    const struct
    {
        OSVersion_s m_version;
        const char* m_pszDriver;
        int m_nFlag;
    } rgCases[] = {{{k_unNT, 6, 0, 6000, false}, "version_de_en.exe", 1},
                   {{k_unNT, 6, 0, 5999, false}, "version_de_en.exe", 1},
                   {{k_unNT, 6, 0, 6001, false}, "version_de_en.exe", 0},
                   {{k_unNT, 6, 1, 6000, false}, "version_de_en.exe", 0},
                   {{k_unNT, 6, 0, 6000, false}, "test_common.exe", 0},
                   {{k_unNT, 6, 0, 6000, false}, "no_such_driver.sys", 0}};
    for (const auto& testCase : rgCases)
    {
        EXPECT_EQ(testCase.m_nFlag, GetVistaKB940105FlagFor(testCase.m_version,
                                                            BesideTestProgram(testCase.m_pszDriver).c_str()))
            << testCase.m_version.m_unMinor << "." << testCase.m_version.m_unBuild << " "
            << testCase.m_pszDriver;
    }
}

} // namespace
