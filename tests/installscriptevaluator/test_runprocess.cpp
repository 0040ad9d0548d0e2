// The Run Process section through the real evaluator: the job records the service stub is
// handed in "runasadmin.vdf", which entries become jobs, and the step count it sees.

#include <gtest/gtest.h>

#include <windows.h>

#include "evaluatortestsupport.h"
#include "regtestutil.h"
#include "tier1/keyvalues.h"

namespace
{

// A job record as "key=value" lines in file order, subkeys as "sub/key=value". Names keep
// the spelling the evaluator wrote, whatever spelling the script used.
std::string Flatten(KeyValues* pkv, const std::string& strPrefix = "")
{
    std::string strText;
    for (KeyValues* pkvKey = pkv->GetFirstSubKey(); pkvKey; pkvKey = pkvKey->GetNextKey())
    {
        const std::string strName = strPrefix + pkvKey->GetName();
        strText += pkvKey->GetDataType() == KeyValues::TYPE_NONE ? Flatten(pkvKey, strName + "/")
                                                                 : strName + "=" + pkvKey->GetString() + "\n";
    }
    return strText;
}

typedef std::vector<std::pair<std::string, std::string>> JobList_t; // name, flattened record

// Runs one group with the service stub; returns the exit code and fills in what it was handed.
int RunWithStub(const CScratchDir& dir, unsigned int unAppID, int nMode, const std::string& strGroupKeys,
                JobList_t* pvecJobs)
{
    dir.InstallServiceStub();
    CreateDirectoryW(Widen(dir.File("game")).c_str(), nullptr);
    dir.Write("job.vdf", Job(Group(unAppID, nMode, dir.HostPath("game"), strGroupKeys)));
    const int nExitCode = RunEvaluator(dir, {"job.vdf"}).m_nExitCode;
    KeyValues* pkvHanded = ParseKeyValues(dir.Read("handed_runasadmin.vdf"));
    KeyValues* pkvRunProcess = pkvHanded->GetNextKey();
    EXPECT_STREQ("Run Process", pkvRunProcess ? pkvRunProcess->GetName() : "");
    for (KeyValues* pkvJob = pkvRunProcess ? pkvRunProcess->GetFirstSubKey() : nullptr; pkvJob;
         pkvJob = pkvJob->GetNextKey())
        pvecJobs->emplace_back(pkvJob->GetName(), Flatten(pkvJob));
    delete pkvHanded;
    return nExitCode;
}

TEST(RunProcess, LaunchQueuesWhatIsStillNeededInWalkOrder)
{
    CScratchDir dir;
    CScratchAppKey appKey(990501);
    for (const wchar_t* pwszEntry : {L"ran", L"gone", L"present"})
        RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, appKey.Key(), pwszEntry, 1);
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_32KEY, appKey.Key(), L"Ver", L"0.9");
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_32KEY, appKey.Key(), L"Ver2", L"1.0");
    CreateDirectoryW(Widen(dir.File("game")).c_str(), nullptr);
    CopyFileW(Widen(DosPathOf(ISE_VERSION_EN_DE_EXE)).c_str(), Widen(dir.File("game\\v.exe")).c_str(), FALSE);

    // "gone" still reads 0.9, and its half pair aimed at a missing value must not count as
    // a match; "present" matches by its second pair.
    JobList_t vecJobs;
    EXPECT_EQ(0, RunWithStub(dir, 990501, 1, R"("language" "german" "compat_installscript" {
        "Run Process" {
            "redist" { "process 1" "%INSTALLDIR%\\vcredist\\x.exe" "command 1" "/q"
                       "PROCESS 2" "MSIEXEC.exe" "command 2" "/i \"C:\\p\\dotnet\\x.msi\" \"y\"" }
            "versioned" { "process" "%INSTALLDIR%\\v.exe" "AsCurrentUser" "1" }
            "ran" { "process" "a.exe" }
            "gone" { "process" "b.exe" "HasRunStringKey" "HKCU\\Software\\Pellan\\Korvex\\Apps\\990501\\Ver"
                     "HasRunStringValue" "1.0" "HasRunStringKey2" "HKCU\\Software\\Pellan\\Korvex\\Apps\\990501\\No" }
            "present" { "process" "c.exe" "HasRunStringKey" "HKCU\\Software\\Pellan\\Korvex\\Apps\\990501\\Ver"
                        "HasRunStringValue" "1.0" "HasRunStringKey2" "HKCU\\Software\\Pellan\\Korvex\\Apps\\990501\\Ver2"
                        "HasRunStringValue2" "1.0" }
            "broken" { "process" "" "processx" {} "process y" "%NOSUCHVAR%\\d.exe" }
        }
        "Run Process On Update" {
            "upd" { "process" "e.exe" "command" "-u" "Description" "Say \"hi\" C:\\x" "MinimumHasRunValue" "2"
                    "IgnoreExitCode" "1" "ValidExitCodes" "3010" "IgnoreHasRunKey" "7" }
        } })",
                             &vecJobs));

    // The script's "process" is the record key "Process": one name, spelled as first interned.
    EXPECT_EQ((std::vector<std::string>{"[Standalone] translated install path: " + dir.File("game"),
                                        "[AppID 990501] Failed to build Run Process keys for Process",
                                        "[AppID 990501] Failed to build Run Process keys for processx"}),
              dir.LogLines());
    EXPECT_NE(std::string::npos, dir.Read("service_record.txt").find("install_count=6\n"));
    const auto Record =
        [](const std::string& strHead, const std::string& strName, int nIgnoreHasRunKey, int nSequence)
    {
        return strHead +
               "\nHasRunKey=HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\990501\nRunKeyName=" +
               strName + "\nMinimumHasRunValue=1\nIgnoreExitCode=0\nIgnoreHasRunKey=" +
               std::to_string(nIgnoreHasRunKey) +
               "\nValidExitCodes=1638\nSequence=" + std::to_string(nSequence) +
               "\nEnvironment/AppID=990501\n";
    };
    const JobList_t vecExpected = {
        {"upd",
         "Process=e.exe\nCommand=-u\nDescription=Say \"hi\" C:\\x\nHasRunKey=HKEY_LOCAL_MACHINE\\Software"
         "\\Pellan\\Korvex\\Apps\\990501\nRunKeyName=upd\nMinimumHasRunValue=2\nIgnoreExitCode=1\n"
         "IgnoreHasRunKey=7\nValidExitCodes=3010\nSequence=0\nEnvironment/AppID=990501\n"},
        {"redist 1", Record("Process=" + dir.File("game\\vcredist\\x.exe") +
                                "\nCommand=/q\nDescription=Microsoft VC Redistributable",
                            "redist", 0, 1)},
        {"redist 2", Record("Process=MSIEXEC.exe\nCommand=/i \"C:\\p\\dotnet\\x.msi\" \"y\"\n"
                            "Description=Microsoft .NET Framework",
                            "redist", 0, 2)},
        // German is asked for: the German block's product name wins over the English text.
        {"versioned",
         Record("Process=" + dir.File("game\\v.exe") + "\nCommand=\nDescription=Gr\xC3\xB6\xC3\x9F\x65",
                "versioned", 0, 3)},
        {"gone", Record("Process=b.exe\nCommand=\nDescription=b.exe", "gone", 1, 4)},
        {"broken y", Record("Process=%NOSUCHVAR%\\d.exe\nCommand=\nDescription=d.exe", "broken", 0, 5)},
    };
    EXPECT_EQ(vecExpected, vecJobs);
}

