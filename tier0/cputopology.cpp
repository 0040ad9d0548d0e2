// Processor topology strategies and the processor information record.

#include <cpuid.h>
#include <windows.h>

#include <cstring>
#include <initializer_list>
#include <new>

#include "tier0/cputopology.h"
#include "tier0/dbg.h"
#include "tier0/procaddress.h"

namespace Cpuid
{

struct Regs_s
{
    uint32 m_unEax;
    uint32 m_unEbx;
    uint32 m_unEcx;
    uint32 m_unEdx;
};

Regs_s Query(uint32 unLeaf, uint32 unSubLeaf = 0)
{
    Regs_s regs;
    __cpuid_count(unLeaf, unSubLeaf, regs.m_unEax, regs.m_unEbx, regs.m_unEcx, regs.m_unEdx);
    return regs;
}

uint32 MaxLeaf()
{
    return Query(0).m_unEax;
}

uint32 MaxExtendedLeaf()
{
    return Query(0x80000000).m_unEax;
}

// Read once; the text is EBX, EDX, ECX of leaf 0.
const char* GetVendor()
{
    static const struct Vendor_s
    {
        char m_szText[13] = {};
        Vendor_s()
        {
            const Regs_s regs = Query(0);
            memcpy(m_szText, &regs.m_unEbx, 4);
            memcpy(m_szText + 4, &regs.m_unEdx, 4);
            memcpy(m_szText + 8, &regs.m_unEcx, 4);
        }
    } s_vendor;
    return s_vendor.m_szText;
}

bool IsVendor(const char* pszVendor)
{
    return strcmp(GetVendor(), pszVendor) == 0;
}

} // namespace Cpuid

namespace
{

constexpr const char k_szGenuineIntel[] = "GenuineIntel";
constexpr const char k_szAuthenticAMD[] = "AuthenticAMD";

int CountBits(uint64 ulMask)
{
    return __builtin_popcountll(ulMask);
}

// Bits needed to hold unValue (0 for 0).
int BitWidth(uint32 unValue)
{
    return unValue ? 32 - __builtin_clz(unValue) : 0;
}

int SystemProcessorCount()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return (int)info.dwNumberOfProcessors;
}

uint64 ProcessAffinityMask()
{
    DWORD_PTR dwProcess = 0;
    DWORD_PTR dwSystem = 0;
    return GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem) ? dwProcess : 0;
}

uint64 SystemAffinityMask()
{
    DWORD_PTR dwProcess = 0;
    DWORD_PTR dwSystem = 0;
    return GetProcessAffinityMask(GetCurrentProcess(), &dwProcess, &dwSystem) ? dwSystem : 0;
}

HMODULE Kernel32()
{
    return GetModuleHandleA("kernel32");
}

typedef BOOL(WINAPI* PFNGetLogicalProcessorInformation)(SYSTEM_LOGICAL_PROCESSOR_INFORMATION* pInfo,
                                                        DWORD* pcbInfo);
typedef BOOL(WINAPI* PFNGetLogicalProcessorInformationEx)(LOGICAL_PROCESSOR_RELATIONSHIP eRelationship,
                                                          SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX* pInfo,
                                                          DWORD* pcbInfo);
typedef BOOL(WINAPI* PFNVerifyVersionInfoA)(OSVERSIONINFOEXA* pVersion, DWORD dwTypeMask,
                                            DWORDLONG ulCondition);
typedef ULONGLONG(WINAPI* PFNVerSetConditionMask)(ULONGLONG ulCondition, DWORD dwTypeMask, BYTE ubCondition);

// The classic query, when the system is at least 6.0 SP 0.0.
PFNGetLogicalProcessorInformation LookUpClassicQuery()
{
    const auto pVvi = GetProcAddressAs<PFNVerifyVersionInfoA>(Kernel32(), "VerifyVersionInfoA");
    const auto pVscm = GetProcAddressAs<PFNVerSetConditionMask>(Kernel32(), "VerSetConditionMask");
    Assert(pVscm);
    if (!pVvi || !pVscm)
        return nullptr;
    OSVERSIONINFOEXA version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = 6;
    const DWORD dwTypeMask =
        VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR | VER_SERVICEPACKMINOR;
    ULONGLONG ulCondition = 0;
    for (DWORD dwType : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR, VER_SERVICEPACKMINOR})
        ulCondition = pVscm(ulCondition, dwType, VER_GREATER_EQUAL);
    if (!pVvi(&version, dwTypeMask, ulCondition))
        return nullptr;
    const auto pGlpi =
        GetProcAddressAs<PFNGetLogicalProcessorInformation>(Kernel32(), "GetLogicalProcessorInformation");
    Assert(pGlpi);
    return pGlpi;
}

