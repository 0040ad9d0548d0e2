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
    DWORD_PTR dwProcess = 0;
    DWORD_PTR dwSystem = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem);
    return dwSystem;
}

int SystemProcessors()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return (int)info.dwNumberOfProcessors;
}

std::string LiveVendor()
{
    unsigned int rgun[4];
    __cpuid(0, rgun[0], rgun[1], rgun[2], rgun[3]);
    char szVendor[13] = {};
    memcpy(szVendor, &rgun[1], 4);
    memcpy(szVendor + 4, &rgun[3], 4);
    memcpy(szVendor + 8, &rgun[2], 4);
    return szVendor;
}

bool BCpuidUsable()
{
    return LiveVendor() == "GenuineIntel" || LiveVendor() == "AuthenticAMD";
}

// The counts every strategy must get right, and its cores' masks cover the processors.
void CheckTopology(const ICpuTopology& topology, bool bMasksCoverSystem)
{
    EXPECT_TRUE(topology.IsValid());
    EXPECT_GE(topology.GetPhysicalCoreCount(), 1);
    EXPECT_LE(topology.GetPhysicalCoreCount(), topology.GetLogicalProcessorCount());
    EXPECT_GE(topology.GetPackageCount(), 1);
    EXPECT_LE(topology.GetPackageCount(), topology.GetPhysicalCoreCount());
    EXPECT_GE(topology.GetProcessorGroupCount(), 1);
    EXPECT_EQ(0, topology.GetGroupFirstProcessor(0));
    if (!bMasksCoverSystem)
        return;
    uint64 ulUnion = 0;
    int nProcessors = 0;
    for (int nCore = 0; nCore < topology.GetPhysicalCoreCount(); ++nCore)
    {
        int nGroup = -1;
        int nCoreProcessors = 0;
        const uint64 ulMask = topology.GetCoreAffinityMask(nCore, &nGroup, &nCoreProcessors);
        EXPECT_EQ(0u, ulUnion & ulMask) << "core " << nCore << " shares processors";
        EXPECT_EQ(0, nGroup);
        ulUnion |= ulMask;
        nProcessors += nCoreProcessors;
    }
    EXPECT_EQ(SystemMask(), ulUnion);
    EXPECT_EQ(topology.GetLogicalProcessorCount(), nProcessors);
}

TEST(CpuTopology, EveryStrategyKeepsTheInvariants)
{
    for (int nRequest : {0, 1, 2, 3})
    {
        SCOPED_TRACE(nRequest);
        if (nRequest == k_ECpuTopologyImplCpuid && !BCpuidUsable())
            continue;
        std::unique_ptr<ICpuTopology> pTopology(CreateCpuTopology(nRequest));
        ASSERT_TRUE(pTopology);
        EXPECT_EQ(nRequest, pTopology->GetImplType());
        CheckTopology(*pTopology, nRequest != k_ECpuTopologyImplDefault);
        if (nRequest != k_ECpuTopologyImplCpuid)
        {
            EXPECT_EQ(SystemProcessors(), pTopology->GetLogicalProcessorCount());
        }
    }
}

TEST(CpuTopology, AutomaticChoiceAndOutOfRangeRequests)
{
    ASSERT_TRUE(GetProcAddress(GetModuleHandleA("kernel32"), "GetLogicalProcessorInformationEx"));
    EXPECT_EQ(k_ECpuTopologyImplGlpiEx,
              std::unique_ptr<ICpuTopology>(CreateCpuTopology(k_ECpuTopologyImplAuto))->GetImplType());
    for (int nRequest : {5, 100, -1})
        EXPECT_EQ(k_ECpuTopologyImplDefault,
                  std::unique_ptr<ICpuTopology>(CreateCpuTopology(nRequest))->GetImplType());
}

