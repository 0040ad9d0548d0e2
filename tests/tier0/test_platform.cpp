#include <thread>

#include <gtest/gtest.h>

#include "tier0/platform.h"

namespace
{

// The spew lock takes 0 for "no owner", so no thread may have that id.
TEST(PlatformThreadId, IdentifiesEachThreadWithANonZeroValue)
{
    const uint32 unMain = Plat_GetCurrentThreadId();
    uint32 unOther = 0;
    std::thread([&unOther] { unOther = Plat_GetCurrentThreadId(); }).join();
    EXPECT_NE(0u, unMain);
    EXPECT_NE(0u, unOther);
    EXPECT_NE(unMain, unOther);
    EXPECT_EQ(unMain, Plat_GetCurrentThreadId());
}

TEST(PlatformEnvironment, FindsOnlyVariablesThatAreSet)
{
    const char* pszPath = Plat_GetEnv("PATH");
    ASSERT_NE(nullptr, pszPath);
    EXPECT_NE('\0', pszPath[0]);
    EXPECT_EQ(nullptr, Plat_GetEnv("ISE_TIER0_TEST_NEVER_SET"));
}

} // namespace
