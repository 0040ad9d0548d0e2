// The section walks of each mode, seen through a handler set that records every call.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "clientdll/iinstallscriptsectionhandlers.h"
#include "clientdll/installscript_sections.h"
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
    bool BHandleUnit(ESectionHandler eHandler, KeyValues* pkv) override
    {
        static const char* const k_rgpszCalls[] = {"",
                                                   "",
                                                   "",
                                                   "template",
                                                   "run",
                                                   "run",
                                                   "copyfolders",
                                                   "copyfiles",
                                                   "createfolders",
                                                   "symlink",
                                                   "deletefiles",
                                                   "uninstall",
                                                   "firewall",
                                                   "compat"};
        const bool bRun =
            eHandler == k_ESectionHandlerRunProcess || eHandler == k_ESectionHandlerRunProcessAsCurrentUser;
        return Record(k_rgpszCalls[eHandler], pkv,
                      bRun ? eHandler == k_ESectionHandlerRunProcessAsCurrentUser : -1);
    }
    bool BForgetHasRunRecord(KeyValues* pkv, bool bMachineWide) override
    {
        return Record("forget", pkv, bMachineWide);
    }

    // "<call> <item name>[ <flag>], " per call.
    std::string m_strCalls;

private:
    bool Record(const std::string& strCall, KeyValues* pkvItem, int nFlag = -1)
    {
        m_strCalls +=
            strCall + " " + pkvItem->GetName() + (nFlag < 0 ? "" : " " + std::to_string(nFlag)) + ", ";
        return m_setFailing.count(pkvItem->GetName()) == 0;
    }

    std::set<std::string> m_setFailing;
};

// Walks a script in the mode and answers the calls; the result must be as expected.
std::string Walk(EInstallScriptMode eMode, const char* pszScript, std::set<std::string> setFailing,
                 bool bResult)
{
    CRecordingHandlers handlers(std::move(setFailing));
    EXPECT_EQ(bResult, BWalkSections(handlers, *FindModeWalk(eMode), ParseKeyValues(pszScript).get()));
    return handlers.m_strCalls;
}
#define Walk(...) ISE_TRACED_CALL(Walk, __VA_ARGS__)

// Every section once, in an order unlike any walk's; plain values where entries are
// walked and a group where values are must be passed over.
const char k_szEverySection[] = R"("script" {
    "CompatibilityMode" { "c" {} "plain" "x" }  "FirewallSubkeys" { "fw" {} }  "Firewall" { "prog" "x" }
    "Delete Files" { "df" {} }  "symlink" { "sl" {} }  "Create Folders" { "cr" {} }  "Copy Files" { "cf" {} }
    "Copy Folders" { "cd" {} }  "Run Process" { "rp" {} "plain" "x" }  "Run Process On Update" { "up" {} }
    "Run Process On Uninstall" { "un" {} }  "File Template" { "ft" {} }
    "Delete Files On Uninstall" { "f" "x" "group" {} }  "Registry If Not Present" { "HKCU\\B" {} }
    "Registry" { "HKLM\\A" {} "NOSUCHROOT\\C" {} "HKLM" {} "HKLM64\\D" {}
                 "HKLM\\Software\\Pellan\\Korvex\\E" {} } })";

const std::string k_strCleanupCalls =
    "forget rp 1, forget up 0, forget ft 0, forget cr 0, forget cd 0, forget cf 0, "
    "forget df 0, forget c 0, forget fw 0, forget Firewall 0, ";

// Each walk runs once with every handler succeeding and once with the named items failing,
// which must fail the walk without leaving out any call.
const struct
{
    EInstallScriptMode m_eMode;
    std::string m_strCalls;
    std::set<std::string> m_setFailing;
} k_rgWalkCases[] = {
    {k_EInstallScriptModeLaunch,
     "apply 17 A HKLM\\A 1, apply 33 D HKLM64\\D 1, apply 1 Software\\Pellan\\Korvex\\E "
     "HKLM\\Software\\Pellan\\Korvex\\E 1, apply 18 B HKCU\\B 0, template ft, run up 0, run rp 1, "
     "copyfolders cd, copyfiles cf, createfolders cr, symlink sl, deletefiles df, firewall Firewall, "
     "firewall fw, compat c, ",
     {"HKLM\\A"}},
    {k_EInstallScriptModeUpdate, "run up 0, ", {"up"}},
    // The failure lies in the cleanup walk, which the uninstall walk ANDs in.
    {k_EInstallScriptModeUninstall,
     "remove 17 A HKLM\\A, remove 33 D HKLM64\\D, remove 1 Software\\Pellan\\Korvex\\E "
     "HKLM\\Software\\Pellan\\Korvex\\E, remove 18 B HKCU\\B, uninstall f, run un 1, "
     "firewall Firewall, firewall fw, compat c, " +
         k_strCleanupCalls,
     {"cr"}},
    {k_EInstallScriptModeCleanup, k_strCleanupCalls, {"rp"}},
};

TEST(InstallScriptWalks, EveryModeWalksItsSectionsInOrderWithoutStoppingAtAFailure)
{
    for (const auto& walkCase : k_rgWalkCases)
    {
        SCOPED_TRACE(walkCase.m_strCalls);
        EXPECT_EQ(walkCase.m_strCalls, Walk(walkCase.m_eMode, k_szEverySection, {}, true));
        EXPECT_EQ(walkCase.m_strCalls,
                  Walk(walkCase.m_eMode, k_szEverySection, walkCase.m_setFailing, false));
        EXPECT_EQ("", Walk(walkCase.m_eMode, R"("s" {})", {}, true));
    }
}

TEST(InstallScriptWalks, CleanupKeepsTheRecordsOfEntriesMarkedNoCleanUp)
{
    // The "Firewall" section itself counts as one entry.
    EXPECT_EQ("forget drop 1, ", Walk(k_EInstallScriptModeCleanup, R"("s" { "Firewall" { "NoCleanUp" "1" }
        "Run Process" { "keep" { "NoCleanUp" "1" } "drop" { "NoCleanUp" "0" } } })",
                                      {}, true));
}

} // namespace
