// The Run Process section end to end: the job records the service stub is handed.

#include <gtest/gtest.h>

#include <windows.h>

#include "evaluatortestsupport.h"
#include "tier1/keyvalues.h"

namespace
{

typedef std::vector<std::pair<std::string, std::string>> JobList_t; // name, flattened record

// Runs one group with the service stub, which must be handed the symbolic-link list and then
// the job records; answers the log lines and fills in the records.
std::vector<std::string> RunWithStub(const CScratchDir& dir, unsigned int unAppID, int nMode,
                                     const std::string& strGroupKeys, JobList_t* pvecJobs)
{
    dir.InstallServiceStub();
    CreateDirectoryW(Widen(dir.File("game")).c_str(), nullptr);
    const std::vector<std::string> vecLines = RunGroupJob(dir, unAppID, nMode, strGroupKeys);
    const std::unique_ptr<KeyValues> pkvHanded = ParseKeyValues(dir.Read("handed_runasadmin.vdf"));
    KeyValues* pkvRunProcess = pkvHanded->GetNextKey();
    EXPECT_STREQ("Run Process", pkvRunProcess ? pkvRunProcess->GetName() : "");
    for (KeyValues* pkvJob = pkvRunProcess ? pkvRunProcess->GetFirstSubKey() : nullptr; pkvJob;
         pkvJob = pkvJob->GetNextKey())
        pvecJobs->emplace_back(pkvJob->GetName(), Flatten(pkvJob->GetFirstSubKey()));
    return vecLines;
}
#define RunWithStub(...) ISE_TRACED_CALL(RunWithStub, __VA_ARGS__)

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
    // a match; "present" matches by its second pair. The script's "process" is the record
    // key "Process": one name, spelled as first interned.
    JobList_t vecJobs;
    EXPECT_EQ((std::vector<std::string>{"Failed to build Run Process keys for Process",
                                        "Failed to build Run Process keys for processx"}),
              RunWithStub(dir, 990501, 1, R"("language" "german" "compat_installscript" {
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
            "broken" { "process" "" "processx" {} "process y" "%NOSUCHVAR%\\d.exe" } }
        "Run Process On Update" {
            "upd" { "process" "e.exe" "command" "-u" "Description" "Say \"hi\" C:\\x" "MinimumHasRunValue" "2"
                    "IgnoreExitCode" "1" "ValidExitCodes" "3010" "IgnoreHasRunKey" "7" } } })",
                          &vecJobs));
    EXPECT_NE(std::string::npos, dir.Read("service_record.txt").find("install_count=6\n"));
    const std::string strHasRunKey = "HasRunKey=HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\990501,";
    const auto Record = [&](const std::string& strHead, const std::string& strName, int nSequence,
                            const char* pszIgnoreHasRunKey = "0")
    {
        return strHead + strHasRunKey + "RunKeyName=" + strName +
               ",MinimumHasRunValue=1,IgnoreExitCode=0,IgnoreHasRunKey=" + pszIgnoreHasRunKey +
               ",ValidExitCodes=1638,Sequence=" + std::to_string(nSequence) + ",Environment{AppID=990501,}";
    };
    const JobList_t vecExpected = {
        {"upd", "Process=e.exe,Command=-u,Description=Say \"hi\" C:\\x," + strHasRunKey +
                    "RunKeyName=upd,MinimumHasRunValue=2,IgnoreExitCode=1,IgnoreHasRunKey=7,"
                    "ValidExitCodes=3010,Sequence=0,Environment{AppID=990501,}"},
        {"redist 1", Record("Process=" + dir.File("game\\vcredist\\x.exe") +
                                ",Command=/q,Description=Microsoft VC Redistributable,",
                            "redist", 1)},
        {"redist 2", Record("Process=MSIEXEC.exe,Command=/i \"C:\\p\\dotnet\\x.msi\" "
                            "\"y\",Description=Microsoft .NET Framework,",
                            "redist", 2)},
        // German is asked for: the German block's product name wins over the English text.
        {"versioned",
         Record("Process=" + dir.File("game\\v.exe") + ",Command=,Description=Gr\xC3\xB6\xC3\x9F\x65,",
                "versioned", 3)},
        // A component that went missing is queued again whatever its record says.
        {"gone", Record("Process=b.exe,Command=,Description=b.exe,", "gone", 4, "1")},
        {"broken y", Record("Process=%NOSUCHVAR%\\d.exe,Command=,Description=d.exe,", "broken", 5)},
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
    const char* pszScript = R"("compat_installscript" { "Run Process" { "in" { "process" "i.exe" } }
        "Run Process On Uninstall" { "un" { "process" "C:\\x\\DXSETUP.exe" "process2" "u.exe" }
            "odd" { "process" "@32767@" "process 2" "@32766@" "process 3" "x@FF@.exe" } } })";
    JobList_t vecJobs;
    EXPECT_EQ(std::vector<std::string>{"Failed to build Run Process keys for Process"},
              RunWithStub(dir, 990502, 3,
                          Replaced(Replaced(Replaced(pszScript, "@32767@", std::string(32767, 'a')),
                                            "@32766@", std::string(32766, 'a')),
                                   "@FF@", "\xFF"),
                          &vecJobs));
    ASSERT_EQ(4u, vecJobs.size());
    const std::string rgstrNames[] = {"un", "un2", "odd 2", "odd 3"};
    for (size_t iJob = 0; iJob < 4; ++iJob)
    {
        EXPECT_EQ(rgstrNames[iJob], vecJobs[iJob].first);
        EXPECT_NE(std::string::npos,
                  vecJobs[iJob].second.find("IgnoreHasRunKey=1,ValidExitCodes=1638,Sequence=" +
                                            std::to_string(iJob)));
    }
    // The table matches as written, so an upper-case DXSETUP.exe is only its file name.
    EXPECT_NE(std::string::npos, vecJobs[0].second.find("Description=DXSETUP.exe,"));
    EXPECT_EQ(0u, vecJobs[2].second.find("Process=" + std::string(32766, 'a') + ","));
    EXPECT_EQ(0u, vecJobs[3].second.find("Process=x\xEF\xBF\xBD.exe,"));
}

} // namespace
