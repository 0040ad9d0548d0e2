// Hostile documents give findings, never a crash, with memory within a few times the
// document (measured natively, where the sanitizer's allocator hooks count the heap).

#include <random>

#include "../tier1/memorypeak.h"
#include "checktest.h"

// Native only, as the reader's own hostile tests: the sanitizer's allocator counts the
// memory, and a 300 MB document is more than a Wine run should carry.
#if !defined(_WIN32)
namespace
{

void ExpectCheckedWithin(const std::string& strText, size_t nTimesDocument, ECheck eExpected)
{
    CMemoryPeak peak;
    const std::vector<CheckFinding_s> vecFindings = CheckScriptText(strText);
    EXPECT_TRUE(HasFinding(vecFindings, eExpected));
    EXPECT_LE(vecFindings.size(), (size_t)k_ECheckCount * (CCheckContext::k_cFindingsPerCheckMax + 1));
    if (peak.BMeasured())
        EXPECT_LT(peak.PeakBytes(), nTimesDocument * strText.size());
}

} // namespace

TEST(CheckHostile, BinaryGarbage)
{
    std::mt19937 rng(7);
    std::string strText(1 << 20, '\0');
    for (char& ch : strText)
        ch = (char)rng();
    ExpectCheckedWithin(strText, 4, k_ECheckSyntax);
}

TEST(CheckHostile, MillionLevelsDeep)
{
    std::string strText;
    for (int i = 0; i < 1000000; ++i)
        strText += "a{";
    ExpectCheckedWithin(strText, 4, k_ECheckSyntax);
}

TEST(CheckHostile, ThreeHundredMegabyteToken)
{
    std::string strText(300u << 20, 'x');
    const char szStart[] = "s { \"Copy Files\" { \"e\" { \"SrcFile\" \"";
    memcpy(&strText[0], szStart, sizeof(szStart) - 1);
    ExpectCheckedWithin(strText, 2, k_ECheckSyntax);
}

TEST(CheckHostile, HundredThousandSections)
{
    std::string strText = "\"script\"\n{\n";
    for (int i = 0; i < 100000; ++i)
        strText += "\t\"Section " + std::to_string(i) + "\" { }\n";
    strText += "}\n";
    // Twenty bytes a key: the tree's node and the key's place (a slot of a table kept at
    // most three quarters full) weigh several times that.
    ExpectCheckedWithin(strText, 8, k_ECheckUnknownSection);
}
#endif
