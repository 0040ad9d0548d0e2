// CUtlVector with elements that own memory: growth moves them, removal keeps the order.

#include <gtest/gtest.h>

#include "tier1/utlstring.h"
#include "tier1/utlvector.h"

TEST(UtlVector, ElementsKeepTheirOrderAsTheVectorChanges)
{
    CUtlVector<CUtlString> vec;
    for (const char* psz : {"a", "b", "c", "d"})
        vec.AddToTail(CUtlString(psz));
    // The fifth element forces a move to new memory while its source lives in the old one.
    vec.AddToTail(vec[0]);
    ASSERT_EQ(vec.Count(), 5);
    EXPECT_EQ(vec.Tail(), "a");
    EXPECT_EQ(vec[3], "d");

    vec.Remove(0);
    vec.Remove(1); // b c d a, then b d a
    ASSERT_EQ(vec.Count(), 3);
    EXPECT_EQ(vec.Head(), "b");
    EXPECT_EQ(vec[1], "d");
    vec.Purge();
    EXPECT_TRUE(vec.IsEmpty());
    vec.AddToTail();
    EXPECT_TRUE(vec[0].IsEmpty());
}
