#pragma once
// Peak memory use over a scope: the heap, from the sanitizer allocator's hooks (native
// sanitizer builds only; elsewhere nothing is measured), plus the KeyValues pool's
// chunks, which come straight from the system.

#include <cstddef>
#include <cstdint>

class CMemoryPeak
{
public:
    CMemoryPeak();
    CMemoryPeak(const CMemoryPeak&) = delete;
    CMemoryPeak& operator=(const CMemoryPeak&) = delete;

    bool BMeasured() const;
    // The highest heap use since construction beyond the use then, plus the same for the
    // pool's chunks (the two peaks added: an upper bound of the peak of their sum).
    size_t PeakBytes() const;

private:
    uint64_t m_cubPoolHeldBefore;
};
