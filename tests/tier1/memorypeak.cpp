// Peak heap use through the sanitizer allocator's malloc and free hooks.

#include "memorypeak.h"

#include <atomic>

#include "keyvalues_pool.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ISE_MEMORYPEAK_ASAN 1
#endif
#endif

#ifdef ISE_MEMORYPEAK_ASAN
#include <sanitizer/allocator_interface.h>
#endif

namespace
{
std::atomic<int64_t> s_cubCurrent{0};
std::atomic<int64_t> s_cubPeak{0};

#ifdef ISE_MEMORYPEAK_ASAN
void OnMalloc(const volatile void*, size_t cub)
{
    int64_t cubNow = s_cubCurrent.fetch_add((int64_t)cub) + (int64_t)cub;
    int64_t cubPeak = s_cubPeak.load();
    while (cubNow > cubPeak && !s_cubPeak.compare_exchange_weak(cubPeak, cubNow))
    {
    }
}

void OnFree(const volatile void* p)
{
    s_cubCurrent.fetch_sub((int64_t)__sanitizer_get_allocated_size(const_cast<const void*>(p)));
}

// The hooks stay installed for the life of the process; a scope resets the counters.
bool BHooksInstalled()
{
    static bool s_bInstalled = __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree) != 0;
    return s_bInstalled;
}
#else
bool BHooksInstalled()
{
    return false;
}
#endif
} // namespace

CMemoryPeak::CMemoryPeak() : m_cubPoolHeldBefore(GetKeyValuesPoolStats().m_cubHeld)
{
    BHooksInstalled();
    s_cubCurrent = 0;
    s_cubPeak = 0;
    KeyValuesPoolResetPeak();
}

bool CMemoryPeak::BMeasured() const
{
    return BHooksInstalled();
}

size_t CMemoryPeak::PeakBytes() const
{
    return (size_t)s_cubPeak.load() + (size_t)(GetKeyValuesPoolStats().m_cubHeldPeak - m_cubPoolHeldBefore);
}