PFNGetLogicalProcessorInformation ClassicQuery()
{
    static const PFNGetLogicalProcessorInformation s_pfnGlpi = LookUpClassicQuery();
    return s_pfnGlpi;
}

PFNGetLogicalProcessorInformationEx ExtendedQuery()
{
    static bool s_bLookedUp = false;
    static PFNGetLogicalProcessorInformationEx s_pfnGlpiEx = nullptr;
    if (!s_bLookedUp)
    {
        s_pfnGlpiEx = GetProcAddressAs<PFNGetLogicalProcessorInformationEx>(
            Kernel32(), "GetLogicalProcessorInformationEx");
        s_bLookedUp = true;
    }
    return s_pfnGlpiEx;
}

class CDefaultImpl final : public ICpuTopology
{
public:
    ECpuTopologyImpl GetImplType() const override { return k_ECpuTopologyImplDefault; }
    int GetProcessorGroupCount() const override { return 1; }
    int GetPhysicalCoreCount() const override { return 1; }
    int GetPackageCount() const override { return 1; }
    int GetLogicalProcessorCount() const override { return SystemProcessorCount(); }
    int GetGroupFirstProcessor(int) const override { return 0; }
    bool IsValid() const override { return true; }
    // Knows no cores: the whole process mask stands for "core 1".
    uint64 GetCoreAffinityMask(int nCore, int* pnProcGroup, int* pnProcessors) const override
    {
        const uint64 ulMask = nCore == 1 ? ProcessAffinityMask() : 0;
        *pnProcGroup = 0;
        *pnProcessors = CountBits(ulMask);
        return ulMask;
    }
    uint64 GetProcessorAffinityMask(int nProcessor, int nProcGroup) const override
    {
        Assert(nProcGroup == 0);
        return nProcessor == 1 ? ProcessAffinityMask() : 0;
    }
};

class CGlpiImpl final : public ICpuTopology
{
public:
    static bool IsSupported() { return ClassicQuery() != nullptr; }

    CGlpiImpl()
    {
        Assert(IsSupported());
        const PFNGetLogicalProcessorInformation pGlpi = ClassicQuery();
        Assert(pGlpi);
        m_nSystemProcessors = SystemProcessorCount();
        DWORD cbInfo = 0;
        if (!pGlpi)
            return;
        pGlpi(nullptr, &cbInfo);
        m_pInfo = static_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION*>(malloc(cbInfo));
        if (!m_pInfo || !pGlpi(m_pInfo, &cbInfo))
            return;
        static_assert(sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION) == 32, "one record is 32 bytes");
        m_nRecords = cbInfo / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION);
        for (int i = 0; i < m_nRecords; ++i)
        {
            if (m_pInfo[i].Relationship == RelationProcessorCore)
                ++m_nCores;
            else if (m_pInfo[i].Relationship == RelationProcessorPackage)
                ++m_nPackages;
        }
    }
    ~CGlpiImpl() override { free(m_pInfo); }

    ECpuTopologyImpl GetImplType() const override { return k_ECpuTopologyImplGlpi; }
    int GetProcessorGroupCount() const override { return 1; }
    int GetPhysicalCoreCount() const override
    {
        return m_nCores < m_nSystemProcessors ? m_nCores : m_nSystemProcessors;
    }
    int GetPackageCount() const override { return m_nPackages; }
    int GetLogicalProcessorCount() const override { return m_nSystemProcessors; }
    int GetGroupFirstProcessor(int nProcGroup) const override
    {
        Assert(nProcGroup == 0);
        return 0;
    }
    bool IsValid() const override { return true; }
    uint64 GetCoreAffinityMask(int nCore, int* pnProcGroup, int* pnProcessors) const override
    {
        const SYSTEM_LOGICAL_PROCESSOR_INFORMATION* pCore = FindCore(nCore);
        const uint64 ulMask = pCore ? pCore->ProcessorMask : 0;
        *pnProcGroup = 0;
        *pnProcessors = CountBits(ulMask);
        return ulMask;
    }
    uint64 GetProcessorAffinityMask(int nProcessor, int nProcGroup) const override
    {
        Assert(nProcGroup == 0);
        for (int nCore = 0; nCore < m_nCores; ++nCore)
        {
            int nGroup = 0;
            int nProcessors = 0;
            const uint64 ulMask = GetCoreAffinityMask(nCore, &nGroup, &nProcessors);
            if (nProcessor >= 0 && nProcessor < 64 && (ulMask & (1ull << nProcessor)))
                return 1ull << nProcessor;
        }
        return 0;
    }