// Sampling pins the thread to every processor; a narrowed process and thread come back.
TEST(CpuTopology, CpuidSamplingRestoresAffinity)
{
    if (!BCpuidUsable())
        GTEST_SKIP() << "CPUID topology needs an Intel or AMD processor";
    const DWORD_PTR dwLowest = SystemMask() & (~SystemMask() + 1);
    ASSERT_TRUE(SetProcessAffinityMask(GetCurrentProcess(), dwLowest));
    ASSERT_TRUE(SetThreadAffinityMask(GetCurrentThread(), dwLowest));
    std::unique_ptr<ICpuTopology> pCpuid(CreateCpuTopology(k_ECpuTopologyImplCpuid));
    EXPECT_EQ(SystemProcessors(), pCpuid->GetLogicalProcessorCount());
    DWORD_PTR dwProcess = 0;
    DWORD_PTR dwSystem = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem);
    EXPECT_EQ(dwLowest, dwProcess);
    EXPECT_EQ(dwLowest, SetThreadAffinityMask(GetCurrentThread(), dwLowest));
    SetProcessAffinityMask(GetCurrentProcess(), dwSystem);
}

TEST(CpuInformation, FilledOnceFromTheMachine)
{
    const CPUInformation_s& info = GetCPUInformation();
    EXPECT_EQ(56u, info.m_unSize);
    EXPECT_EQ(LiveVendor(), info.m_pszProcessorID);
    EXPECT_EQ(12u, strlen(info.m_pszProcessorID));
    EXPECT_GT(strlen(info.m_pszProcessorName), 0u);
    EXPECT_GE(info.m_nPhysicalProcessors, 1);
    EXPECT_LE(info.m_nPhysicalProcessors, info.m_nLogicalProcessors);
    EXPECT_GE(info.m_nLogicalProcessors, SystemProcessors());
    EXPECT_GE(info.m_nLogicalProcessors, __builtin_popcountll(SystemMask()));
    EXPECT_GT(info.m_ulSpeedHz, 0u);
    EXPECT_TRUE(BCpuHasFeature(info, k_ECpuFeatureSSE2));
    EXPECT_TRUE(BCpuHasFeature(info, k_ECpuFeatureLongMode));

    ASSERT_EQ(128u, info.m_cubCpuidDump);
    unsigned int rgunLeaf0[4];
    __cpuid(0, rgunLeaf0[0], rgunLeaf0[1], rgunLeaf0[2], rgunLeaf0[3]);
    EXPECT_EQ(0, memcmp(rgunLeaf0, info.m_pubCpuidDump, 16));

    EXPECT_EQ(&info, &GetCPUInformation());
}

// The speed comes from a 4-byte "~MHz"; anything else gives the 2 GHz fallback.
TEST(CpuInformation, SpeedFallsBackTo2GHz)
{
    const std::string strKey = "Software\\IseTest_CpuSpeed";
    HKEY hKey = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_LOCAL_MACHINE, strKey.c_str(), 0, nullptr, 0,
                                             KEY_ALL_ACCESS, nullptr, &hKey, nullptr));
    const auto Speed = [&](DWORD dwType, const void* pvData, DWORD cbData)
    {
        RegSetValueExA(hKey, "~MHz", 0, dwType, static_cast<const BYTE*>(pvData), cbData);
        return ReadProcessorSpeedHz(strKey.c_str());
    };
    const DWORD dwMHz = 2400;
    const DWORD dwZero = 0;
    const uint64 ulEight = 3000;
    EXPECT_EQ(2400000000ull, Speed(REG_DWORD, &dwMHz, 4));
    EXPECT_EQ(2000000000ull, Speed(REG_DWORD, &dwZero, 4));
    EXPECT_EQ(2000000000ull, Speed(REG_BINARY, &dwMHz, 3));
    EXPECT_EQ(2000000000ull, Speed(REG_QWORD, &ulEight, 8));
    RegCloseKey(hKey);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, strKey.c_str());
    EXPECT_EQ(2000000000ull, ReadProcessorSpeedHz(strKey.c_str()));
}

} // namespace
