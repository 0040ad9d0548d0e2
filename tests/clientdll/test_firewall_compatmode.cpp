// Firewall in-process, as this program has no firewall and only a handler's result shows;
// compatibility layers end to end through the prefix's Layers key.

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <tuple>

#include "clientdll/installscript_handlers.h"
#include "clientdll/installscript_runcontext.h"
#include "evaluatortestsupport.h"

namespace
{

TEST(FirewallSection, WithoutAFirewallOnlyEntriesThatAreSkippedSucceed)
{
    CScratchDir dir(true);
    CScratchAppKey appKey(990801);
    RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"ran", 1);
    RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key() + "\\moved", L"moved", 1);
    const std::string strOverride = Replaced("HKEY_CURRENT_USER\\" + appKey.Key() + "\\moved", "\\", "\\\\");
    const std::string strOtherLanguage = R"("Requirement_Language" { "GameLanguage" "french" })";
    const std::tuple<EInstallScriptMode, std::string, bool> rgCases[] = {
        {k_EInstallScriptModeLaunch, R"("fresh" { "Game" "%INSTALLDIR%\\game.exe" })", false},
        {k_EInstallScriptModeLaunch, R"("Firewall" {})", false},
        {k_EInstallScriptModeLaunch, R"("ran" { "Game" "game.exe" })", true},
        // The record counts from 1, whatever minimum the entry asks for.
        {k_EInstallScriptModeLaunch, R"("ran" { "MinimumHasRunValue" "5" })", true},
        {k_EInstallScriptModeLaunch, "\"moved\" { \"HasRunKey\" \"" + strOverride + "\" }", true},
        {k_EInstallScriptModeLaunch, "\"fresh\" { " + strOtherLanguage + " }", true},
        // Uninstall withdraws without asking whether the entry ever ran.
        {k_EInstallScriptModeUninstall, R"("ran" { "Game" "game.exe" })", false},
        {k_EInstallScriptModeUninstall, "\"ran\" { " + strOtherLanguage + " }", true},
    };
    CInstallScriptRunContext run;
    run.m_unAppID = 990801;
    run.m_pszLanguage = "english";
    for (const auto& [eMode, strEntry, bResult] : rgCases)
    {
        run.m_eMode = eMode;
        EXPECT_EQ(bResult, OnFirewallKey(run, ParseKeyValues(strEntry).get())) << strEntry;
    }
    EXPECT_EQ(2, RawCountEntries(HKEY_CURRENT_USER, 0, appKey.Key())); // "ran" and the key "moved"
    EXPECT_EQ(1u, RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"ran"));
    EXPECT_FALSE(dir.Exists("installscriptevalutor_log.txt"));
}

// Every compatibility case in one test: they share the user's one Layers key, removed
// before and after.
TEST(CompatibilityModeSection, LayerLivesFromInstallToUninstallUnderAnExistingKey)
{
    CScratchDir dir;
    CScratchAppKey appKey(990802);
    RawDeleteTree(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey);
    const std::string strGame = dir.File("game\\game.exe");
    const std::string strTool = dir.File("game\\tool.exe");
    // The long path is past what the expansion takes, so it expands to nothing.
    const auto Run = [&](int nMode, const std::string& strCompatMode)
    {
        const std::string strScript = R"("compat_installscript" {
            "Firewall" { "Game" "%INSTALLDIR%\\game.exe" } "FirewallSubkeys" { "srv" { "Server" "s.exe" } }
            "CompatibilityMode" { "game" { "Executeable" "%INSTALLDIR%\\game.exe" "CompatMode" "@MODE@" }
                "tool" { "Executeable" "%INSTALLDIR%\\tool.exe" } "noexe" { "CompatMode" "WIN7RTM" }
                "long" { "Executeable" "c:\\@LONG@" "CompatMode" "WIN7RTM" } "plain" "WIN7RTM" } })";
        return RunGroupJob(
            dir, 990802, nMode,
            Replaced(Replaced(strScript, "@MODE@", strCompatMode), "@LONG@", std::string(33000, 'l')));
    };
    const auto Layer = [](const std::wstring& wstrName)
    { return RawGetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, wstrName.c_str()); };
    const auto Record = [&](const wchar_t* pwszEntry)
    { return RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), pwszEntry); };
    const auto Failure = [](const std::string& strPath)
    { return "Failed to set compatibility mode for \"" + strPath + "\""; };

    // An empty "CompatMode" removes the layer, so it fails while there is none to remove.
    EXPECT_EQ((std::vector<std::string>{Failure(strGame), Failure(strTool), Failure(""), Failure("")}),
              Run(1, "WIN7RTM"));
    const std::vector<std::string> vecAlwaysFailing = {Failure(strTool), Failure(""), Failure("")};
    EXPECT_FALSE(Record(L"game"));

    EXPECT_TRUE(RawCreateKey(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    EXPECT_EQ(vecAlwaysFailing, Run(1, "WIN7RTM"));
    EXPECT_EQ("WIN7RTM", Layer(Widen(strGame)));
    EXPECT_EQ(1u, Record(L"game"));
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    // The firewall entries fail on every run, silently, and leave no record.
    EXPECT_FALSE(Record(L"Firewall") || Record(L"srv"));

    EXPECT_EQ(vecAlwaysFailing, Run(1, "~ RUNASADMIN WINXPSP3"));
    EXPECT_EQ("WIN7RTM", Layer(Widen(strGame)));

    // A layer set by hand for an entry that never ran goes too, the key's default value
    // (named by an entry without a path) stays, and uninstall logs nothing.
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, Widen(strTool).c_str(), L"WIN8RTM");
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, L"", L"default");
    EXPECT_EQ(std::vector<std::string>{}, Run(3, "WIN7RTM"));
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    EXPECT_EQ("default", Layer(L""));
    EXPECT_FALSE(Record(L"game"));
    RawDeleteTree(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey);
}

} // namespace
