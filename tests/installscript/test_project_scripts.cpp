// The project's own scripts (the demo's job and the reader's seed scripts) pass the
// checker without errors. Native only: the files are read from the source tree.

#include "checktest.h"

#if !defined(_WIN32)
TEST(ProjectScripts, ShippedScriptsHaveNoErrors)
{
    for (const char* pszFile :
         {"examples/example-game/installscript.vdf", "fuzz/corpus/installscript_redist.vdf",
          "fuzz/corpus/installscript_registry.vdf", "fuzz/corpus/job_standalone.vdf"})
    {
        const std::string strPath = std::string(ISE_SOURCE_DIR "/") + pszFile;
        const FileReport_s report = CheckFile(strPath.c_str(), std::vector<bool>(k_ECheckCount, false));
        ASSERT_TRUE(report.m_bRead) << pszFile << ": " << report.m_strReadProblem;
        for (const CheckFinding_s& finding : report.m_vecFindings)
            EXPECT_NE(finding.m_eSeverity, k_ECheckSeverityError) << pszFile << "\n"
                                                                  << DescribeFindings({finding});
    }
}
#endif
