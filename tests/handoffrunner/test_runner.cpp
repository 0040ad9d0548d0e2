// The runner started on hand-written admin scripts: what it accepts, what it refuses and
// the order and judgement of the jobs it runs.

#include <gtest/gtest.h>

#include "runnertestsupport.h"

namespace
{

constexpr unsigned k_unAppID = 990701;

// A job record as the evaluator writes it; strMore adds or repeats keys.
std::string JobRecord(const std::string& strName, const std::string& strProcess,
                      const std::string& strCommand, const std::string& strSequence,
                      const std::string& strMore = "")
{
    return "\"" + strName + "\" { \"Process\" \"" + strProcess + "\" \"Command\" \"" + strCommand +
           "\" \"Description\" \"" + strName +
           " setup\" \"HasRunKey\" "
           "\"HKEY_LOCAL_MACHINE\\\\Software\\\\Pellan\\\\Korvex\\\\Apps\\\\990701\" \"RunKeyName\" \"" +
           strName + "\" \"MinimumHasRunValue\" \"1\" \"Sequence\" \"" + strSequence + "\" " + strMore + " }";
}

// The setup.exe of the scratch directory, escaped for an admin script.
std::string SetupPath(const CScratchDir& dir)
{
    return Escaped(dir.File("game\\redist\\setup.exe"));
}

int RunRunner(const CScratchDir& dir, const std::string& strAdminScript)
{
    dir.Write("runasadmin.vdf", strAdminScript);
    return RunEvaluator(dir, {"/installscript", dir.File("runasadmin.vdf"), std::to_string(k_unAppID)},
                        ISE_RUNNER_EXE)
        .m_nExitCode;
}

TEST(HandOffRunner, RefusesEveryOtherCommandLineWithExitCode2)
{
    CScratchDir dir;
    const std::vector<std::vector<std::string>> vecCommandLines = {
        {},
        {"/installscript", "runasadmin.vdf"},
        {"/install", "runasadmin.vdf", "5"},
        {"/installscript", "runasadmin.vdf", "5x"},
        {"/installscript", "runasadmin.vdf", "-5"},
        {"/installscript", "runasadmin.vdf", "5", "extra"},
    };
    for (const std::vector<std::string>& vecArgs : vecCommandLines)
        EXPECT_EQ(2, RunEvaluator(dir, vecArgs, ISE_RUNNER_EXE).m_nExitCode)
            << testing::PrintToString(vecArgs);
    EXPECT_EQ(vecCommandLines.size(),
              LogLinesWith(dir, "expected /installscript \"<admin script>\" <app id>").size());
}

TEST(HandOffRunner, UnreadableAdminScriptsOnlyExitWith1)
{
    CScratchDir dir;
    EXPECT_EQ(
        1,
        RunEvaluator(dir, {"/installscript", dir.File("missing.vdf"), "990701"}, ISE_RUNNER_EXE).m_nExitCode);
    EXPECT_EQ(1, RunRunner(dir, std::string("\"Run Process\" { \"a\" { \x01\x02\xff\xfe", 12)));
    EXPECT_EQ(1, RunRunner(dir, std::string(5000, '{')));
    EXPECT_EQ((std::vector<std::string>{"[AppID 990701] Cannot read the admin script \"" +
                                            dir.File("missing.vdf") + "\"; nothing done",
                                        "[AppID 990701] The admin script \"" + dir.File("runasadmin.vdf") +
                                            "\" is not valid KeyValues text; nothing done",
                                        "[AppID 990701] The admin script \"" + dir.File("runasadmin.vdf") +
                                            "\" is not valid KeyValues text; nothing done"}),
              dir.LogLines());
}

TEST(HandOffRunner, MalformedRecordsDoNotStopTheOthers)
{
    CScratchDir dir;
    CScratchAppKey appKey(k_unAppID);
    InstallRunnerAndInstaller(dir);
    const std::string strQuoted = "C:\\\\no\\\\\\\"such\\\\setup.exe";
    EXPECT_EQ(1,
              RunRunner(dir, "\"symlink\" { \"nolink\" { \"to\" \"C:\\\\x\" } } \"Run Process\" { " +
                                 JobRecord("noprocess", "", "", "0") +
                                 JobRecord("badsequence", SetupPath(dir), "", "first") +
                                 JobRecord("badenv", SetupPath(dir), "", "1", "\"Environment\" \"x\"") +
                                 JobRecord("quoted", strQuoted, "", "2") +
                                 JobRecord("good", SetupPath(dir), Escaped(InstallerArgs(dir, "good")), "3") +
                                 " }"));
    EXPECT_EQ((std::vector<std::string>{"good"}), InstallerRuns(dir))
        << testing::PrintToString(dir.LogLines());
    EXPECT_EQ(
        (std::vector<std::string>{
            "[AppID 990701] Malformed symlink record \"nolink\" left out: \"from\" is missing",
            "[AppID 990701] Malformed Run Process record \"noprocess\" left out: \"Process\" is missing",
            "[AppID 990701] Malformed Run Process record \"badsequence\" left out: \"Sequence\" is not a "
            "whole number of 0 or more",
            "[AppID 990701] Malformed Run Process record \"badenv\" left out: \"Environment\" is a value, "
            "not a section"}),
        LogLinesWith(dir, "left out:"));
    // The path reads back exactly, quote and backslashes included.
    EXPECT_EQ(1u, LogLinesWith(dir, "cannot start \"C:\\no\\\"such\\setup.exe\"").size());
}

TEST(HandOffRunner, RunsInSequenceOrderWhatHasNotRun)
{
    CScratchDir dir;
    CScratchAppKey appKey(k_unAppID);
    InstallRunnerAndInstaller(dir);
    RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"done", 1);
    RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), L"forced", 1);
    const auto Job = [&](const std::string& strName, int nSequence, const std::string& strMore = "")
    {
        return JobRecord(strName, SetupPath(dir), Escaped(InstallerArgs(dir, strName)),
                         std::to_string(nSequence), strMore);
    };
    // "pair" is one entry with two programs; "late" and "early2" share a number: file order.
    EXPECT_EQ(
        0, RunRunner(dir, "\"symlink\" {} \"Run Process\" { " + Job("late", 3) + Job("done", 0) +
                              Job("forced", 1, "\"IgnoreHasRunKey\" \"1\"") + Job("early2", 3) +
                              JobRecord("pair", SetupPath(dir), Escaped(InstallerArgs(dir, "pair1")), "2") +
                              JobRecord("pair", SetupPath(dir), Escaped(InstallerArgs(dir, "pair2")), "4") +
                              " }"));
    EXPECT_EQ((std::vector<std::string>{"forced", "pair1", "pair2", "late", "early2"}), InstallerRuns(dir));
    EXPECT_EQ(
        (std::vector<std::string>{"[AppID 990701] Skipped \"done\": its run-once record in "
                                  "\"HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\990701\" already "
                                  "reaches 1"}),
        LogLinesWith(dir, "Skipped"));
    for (const wchar_t* pwszEntry : {L"late", L"early2", L"pair", L"forced"})
        EXPECT_EQ(1u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, appKey.Key(), pwszEntry)) << pwszEntry;
}