private:
    const SYSTEM_LOGICAL_PROCESSOR_INFORMATION* FindCore(int nCore) const
    {
        for (int i = 0; i < m_nRecords; ++i)
        {
            if (m_pInfo[i].Relationship == RelationProcessorCore && nCore-- == 0)
                return &m_pInfo[i];
        }
        return nullptr;
    }

    SYSTEM_LOGICAL_PROCESSOR_INFORMATION* m_pInfo = nullptr;
    int m_nRecords = 0;
    int m_nCores = 0;
    int m_nPackages = 0;
    int m_nSystemProcessors = 0;
};

class CGlpiExImpl final : public ICpuTopology
{
public:
    static bool IsSupported() { return ExtendedQuery() != nullptr; }

    CGlpiExImpl()
    {
        Assert(IsSupported());
        const PFNGetLogicalProcessorInformationEx pGlpiEx = ExtendedQuery();
        if (!pGlpiEx)
            return;
        DWORD cbData = 0;
        pGlpiEx(RelationAll, nullptr, &cbData);
        m_pGlpiExData = static_cast<uint8*>(malloc(cbData));
        if (!m_pGlpiExData ||
            !pGlpiEx(RelationAll, reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(m_pGlpiExData),
                     &cbData))
            return;
        m_nGlpiExDataBytes = cbData;
        ForEachRecord([this](const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX& record) { Count(record); });
    }
    ~CGlpiExImpl() override { free(m_pGlpiExData); }

    ECpuTopologyImpl GetImplType() const override { return k_ECpuTopologyImplGlpiEx; }
    int GetProcessorGroupCount() const override { return m_pGroup ? m_pGroup->ActiveGroupCount : 0; }
    int GetPhysicalCoreCount() const override { return m_nCores; }
    int GetPackageCount() const override { return m_nPackages; }
    int GetLogicalProcessorCount() const override { return m_nLogicalProcessors; }
    int GetGroupFirstProcessor(int nProcGroup) const override
    {
        int nFirst = 0;
        for (int nGroup = 0; m_pGroup && nGroup < nProcGroup && nGroup < m_pGroup->ActiveGroupCount; ++nGroup)
            nFirst += m_pGroup->GroupInfo[nGroup].ActiveProcessorCount;
        return nFirst;
    }
    bool IsValid() const override { return true; }
    uint64 GetCoreAffinityMask(int nCore, int* pnProcGroup, int* pnProcessors) const override
    {
        uint64 ulMask = 0;
        *pnProcGroup = 0;
        int nCoresSeen = 0;
        ForEachRecord(
            [&](const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX& record)
            {
                if (record.Relationship != RelationProcessorCore || nCoresSeen++ != nCore)
                    return;
                ulMask = record.Processor.GroupMask[0].Mask;
                *pnProcGroup = record.Processor.GroupMask[0].Group;
            });
        *pnProcessors = CountBits(ulMask);
        return ulMask;
    }
    uint64 GetProcessorAffinityMask(int nProcessor, int nProcGroup) const override
    {
        if (!m_pGroup || nProcGroup < 0 || nProcGroup >= m_pGroup->ActiveGroupCount || nProcessor < 0 ||
            nProcessor >= m_pGroup->GroupInfo[nProcGroup].ActiveProcessorCount)
            return 0;
        return 1ull << nProcessor;
    }

private:
    // Walks the variable-length records.
    template <typename TVisit>
    void ForEachRecord(TVisit fnVisit) const
    {
        const uint8* const pEnd = m_pGlpiExData + m_nGlpiExDataBytes;
        const uint8* pIterData = m_pGlpiExData;
        while (pIterData != pEnd)
        {
            Assert(pIterData < m_pGlpiExData + m_nGlpiExDataBytes);
            if (pIterData > pEnd)
                break;
            const auto* pRecord = reinterpret_cast<const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(pIterData);
            if (pRecord->Size == 0)
                break;
            fnVisit(*pRecord);
            pIterData += pRecord->Size;
        }
        Assert(pIterData == m_pGlpiExData + m_nGlpiExDataBytes);
    }

