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

// Instruction-set bits of CPUInformation_s::m_rgubFeatureFlags: byte index times 8 plus
// bit index. Bytes 0 and 1 come from CPUID leaf 1, byte 2 from leaf 7, byte 3 from leaf
// 0x80000001.
enum ECpuFeature
{
    k_ECpuFeatureTSC = 0,
    k_ECpuFeatureCMOV = 1,
    k_ECpuFeatureMMX = 2,
    k_ECpuFeatureFXSR = 3,
    k_ECpuFeatureSSE = 4,
    k_ECpuFeatureSSE2 = 5,
    k_ECpuFeatureHTT = 6,
    k_ECpuFeatureSSE3 = 8,
    k_ECpuFeatureSSSE3 = 9,
    k_ECpuFeatureFMA = 10,
    k_ECpuFeatureSSE41 = 11,
    k_ECpuFeatureSSE42 = 12,
    k_ECpuFeaturePOPCNT = 13,
    k_ECpuFeatureAES = 14,
    k_ECpuFeatureAVX = 15,
    k_ECpuFeatureBMI1 = 16,
    k_ECpuFeatureAVX2 = 17,
    k_ECpuFeatureBMI2 = 18,
    k_ECpuFeatureAVX512F = 19,
    k_ECpuFeatureSHA = 20,
    k_ECpuFeatureLZCNT = 24,
    k_ECpuFeatureSSE4A = 25, // AMD only
    k_ECpuFeatureNX = 26,
    k_ECpuFeatureRDTSCP = 27,
    k_ECpuFeatureLongMode = 28,
};

// Filled once, on the first call of GetCPUInformation.
struct CPUInformation_s
{
    uint32 m_unSize;             // sizeof(CPUInformation_s) once filled, 0 before
    uint8 m_rgubFeatureFlags[4]; // instruction-set bits, see cputopology.cpp
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
bool BCpuHasFeature(const CPUInformation_s& info, ECpuFeature eFeature);

// The processor clock from the "~MHz" value of HKLM\pszKey, in Hz; 2 GHz when the key is
// missing or the value is not 4 bytes or is 0.
uint64 ReadProcessorSpeedHz(const char* pszKey);
