// Lines and columns of findings in a script written as people write them: comments,
// conditionals, tabs, multi-line strings, escapes; and checks switched off.

#include "checktest.h"

TEST(CheckPlaces, PlacesStayExactAcrossEveryConstruct)
{
    const std::string strText = "// a comment with \"quotes\" and { braces }\n"                       // 1
                                "\"script\"\n"                                                        // 2
                                "{\n"                                                                 // 3
                                "\t\"Copy Files\" [$WIN32] // trailing \"comment\"\n"                 // 4
                                "\t{\n"                                                               // 5
                                "\t\t\"e\"\n"                                                         // 6
                                "\t\t{\n"                                                             // 7
                                "\t\t\t\"SrcFile\"\t\"first line\n"                                   // 8
                                "second line { } \\\" still text\n"                                   // 9
                                "third line\"\n"                                                      // 10
                                "\t\t  DstFile2 \"x\" [$LINUXX]\n"                                    // 11
                                "\t\t  \"DstFile\\\\3\" \"y\"\n"                                      // 12
                                "\t\t}\n"                                                             // 13
                                "\t}\n"                                                               // 14
                                "\t\"Delete Files\" [$WINDOWS&&$BEOS] { \"e\" { \"File\" \"x\" } }\n" // 15
                                "}\n";
    const std::vector<CheckFinding_s> vecFindings = CheckScriptText(strText);
    EXPECT_TRUE(HasFinding(vecFindings, k_ECheckFilePartner, 8, 4)) << "a quoted key: its opening quote";
    EXPECT_TRUE(HasFinding(vecFindings, k_ECheckConditionalPlatform, 11, 18)) << "a conditional";
    EXPECT_TRUE(HasFinding(vecFindings, k_ECheckFilePartner, 12, 5)) << "a key with an escape";
    EXPECT_TRUE(HasFinding(vecFindings, k_ECheckConditionalPlatform, 15, 17));
    EXPECT_EQ(vecFindings.size(), 4u) << DescribeFindings(vecFindings);
}

TEST(CheckPlaces, ReaderErrorsAreFindingsAtTheirLine)
{
    const std::vector<CheckFinding_s> vecFindings =
        CheckScriptText("\"script\"\n{\n  \"Copy Files\"\n  {\n    \"e\" }\n  }\n}\n");
    EXPECT_TRUE(HasFinding(vecFindings, k_ECheckSyntax, 5, 10)) << "where the reader stopped, after the }";
}

TEST(CheckPlaces, SwitchedOffChecksStaySilent)
{
    const std::string strText =
        "\"s\" { \"Registery\" { } \"Copy Files\" { \"e\" { \"SrcFile\" \"%NOPE%\" } } }";
    const std::vector<CheckFinding_s> vecAll = CheckScriptText(strText);
    ASSERT_TRUE(HasFinding(vecAll, k_ECheckUnknownSection));
    ASSERT_TRUE(HasFinding(vecAll, k_ECheckUnknownVariable));
    const std::vector<CheckFinding_s> vecSome =
        CheckScriptText(strText, {k_ECheckUnknownSection, k_ECheckUnknownVariable});
    EXPECT_TRUE(LacksFinding(vecSome, k_ECheckUnknownSection));
    EXPECT_TRUE(LacksFinding(vecSome, k_ECheckUnknownVariable));
    EXPECT_TRUE(HasFinding(vecSome, k_ECheckFilePartner));
}

TEST(CheckCatalog, EachNameLeadsBackToItsRow)
{
    for (int i = 0; i < k_ECheckCount; ++i)
    {
        const CheckInfo_s& info = GetCheckInfo(ECheck(i));
        EXPECT_EQ(info.m_eCheck, ECheck(i)) << info.m_pszName;
        EXPECT_EQ(GetCheckFromName(info.m_pszName), ECheck(i)) << info.m_pszName;
    }
}
