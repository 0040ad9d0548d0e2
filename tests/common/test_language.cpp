#include <gtest/gtest.h>

#include <set>

#include "common/language.h"

namespace
{

TEST(Language, NamesRoundTripIdsAreDistinctUnknownIsEnglishUS)
{
    std::set<uint16> setIds;
    for (int i = 0; i < k_ELanguageCount; ++i)
    {
        EXPECT_EQ(ELanguage(i), GetLanguageFromName(GetLanguageName(ELanguage(i)))) << i;
        EXPECT_TRUE(setIds.insert(GetLanguageWindowsId(ELanguage(i))).second) << i;
    }
    EXPECT_EQ(1031, GetLanguageWindowsId(GetLanguageFromName("GERMAN")));
    EXPECT_EQ(1033, GetLanguageWindowsId(GetLanguageFromName("English")));
    for (const char* pszName : {"klingon", "", "germanx", "englis"})
        EXPECT_EQ(k_ELanguageUnknown, GetLanguageFromName(pszName)) << pszName;
    EXPECT_EQ(k_ELanguageUnknown, GetLanguageFromName(nullptr));
    EXPECT_EQ(1033, GetLanguageWindowsId(k_ELanguageUnknown));
    EXPECT_EQ(1033, GetLanguageWindowsId(k_ELanguageCount));
}

} // namespace
