// Each check on a small script that has its mistake (the finding stands at the key it is
// about) and a correct script that uses every section without any finding.

#include <tuple>

#include "checktest.h"

namespace
{

// The place of the first occurrence of pszMarker in strText, as a finding gives it.
std::pair<int, int> PlaceOf(const std::string& strText, const char* pszMarker)
{
    const size_t ich = strText.find(pszMarker);
    EXPECT_NE(ich, std::string::npos) << pszMarker;
    const size_t ichLineStart = strText.rfind('\n', ich);
    const int nLine = 1 + (int)std::count(strText.begin(), strText.begin() + (long)ich, '\n');
    return {nLine, (int)(ich - (ichLineStart == std::string::npos ? 0 : ichLineStart + 1)) + 1};
}

struct MistakeCase_s
{
    ECheck m_eCheck;
    const char* m_pszScript; // the body of a bare script
    const char* m_pszMarker; // where the finding points
};

void ExpectFindingsAtMarkers(const std::vector<MistakeCase_s>& vecCases)
{
    for (const MistakeCase_s& mistake : vecCases)
    {
        const std::string strText = std::string("\"script\"\n{\n") + mistake.m_pszScript + "\n}\n";
        SCOPED_TRACE(strText);
        const std::pair<int, int> place = PlaceOf(strText, mistake.m_pszMarker);
        EXPECT_TRUE(HasFinding(CheckScriptText(strText), mistake.m_eCheck, place.first, place.second));
    }
}

} // namespace

TEST(CheckScript, CorrectScriptWithEverySectionHasNoFindings)
{
    const std::string strText = R"("script"
{
    "utf8_registry_strings" "1"
    "Registry"
    {
        "HKLM64\\Software\\Example" { "string" { "Path" "%INSTALLDIR%" "german" { "Name" "Spiel" } }
                                      "dword" { "Count" "3" } "binary" { "Bits" "0a0B" }
                                      "string_from_regkey" { "Copy" "HKCU\\Software\\Other\\Value" } }
    }
    "Registry If Not Present" { "HKCU\\Software\\Example" { "dword" { "Volume" "80" } } }
    "File Template" { "t" { "template_file" "%INSTALLDIR%\\a.tmpl" "output_file" "%INSTALLDIR%\\a.ini"
                            "VERSION" "HKCU\\Software\\Example\\Version" } }
    "Run Process"
    {
        "redist" { "process 1" "%INSTALLDIR%\\vcredist\\x.exe" "command 1" "/q" "ValidExitCodes" "1638,3010"
                   "Description" "Runtime"
                   "HasRunStringKey" "HKLM\\Software\\V\\Installed" "HasRunStringValue" "1"
                   "HasRunKey" "HKCU\\Software\\Example\\Runs"
                   "Requirement_OS" { "OSType" "Windows 10" "Is64BitWindows" "1" } }
    }
    "Run Process On Update" { "u" { "process" "%ProgramFiles%\\x.exe" "command" "" "Description" "x" } }
    "Run Process On Uninstall" { "u" { "process" "%windir%\\x.exe" "command" "/u" "Description" "x" } }
    "Copy Files" { "c" { "SrcFile" "%INSTALLDIR%\\a" "DstFile" "%USER_MYDOCS%\\a" "SrcFile2" "b" "DstFile2" "c" } }
    "Copy Folders" { "f" { "SrcFolder" "%INSTALLDIR%\\a" "DstFolder" "%LOCAL_APPDATA%\\a" } }
    "Create Folders" { "s" { "Folder" "%APPDATA%\\saves" "Requirement_Language" { "GameLanguage" "german" } } }
    "symlink" { "l" { "link 1" "%INSTALLDIR%\\l" "target 1" "%INSTALLDIR%\\t" } }
    "Delete Files" { "d" { "File" "%INSTALLDIR%\\setup.log" "File2" "%INSTALLDIR%\\b" [$WIN32&&!$X360] } }
    "Delete Files On Uninstall" { "%INSTALLDIR%\\a.ini" "" }
    "Firewall" { "game" "%INSTALLDIR%\\game.exe" }
    "FirewallSubkeys" { "g" { "game" "%INSTALLDIR%\\game.exe" "Requirement_CPU" { "PhysicalProcessors" "0" } } }
    "CompatibilityMode" { "c" { "Executeable" "%INSTALLDIR%\\game.exe" "CompatMode" "~ WIN7RTM DPIUNAWARE" } }
    "Delete Files" [$LINUX] { }
}
)";
    const std::vector<CheckFinding_s> vecFindings = CheckScriptText(strText);
    EXPECT_TRUE(vecFindings.empty()) << DescribeFindings(vecFindings);
}