TEST(HandOffRunner, ValidExitCodesAreDecimalOrHexadecimalItems)
{
    CScratchDir dir;
    InstallRunnerAndInstaller(dir);
    const auto Job = [&](const std::string& strName, int nSequence, const std::string& strExit,
                         const std::string& strValid)
    {
        return JobRecord(strName, SetupPath(dir), Escaped(InstallerArgs(dir, strName, "--exit " + strExit)),
                         std::to_string(nSequence), "\"ValidExitCodes\" \"" + strValid + "\"");
    };
    EXPECT_EQ(1, RunRunner(dir, "\"Run Process\" { " + Job("hex", 0, "0x10", "1638;0x10") +
                                    Job("negative", 1, "-1", "7, -1 x") + Job("unlisted", 2, "8", "7,,zz 9") +
                                    " }"));
    const std::vector<std::string> vecEnded = LogLinesWith(dir, "ended with exit code");
    ASSERT_EQ(3u, vecEnded.size());
    EXPECT_NE(std::string::npos,
              vecEnded[0].find("exit code 16: success (listed in ValidExitCodes \"1638;0x10\")"));
    EXPECT_NE(std::string::npos, vecEnded[1].find("exit code -1: success"));
    EXPECT_NE(std::string::npos, vecEnded[2].find("exit code 8: failure"));
    EXPECT_EQ(2u, LogLinesWith(dir, "ValidExitCodes items that are not numbers ignored").size());
}

} // namespace
