#include "checktest.h"

std::vector<CheckFinding_s> CheckScriptText(const std::string& strText, const std::vector<ECheck>& vecOff)
{
    std::vector<bool> vecDisabled(k_ECheckCount, false);
    for (ECheck eCheck : vecOff)
        vecDisabled[eCheck] = true;
    return CheckText(strText.data(), strText.size(), "test.vdf", vecDisabled);
}

std::string DescribeFindings(const std::vector<CheckFinding_s>& vecFindings)
{
    std::string str;
    for (const CheckFinding_s& finding : vecFindings)
        str += std::to_string(finding.m_nLine) + ":" + std::to_string(finding.m_nColumn) + " " +
               GetCheckInfo(finding.m_eCheck).m_pszName + " " + finding.m_strKeyPath + ": " +
               finding.m_strMessage + "\n";
    return str;
}

::testing::AssertionResult HasFinding(const std::vector<CheckFinding_s>& vecFindings, ECheck eCheck,
                                      int nLine, int nColumn)
{
    for (const CheckFinding_s& finding : vecFindings)
    {
        if (finding.m_eCheck == eCheck &&
            (nLine == 0 || (finding.m_nLine == nLine && finding.m_nColumn == nColumn)))
            return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "no " << GetCheckInfo(eCheck).m_pszName << " at " << nLine << ":" << nColumn << " among:\n"
           << DescribeFindings(vecFindings);
}

::testing::AssertionResult LacksFinding(const std::vector<CheckFinding_s>& vecFindings, ECheck eCheck)
{
    for (const CheckFinding_s& finding : vecFindings)
    {
        if (finding.m_eCheck == eCheck)
            return ::testing::AssertionFailure() << "unexpected " << GetCheckInfo(eCheck).m_pszName << ":\n"
                                                 << DescribeFindings(vecFindings);
    }
    return ::testing::AssertionSuccess();
}
