#pragma once
// Processor topology (cores, packages, logical processors) and the process-wide processor
// information record. Windows only.

#include "tier0/basetypes.h"

// The kinds of topology strategies; also the request codes of CreateCpuTopology.
enum ECpuTopologyImpl
{
    k_ECpuTopologyImplDefault = 0,
    k_ECpuTopologyImplGlpiEx = 1, // GetLogicalProcessorInformationEx
    k_ECpuTopologyImplGlpi = 2,   // GetLogicalProcessorInformation
    k_ECpuTopologyImplCpuid = 3,  // initial APIC ids sampled on every processor
    k_ECpuTopologyImplAuto = 4,
};

class ICpuTopology
{
public:
    virtual ~ICpuTopology() = default;
    virtual ECpuTopologyImpl GetImplType() const = 0;
    virtual int GetProcessorGroupCount() const = 0;
    virtual int GetPhysicalCoreCount() const = 0;
    virtual int GetPackageCount() const = 0;
    virtual int GetLogicalProcessorCount() const = 0;
    // Index of the group's first logical processor across all groups.
    virtual int GetGroupFirstProcessor(int nProcGroup) const = 0;
    virtual bool IsValid() const = 0;
    // The logical processors of one core: their mask, group and count.
    virtual uint64 GetCoreAffinityMask(int nCore, int* pnProcGroup, int* pnProcessors) const = 0;
    virtual uint64 GetProcessorAffinityMask(int nProcessor, int nProcGroup) const = 0;
};

// Requests 0-3 force a strategy, 4 picks the best available, anything above 4 gives the
// default one. The caller owns the result (null only when memory runs out).
ICpuTopology* CreateCpuTopology(int nRequest);

// Filled once, on the first call of GetCPUInformation.
struct CPUInformation_s
{
    uint32 m_unSize;             // sizeof(CPUInformation_s) once filled, 0 before
    uint8 m_rgubFeatureFlags[4]; // instruction-set bits, see CPUTopology.cpp
    uint8 m_nLogicalProcessors;
    uint8 m_nPhysicalProcessors; // at least 1
    uint64 m_ulSpeedHz;
    const char* m_pszProcessorID;   // the 12-character CPUID vendor string
    const char* m_pszProcessorName; // the CPUID brand string, or "Unknown"
    uint32 m_cubCpuidDump;
    const uint8* m_pubCpuidDump; // EAX, EBX, ECX, EDX of leaves 0, 1, 2, 4, 5, 6, 9, 10
};
static_assert(sizeof(CPUInformation_s) == 56, "the record's size is its filled mark");

const CPUInformation_s& GetCPUInformation();
