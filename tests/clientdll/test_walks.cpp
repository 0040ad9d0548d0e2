// The section walks of each mode, seen through a handler set that records every call:
// fixed order whatever the file order, entries versus values, registry names parsed or
// skipped, results ANDed without stopping, and the cleanup walk's flags and "NoCleanUp".

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "clientdll/iinstallscriptsectionhandlers.h"
#include "clientdll/installscript_walks.h"
#include "evaluatortestsupport.h"
#include "tier1/keyvalues.h"

namespace
{

class CRecordingHandlers : public IInstallScriptSectionHandlers
{
public:
    explicit CRecordingHandlers(std::set<std::string> setFailing) : m_setFailing(std::move(setFailing)) {}

    bool ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv,
                              bool bOverwrite) override
    {
        return Record("apply " + std::to_string(eRoot) + " " + pchPath, pkv, bOverwrite);
    }
    bool RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pkv) override
    {
        return Record("remove " + std::to_string(eRoot) + " " + pchPath, pkv);
    }
    bool OnRunProcessKey(KeyValues* pkv, bool bAsUser) override { return Record("run", pkv, bAsUser); }
    bool OnFileTemplateKey(KeyValues* pkv) override { return Record("template", pkv); }
    bool OnCopyFoldersKey(KeyValues* pkv) override { return Record("copyfolders", pkv); }
    bool OnCopyFilesKey(KeyValues* pkv) override { return Record("copyfiles", pkv); }
    bool OnCreateFoldersKey(KeyValues* pkv) override { return Record("createfolders", pkv); }
    bool OnSymlinkKey(KeyValues* pkv) override { return Record("symlink", pkv); }
    bool OnDeleteFilesKey(KeyValues* pkv) override { return Record("deletefiles", pkv); }
    void OnDeleteFilesOnUninstallValue(KeyValues* pkv) override { Record("uninstall", pkv); }
    bool OnFirewallKey(KeyValues* pkv) override { return Record("firewall", pkv); }
    bool OnCompatibilityModeKey(KeyValues* pkv) override { return Record("compat", pkv); }
    bool BForgetHasRunRecord(KeyValues* pkv, bool bMachineWide) override
    {
        return Record("forget", pkv, bMachineWide);
    }

    std::vector<std::string> m_vecCalls;

private:
    // "<call> <item name>[ <flag>]"; items named in the failing set fail.
    bool Record(const std::string& strCall, KeyValues* pkvItem, int nFlag = -1)
    {
        m_vecCalls.push_back(strCall + " " + pkvItem->GetName() +
                             (nFlag < 0 ? "" : " " + std::to_string(nFlag)));
        return m_setFailing.count(pkvItem->GetName()) == 0;
    }

    std::set<std::string> m_setFailing;
};

// Every section once, in an order unlike any walk's; plain values where entries are
// walked and a group where values are must be passed over.
const char k_szEverySection[] = R"(
"script"
{
    "CompatibilityMode"         { "c" {} "plain" "x" }
    "FirewallSubkeys"           { "fw" {} }
    "Firewall"                  { "prog" "c:\\x.exe" }
    "Delete Files"              { "df" {} }
    "symlink"                   { "sl" {} }
    "Create Folders"            { "cr" {} }
    "Copy Files"                { "cf" {} }
    "Copy Folders"              { "cd" {} }
    "Run Process"               { "rp" {} "plain" "x" }
    "Run Process On Update"     { "up" {} }
    "Run Process On Uninstall"  { "un" {} }
    "File Template"             { "ft" {} }
    "Delete Files On Uninstall" { "%INSTALLDIR%\\a.txt" "x" "group" {} }
    "Registry If Not Present"   { "HKCU\\Software\\B" {} }
    "Registry"
    {
        "HKLM\\Software\\A" {}
        "NOSUCHROOT\\Software\\C" {}
        "HKLM" {}
        "HKLM64\\Software\\D" {}
        "HKLM\\Software\\Pellan\\Korvex\\E" {}
    }
}
)";

