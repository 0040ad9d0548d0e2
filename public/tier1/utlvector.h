#pragma once
// A growable array of records (the manager's queue and small work lists). Elements are
// moved when the array grows; pointers into it are invalidated by growth.

#include <cstdlib>
#include <new>
#include <utility>

#include "tier0/basetypes.h"
#include "tier0/dbg.h"

template <typename T>
class CUtlVector
{
public:
    CUtlVector() = default;
    CUtlVector(const CUtlVector&) = delete;
    CUtlVector& operator=(const CUtlVector&) = delete;
    ~CUtlVector() { Purge(); }

    int Count() const { return m_nCount; }
    bool IsEmpty() const { return m_nCount == 0; }
    T& operator[](int i)
    {
        Assert(i >= 0 && i < m_nCount);
        return m_pMemory[i];
    }
    const T& operator[](int i) const
    {
        Assert(i >= 0 && i < m_nCount);
        return m_pMemory[i];
    }
    T& Head() { return (*this)[0]; }
    T& Tail() { return (*this)[m_nCount - 1]; }
    T* Base() { return m_pMemory; }
    T* begin() { return m_pMemory; }
    T* end() { return m_pMemory + m_nCount; }
    const T* begin() const { return m_pMemory; }
    const T* end() const { return m_pMemory + m_nCount; }

    // Appends a default-constructed element and returns its index.
    int AddToTail()
    {
        Grow(m_nCount + 1);
        new (&m_pMemory[m_nCount]) T();
        return m_nCount++;
    }
    int AddToTail(const T& src)
    {
        // src may be one of our own elements, which growing would move away.
        T copy(src);
        Grow(m_nCount + 1);
        new (&m_pMemory[m_nCount]) T(std::move(copy));
        return m_nCount++;
    }
    void Remove(int i)
    {
        Assert(i >= 0 && i < m_nCount);
        for (int j = i; j + 1 < m_nCount; ++j)
            m_pMemory[j] = std::move(m_pMemory[j + 1]);
        m_pMemory[--m_nCount].~T();
    }
    void RemoveAll()
    {
        for (int i = 0; i < m_nCount; ++i)
            m_pMemory[i].~T();
        m_nCount = 0;
    }
    void Purge()
    {
        RemoveAll();
        std::free(m_pMemory);
        m_pMemory = nullptr;
        m_nAllocated = 0;
    }

private:
    void Grow(int nNeeded)
    {
        if (nNeeded <= m_nAllocated)
            return;
        int nNew = m_nAllocated ? m_nAllocated * 2 : 4;
        while (nNew < nNeeded)
            nNew *= 2;
        T* pNew = static_cast<T*>(std::malloc(sizeof(T) * (size_t)nNew));
        AssertFatal(pNew);
        for (int i = 0; i < m_nCount; ++i)
        {
            new (&pNew[i]) T(std::move(m_pMemory[i]));
            m_pMemory[i].~T();
        }
        std::free(m_pMemory);
        m_pMemory = pNew;
        m_nAllocated = nNew;
    }

    T* m_pMemory = nullptr;
    int m_nCount = 0;
    int m_nAllocated = 0;
};
