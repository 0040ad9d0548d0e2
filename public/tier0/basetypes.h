#pragma once
// Fixed-width names used across the code base.

#include <cstddef>
#include <cstdint>

typedef int8_t int8;
typedef uint8_t uint8;
typedef int16_t int16;
typedef uint16_t uint16;
typedef int32_t int32;
typedef uint32_t uint32;
typedef int64_t int64;
typedef uint64_t uint64;
typedef intptr_t intp;
typedef uintptr_t uintp;

// 16-bit text units: Windows' wchar_t, and the width KeyValues stores wide strings in
// on every platform.
typedef char16_t wchar16;

template <typename T, size_t N>
constexpr size_t ArraySize(T (&)[N])
{
    return N;
}
#define V_ARRAYSIZE(a) ArraySize(a)
