// Firewall and compatibility-mode sections. The firewall is asked for in-process, where a
// handler's result shows: this program has no firewall, so an entry that gets past its
// run-once and requirement checks fails without a word. Compatibility layers are checked
// end to end through the real evaluator and the prefix's Layers key.

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <optional>

#include "evaluatortestsupport.h"
#include "regtestutil.h"
#include "testmanager.h"
#include "tier1/keyvalues.h"

namespace
{

const char k_szLayersKey[] = "Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\Layers";

TEST(FirewallSection, WithoutAFirewallOnlyEntriesThatAreSkippedSucceed)
{
    CScratchDir dir(true);
    CScratchAppKey appKey(990801);
    CScratchRegKey overrideKey("Software");
    std::string strOverride = "HKEY_CURRENT_USER\\" + std::string(overrideKey.Path());
    for (size_t i = 0; (i = strOverride.find('\\', i)) != std::string::npos; i += 2)
        strOverride.insert(i, "\\"); // escaped in the entry's text
    RawSetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"ran", 1);
    RawSetDword(HKEY_CURRENT_USER, 0, overrideKey.Path(), L"moved", 1);
    const char k_szOtherLanguage[] = "\"Requirement_Language\" { \"GameLanguage\" \"french\" }";
    const struct
    {
        EInstallScriptMode m_eMode;
        std::string m_strEntry;
        bool m_bResult;
    } rgCases[] = {
        {k_EInstallScriptModeLaunch, "\"fresh\" { \"Game\" \"%INSTALLDIR%\\\\game.exe\" }", false},
        {k_EInstallScriptModeLaunch, "\"Firewall\" {}", false},
        {k_EInstallScriptModeLaunch, "\"ran\" { \"Game\" \"game.exe\" }", true},
        // The record counts from 1, whatever minimum the entry asks for.
        {k_EInstallScriptModeLaunch, "\"ran\" { \"MinimumHasRunValue\" \"5\" }", true},
        {k_EInstallScriptModeLaunch, "\"moved\" { \"HasRunKey\" \"" + strOverride + "\" }", true},
        {k_EInstallScriptModeLaunch, "\"fresh\" { " + std::string(k_szOtherLanguage) + " }", true},
        // Uninstall withdraws without asking whether the entry ever ran.
        {k_EInstallScriptModeUninstall, "\"ran\" { \"Game\" \"game.exe\" }", false},
        {k_EInstallScriptModeUninstall, "\"ran\" { " + std::string(k_szOtherLanguage) + " }", true},
    };
    CTestManager manager;
    manager.QueueScript(990801, dir.Path());
    strcpy(manager.m_szLanguage, "english");
    for (const auto& testCase : rgCases)
    {
        SCOPED_TRACE(testCase.m_strEntry);
        KeyValues* pkvEntry = ParseKeyValues(testCase.m_strEntry);
        manager.m_eInstallScriptMode = testCase.m_eMode;
        EXPECT_EQ(testCase.m_bResult, manager.OnFirewallKey(pkvEntry));
        delete pkvEntry;
    }
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, 0, appKey.Key()));
    EXPECT_EQ(1u, RawGetDword(HKEY_CURRENT_USER, 0, appKey.Key(), L"ran"));
    EXPECT_FALSE(dir.Exists("installscriptevalutor_log.txt"));
}

// Every compatibility case in one test: they share the user's one Layers key.
class CompatibilityModeSection : public testing::Test
{
protected:
    static constexpr unsigned k_unAppID = 990802;

    CompatibilityModeSection() : m_appKey(k_unAppID) { RemoveLayersKey(); }
    ~CompatibilityModeSection() override { RemoveLayersKey(); }

    static void RemoveLayersKey() { RawDeleteTree(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey); }