    void Count(const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX& record)
    {
        switch (record.Relationship)
        {
            case RelationProcessorCore:
                ++m_nCores;
                for (WORD i = 0; i < record.Processor.GroupCount; ++i)
                    m_nLogicalProcessors += CountBits(record.Processor.GroupMask[i].Mask);
                break;
            case RelationProcessorPackage:
                ++m_nPackages;
                break;
            case RelationGroup:
                Assert(m_pGroup == nullptr);
                m_pGroup = &record.Group;
                CheckGroupMasks();
                break;
            default:
                break;
        }
    }

    // Active processors are expected to be the lowest ones of each group.
    void CheckGroupMasks() const
    {
        for (WORD i = 0; i < m_pGroup->ActiveGroupCount; ++i)
        {
            const PROCESSOR_GROUP_INFO& info = m_pGroup->GroupInfo[i];
            const uint64 ulExpected =
                info.ActiveProcessorCount >= 64 ? ~0ull : (1ull << info.ActiveProcessorCount) - 1;
            Assert(info.ActiveProcessorMask == ulExpected);
        }
    }

    uint8* m_pGlpiExData = nullptr;
    DWORD m_nGlpiExDataBytes = 0;
    const GROUP_RELATIONSHIP* m_pGroup = nullptr;
    int m_nCores = 0;
    int m_nPackages = 0;
    int m_nLogicalProcessors = 0;
};

class CCpuidImpl final : public ICpuTopology
{
public:
    static bool IsSupported()
    {
        return Cpuid::IsVendor(k_szGenuineIntel) || Cpuid::IsVendor(k_szAuthenticAMD);
    }

    CCpuidImpl()
    {
        Assert(IsSupported());
        const bool bIntel = Cpuid::IsVendor(k_szGenuineIntel);
        AssertFmt(bIntel || Cpuid::IsVendor(k_szAuthenticAMD), "%s", "Cpuid::IsVendor( AuthenticAMD )");
        const Cpuid::Regs_s regs1 = Cpuid::Query(1);
        int nLogProcsPerPkg = (regs1.m_unEdx & (1u << 28)) ? (regs1.m_unEbx >> 16) & 0xFF : 1;
        const int nCoresPerPkg = bIntel ? IntelCoresPerPackage() : AmdCoresPerPackage();
        if (nLogProcsPerPkg < nCoresPerPkg)
        {
            Assert(1 == nLogProcsPerPkg);
            nLogProcsPerPkg = nCoresPerPkg;
        }
        m_nSmtBits = BitWidth(nLogProcsPerPkg / nCoresPerPkg - 1);
        m_nCoreBits = BitWidth(nCoresPerPkg - 1);
        SampleApicIds();
        CountCoresAndPackages();
    }

    ECpuTopologyImpl GetImplType() const override { return k_ECpuTopologyImplCpuid; }
    int GetProcessorGroupCount() const override { return 1; }
    int GetPhysicalCoreCount() const override { return (int)m_nCores; }
    int GetPackageCount() const override { return (int)m_nPackages; }
    int GetLogicalProcessorCount() const override { return (int)m_nItems; }
    int GetGroupFirstProcessor(int) const override { return 0; }
    bool IsValid() const override { return true; }
    uint64 GetCoreAffinityMask(int nCore, int* pnProcGroup, int* pnProcessors) const override
    {
        uint64 ulMask = 0;
        if (nCore >= 0 && (uint32)nCore < m_nCores)
        {
            for (uint32 idx = 0; idx < m_nItems; ++idx)
            {
                if (CoreKey(m_apicIds[idx]) == m_coreKeys[nCore])
                    ulMask |= 1ull << m_processorBits[idx];
            }
        }
        *pnProcGroup = 0;
        *pnProcessors = CountBits(ulMask);
        return ulMask;
    }
    uint64 GetProcessorAffinityMask(int nProcessor, int) const override
    {
        const uint32 idx = (uint32)nProcessor;
        Assert(idx < m_nItems);
        return idx < m_nItems ? 1ull << m_processorBits[idx] : 0;
    }

private:
    static int IntelCoresPerPackage()
    {
        return Cpuid::MaxLeaf() >= 4 ? (int)((Cpuid::Query(4).m_unEax >> 26) & 0x3F) + 1 : 1;
    }
    static int AmdCoresPerPackage()
    {
        if (Cpuid::MaxExtendedLeaf() < 0x80000008)
            return 1;
        const uint32 unEcx = Cpuid::Query(0x80000008).m_unEcx;
        const uint32 unIdBits = (unEcx >> 12) & 0xF;
        return unIdBits ? 1 << unIdBits : (int)(unEcx & 0xFF) + 1;
    }

