#pragma once
// Calls a helper that asserts inside itself with the caller's file and line added to
// whatever fails there, so a failure points at the test. After the helper's declaration:
//     #define Helper(...) ISE_TRACED_CALL(Helper, __VA_ARGS__)
// and the definition spells its name "(Helper)" so the macro leaves it alone. The trace
// is a temporary, so it lasts until the end of the caller's full expression.

#include <gtest/gtest.h>

#define ISE_TRACED_CALL(helper, ...)                                                                         \
    ((void)::testing::ScopedTrace(__FILE__, __LINE__, #helper), (helper)(__VA_ARGS__))