    // Runs a one-application job and answers the log lines it added. The long path is past
    // what the expansion takes, so it expands to nothing.
    std::vector<std::string> Run(int nMode, const std::string& strCompatMode)
    {
        const std::string strScript = "\"compat_installscript\" {"
                                      " \"Firewall\" { \"Game\" \"%INSTALLDIR%\\\\game.exe\" }"
                                      " \"FirewallSubkeys\" { \"srv\" { \"Server\" \"server.exe\" } }"
                                      " \"CompatibilityMode\" {"
                                      "  \"game\" { \"Executeable\" \"%INSTALLDIR%\\\\game.exe\""
                                      "             \"CompatMode\" \"" +
                                      strCompatMode +
                                      "\" }"
                                      "  \"tool\" { \"Executeable\" \"%INSTALLDIR%\\\\tool.exe\" }"
                                      "  \"noexe\" { \"CompatMode\" \"WIN7RTM\" }"
                                      "  \"long\" { \"Executeable\" \"c:\\\\" +
                                      std::string(33000, 'l') +
                                      "\" \"CompatMode\" \"WIN7RTM\" }"
                                      "  \"plain\" \"WIN7RTM\" } }";
        m_dir.Write("job.vdf", Job(Group(k_unAppID, nMode, m_dir.HostPath("game"), strScript)));
        const size_t nBefore = m_dir.LogLines().size();
        EXPECT_EQ(0, RunEvaluator(m_dir, {"job.vdf"}).m_nExitCode);
        std::vector<std::string> vecLines = m_dir.LogLines();
        vecLines.erase(vecLines.begin(), vecLines.begin() + (long)std::min(nBefore + 1, vecLines.size()));
        return vecLines;
    }

    std::optional<std::string> Layer(const char* pszExe) const
    {
        return RawGetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey,
                            Widen(m_dir.File("game\\") + pszExe).c_str());
    }
    std::optional<DWORD> Record(const wchar_t* pwszEntry) const
    {
        return RawGetDword(HKEY_CURRENT_USER, 0, m_appKey.Key(), pwszEntry);
    }
    std::string Failure(const std::string& strPath) const
    {
        return "[AppID " + std::to_string(k_unAppID) + "] Failed to set compatibility mode for \"" + strPath +
               "\"";
    }

    CScratchDir m_dir;
    CScratchAppKey m_appKey;
};

TEST_F(CompatibilityModeSection, SetOnceRemovedOnUninstallAndFailsWithoutTheLayersKey)
{
    const std::string strGame = m_dir.File("game\\game.exe");
    const std::string strTool = m_dir.File("game\\tool.exe");
    // An empty "CompatMode" removes the layer, so it fails while there is none to remove.
    const std::vector<std::string> vecAlwaysFailing = {Failure(strTool), Failure(""), Failure("")};
    std::vector<std::string> vecExpected = {Failure(strGame)};
    vecExpected.insert(vecExpected.end(), vecAlwaysFailing.begin(), vecAlwaysFailing.end());
    EXPECT_EQ(vecExpected, Run(1, "WIN7RTM"));
    EXPECT_FALSE(Record(L"game"));

    ASSERT_TRUE(RawCreateKey(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    EXPECT_EQ(vecAlwaysFailing, Run(1, "WIN7RTM"));
    EXPECT_EQ("WIN7RTM", Layer("game.exe"));
    EXPECT_EQ(1u, Record(L"game"));
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    // The firewall entries fail on every run, silently, and leave no record.
    EXPECT_FALSE(Record(L"Firewall"));
    EXPECT_FALSE(Record(L"srv"));

    EXPECT_EQ(vecAlwaysFailing, Run(1, "~ RUNASADMIN WINXPSP3"));
    EXPECT_EQ("WIN7RTM", Layer("game.exe"));

    // A layer set by hand for an entry that never ran goes too, the key's default value
    // (named by an entry without a path) stays, and uninstall logs nothing.
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, Widen(strTool).c_str(), L"WIN8RTM");
    RawSetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, L"", L"default");
    EXPECT_EQ(std::vector<std::string>{}, Run(3, "WIN7RTM"));
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey));
    EXPECT_EQ("default", RawGetString(HKEY_CURRENT_USER, KEY_WOW64_64KEY, k_szLayersKey, L""));
    EXPECT_FALSE(Record(L"game"));
}

} // namespace