// Whatever the records say, uninstall queues every program. Text that is not UTF-8 is
// handed on; a path beyond what the system expands is refused rather than cut short.
TEST(RunProcess, UninstallQueuesEveryProgramIgnoringItsRecord)
{
    CScratchDir dir;
    CScratchAppKey appKey(990502);
    RawSetDword(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, appKey.Key(), L"un", 1);
    JobList_t vecJobs;
    EXPECT_EQ(0, RunWithStub(dir, 990502, 3,
                             "\"compat_installscript\" { \"Run Process\" { \"in\" { \"process\" \"i.exe\" } }"
                             " \"Run Process On Uninstall\" { \"un\" { \"process\" \"C:\\\\x\\\\DXSETUP.exe\""
                             " \"process2\" \"u.exe\" } \"odd\" { \"process\" \"" +
                                 std::string(32767, 'a') + "\" \"process 2\" \"" + std::string(32766, 'a') +
                                 "\" \"process 3\" \"x\xFF.exe\" } } }",
                             &vecJobs));
    EXPECT_EQ((std::vector<std::string>{"[Standalone] translated install path: " + dir.File("game"),
                                        "[AppID 990502] Failed to build Run Process keys for Process"}),
              dir.LogLines());
    ASSERT_EQ(4u, vecJobs.size());
    const std::string rgstrNames[] = {"un", "un2", "odd 2", "odd 3"};
    for (size_t iJob = 0; iJob < 4; ++iJob)
    {
        EXPECT_EQ(rgstrNames[iJob], vecJobs[iJob].first);
        EXPECT_NE(std::string::npos,
                  vecJobs[iJob].second.find("IgnoreHasRunKey=1\nValidExitCodes=1638\nSequence=" +
                                            std::to_string(iJob)));
    }
    // The table matches as written, so an upper-case DXSETUP.exe is only its file name.
    EXPECT_NE(std::string::npos, vecJobs[0].second.find("Description=DXSETUP.exe\n"));
    EXPECT_EQ(0u, vecJobs[2].second.find("Process=" + std::string(32766, 'a') + "\n"));
    EXPECT_EQ(0u, vecJobs[3].second.find("Process=x\xEF\xBF\xBD.exe\n"));
}

} // namespace
