// Processor topology on the machine the tests run on: invariants every strategy must
// keep, the automatic choice, and the once-filled processor information record.

#include <gtest/gtest.h>

#include <cpuid.h>
#include <windows.h>

#include <cstring>
#include <memory>
#include <string>

#include "tier0/cputopology.h"

namespace
{

uint64 SystemMask()
{
    DWORD_PTR dwProcess = 0, dwSystem = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem);
    return dwSystem;
}

bool BCpuidUsable()
{
    const char* pszVendor = GetCPUInformation().m_pszProcessorID;
    return strcmp(pszVendor, "GenuineIntel") == 0 || strcmp(pszVendor, "AuthenticAMD") == 0;
}

// Requests 0-3 force a strategy, 4 finds the extended query, anything above 4 is the default;
// the CPUID strategy pins the thread to every processor and puts a narrowed process and
// thread back. (The per-core masks serve no caller and are left alone.)
TEST(CpuTopology, StrategiesCountConsistentlyWithoutMovingTheThread)
{
    ASSERT_TRUE(GetProcAddress(GetModuleHandleA("kernel32"), "GetLogicalProcessorInformationEx"));
    const DWORD_PTR dwLowest = SystemMask() & (~SystemMask() + 1);
    ASSERT_TRUE(SetProcessAffinityMask(GetCurrentProcess(), dwLowest));
    ASSERT_TRUE(SetThreadAffinityMask(GetCurrentThread(), dwLowest));
    const int rgnCases[][2] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 1}, {5, 0}}; // request, strategy
    for (const int* pnCase : rgnCases)
    {
        SCOPED_TRACE(pnCase[0]);
        if (pnCase[1] == k_ECpuTopologyImplCpuid && !BCpuidUsable())
            continue;
        std::unique_ptr<ICpuTopology> pTopology(CreateCpuTopology(pnCase[0]));
        EXPECT_EQ(pnCase[1], pTopology->GetImplType());
        EXPECT_GE(pTopology->GetPhysicalCoreCount(), 1);
        EXPECT_LE(pTopology->GetPhysicalCoreCount(), pTopology->GetLogicalProcessorCount());
        EXPECT_GE(pTopology->GetPackageCount(), 1);
        EXPECT_LE(pTopology->GetPackageCount(), pTopology->GetPhysicalCoreCount());
        EXPECT_EQ(__builtin_popcountll(SystemMask()), pTopology->GetLogicalProcessorCount());
    }
    DWORD_PTR dwProcess = 0, dwSystem = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem);
    EXPECT_EQ(dwLowest, dwProcess);
    EXPECT_EQ(dwLowest, SetThreadAffinityMask(GetCurrentThread(), dwLowest));
    SetProcessAffinityMask(GetCurrentProcess(), dwSystem);
}

TEST(CpuInformation, FilledOnceFromTheMachineWithA2GHzSpeedFallback)
{
    const CPUInformation_s& info = GetCPUInformation();
    EXPECT_EQ(56u, info.m_unSize);
    unsigned int rgunLeaf0[4];
    __cpuid(0, rgunLeaf0[0], rgunLeaf0[1], rgunLeaf0[2], rgunLeaf0[3]);
    EXPECT_EQ(std::string((const char*)&rgunLeaf0[1], 4) + std::string((const char*)&rgunLeaf0[3], 4) +
                  std::string((const char*)&rgunLeaf0[2], 4),
              info.m_pszProcessorID);
    EXPECT_GT(strlen(info.m_pszProcessorName), 0u);
    EXPECT_GE(info.m_nPhysicalProcessors, 1);
    EXPECT_LE(info.m_nPhysicalProcessors, info.m_nLogicalProcessors);
    EXPECT_GE(info.m_nLogicalProcessors, __builtin_popcountll(SystemMask()));
    EXPECT_TRUE(BCpuHasFeature(info, k_ECpuFeatureLongMode));
    ASSERT_EQ(128u, info.m_cubCpuidDump);
    EXPECT_EQ(0, memcmp(rgunLeaf0, info.m_pubCpuidDump, 16));
    EXPECT_EQ(&info, &GetCPUInformation());

    // The speed comes from a 4-byte, non-zero "~MHz"; anything else gives the 2 GHz fallback.
    const char* pszKey = "Software\\IseTest_CpuSpeed";
    EXPECT_EQ(2000000000ull, ReadProcessorSpeedHz(pszKey)); // no key
    const uint64 rgulValues[] = {2400, 0, 2400, 3000};
    const DWORD rgdwTypes[] = {REG_DWORD, REG_DWORD, REG_BINARY, REG_QWORD};
    const DWORD rgcbSizes[] = {4, 4, 3, 8};
    for (int iCase = 0; iCase < 4; ++iCase)
    {
        ASSERT_EQ(ERROR_SUCCESS, RegSetKeyValueA(HKEY_LOCAL_MACHINE, pszKey, "~MHz", rgdwTypes[iCase],
                                                 &rgulValues[iCase], rgcbSizes[iCase]));
        EXPECT_EQ(iCase == 0 ? 2400000000ull : 2000000000ull, ReadProcessorSpeedHz(pszKey)) << iCase;
    }
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, pszKey);
}

} // namespace