const std::vector<std::string> k_vecCleanupCalls = {
    "forget rp 1", "forget up 0", "forget ft 0", "forget cr 0", "forget cd 0",
    "forget cf 0", "forget df 0", "forget c 0",  "forget fw 0", "forget Firewall 0",
};

std::vector<std::string> Concat(std::vector<std::string> vecFirst, const std::vector<std::string>& vecSecond)
{
    vecFirst.insert(vecFirst.end(), vecSecond.begin(), vecSecond.end());
    return vecFirst;
}

struct WalkCase_s
{
    const char* m_pszName;
    bool (*m_pfnWalk)(IInstallScriptSectionHandlers&, KeyValues*);
    const char* m_pszScript;
    std::set<std::string> m_setFailing;
    std::vector<std::string> m_vecCalls;
    bool m_bResult;
};

const WalkCase_s k_rgWalkCases[] = {
    {"launch",
     BWalkLaunchSections,
     k_szEverySection,
     {},
     {"apply 17 Software\\A HKLM\\Software\\A 1", "apply 33 Software\\D HKLM64\\Software\\D 1",
      "apply 1 Software\\Pellan\\Korvex\\E HKLM\\Software\\Pellan\\Korvex\\E 1",
      "apply 18 Software\\B HKCU\\Software\\B 0", "template ft", "run up 0", "run rp 1", "copyfolders cd",
      "copyfiles cf", "createfolders cr", "symlink sl", "deletefiles df", "firewall Firewall", "firewall fw",
      "compat c"},
     true},
    {"update", BWalkUpdateSections, k_szEverySection, {}, {"run up 0"}, true},
    {"uninstall then cleanup",
     BWalkUninstallSections,
     k_szEverySection,
     {},
     Concat({"remove 17 Software\\A HKLM\\Software\\A", "remove 33 Software\\D HKLM64\\Software\\D",
             "remove 1 Software\\Pellan\\Korvex\\E HKLM\\Software\\Pellan\\Korvex\\E",
             "remove 18 Software\\B HKCU\\Software\\B", "uninstall %INSTALLDIR%\\a.txt", "run un 1",
             "firewall Firewall", "firewall fw", "compat c"},
            k_vecCleanupCalls),
     true},
    {"cleanup", BWalkCleanupSections, k_szEverySection, {}, k_vecCleanupCalls, true},
    {"a failing registry entry does not stop the launch walk",
     BWalkLaunchSections,
     R"("s" { "Registry" { "HKLM\\Software\\A" {} } "CompatibilityMode" { "c" {} } })",
     {"HKLM\\Software\\A"},
     {"apply 17 Software\\A HKLM\\Software\\A 1", "compat c"},
     false},
    {"failing handlers and forgets fail the uninstall walk, which still runs every step",
     BWalkUninstallSections,
     R"("s" { "Run Process On Uninstall" { "un" {} } "Run Process" { "rp" {} "rp2" {} } "Firewall" { "p" "x" } })",
     {"un", "rp"},
     {"run un 1", "firewall Firewall", "forget rp 1", "forget rp2 1", "forget Firewall 0"},
     false},
    {"NoCleanUp keeps entries and the firewall section",
     BWalkCleanupSections,
     R"("s" { "Run Process" { "keep" { "NoCleanUp" "1" } "drop" { "NoCleanUp" "0" } }
              "Firewall" { "NoCleanUp" "1" } })",
     {},
     {"forget drop 1"},
     true},
    {"an empty script", BWalkLaunchSections, R"("s" {})", {}, {}, true},
};

TEST(InstallScriptWalks, OrderAndResultPerMode)
{
    for (const WalkCase_s& walkCase : k_rgWalkCases)
    {
        SCOPED_TRACE(walkCase.m_pszName);
        KeyValues* pkvScript = ParseKeyValues(walkCase.m_pszScript);
        CRecordingHandlers handlers(walkCase.m_setFailing);
        EXPECT_EQ(walkCase.m_bResult, walkCase.m_pfnWalk(handlers, pkvScript));
        EXPECT_EQ(walkCase.m_vecCalls, handlers.m_vecCalls);
        delete pkvScript;
    }
}

} // namespace
