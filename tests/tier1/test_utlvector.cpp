// CUtlVector with elements that own memory: growth moves them, removal keeps the order.

#include <gtest/gtest.h>

#include "tier1/utlstring.h"
#include "tier1/utlvector.h"

TEST(UtlVector, AppendingOwnElementAcrossGrowth)
{
    CUtlVector<CUtlString> vec;
    for (const char* psz : {"a", "b", "c", "d"})
        vec.AddToTail(CUtlString(psz));
    // The fifth element forces a move to new memory while its source lives in the old one.
    vec.AddToTail(vec[0]);
    ASSERT_EQ(vec.Count(), 5);
    EXPECT_EQ(vec.Tail(), "a");
    EXPECT_EQ(vec[3], "d");
}

TEST(UtlVector, RemoveKeepsTheOrderOfTheRest)
{
    CUtlVector<CUtlString> vec;
    for (const char* psz : {"a", "b", "c"})
        vec.AddToTail(CUtlString(psz));
    vec.Remove(0);
    vec.Remove(1);
    ASSERT_EQ(vec.Count(), 1);
    EXPECT_EQ(vec.Head(), "b");
    vec.Purge();
    EXPECT_TRUE(vec.IsEmpty());
    vec.AddToTail();
    EXPECT_TRUE(vec[0].IsEmpty());
}