TEST(CheckScript, TextMistakesPointAtTheirPlace)
{
    ExpectFindingsAtMarkers({
        {k_ECheckDuplicateKey, "\"Copy Files\" { }\n\"copy files\" { }", "\"copy files\""},
        {k_ECheckDuplicateKey,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"b\" \"command\" \"c\" } }",
         "\"command\" \"c\""},
        {k_ECheckConditionalSyntax, "\"Delete Files\" [$WIN32&$X] { }", "[$WIN32&$X]"},
        {k_ECheckConditionalPlatform, "\"Delete Files\" [$WINDOS] { }", "[$WINDOS]"},
        {k_ECheckUnknownSection, "\"Run Proces\" { }", "\"Run Proces\""},
        {k_ECheckSectionShape, "\"Copy Files\" { \"SrcFile\" \"a\" }", "\"SrcFile\""},
        {k_ECheckSectionShape, "\"Firewall\" \"x\"", "\"Firewall\""},
        {k_ECheckSectionShape, "\"Delete Files On Uninstall\" { \"g\" { } }", "\"g\""},
    });
}

TEST(CheckScript, UnknownSectionSuggestsTheNearestName)
{
    const std::vector<CheckFinding_s> vecFindings =
        CheckScriptText("\"s\" { \"Registery\" { } \"Zzz\" { } }");
    ASSERT_EQ(vecFindings.size(), 2u) << DescribeFindings(vecFindings);
    EXPECT_NE(vecFindings[0].m_strMessage.find("did you mean \"Registry\"?"), std::string::npos);
    EXPECT_EQ(vecFindings[1].m_strMessage.find("did you mean"), std::string::npos);
}

TEST(CheckRegistry, FindsEachMistakeAtItsKey)
{
    ExpectFindingsAtMarkers({
        {k_ECheckRegistryPath, "\"Registry\" { \"HKU\\\\Software\\\\X\" { } }", "\"HKU"},
        {k_ECheckRegistryView, "\"Registry\" { \"HKLM\\\\Software\\\\X\" { } }", "\"HKLM"},
        {k_ECheckRegistryGroup, "\"Registry\" { \"HKCU\\\\S\" { \"strng\" { } } }", "\"strng\""},
        {k_ECheckRegistryBinary, "\"Registry\" { \"HKCU\\\\S\" { \"binary\" { \"b\" \"0g\" } } }", "\"b\""},
        {k_ECheckRegistryBinary, "\"Registry\" { \"HKCU\\\\S\" { \"binary\" { \"b\" \"0a0\" } } }", "\"b\""},
        {k_ECheckRegistryDword, "\"Registry\" { \"HKCU\\\\S\" { \"dword\" { \"d\" \"007\" } } }", "\"d\""},
        {k_ECheckRegistryDword,
         "\"Registry If Not Present\" { \"HKCU\\\\S\" { \"dword\" { \"german\" { \"d\" \"x\" } } } }",
         "\"d\""},
        {k_ECheckRegistryLanguage, "\"Registry\" { \"HKCU\\\\S\" { \"string\" { \"germna\" { } } } }",
         "\"germna\""},
        {k_ECheckRegistrySource,
         "\"Registry\" { \"HKCU\\\\S\" { \"string_from_regkey\" { \"v\" \"HKCU\" } } }", "\"v\""},
        {k_ECheckSectionShape, "\"Registry\" { \"HKCU\\\\S\" { \"v\" \"1\" } }", "\"v\""},
    });
}

TEST(CheckRunProcess, FindsEachMistakeAtItsKey)
{
    ExpectFindingsAtMarkers({
        {k_ECheckProcessCommand, "\"Run Process\" { \"e\" { \"process 1\" \"a\" } }", "\"process 1\""},
        {k_ECheckProcessCommand,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"command 2\" \"\" } }",
         "\"command 2\""},
        {k_ECheckProcessCommand, "\"Run Process On Uninstall\" { \"e\" { \"Description\" \"x\" } }", "\"e\""},
        {k_ECheckHasRunStringPair,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"HasRunStringValue2\" \"1\" } }",
         "\"HasRunStringValue2\""},
        {k_ECheckHasRunStringPair,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"HasRunStringKey\" "
         "\"HKXX\\\\a\\\\b\" "
         "\"HasRunStringValue\" \"1\" } }",
         "\"HasRunStringKey\""},
        {k_ECheckValidExitCodes,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"ValidExitCodes\" \"0,x1\" } }",
         "\"ValidExitCodes\""},
        {k_ECheckHasRunKey,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"HasRunKey\" \"Software\" } }",
         "\"HasRunKey\""},
        {k_ECheckProcessDescription, R"("Run Process" { "e" { "process" "a\\DXSETUP.exe" "command" "" } })",
         "\"process\""},
        {k_ECheckAsCurrentUser,
         "\"Run Process\" { \"e\" { \"process\" \"a\" \"command\" \"\" \"AsCurrentUser\" \"1\" } }",
         "\"AsCurrentUser\""},
    });
}