    // The package and core fields of an initial APIC id, without the SMT field.
    uint8 CoreKey(uint8 unApicId) const { return (uint8)(unApicId >> m_nSmtBits); }
    uint8 PackageKey(uint8 unApicId) const { return (uint8)(unApicId >> (m_nSmtBits + m_nCoreBits)); }

    // Runs on each processor of the system mask in turn and reads its initial APIC id.
    void SampleApicIds()
    {
        Assert(0 == m_nItems);
        HANDLE hProcess = GetCurrentProcess();
        HANDLE hThread = GetCurrentThread();
        DWORD_PTR dwProcessMask = 0;
        DWORD_PTR dwSystemMask = 0;
        GetProcessAffinityMask(hProcess, &dwProcessMask, &dwSystemMask);
        SetProcessAffinityMask(hProcess, dwSystemMask);
        DWORD_PTR dwThreadMask = 0;
        for (int nBit = 0; nBit < 64; ++nBit)
        {
            const DWORD_PTR dwBit = (DWORD_PTR)1 << nBit;
            if (!(dwSystemMask & dwBit))
                continue;
            const DWORD_PTR dwPrevious = SetThreadAffinityMask(hThread, dwBit);
            if (!dwThreadMask)
                dwThreadMask = dwPrevious;
            Sleep(0);
            if (m_nItems < V_ARRAYSIZE(m_apicIds))
            {
                m_processorBits[m_nItems] = (uint8)nBit;
                m_apicIds[m_nItems++] = (uint8)(Cpuid::Query(1).m_unEbx >> 24);
            }
        }
        Assert(m_nItems <= V_ARRAYSIZE(m_apicIds));
        SetProcessAffinityMask(hProcess, dwProcessMask);
        if (dwThreadMask)
            SetThreadAffinityMask(hThread, dwThreadMask);
        Sleep(0);
        Assert(m_nItems > 0);
    }

    // Distinct (package, core) pairs and distinct packages among the sampled ids.
    void CountCoresAndPackages()
    {
        uint8 pkgCoreIds[64];
        uint8 pkgIds[64];
        uint32 nCoreIdx = 0;
        uint32 nPackageIdx = 0;
        for (uint32 idx = 0; idx < m_nItems; ++idx)
        {
            const uint8 unCoreKey = CoreKey(m_apicIds[idx]);
            const uint8 unPackageKey = PackageKey(m_apicIds[idx]);
            if (!BContains(pkgCoreIds, nCoreIdx, unCoreKey))
            {
                Assert(nCoreIdx < V_ARRAYSIZE(pkgCoreIds));
                if (nCoreIdx < V_ARRAYSIZE(pkgCoreIds))
                    pkgCoreIds[nCoreIdx++] = unCoreKey;
            }
            if (!BContains(pkgIds, nPackageIdx, unPackageKey))
            {
                Assert(nPackageIdx < V_ARRAYSIZE(pkgIds));
                if (nPackageIdx < V_ARRAYSIZE(pkgIds))
                    pkgIds[nPackageIdx++] = unPackageKey;
            }
        }
        memcpy(m_coreKeys, pkgCoreIds, nCoreIdx);
        m_nCores = nCoreIdx;
        m_nPackages = nPackageIdx;
    }

    static bool BContains(const uint8* pKeys, uint32 nKeys, uint8 unKey)
    {
        for (uint32 i = 0; i < nKeys; ++i)
        {
            if (pKeys[i] == unKey)
                return true;
        }
        return false;
    }

    uint8 m_apicIds[64] = {};
    uint8 m_processorBits[64] = {};
    uint8 m_coreKeys[64] = {};
    uint32 m_nItems = 0;
    uint32 m_nCores = 0;
    uint32 m_nPackages = 0;
    int m_nSmtBits = 0;
    int m_nCoreBits = 0;
};

