#include "installscript/check_locations.h"

#include <cstdint>

namespace
{

// Errors past this many are not kept: a binary file records one every few bytes.
constexpr size_t k_cErrorsKept = 1000;

// The keys asked about, in an open-addressing table small enough to stay in the caches
// while every key read is looked up in it.
class CKeyQuerySet
{
public:
    explicit CKeyQuerySet(const std::vector<const KeyValues*>& vecKeys)
    {
        size_t cSlots = 16;
        while (cSlots < 2 * vecKeys.size())
            cSlots *= 2;
        m_vecSlots.assign(cSlots, Slot_s{nullptr, -1});
        for (const KeyValues* pkv : vecKeys)
            m_vecSlots[SlotOf(pkv)].m_pkv = pkv;
    }
    // The slot's offset when pkv is asked about, else null.
    int* Find(const KeyValues* pkv)
    {
        Slot_s& slot = m_vecSlots[SlotOf(pkv)];
        return slot.m_pkv ? &slot.m_nOffset : nullptr;
    }

private:
    struct Slot_s
    {
        const KeyValues* m_pkv;
        int m_nOffset;
    };
    size_t SlotOf(const KeyValues* pkv) const
    {
        // Nodes are 32 bytes apart; a multiplicative hash spreads their addresses.
        const uint64_t ulHash = ((uint64_t)(uintptr_t)pkv >> 5) * 0x9E3779B97F4A7C15ull;
        const size_t uMask = m_vecSlots.size() - 1;
        size_t i = (size_t)(ulHash >> 32) & uMask;
        while (m_vecSlots[i].m_pkv && m_vecSlots[i].m_pkv != pkv)
            i = (i + 1) & uMask;
        return i;
    }

    std::vector<Slot_s> m_vecSlots; // at most half full
};

} // namespace

std::vector<int> CKeyLocations::FindOffsets(const std::vector<const KeyValues*>& vecKeys) const
{
    if (vecKeys.empty())
        return {};
    CKeyQuerySet set(vecKeys);
    // A node the reader freed (a false conditional, a replaced key) may come back for a
    // later key: the later place wins.
    for (const KeyPlace_s& place : m_vecKeys)
    {
        if (int* pnOffset = set.Find(place.m_pkv))
            *pnOffset = place.m_nOffset;
    }
    std::vector<int> vecOffsets;
    vecOffsets.reserve(vecKeys.size());
    for (const KeyValues* pkv : vecKeys)
        vecOffsets.push_back(*set.Find(pkv));
    return vecOffsets;
}

void CKeyLocations::OnConditional(const char* pszConditional, int nOffset)
{
    m_vecConditionals.push_back({pszConditional, nOffset});
}

void CKeyLocations::OnError(const char* pszMessage, int nOffset)
{
    if (m_vecErrors.size() < k_cErrorsKept)
        m_vecErrors.push_back({pszMessage, nOffset});
}