TEST(CheckFiles, FindsEachMistakeAtItsKey)
{
    ExpectFindingsAtMarkers({
        {k_ECheckFilePartner, "\"Copy Files\" { \"e\" { \"SrcFile1\" \"a\" \"DstFile\" \"b\" } }",
         "\"SrcFile1\""},
        {k_ECheckFilePartner, "\"Copy Files\" { \"e\" { \"SrcFile1\" \"a\" \"DstFile\" \"b\" } }",
         "\"DstFile\""},
        {k_ECheckFilePartner, "\"Copy Folders\" { \"e\" { \"SrcFolder\" \"a\" } }", "\"SrcFolder\""},
        {k_ECheckFilePartner, "\"symlink\" { \"e\" { \"link\" \"a\" \"target2\" \"b\" } }", "\"target2\""},
        {k_ECheckFilePartner, "\"Copy Files\" { \"e\" { \"Source\" \"a\" } }", "\"e\""},
        {k_ECheckCreateFolders,
         "\"Create Folders\" { \"e\" { \"Path\" \"a\" \"HasRunKey\" \"HKCU\\\\Folder\" } }", "\"e\""},
        {k_ECheckFileTemplate, "\"File Template\" { \"e\" { \"output_file\" \"a\" } }", "\"e\""},
        {k_ECheckFileTemplateReference,
         "\"File Template\" { \"e\" { \"template_file\" \"a\" \"output_file\" \"b\" \"V\" \"c\" } }",
         "\"V\""},
        {k_ECheckSymlinkIgnoreExitCode,
         "\"symlink\" { \"e\" { \"link\" \"a\" \"target\" \"b\" \"IgnoreExitCode\" \"1\" } }",
         "\"IgnoreExitCode\""},
    });
}

TEST(CheckEntries, EntryMistakesAreFoundAtTheirKeys)
{
    ExpectFindingsAtMarkers({
        {k_ECheckCompatExecutable,
         "\"CompatibilityMode\" { \"e\" { \"Executable\" \"a\" \"CompatMode\" \"WIN95\" } }",
         "\"Executable\""},
        {k_ECheckCompatExecutable, "\"CompatibilityMode\" { \"e\" { \"CompatMode\" \"WIN95\" } }", "\"e\""},
        {k_ECheckCompatMode, "\"CompatibilityMode\" { \"e\" { \"Executeable\" \"a\" } }", "\"e\""},
        {k_ECheckCompatLayer,
         "\"CompatibilityMode\" { \"e\" { \"Executeable\" \"a\" \"CompatMode\" \"WIN7\" } }",
         "\"CompatMode\""},
        {k_ECheckRequirementName, "\"Copy Files\" { \"e\" { \"Requirement_GPU\" { } } }",
         "\"Requirement_GPU\""},
        {k_ECheckRequirementOS,
         "\"FirewallSubkeys\" { \"e\" { \"Requirement_OS\" { \"OSType\" \"Win10\" } } }", "\"OSType\""},
        {k_ECheckUnknownVariable,
         "\"Delete Files\" { \"e\" { \"File\" \"%INSTALLDIR%\\\\%GAMEDIR%\\\\x\" } }", "\"File\""},
    });
}

TEST(CheckJob, FindsEachGroupMistakeAtItsKey)
{
    const std::string strJob = R"("job"
{
    "good" { "appid" "10" "mode" "1" "install_path" "/g" "compat_installscript" { "Registery" { } } }
    "noscript" { "appid" "10" "mode" "1" "install_path" "/g" }
    "badmode" { "appid" "10" "mode" "7" "install_path" "/g" "compat_installscript" { } }
    "noapp" { "appid" "0" "mode" "1" "install_path" "/g" "compat_installscript" { } }
    "nopath" { "appid" "10" "mode" "1" "compat_installscript" { } }
}
)";
    const std::vector<CheckFinding_s> vecFindings = CheckScriptText(strJob);
    const std::tuple<ECheck, const char*, const char*> rgExpected[] = {
        {k_ECheckUnknownSection, "\"Registery\"", "good/compat_installscript/Registery"},
        {k_ECheckJobScript, "\"noscript\"", "noscript"},
        {k_ECheckJobMode, "\"mode\" \"7\"", "badmode/mode"},
        {k_ECheckJobAppID, "\"appid\" \"0\"", "noapp/appid"},
        {k_ECheckJobInstallPath, "\"nopath\"", "nopath"},
    };
    ASSERT_EQ(vecFindings.size(), V_ARRAYSIZE(rgExpected)) << DescribeFindings(vecFindings);
    for (size_t i = 0; i < V_ARRAYSIZE(rgExpected); ++i)
    {
        const std::pair<int, int> place = PlaceOf(strJob, std::get<1>(rgExpected[i]));
        EXPECT_TRUE(HasFinding(vecFindings, std::get<0>(rgExpected[i]), place.first, place.second));
        EXPECT_EQ(vecFindings[i].m_strKeyPath, std::get<2>(rgExpected[i]));
    }
}