ICpuTopology* CreateAutomaticTopology()
{
    if (CGlpiExImpl::IsSupported())
        return new (std::nothrow) CGlpiExImpl;
    if (CGlpiImpl::IsSupported())
        return new (std::nothrow) CGlpiImpl;
    if (CCpuidImpl::IsSupported())
        return new (std::nothrow) CCpuidImpl;
    return new (std::nothrow) CDefaultImpl;
}

} // namespace

ICpuTopology* CreateCpuTopology(int nRequest)
{
    switch (nRequest)
    {
        case k_ECpuTopologyImplGlpiEx:
            return new (std::nothrow) CGlpiExImpl;
        case k_ECpuTopologyImplGlpi:
            return new (std::nothrow) CGlpiImpl;
        case k_ECpuTopologyImplCpuid:
            return new (std::nothrow) CCpuidImpl;
        case k_ECpuTopologyImplAuto:
            return CreateAutomaticTopology();
        default:
            return new (std::nothrow) CDefaultImpl;
    }
}

namespace
{

enum ECpuidRegister
{
    k_ECpuidEcx,
    k_ECpuidEdx,
    k_ECpuidEbx,
};

struct CpuFeatureSource_s
{
    ECpuFeature m_eFeature;
    uint32 m_unLeaf;
    ECpuidRegister m_eRegister;
    uint8 m_nBit;
};

const CpuFeatureSource_s k_rgCpuFeatureSources[] = {
    {k_ECpuFeatureTSC, 1, k_ECpuidEdx, 4},
    {k_ECpuFeatureCMOV, 1, k_ECpuidEdx, 15},
    {k_ECpuFeatureMMX, 1, k_ECpuidEdx, 23},
    {k_ECpuFeatureFXSR, 1, k_ECpuidEdx, 24},
    {k_ECpuFeatureSSE, 1, k_ECpuidEdx, 25},
    {k_ECpuFeatureSSE2, 1, k_ECpuidEdx, 26},
    {k_ECpuFeatureHTT, 1, k_ECpuidEdx, 28},
    {k_ECpuFeatureSSE3, 1, k_ECpuidEcx, 0},
    {k_ECpuFeatureSSSE3, 1, k_ECpuidEcx, 9},
    {k_ECpuFeatureFMA, 1, k_ECpuidEcx, 12},
    {k_ECpuFeatureSSE41, 1, k_ECpuidEcx, 19},
    {k_ECpuFeatureSSE42, 1, k_ECpuidEcx, 20},
    {k_ECpuFeaturePOPCNT, 1, k_ECpuidEcx, 23},
    {k_ECpuFeatureAES, 1, k_ECpuidEcx, 25},
    {k_ECpuFeatureAVX, 1, k_ECpuidEcx, 28},
    {k_ECpuFeatureBMI1, 7, k_ECpuidEbx, 3},
    {k_ECpuFeatureAVX2, 7, k_ECpuidEbx, 5},
    {k_ECpuFeatureBMI2, 7, k_ECpuidEbx, 8},
    {k_ECpuFeatureAVX512F, 7, k_ECpuidEbx, 16},
    {k_ECpuFeatureSHA, 7, k_ECpuidEbx, 29},
    {k_ECpuFeatureLZCNT, 0x80000001, k_ECpuidEcx, 5},
    {k_ECpuFeatureSSE4A, 0x80000001, k_ECpuidEcx, 6},
    {k_ECpuFeatureNX, 0x80000001, k_ECpuidEdx, 20},
    {k_ECpuFeatureRDTSCP, 0x80000001, k_ECpuidEdx, 27},
    {k_ECpuFeatureLongMode, 0x80000001, k_ECpuidEdx, 29},
};

// Leaf 7 only when leaf 0 lists it, extended leaves only when 0x80000000 lists them.
bool BLeafAvailable(uint32 unLeaf)
{
    if (unLeaf >= 0x80000000)
        return Cpuid::MaxExtendedLeaf() >= unLeaf;
    return Cpuid::MaxLeaf() >= unLeaf;
}

uint32 RegisterValue(const Cpuid::Regs_s& regs, ECpuidRegister eRegister)
{
    switch (eRegister)
    {
        case k_ECpuidEcx:
            return regs.m_unEcx;
        case k_ECpuidEdx:
            return regs.m_unEdx;
        default:
            return regs.m_unEbx;
    }
}

void ReadFeatureFlags(uint8 (&rgubFlags)[4])
{
    const bool bAMD = Cpuid::IsVendor(k_szAuthenticAMD);
    for (const CpuFeatureSource_s& source : k_rgCpuFeatureSources)
    {
        if (!BLeafAvailable(source.m_unLeaf) || (source.m_eFeature == k_ECpuFeatureSSE4A && !bAMD))
            continue;
        if (RegisterValue(Cpuid::Query(source.m_unLeaf), source.m_eRegister) & (1u << source.m_nBit))
            rgubFlags[source.m_eFeature / 8] |= (uint8)(1u << (source.m_eFeature % 8));
    }
}

const char* ReadBrand()
{
    static char s_szBrand[49] = {};
    if (Cpuid::MaxExtendedLeaf() < 0x80000004)
        return "Unknown";
    for (uint32 i = 0; i < 3; ++i)
    {
        const Cpuid::Regs_s regs = Cpuid::Query(0x80000002 + i);
        memcpy(s_szBrand + i * 16, &regs, 16);
    }
    return s_szBrand;
}

const uint8* ReadCpuidDump()
{
    static uint8 s_rgubDump[128];
    const uint32 k_rgunLeaves[] = {0, 1, 2, 4, 5, 6, 9, 10};
    static_assert(sizeof(Cpuid::Regs_s) * V_ARRAYSIZE(k_rgunLeaves) == sizeof(s_rgubDump), "eight leaves");
    for (size_t i = 0; i < V_ARRAYSIZE(k_rgunLeaves); ++i)
    {
        const Cpuid::Regs_s regs = Cpuid::Query(k_rgunLeaves[i]);
        memcpy(s_rgubDump + i * sizeof(regs), &regs, sizeof(regs));
    }
    return s_rgubDump;
}

uint8 ClampToByte(int nValue)
{
    return nValue > 255 ? 255 : (uint8)nValue;
}

void FillCPUInformation(CPUInformation_s* pInfo)
{
    pInfo->m_ulSpeedHz = ReadProcessorSpeedHz("HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0");

    const int nSystemProcessors = SystemProcessorCount();
    ICpuTopology* pTopology = CreateCpuTopology(k_ECpuTopologyImplAuto);
    int nPhysical = pTopology ? pTopology->GetPhysicalCoreCount() : 0;
    if (nPhysical < 1)
        nPhysical = 1;
    int nLogical = nPhysical;
    for (int nCount : {nSystemProcessors, pTopology ? pTopology->GetLogicalProcessorCount() : 0,
                       CountBits(SystemAffinityMask())})
        nLogical = nCount > nLogical ? nCount : nLogical;
    pInfo->m_nPhysicalProcessors = ClampToByte(nPhysical);
    pInfo->m_nLogicalProcessors = ClampToByte(nLogical);

    ReadFeatureFlags(pInfo->m_rgubFeatureFlags);
    pInfo->m_pszProcessorID = Cpuid::GetVendor();
    pInfo->m_pszProcessorName = ReadBrand();
    pInfo->m_cubCpuidDump = 128;
    pInfo->m_pubCpuidDump = ReadCpuidDump();
    delete pTopology;
    pInfo->m_unSize = sizeof(CPUInformation_s);
}

} // namespace

uint64 ReadProcessorSpeedHz(const char* pszKey)
{
    constexpr uint64 k_ulFallbackHz = 2000000000ull;
    HKEY hKey = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, pszKey, 0, KEY_READ, &hKey) != ERROR_SUCCESS)
        return k_ulFallbackHz;
    DWORD dwMHz = 0;
    DWORD cbMHz = sizeof(dwMHz);
    const LSTATUS status =
        RegQueryValueExA(hKey, "~MHz", nullptr, nullptr, reinterpret_cast<BYTE*>(&dwMHz), &cbMHz);
    RegCloseKey(hKey);
    if (status != ERROR_SUCCESS || cbMHz != sizeof(dwMHz) || dwMHz == 0)
        return k_ulFallbackHz;
    return (uint64)dwMHz * 1000000ull;
}

const CPUInformation_s& GetCPUInformation()
{
    static CPUInformation_s s_info;
    if (s_info.m_unSize != sizeof(CPUInformation_s))
        FillCPUInformation(&s_info);
    return s_info;
}

bool BCpuHasFeature(const CPUInformation_s& info, ECpuFeature eFeature)
{
    return (info.m_rgubFeatureFlags[eFeature / 8] >> (eFeature % 8)) & 1;
}
