#pragma once
// Peak heap use over a scope, from the sanitizer allocator's hooks (native sanitizer
// builds only; elsewhere nothing is measured).

#include <cstddef>

class CMemoryPeak
{
public:
    CMemoryPeak();
    ~CMemoryPeak();
    CMemoryPeak(const CMemoryPeak&) = delete;
    CMemoryPeak& operator=(const CMemoryPeak&) = delete;

    bool BMeasured() const;
    // Highest number of bytes allocated at once since construction, beyond what was
    // allocated then.
    size_t PeakBytes() const;
};
